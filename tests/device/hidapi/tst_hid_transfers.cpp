#include "device/hidapi/hidapi_additions.h"

#include <QElapsedTimer>
#include <QTest>

#include <algorithm>
#include <array>
#include <vector>

namespace {

/// The library's time-out for a write.
constexpr int writeTimeoutMs = 1000;
// Far more than it needs, for machines under load.
constexpr int endTimeoutMs = 30000;
constexpr int shortMs = 50;
constexpr int refusals = 100;

} // namespace

/// Writes that take longer than the library waits for them, on Windows. The second test function
/// waits behind the first one's packet. scripts/test-windows has the simulator's settings.
class HidTransfersTest : public QObject
{
    Q_OBJECT

private:
    hid_device *device = nullptr;
    std::array<unsigned char, 64> report{};
    QElapsedTimer timer;

    /// Writes a short packet, which the library pads.
    int write()
    {
        // Freed on return, whether the system is done with it or not.
        const std::vector<unsigned char> bytes = {0x4B, 0, 11, 0, 0, 0, 0, 0, 0, 0, 0, 0};
        timer.start();
        return hid_write(device, bytes.data(), bytes.size());
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
        QCOMPARE(hid_write(device, nullptr, report.size()), -1);
        QCOMPARE(write(), -1); // times out
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
        // The microphone has now received the packet. The earlier read did not consume its
        // answer.
        QCOMPARE(read(endTimeoutMs), 64);
        QCOMPARE(report.at(7), uchar{3});
        for (const auto &block : blocks)
            QCOMPARE(std::size_t(std::count(block.begin(), block.end(), 'x')), block.size());
        hid_close(device);
    }

    /// On the microphone that arrives after that packet and is removed again.
    void a_removal_ends_pending_writes()
    {
        QTRY_VERIFY_WITH_TIMEOUT((device = hid_open(0x3C9E, 0x0010, nullptr)) != nullptr,
                                 endTimeoutMs);
        do
            QCOMPARE(write(), -1); // times out, like those after it
        while (timer.elapsed() >= writeTimeoutMs);
        // The rest of the driver, and then the system itself, refuses these at once.
        for (int i = 0; i < refusals; ++i) {
            QCOMPARE(write(), -1);
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
