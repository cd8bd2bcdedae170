#include "device/hidapi/hidapi_additions.h"
#include "packets.h"
#include "simulator/Simulator.h"

#include <QCoreApplication>
#include <QProcess>
#include <QTest>
#include <QThread>

#include <atomic>
#include <future>
#include <thread>

using namespace std::chrono_literals;
using Refusal = sim::Microphone::Refusal;
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
    return hid_open(sim::microphoneVendor, 0, nullptr);
}

int send(hid_device *device, const Packet &packet)
{
    return hid_write(device, packet.data(), packet.size());
}

int read(hid_device *device, Report &report, int timeoutMs = 5000)
{
    return hid_read_timeout(device, report.data(), report.size(), timeoutMs);
}

void receive(unsigned short vid, unsigned short pid, const char *path, int removal, void *context)
{
    const bool inTheLoop = QThread::currentThread() == QCoreApplication::instance()->thread();
    static_cast<QStringList *>(context)->append(QString::asprintf(
        "%04X:%04X %s %d %s", vid, pid, path, removal, inTheLoop ? "in the loop" : "elsewhere"));
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
        process.start(QCoreApplication::applicationFilePath(), {"aStaleHandleAnswersAsAFailure"});
        QVERIFY(process.waitForFinished());
        QCOMPARE(process.exitCode(), 78);
        const QByteArray error = process.readAllStandardError();
        QVERIFY2(error.startsWith(variable.toLatin1() + ": "), error.constData());
        QCOMPARE(error.count('\n'), 1);
    }

    void aStaleHandleAnswersAsAFailure()
    {
        hid_device *const device = openFirst();
        hid_close(device);
        hid_close(device);
        int local = 0;
        for (hid_device *const stale :
             {device, static_cast<hid_device *>(nullptr), reinterpret_cast<hid_device *>(&local)}) {
            Report report{};
            QCOMPARE(send(stale, Packet{0x4B}), -1);
            QCOMPARE(read(stale, report), -1);
            QCOMPARE(hid_read(stale, report.data(), report.size()), -1);
            QVERIFY(hid_error(stale) != nullptr);
            QCOMPARE(hid_max_input_report_len(stale), stale != nullptr ? -1 : 0);
        }
        QVERIFY(simulator().violations().empty());
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
            return hid_read(device, report.data(), report.size());
        });
        QVERIFY(reading.wait_for(50ms) == std::future_status::timeout);
        hid_close(device);
        QCOMPARE(reading.get(), -1);
    }

    void survivesOpenCloseAndUnplugUnderTraffic()
    {
        configure("packet-time=0");
        std::atomic<hid_device *> shared{nullptr};
        std::atomic<bool> over{false};
        std::atomic<int> failures{0};
        const auto repeat = [&](auto call) {
            return std::async(std::launch::async, [&, call] {
                while (!over)
                    failures += call() < 0 ? 1 : 0;
            });
        };
        auto writing = repeat([&] { return send(shared, Packet{0x4B, 1, 11}); });
        auto reading = repeat([&] {
            Report report{};
            return read(shared, report, 5);
        });
        for (int round = 0; round < 50; ++round) {
            shared = openFirst();
            QTest::qSleep(1);
            if (round % 2 == 0)
                simulator().unplug();
            hid_close(shared);
            simulator().plug();
        }
        over = true;
        writing.get();
        reading.get();
        QVERIFY(failures > 0);
    }

    void noticesComeOnTheRegisteringThreadUntilUnregistered()
    {
        configure("vanish=yes;replug-path=new");
        QStringList first;
        QStringList notices;
        hid_register_device_notification(nullptr, nullptr); // of nothing: does nothing
        hid_register_device_notification(receive, &first);
        hid_register_device_notification(receive, &notices);
        std::thread([] {
            simulator().unplug();
            simulator().plug(0x0010);
        }).join();
        QCOMPARE(notices, QStringList()); // not before the event loop runs
        QCoreApplication::processEvents();
        QCOMPARE(notices, QStringList({"3C9E:000B /dev/velmo-sim0 1 in the loop",
                                       "3C9E:0010 /dev/velmo-sim1 0 in the loop"}));
        QCOMPARE(first, QStringList());

        hid_register_device_notification(nullptr, nullptr);
        hid_register_device_notification(receive, &notices);
        simulator().unplug();
        QCoreApplication::processEvents();
        QCOMPARE(notices.size(), 2);
    }

    void aReturningMicrophoneNeedsANewHandle()
    {
        hid_device *const old = openFirst();
        const auto packets = packetsOf({64});
        simulator().inject({0x4B});
        simulator().unplug();
        simulator().plug(std::nullopt, true);
        Report report{};
        QCOMPARE(read(old, report), -1);
        QCOMPARE(send(old, packets[1]), -1);
        QCOMPARE(simulator().violations(), std::vector{Refusal::Absent});
        hid_device *const fresh = openFirst();
        QCOMPARE(send(fresh, packets[1]), 65);
        QCOMPARE(read(fresh, report), 64);
        QCOMPARE(int{report[7]}, 3);
    }

    void failsTheCallsThatAreAsked()
    {
        configure("devices=0065;packet-time=20;fail-writes=2;fail-reads=2;short-reads=2;"
                  "answer-delay=0");
        hid_device *const device = openFirst();
        const auto packets = packetsOf({64, 64, 64});
        Report report{};
        const auto start = std::chrono::steady_clock::now();
        QCOMPARE(send(device, packets[1]), 65);
        QVERIFY(std::chrono::steady_clock::now() - start >= 20ms);
        QCOMPARE(read(device, report), 64);
        QCOMPARE(send(device, packets[2]), -1);
        QCOMPARE(read(device, report), -1);
        QCOMPARE(send(device, packets[2]), 65);
        QCOMPARE(read(device, report), 32);
        QCOMPARE(simulator().packets().size(), std::size_t{2});
        QVERIFY(simulator().violations().empty());
    }

    void dropsTheOldestOfTooManyReports()
    {
        hid_device *const device = openFirst();
        for (int i = 0; i < 66; ++i)
            simulator().inject({static_cast<std::uint8_t>(i)});
        hid_set_nonblocking(device, 1);
        Report report{};
        for (int i = 2; hid_read(device, report.data(), report.size()) > 0; ++i)
            QCOMPARE(int{report[0]}, i);
        QCOMPARE(int{report[0]}, 65);
    }
};

QTEST_GUILESS_MAIN(SimulatorTest)
#include "tst_simulator.moc"
