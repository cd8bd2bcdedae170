#include "launcher/CommandLine.h"

#include "launcher/Outcome.h"
#include "launcher/UpdaterProcess.h"
#include "launcher/resultFile.h"

#include <QCommandLineParser>
#include <QFileInfo>
#include <QRegularExpression>

namespace {

const QLatin1String helpName("help");
const QLatin1String versionName("version");
const QLatin1String inspectName("inspect");
const QLatin1String dryRunName("dry-run");
const QLatin1String listName("list");
const QLatin1String jsonName("json");
const QLatin1String logName("log");
const QLatin1String sha256Name("sha256");
const QLatin1String timeoutName("timeout");
const QLatin1String updaterName("updater");

void addOptions(QCommandLineParser *parser)
{
    parser->setApplicationDescription(QStringLiteral(
        "Flashes a microphone: checks IMAGE, starts the updater, shows its progress\n"
        "and says how it went."));
    parser->addPositionalArgument(QStringLiteral("IMAGE"),
                                  QStringLiteral("Firmware image. Its path selects the "
                                                 "microphone."));
    parser->addOptions({
        {dryRunName, QStringLiteral("Check the image and show what is in it. Send nothing.")},
        {inspectName, QStringLiteral("List the image's records. Send nothing.")},
        {listName, QStringLiteral("List the microphones that are plugged in.")},
        {jsonName, QStringLiteral("Print one JSON object per line and nothing else.")},
        {logName, QStringLiteral("Keep the updater's output in FILE."), QStringLiteral("FILE")},
        {sha256Name, QStringLiteral("Refuse the image if its SHA-256 is different."),
         QStringLiteral("HEX")},
        {timeoutName,
         QStringLiteral("Give up after SECONDS without progress (1 to %1, default %2). "
                        "Until firmware is sent, 17 s are added.")
             .arg(CommandLine::longestTimeout)
             .arg(CommandLine::defaultTimeout),
         QStringLiteral("SECONDS")},
        {updaterName, QStringLiteral("The updater, if it is not in this program's folder."),
         QStringLiteral("PATH")},
        {{QStringLiteral("h"), helpName}, QStringLiteral("Show this text.")},
        {versionName, QStringLiteral("Show the version.")},
    });
}

/// The canonical path of a file, which need not exist. Empty if its folder does not exist.
QString canonicalPath(const QString &path)
{
    const QFileInfo file(path);
    if (file.exists())
        return file.canonicalFilePath();
    const QString folder = QFileInfo(file.absolutePath()).canonicalFilePath();
    return folder.isEmpty() ? folder : folder + QLatin1Char('/') + file.fileName();
}

/// Whether a log at this path would overwrite a file that this run needs.
bool logOverwritesNeededFile(const CommandLine &options)
{
    const QString updater =
        options.updaterPath.isEmpty() ? UpdaterProcess::defaultPath() : options.updaterPath;
    const QString log = canonicalPath(options.logPath);
    if (log.isEmpty())
        return false;
    return log == canonicalPath(options.imagePath) || log == canonicalPath(updater) ||
           log == canonicalPath(resultFilePath());
}

/// Checks what the parser accepts. Returns the error, or nothing.
QString errorIn(const QCommandLineParser &parser, const CommandLine &options)
{
    if (parser.isSet(dryRunName) + parser.isSet(inspectName) + parser.isSet(listName) > 1)
        return QStringLiteral("Use only one of --dry-run, --inspect and --list.");
    if (options.timeoutSeconds < 1 || options.timeoutSeconds > CommandLine::longestTimeout) {
        return QStringLiteral("--timeout takes 1 to %1 seconds, not '%2'.")
            .arg(CommandLine::longestTimeout)
            .arg(parser.value(timeoutName));
    }
    static const QRegularExpression sha256Form(QStringLiteral("^[0-9a-fA-F]{64}\\z"));
    if (parser.isSet(sha256Name) && !sha256Form.match(parser.value(sha256Name)).hasMatch())
        return QStringLiteral("--sha256 takes 64 hexadecimal digits.");
    for (const QLatin1String &option : {logName, updaterName}) {
        if (parser.isSet(option) && parser.value(option).isEmpty())
            return QStringLiteral("The path after --%1 is empty.").arg(option);
    }
    const int images = parser.positionalArguments().size();
    if (options.task == CommandLine::Task::List)
        return images == 0 ? QString() : QStringLiteral("--list takes no image.");
    if (images != 1)
        return QStringLiteral("Name one image, not %1.").arg(images);
    if (options.imagePath.isEmpty())
        return QStringLiteral("The image's path is empty.");
    if (!options.logPath.isEmpty() && logOverwritesNeededFile(options))
        return QStringLiteral("--log would overwrite %1.").arg(options.logPath);
    return {};
}

} // namespace

CommandLine CommandLine::parse(const QStringList &arguments)
{
    QCommandLineParser parser;
    addOptions(&parser);
    CommandLine options;
    const bool understood = parser.parse(arguments);
    // --json also applies if the rest of the command line is wrong.
    options.json =
        understood ? parser.isSet(jsonName) : arguments.contains(QLatin1String("--json"));
    if (!understood) {
        options.error = parser.errorText();
        return options;
    }
    if (parser.isSet(helpName) || parser.isSet(versionName)) {
        options.task = parser.isSet(helpName) ? Task::Help : Task::Version;
        return options;
    }
    if (parser.isSet(inspectName))
        options.task = Task::Inspect;
    else if (parser.isSet(dryRunName))
        options.task = Task::Check;
    else if (parser.isSet(listName))
        options.task = Task::List;
    options.imagePath = parser.positionalArguments().value(0);
    options.sha256 = parser.value(sha256Name).toLower();
    options.updaterPath = parser.value(updaterName);
    options.logPath = parser.value(logName);
    if (parser.isSet(timeoutName))
        options.timeoutSeconds = parser.value(timeoutName).toInt();
    options.error = errorIn(parser, options);
    return options;
}

QString CommandLine::helpText()
{
    QCommandLineParser parser;
    addOptions(&parser);
    // The parser's text has the path of this program instead of its name.
    const QString text = parser.helpText();
    return QStringLiteral("Usage: velmo-flash [options] IMAGE\n"
                          "       velmo-flash --list [--json]") +
           text.mid(text.indexOf(QLatin1Char('\n'))) + QLatin1Char('\n') + Outcome::codeList();
}
