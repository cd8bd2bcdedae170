// Measures the processor time while the updater waits.

#include "bench/compare.h"

#include <ctime>

namespace {

double processorMs(qint64 process)
{
    clockid_t clock{};
    timespec time{};
    if (clock_getcpuclockid(static_cast<pid_t>(process), &clock) != 0 ||
        clock_gettime(clock, &time) != 0)
        qFatal("no processor time of %lld", process);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

/// Of a second that begins a moment after the microphone's trace has such a line.
double processorMsPerSecond(UpdaterRun &run, const char *microphone, const char *line)
{
    constexpr unsigned long settleMs = 500;
    constexpr unsigned long seconds = 5;
    run.start({run.makePlainImage()}, microphone);
    compare::waitForTrace(run, line);
    QThread::msleep(settleMs);
    const double before = processorMs(run.process.processId());
    QThread::sleep(seconds);
    return (processorMs(run.process.processId()) - before) / seconds;
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    constexpr int rounds = 3;
    compare::print("processor in the restart pause [ms/s]", rounds, [](UpdaterRun &run) {
        return processorMsPerSecond(run, "", " read handle=1 result=64");
    });
    compare::print("processor while waiting for the verdict [ms/s]", rounds, [](UpdaterRun &run) {
        return processorMsPerSecond(
            run, (QByteArray(compare::noPause) + ";verdict=none").constData(), " write packet=12 ");
    });
    return 0;
}
