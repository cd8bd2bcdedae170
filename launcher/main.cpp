/// velmo-flash: flashes a microphone. The exit code says how that went.

#include "launcher/CommandLine.h"
#include "launcher/FlashRun.h"
#include "launcher/ImageReport.h"
#include "launcher/JsonDisplay.h"
#include "launcher/Outcome.h"
#include "launcher/PluggedIn.h"
#include "launcher/Terminal.h"
#include "launcher/TextDisplay.h"

#include <QCoreApplication>
#include <QTimer>

#include <cstdio>
#include <memory>

namespace {

std::unique_ptr<Display> displayFor(bool json)
{
    if (json)
        return std::make_unique<JsonDisplay>();
    return std::make_unique<TextDisplay>();
}

Outcome flash(const CommandLine &options, int packets, Display *display)
{
    Terminal::countInterrupts();
    FlashRun flashRun(options, packets, display);
    Outcome outcome = Outcome::notStarted(QStringLiteral("there is no event loop"));
    QObject::connect(&flashRun, &FlashRun::finished, &flashRun, [&outcome](const Outcome &result) {
        outcome = result;
        QCoreApplication::quit();
    });
    // Start inside the event loop, because quit() does nothing before it.
    QTimer::singleShot(0, &flashRun, &FlashRun::start);
    QCoreApplication::exec();
    return outcome;
}

Outcome run(const CommandLine &options, Display *display)
{
    if (!options.error.isEmpty())
        return Outcome::wrongUsage(options.error);
    if (options.task == CommandLine::Task::List) {
        const QList<PluggedIn> microphones = PluggedIn::all();
        for (const PluggedIn &each : microphones)
            display->microphone(each);
        return Outcome::listed(microphones.size());
    }
    const ImageReport report = ImageReport::of(options.imagePath, options.sha256);
    if (!report.isGood())
        return Outcome::imageRefused(options.imagePath, report.refusal());
    if (options.task == CommandLine::Task::Flash)
        return flash(options, report.packets(), display);
    display->image(report, options.task == CommandLine::Task::Inspect ? Display::Detail::Table
                                                                      : Display::Detail::Summary);
    return Outcome::imageGood();
}

} // namespace

int main(int argc, char *argv[])
{
    Terminal::ignoreBrokenPipes();
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("velmo-flash"));
    const CommandLine options = CommandLine::parse(QCoreApplication::arguments());
    if (options.task == CommandLine::Task::Help) {
        std::fputs(qPrintable(CommandLine::helpText()), stdout);
        return Outcome::Done;
    }
    if (options.task == CommandLine::Task::Version) {
        std::fputs("velmo-flash " VELMO_VERSION "\n", stdout);
        return Outcome::Done;
    }
    const std::unique_ptr<Display> display = displayFor(options.json);
    const Outcome outcome = run(options, display.get());
    display->outcome(outcome);
    return outcome.code;
}
