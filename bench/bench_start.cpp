// Measures the time from the start of the process to the microphone's first packet.

#include "bench/compare.h"

#include <QElapsedTimer>

namespace {

double startMs(UpdaterRun &run, int records)
{
    const QString image = run.makeFirmware(QStringLiteral("TB210.bin"),
                                           {QStringLiteral("--records"), QString::number(records)});
    QElapsedTimer timer;
    timer.start();
    run.start({image}, "packet-time=0");
    compare::waitForTrace(run, " write packet=0");
    constexpr double nanosecondsPerMillisecond = 1e6;
    return static_cast<double>(timer.nsecsElapsed()) / nanosecondsPerMillisecond;
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    constexpr int rounds = 21;
    constexpr int recordsOfMebibyte = 4096;
    compare::print("start to first packet, image of 5 KiB [ms]", rounds,
                   [](UpdaterRun &run) { return startMs(run, 20); });
    compare::print("start to first packet, image of 1 MiB [ms]", compare::rounds,
                   [](UpdaterRun &run) { return startMs(run, recordsOfMebibyte); });
    return 0;
}
