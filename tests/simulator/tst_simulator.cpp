#include "device/hidapi/hidapi_additions.h"
#include "packets.h"
#include "simulator/dropin/Simulator.h"

#include <QCoreApplication>
#include <QProcess>
#include <QTest>

#include <array>
#include <future>

using namespace std::chrono_literals;

namespace {

sim::Simulator &simulator()
{
    return sim::Simulator::instance();
}

/// Null when something is wrong with the settings.
hid_device *openFirst(const char *settings)
{
    return simulator().configure(settings).empty() ? hid_open_path("/dev/velmo-sim0") : nullptr;
}

int send(hid_device *device, const Packet &packet)
{
    return hid_write(device, packet.data(), packet.size());
}

int read(hid_device *device, int timeoutMs)
{
    std::array<unsigned char, 64> report{};
    return hid_read_timeout(device, report.data(), report.size(), timeoutMs);
}

} // namespace

/// The HID library's functions over the simulated bus, on the real clock.
class SimulatorTest : public QObject
{
    Q_OBJECT

private slots:
    void aBadEnvironmentEndsTheProcess()
    {
        for (const QString variable : {"VELMO_SIM", "VELMO_SIM_TRACE"}) {
            auto environment = QProcessEnvironment::systemEnvironment();
            environment.insert(variable, "/nowhere/trace");
            QProcess process;
            process.setProcessEnvironment(environment);
            process.start(QCoreApplication::applicationFilePath(), {"aLossWakesTheReader"});
            QVERIFY(process.waitForFinished());
            QCOMPARE(process.exitCode(), 78);
            const QString error = process.readAllStandardError();
            QVERIFY2(error.startsWith(variable + ": ") && error.count('\n') == 1,
                     qPrintable(error));
        }
    }

    void aLossWakesTheReader()
    {
        hid_device *device = openFirst("unplug-after=100");
        QCOMPARE(read(device, 3600000), -1); // or the test's time is over
        QVERIFY(hid_open_path("/dev/velmo-sim0") == nullptr);

        device = openFirst("");
        auto reading = std::async(std::launch::async, read, device, -1);
        QVERIFY(reading.wait_for(50ms) == std::future_status::timeout);
        hid_close(device);
        QCOMPARE(reading.get(), -1);
    }

    void failsTheCallsThatAreAsked()
    {
        hid_device *const device = openFirst("devices=0065,046D:c31c;packet-time=20;fail-writes=2;"
                                             "slow-writes=3,4;slow-time=200;short-reads=2;"
                                             "answer-delay=0");
        const auto packets = packetsOf({64, 64, 64});
        const auto start = std::chrono::steady_clock::now();
        QCOMPARE(send(device, packets[1]), 65);
        QVERIFY(std::chrono::steady_clock::now() - start >= 20ms);
        QCOMPARE(read(device, 5000), 64);
        QCOMPARE(send(device, packets[2]), -1);
        QCOMPARE(send(device, packets[2]), 65);
        QVERIFY(std::chrono::steady_clock::now() - start >= 220ms);
        QCOMPARE(read(device, 5000), 32);
        QVERIFY(simulator().violations().empty());

        // What is on its way does not arrive at a device that comes back meanwhile.
        auto writing = std::async(std::launch::async, send, device, packets[3]);
        QVERIFY(writing.wait_for(50ms) == std::future_status::timeout);
        simulator().unplug();
        simulator().plug();
        QCOMPARE(writing.get(), -1);
        QCOMPARE(send(device, packets[3]), -1);
        QCOMPARE(simulator().packets().size(), std::size_t{2});
        QCOMPARE(simulator().violations().size(), std::size_t{2});
    }
};

QTEST_GUILESS_MAIN(SimulatorTest)
#include "tst_simulator.moc"
