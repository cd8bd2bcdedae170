/// velmo-flash: flashes a microphone. The exit code says how that went.

#include "launcher/CommandLine.h"
#include "launcher/Display.h"
#include "launcher/FlashRun.h"
#include "launcher/ImageReport.h"
#include "launcher/Outcome.h"
#include "launcher/PluggedIn.h"
#include "launcher/Terminal.h"

#include <QCoreApplication>

#include <cstdio>

namespace {

/// Of continuation lines.
constexpr int listIndent = 4;
constexpr int labelIndent = 13;

Outcome run(const CommandLine &options, Display *display)
{
    if (!options.error.isEmpty())
        return {Outcome::WrongUsage, options.error + " See velmo-flash --help."};
    if (options.task == CommandLine::Task::List) {
        const QList<PluggedIn> microphones = PluggedIn::all();
        for (const PluggedIn &each : microphones)
            display->show("microphone", each.json(), each.text(), listIndent);
        if (microphones.isEmpty())
            return {Outcome::NoMicrophone, "No microphone is plugged in."};
        return {};
    }
    const ImageReport report(options.imagePath, options.sha256);
    if (!report.refusal.isEmpty())
        return Outcome::imageRefused(options.imagePath, report.refusal);
    if (options.task == CommandLine::Task::Flash)
        return FlashRun(options, report.packets, display).run();
    display->show("image", report.json(),
                  options.task == CommandLine::Task::Inspect ? report.table() : report.summary(),
                  labelIndent);
    return {Outcome::Done, "The image is valid. Nothing was sent. To flash it, leave out --dry-run "
                           "or --inspect."};
}

} // namespace

int main(int argc, char *argv[])
{
    Terminal::ignoreBrokenPipes();
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName("velmo-flash");
    const CommandLine options = CommandLine::parse(QCoreApplication::arguments());
    if (options.task == CommandLine::Task::Help) {
        Terminal::print(stdout, CommandLine::helpText(), listIndent);
        return Outcome::Done;
    }
    if (options.task == CommandLine::Task::Version) {
        std::fputs("velmo-flash " VELMO_VERSION "\n", stdout);
        return Outcome::Done;
    }
    Display display(options.json);
    const Outcome outcome = run(options, &display);
    display.end(outcome);
    return outcome.code;
}
