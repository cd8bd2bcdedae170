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
    parser->setApplicationDescription(
        QStringLiteral("Flashes a microphone: checks IMAGE, starts the updater, follows it, and\n"
                       "tells by its exit code how it went."));
    parser->addPositionalArgument(QStringLiteral("IMAGE"),
                                  QStringLiteral("Firmware image. Its path decides which "
                                                 "microphone is meant."));
    parser->addOptions({
        {dryRunName, QStringLiteral("Check the image, say what it holds, send nothing.")},
        {inspectName, QStringLiteral("List the image's records, send nothing.")},
        {listName, QStringLiteral("List the microphones that are plugged in.")},
        {jsonName, QStringLiteral("Print one JSON object a line and nothing else.")},
        {logName, QStringLiteral("Keep the updater's output in FILE."), QStringLiteral("FILE")},
        {sha256Name, QStringLiteral("Refuse the image if its SHA-256 is another one."),
         QStringLiteral("HEX")},
        {timeoutName,
         QStringLiteral("Give up after so many seconds without any progress (1 to %1, default %2); "
                        "17 s more until the firmware goes out.")
             .arg(CommandLine::longestTimeout)
             .arg(CommandLine::defaultTimeout),
         QStringLiteral("SECONDS")},
        {updaterName, QStringLiteral("The updater, if it is not beside this program."),
         QStringLiteral("PATH")},
        {{QStringLiteral("h"), helpName}, QStringLiteral("Show this text.")},
        {versionName, QStringLiteral("Show the version.")},
    });
}

/// The file that a path leads to, whether it is there or not.
QString placeOf(const QString &path)
{
    const QFileInfo file(path);
    if (file.exists())
        return file.canonicalFilePath();
    const QString folder = QFileInfo(file.absolutePath()).canonicalFilePath();
    return folder.isEmpty() ? folder : folder + QLatin1Char('/') + file.fileName();
}

/// Whether keeping a log there would cost a file that this run needs.
bool costsOurOwn(const CommandLine &wanted)
{
    const QString updater =
        wanted.updaterPath.isEmpty() ? UpdaterProcess::besideUs() : wanted.updaterPath;
    const QString log = placeOf(wanted.logPath);
    if (log.isEmpty())
        return false; // in a folder that is not there
    return log == placeOf(wanted.imagePath) || log == placeOf(updater) ||
           log == placeOf(resultFilePlace());
}

/// What the parser lets pass.
QString faultOf(const QCommandLineParser &parser, const CommandLine &wanted)
{
    if (parser.isSet(dryRunName) + parser.isSet(inspectName) + parser.isSet(listName) > 1)
        return QStringLiteral("Use one of --dry-run, --inspect and --list.");
    if (wanted.timeoutSeconds < 1 || wanted.timeoutSeconds > CommandLine::longestTimeout) {
        return QStringLiteral("--timeout takes seconds from 1 to %1, not '%2'.")
            .arg(CommandLine::longestTimeout)
            .arg(parser.value(timeoutName));
    }
    static const QRegularExpression sha256Form(QStringLiteral("^[0-9a-fA-F]{64}\\z"));
    if (parser.isSet(sha256Name) && !sha256Form.match(parser.value(sha256Name)).hasMatch())
        return QStringLiteral("--sha256 takes 64 hexadecimal digits.");
    for (const QLatin1String &option : {logName, updaterName}) {
        if (parser.isSet(option) && parser.value(option).isEmpty())
            return QStringLiteral("The path behind --%1 is empty.").arg(option);
    }
    const int images = parser.positionalArguments().size();
    if (wanted.task == CommandLine::Task::List)
        return images == 0 ? QString() : QStringLiteral("--list takes no image.");
    if (images != 1)
        return QStringLiteral("Name one image, not %1.").arg(images);
    if (wanted.imagePath.isEmpty())
        return QStringLiteral("The image's path is empty.");
    if (!wanted.logPath.isEmpty() && costsOurOwn(wanted))
        return QStringLiteral("--log would replace %1.").arg(wanted.logPath);
    return {};
}

} // namespace

CommandLine CommandLine::parse(const QStringList &arguments)
{
    QCommandLineParser parser;
    addOptions(&parser);
    CommandLine wanted;
    const bool understood = parser.parse(arguments);
    // Whoever asks for JSON gets it for a wrong command line, too.
    wanted.json = understood ? parser.isSet(jsonName) : arguments.contains(QLatin1String("--json"));
    if (!understood) {
        wanted.fault = parser.errorText();
        return wanted;
    }
    if (parser.isSet(helpName) || parser.isSet(versionName)) {
        wanted.task = parser.isSet(helpName) ? Task::Help : Task::Version;
        return wanted;
    }
    if (parser.isSet(inspectName))
        wanted.task = Task::Inspect;
    else if (parser.isSet(dryRunName))
        wanted.task = Task::Check;
    else if (parser.isSet(listName))
        wanted.task = Task::List;
    wanted.imagePath = parser.positionalArguments().value(0);
    wanted.sha256 = parser.value(sha256Name).toLower();
    wanted.updaterPath = parser.value(updaterName);
    wanted.logPath = parser.value(logName);
    if (parser.isSet(timeoutName))
        wanted.timeoutSeconds = parser.value(timeoutName).toInt();
    wanted.fault = faultOf(parser, wanted);
    return wanted;
}

QString CommandLine::helpText()
{
    QCommandLineParser parser;
    addOptions(&parser);
    // The parser names the program by the path it was started with.
    const QString text = parser.helpText();
    return QStringLiteral("Usage: velmo-flash [options] IMAGE\n"
                          "       velmo-flash --list [--json]") +
           text.mid(text.indexOf(QLatin1Char('\n'))) + QLatin1Char('\n') + Outcome::codeList();
}
