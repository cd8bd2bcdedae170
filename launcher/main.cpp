/// velmo-flash: flashes a microphone and tells by its exit code how it went.

#include "launcher/BarDisplay.h"
#include "launcher/CommandLine.h"
#include "launcher/FlashRun.h"
#include "launcher/ImageReport.h"
#include "launcher/JsonDisplay.h"
#include "launcher/Outcome.h"
#include "launcher/PlainDisplay.h"
#include "launcher/PluggedIn.h"
#include "launcher/Terminal.h"

#include <QCoreApplication>
#include <QTimer>

#include <cstdio>
#include <memory>

namespace {

std::unique_ptr<Display> displayFor(bool json)
{
    if (json)
        return std::make_unique<JsonDisplay>();
    if (Terminal::columns(stdout) > 0)
        return std::make_unique<BarDisplay>();
    return std::make_unique<PlainDisplay>();
}

Outcome flash(const CommandLine &wanted, int packets, Display *display)
{
    Terminal::watchInterrupts();
    FlashRun run(wanted, packets, display);
    Outcome outcome = Outcome::notStarted(QStringLiteral("there is no event loop"));
    QObject::connect(&run, &FlashRun::finished, &run, [&outcome](const Outcome &told) {
        outcome = told;
        QCoreApplication::quit();
    });
    // From within the event loop, so that an early end can leave it.
    QTimer::singleShot(0, &run, &FlashRun::start);
    QCoreApplication::exec();
    return outcome;
}

Outcome carryOut(const CommandLine &wanted, Display *display)
{
    if (!wanted.fault.isEmpty())
        return Outcome::wrongUsage(wanted.fault);
    if (wanted.task == CommandLine::Task::List) {
        const QList<PluggedIn> microphones = PluggedIn::all();
        for (const PluggedIn &each : microphones)
            display->microphone(each);
        return Outcome::listed(microphones.size());
    }
    const ImageReport report = ImageReport::of(wanted.imagePath, wanted.sha256);
    if (!report.isGood())
        return Outcome::imageRefused(wanted.imagePath, report.refusal());
    if (wanted.task == CommandLine::Task::Flash)
        return flash(wanted, report.packets(), display);
    display->image(report, wanted.task == CommandLine::Task::Inspect ? Display::Detail::Table
                                                                     : Display::Detail::Summary);
    return Outcome::imageGood();
}

} // namespace

int main(int argc, char *argv[])
{
    Terminal::outliveReaders();
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("velmo-flash"));
    const CommandLine wanted = CommandLine::parse(QCoreApplication::arguments());
    if (wanted.task == CommandLine::Task::Help) {
        std::fputs(qPrintable(CommandLine::helpText()), stdout);
        return Outcome::Done;
    }
    if (wanted.task == CommandLine::Task::Version) {
        std::fputs("velmo-flash " VELMO_VERSION "\n", stdout);
        return Outcome::Done;
    }
    const std::unique_ptr<Display> display = displayFor(wanted.json);
    const Outcome outcome = carryOut(wanted, display.get());
    display->outcome(outcome);
    return outcome.code;
}
