// Measures the data phase: milliseconds for a batch of five packets and its answer.
//
// For the Windows program set VELMO_TRANSPORT=wine; see docs/performance.md.

#include "bench/compare.h"

#include "upgrade/transferSchedule.h"

namespace {

/// As velmo-mkfirmware makes them.
constexpr int packetsPerRecord = 4;

double batchMs(UpdaterRun &run, int records, const char *microphone)
{
    const QString image = run.makeFirmware(QStringLiteral("TB210.bin"),
                                           {QStringLiteral("--records"), QString::number(records)});
    run.start({image}, QByteArray(compare::noPause) + ';' + microphone);
    if (!run.waitForExit(compare::runTimeoutMs) ||
        run.packetsTaken() != 1 + records * packetsPerRecord)
        qFatal("not all packets were sent: %s", run.debugOutput().right(1000).constData());
    const QStringList writes = run.traceLines(QStringLiteral(" write packet="));
    using namespace transferSchedule;
    const int batches = (writes.size() - 1 - openingPackets) / batchSize;
    return (compare::timeOf(writes.at(openingPackets + batches * batchSize)) -
            compare::timeOf(writes.at(openingPackets))) /
           batches;
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    compare::print("batch, 1 ms a packet, answer in 2 ms [ms]", compare::rounds,
                   [](UpdaterRun &run) { return batchMs(run, 125, "packet-time=1"); });
    compare::print("batch, everything at once [ms]", compare::rounds, [](UpdaterRun &run) {
        return batchMs(run, 200, "packet-time=0;answer-delay=0");
    });
    return 0;
}
