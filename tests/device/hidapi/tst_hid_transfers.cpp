#include "device/hidapi/hidapi_additions.h"

#include <QElapsedTimer>
#include <QTest>

#include <array>

/// Reads and writes that do not end by themselves, on Windows.  Takes a microphone that
/// needs its time for a packet: VELMO_SIM="devices=000B;packet-time=4000".
class HidTransfersTest : public QObject
{
    Q_OBJECT

private:
    static constexpr std::size_t reportSize = 65;
    /// The library's own for a write; the microphone needs longer.
    static constexpr int writeTimeoutMs = 1000;
    // Far above what it takes, for machines under load.
    static constexpr int endTimeoutMs = 30000;
    static constexpr int shortMs = 50;
    /// The entry packet, short: the library completes it.
    const std::array<unsigned char, 12> entry = {0x4B, 1, 11};
    std::array<unsigned char, reportSize> report{};
    hid_device *device = nullptr;

private slots:
    void initTestCase()
    {
        device = hid_open(0x3C9E, 0x000B, nullptr);
        QVERIFY2(device != nullptr, "no microphone: start this with velmo-sim-wine");
    }

    void a_write_that_does_not_end_fails_and_the_next_at_once()
    {
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(hid_write(device, entry.data(), entry.size()), -1);
        QVERIFY(timer.restart() >= writeTimeoutMs);
        QCOMPARE(hid_write(device, entry.data(), entry.size()), -1);
        QVERIFY(timer.elapsed() < writeTimeoutMs);
        QVERIFY(QString::fromWCharArray(hid_error(device)) != QLatin1String("Success"));
    }

    void a_close_ends_what_is_under_way()
    {
        QCOMPARE(hid_read_timeout(device, report.data(), report.size(), shortMs), 0);
        hid_close(device);
        device = hid_open(0x3C9E, 0x000B, nullptr);
        QVERIFY(device != nullptr);
        // The microphone has taken the first packet at last; the read of before did not take
        // its answer away.
        QCOMPARE(hid_read_timeout(device, report.data(), report.size(), endTimeoutMs), 64);
        QCOMPARE(report.at(0), uchar{0x4B});
        hid_close(device);
    }
};

QTEST_GUILESS_MAIN(HidTransfersTest)
#include "tst_hid_transfers.moc"
