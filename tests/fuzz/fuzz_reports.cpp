#include "device/deviceSelection.h"
#include "tests/fuzz/fuzzTarget.h"
#include "tests/support/RecordingManager.h"
#include "upgrade/DevOperator.h"
#include "upgrade/linkFlags.h"

namespace {

/// A transfer during which the microphone sends whatever it likes. The worker thread's poll
/// happens behind each packet, in each sleep and at each look at the clock.
struct Transfer : public TransferClock
{
    qint64 now() override
    {
        poll();
        return time += 50;
    }
    void sleep(int /*milliseconds*/) override { poll(); }

    void poll()
    {
        const int length = input.isEmpty() ? 0 : static_cast<unsigned char>(input.at(0));
        const QByteArray report = input.mid(1, length).leftJustified(64, '\0', true);
        if (length > 0)
            manager.reports.push_back(report);
        input.remove(0, 1 + length);
        const bool ends = report.at(8) == 1 || QByteArray("\2\4\5\6").contains(report.at(7));
        const int expected = verdicts + int{report.at(4) == 0x0B && ends};
        devOperator.readDeviceReport();
        require(verdicts == expected, "each verdict is raised, and nothing else");
        require(length == 0 || devOperator.pendingPackets.isEmpty() ||
                    !devOperator.awaitingConfirmation,
                "any report confirms");
    }

    QByteArray input;
    int verdicts = 0;
    qint64 time = 0;
    RecordingManager manager;
    DevOperator devOperator{nullptr};
};

} // namespace

/// Byte 0 of the input: number of packets and kind of microphone. Then for each poll the
/// length of a report, 0 for none, and its bytes.
int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const unsigned kind = size > 0 ? data[0] : 0;
    QList<QByteArray> packets;
    for (char number = 0; number < 4 + static_cast<char>(kind & 0xFU); ++number)
        packets.append(QByteArray(65, number));
    connectedFlag = true;
    selectMicrophoneFor((kind & 0x20U) != 0 ? QStringLiteral("R5_otg") : QString());
    g_otgAltPid = (kind & 0x10U) != 0;
    modelCodes.clear();

    Transfer transfer;
    transfer.input = bytesOf(data, size).mid(1);
    DevOperator &devOperator = transfer.devOperator;
    devOperator.setManager(&transfer.manager);
    devOperator.setClock(&transfer);
    devOperator.pendingPackets = packets;
    int next = g_otgAltPid ? 1 : 0;
    transfer.manager.onPacket = [&](const QByteArray &packet, int /*indexInBatch*/) {
        require(transfer.verdicts == 0 && packet == packets.value(next++),
                "each packet once, in order, and none after a verdict");
        transfer.poll();
    };
    QObject::connect(&devOperator, &DevOperator::tb210_break_fail_mess,
                     [&transfer] { ++transfer.verdicts; });
    devOperator.transferPass();
    require(devOperator.pendingPackets.isEmpty(), "the transfer is over");
    require(transfer.verdicts > 0 || next == packets.size(), "all is sent");
    while (!transfer.input.isEmpty())
        transfer.poll();
    return 0;
}
