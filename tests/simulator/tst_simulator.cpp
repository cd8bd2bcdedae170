#include "device/hidapi/hidapi_additions.h"
#include "packets.h"
#include "simulator/dropin/Simulator.h"

#include <QCoreApplication>
#include <QProcess>
#include <QTest>

#include <future>

using namespace std::chrono_literals;
using Report = std::array<unsigned char, 64>;

namespace {

sim::Simulator &simulator()
{
    return sim::Simulator::instance();
}

void configure(const char *settings)
{
    QCOMPARE(simulator().configure(settings), std::string());
}

hid_device *openFirst()
{
    return hid_open_path("/dev/velmo-sim0");
}

int send(hid_device *device, const Packet &packet)
{
    return hid_write(device, packet.data(), packet.size());
}

int read(hid_device *device, Report &report, int timeoutMs = 5000)
{
    return hid_read_timeout(device, report.data(), report.size(), timeoutMs);
}

} // namespace

/// The HID library's functions over the simulated bus, on the real clock.
class SimulatorTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { configure(""); }

    void aBadEnvironmentEndsTheProcess_data()
    {
        QTest::addColumn<QString>("value");
        QTest::newRow("VELMO_SIM") << "device=0010";
        QTest::newRow("VELMO_SIM_TRACE") << "/nonexistent/trace";
    }

    void aBadEnvironmentEndsTheProcess()
    {
        QFETCH(QString, value);
        const QString variable = QString::fromLatin1(QTest::currentDataTag());
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.insert(variable, value);
        QProcess process;
        process.setProcessEnvironment(environment);
        process.start(QCoreApplication::applicationFilePath(), {"anUnplugWakesTheReader"});
        QVERIFY(process.waitForFinished());
        QCOMPARE(process.exitCode(), 78);
        const QByteArray error = process.readAllStandardError();
        QVERIFY2(error.startsWith(variable.toLatin1() + ": "), error.constData());
        QCOMPARE(error.count('\n'), 1);
    }

    void anUnplugWakesTheReader()
    {
        configure("unplug-after=100");
        hid_device *const device = openFirst();
        Report report{};
        QCOMPARE(read(device, report, 3600000), -1); // or the test's time is over
        QVERIFY(openFirst() == nullptr);
    }

    void aCloseWakesTheReader()
    {
        hid_device *const device = openFirst();
        auto reading = std::async(std::launch::async, [device] {
            Report report{};
            return read(device, report, -1);
        });
        QVERIFY(reading.wait_for(50ms) == std::future_status::timeout);
        hid_close(device);
        QCOMPARE(reading.get(), -1);
    }

    void failsTheCallsThatAreAsked()
    {
        configure("devices=046D:c31c,0065;packet-time=20;slow-writes=3,4;slow-time=200;"
                  "fail-writes=2;short-reads=2;answer-delay=0");
        hid_device *const device = hid_open_path("/dev/velmo-sim1");
        const auto packets = packetsOf({64, 64, 64});
        Report report{};
        auto start = std::chrono::steady_clock::now();
        QCOMPARE(send(device, packets[1]), 65);
        QVERIFY(std::chrono::steady_clock::now() - start >= 20ms);
        QCOMPARE(read(device, report), 64);
        QCOMPARE(send(device, packets[2]), -1);
        start = std::chrono::steady_clock::now();
        QCOMPARE(send(device, packets[2]), 65);
        QVERIFY(std::chrono::steady_clock::now() - start >= 200ms);
        QCOMPARE(read(device, report), 32);
        QCOMPARE(simulator().packets().size(), std::size_t{2});
        QVERIFY(simulator().violations().empty());

        // What is on its way does not arrive at a device that comes back meanwhile.
        auto writing = std::async(std::launch::async, [&] { return send(device, packets[3]); });
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
