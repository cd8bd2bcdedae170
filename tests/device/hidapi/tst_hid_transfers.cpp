#include "device/hidapi/hidapi_additions.h"

#include "tests/simulator/packets.h"

#include <QElapsedTimer>
#include <QTest>

#include <algorithm>

namespace {

/// The library's time-out for a write.
constexpr int writeTimeoutMs = 1000;
// Far more than it needs, for machines under load.
constexpr int endTimeoutMs = 30000;
constexpr int shortMs = 50;
constexpr std::size_t packetSize = 65;
constexpr int refusals = 100;
using Report = std::array<unsigned char, 64>;

} // namespace

/// Writes that take longer than the library waits for them, on Windows. The test functions
/// depend on each other, so their order matters. scripts/test-windows has the simulator's
/// settings.
class HidTransfersTest : public QObject
{
    Q_OBJECT

private:
    /// One record per packet. The second one is short: the library pads it.
    const std::vector<Packet> packets = packetsOf({64, 50, 64});
    static constexpr std::size_t shortSize = 1 + 50;
    hid_device *device = nullptr;
    Report report{};
    QElapsedTimer timer;

    int write(std::size_t packet, std::size_t size = packetSize)
    {
        // Freed on return, whether the system is done with it or not.
        const std::vector<unsigned char> bytes(packets[packet].begin(), packets[packet].end());
        timer.start();
        return hid_write(device, bytes.data(), size);
    }

    int read(int milliseconds)
    {
        return hid_read_timeout(device, report.data(), report.size(), milliseconds);
    }

private slots:
    void a_close_does_not_wait_for_a_stuck_write()
    {
        device = hid_open(0x3C9E, 0x0065, nullptr);
        QVERIFY2(device != nullptr, "no microphone: start this with velmo-sim-wine");
        QCOMPARE(hid_write(device, nullptr, packetSize), -1);
        QCOMPARE(write(0), -1); // times out
        QVERIFY(timer.elapsed() >= writeTimeoutMs);
        QVERIFY(QString::fromWCharArray(hid_error(device)) != "Success");
        QCOMPARE(read(shortMs), 0);
        timer.start();
        hid_close(device);
        QVERIFY(timer.elapsed() < writeTimeoutMs);

        // Takes memory that was just freed, to see what still writes to it.
        std::vector<std::vector<unsigned char>> blocks;
        for (std::size_t size = 8; size <= 1024; size += 8)
            blocks.insert(blocks.end(), 20, std::vector<unsigned char>(size, 'x'));
        device = hid_open(0x3C9E, 0x0065, nullptr);
        QVERIFY(device != nullptr);
        // The microphone has now received the packet. The earlier read did not consume its
        // answer.
        QCOMPARE(read(endTimeoutMs), 64);
        QCOMPARE(report.at(7), uchar{1});
        for (const auto &block : blocks)
            QCOMPARE(std::size_t(std::count(block.begin(), block.end(), 'x')), block.size());
    }

    /// A packet that is lost, repeated or out of order would damage the image.
    void a_write_that_times_out_arrives_once_and_in_order()
    {
        QCOMPARE(write(1), 65);
        QCOMPARE(write(2, shortSize), -1); // times out
        write(3);
        do
            QCOMPARE(read(endTimeoutMs), 64);
        while (report.at(7) == 3);
        QCOMPARE(report.at(7), uchar{5});
        hid_close(device);
    }

    /// On the microphone that arrives after the last packet and is removed again.
    void a_removal_ends_pending_writes()
    {
        QTRY_VERIFY_WITH_TIMEOUT((device = hid_open(0x3C9E, 0x0010, nullptr)) != nullptr,
                                 endTimeoutMs);
        do
            QCOMPARE(write(0), -1); // times out, like those after it
        while (timer.elapsed() >= writeTimeoutMs);
        // The rest of the driver, and then the system itself, refuses these at once.
        for (int i = 0; i < refusals; ++i) {
            QCOMPARE(write(0), -1);
            QVERIFY(timer.elapsed() < writeTimeoutMs);
            QVERIFY(QString::fromWCharArray(hid_error(device)) != "Success");
        }
        timer.start();
        hid_close(device);
        QVERIFY(timer.elapsed() < writeTimeoutMs);
    }
};

QTEST_GUILESS_MAIN(HidTransfersTest)
#include "tst_hid_transfers.moc"
