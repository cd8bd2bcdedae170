#include "launcher/CommandLine.h"

#include "device/resultFilePath.h"
#include "launcher/Outcome.h"
#include "launcher/UpdaterProcess.h"

#include <QCommandLineParser>
#include <QFileInfo>
#include <QRegularExpression>

#include <utility>

namespace {

/// All options, and the parser that knows them.
struct Options
{
    const QCommandLineOption dryRun{"dry-run",
                                    "Check the image and show what is in it. Send nothing."};
    const QCommandLineOption inspect{"inspect", "List the image's records. Send nothing."};
    const QCommandLineOption list{"list", "List the microphones that are plugged in."};
    const QCommandLineOption json{"json", "Print one JSON object per line and nothing else."};
    const QCommandLineOption log{"log", "Keep the updater's output in FILE.", "FILE"};
    const QCommandLineOption sha256{"sha256", "Refuse the image if its SHA-256 is different.",
                                    "HEX"};
    const QCommandLineOption timeout{
        "timeout",
        QStringLiteral("Give up after SECONDS without progress (1 to %1, default %2). "
                       "Until firmware is sent, %3 s are added.")
            .arg(CommandLine::longestTimeout)
            .arg(CommandLine::defaultTimeout)
            .arg(CommandLine::restartSeconds),
        "SECONDS", QString::number(CommandLine::defaultTimeout)};
    const QCommandLineOption updater{"updater",
                                     "The updater, if it is not in this program's folder.", "PATH"};
    const QCommandLineOption help{{"h", "help"}, "Show this text."};
    const QCommandLineOption version{"version", "Show the version."};
    QCommandLineParser parser;

    Options()
    {
        parser.setApplicationDescription(
            "Flashes a microphone: checks IMAGE, starts the updater, shows its progress\n"
            "and says how it went.");
        parser.addPositionalArgument("IMAGE", "Firmware image. Its path selects the microphone.");
        parser.addOptions(
            {dryRun, inspect, list, json, log, sha256, timeout, updater, help, version});
    }
};

/// The same for all names of a file, which need not exist.
QString canonicalPath(const QString &path)
{
    const QFileInfo file(path);
    return file.exists() ? file.canonicalFilePath()
                         : QFileInfo(file.path()).canonicalFilePath() + '/' + file.fileName();
}

/// Checks what the parser accepts. Returns the error, or nothing.
QString errorIn(const Options &all, const CommandLine &options)
{
    const QCommandLineParser &parser = all.parser;
    if (parser.isSet(all.dryRun) + parser.isSet(all.inspect) + parser.isSet(all.list) > 1)
        return "Use only one of --dry-run, --inspect and --list.";
    if (options.timeoutSeconds < 1 || options.timeoutSeconds > CommandLine::longestTimeout) {
        return QStringLiteral("--timeout takes 1 to %1 seconds, not '%2'.")
            .arg(CommandLine::longestTimeout)
            .arg(parser.value(all.timeout));
    }
    static const QRegularExpression sha256Form("^[0-9a-f]{64}\\z");
    if (parser.isSet(all.sha256) && !sha256Form.match(options.sha256).hasMatch())
        return "--sha256 takes 64 hexadecimal digits.";
    const QStringList images = parser.positionalArguments();
    if ((images + parser.values(all.log) + parser.values(all.updater)).contains(QString()))
        return "A path is empty.";
    if (options.task == CommandLine::Task::List)
        return images.isEmpty() ? "" : "--list takes no image.";
    if (images.size() != 1)
        return QStringLiteral("Name one image, not %1.").arg(images.size());
    for (const QString &needed : {options.imagePath, options.updaterPath, resultFilePath()}) {
        if (parser.isSet(all.log) && canonicalPath(options.logPath) == canonicalPath(needed))
            return QStringLiteral("--log would overwrite %1.").arg(options.logPath);
    }
    return {};
}

} // namespace

CommandLine CommandLine::parse(const QStringList &arguments)
{
    Options all;
    QCommandLineParser &parser = all.parser;
    CommandLine options;
    if (!parser.parse(arguments)) {
        options.error = parser.errorText();
        // --json also applies if the rest of the command line is wrong.
        options.json = arguments.contains("--json");
        return options;
    }
    using OptionTask = std::pair<const QCommandLineOption &, Task>;
    for (const auto &[option, task] :
         {OptionTask{all.inspect, Task::Inspect}, OptionTask{all.dryRun, Task::Check},
          OptionTask{all.list, Task::List}, OptionTask{all.version, Task::Version},
          OptionTask{all.help, Task::Help}}) {
        if (parser.isSet(option))
            options.task = task;
    }
    options.json = parser.isSet(all.json);
    options.imagePath = parser.positionalArguments().value(0);
    options.sha256 = parser.value(all.sha256).toLower();
    options.updaterPath =
        parser.isSet(all.updater) ? parser.value(all.updater) : UpdaterProcess::defaultPath();
    options.logPath = parser.value(all.log);
    options.timeoutSeconds = parser.value(all.timeout).toInt();
    options.error = errorIn(all, options);
    return options;
}

QString CommandLine::helpText()
{
    // The parser's text has the path of this program instead of its name.
    const QString text = Options().parser.helpText();
    return "Usage: velmo-flash [options] IMAGE\n"
           "       velmo-flash --list [--json]" +
           text.mid(text.indexOf('\n')) + '\n' + Outcome::codeList();
}
