#include "device/hidapi/hidapi_additions.h"
#include "packets.h"
#include "simulator/Simulator.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTest>
#include <QThread>

#include <atomic>
#include <future>
#include <thread>

using namespace std::chrono_literals;
using Refusal = sim::Microphone::Refusal;

namespace {

sim::Simulator &simulator()
{
    return sim::Simulator::instance();
}

void configure(const char *settings)
{
    const std::string fault = simulator().configure(settings);
    QVERIFY2(fault.empty(), fault.c_str());
}

hid_device *openFirst()
{
    hid_device_info *const found = hid_enumerate(0x3C9E, 0);
    hid_device *const device = found != nullptr ? hid_open_path(found->path) : nullptr;
    hid_free_enumeration(found);
    return device;
}

int send(hid_device *device, const Packet &packet)
{
    return hid_write(device, packet.data(), packet.size());
}

/// The next report's byte 7, within 5 s.
int readCode(hid_device *device)
{
    std::array<unsigned char, 64> report{};
    const int size = hid_read_timeout(device, report.data(), report.size(), 5000);
    return size == 64 && report[0] == 0x4B && report[4] == 0x0B ? report[7] : -size - 1;
}

struct Notice
{
    QString path;
    int id;
    bool removal;
    QThread *thread;
};

void receive(unsigned short vid, unsigned short pid, const char *path, int removal, void *context)
{
    static_cast<std::vector<Notice> *>(context)->push_back(
        {QString::fromLatin1(path), vid << 16 | pid, removal != 0, QThread::currentThread()});
}

} // namespace

/// The HID library's functions over the simulated bus, on the real clock.
class SimulatorTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { configure(""); }
    void listsDevicesInOrder();
    void flashesWithAReaderAndAWriter();
    void aWriteTakesThePacketTime();
    void aStaleHandleAnswersAsAFailure();
    void anUnplugWakesTheReader();
    void aCloseWakesTheReader();
    void survivesOpenCloseAndUnplugUnderTraffic();
    void noticesComeOnTheRegisteringThread();
    void noticesStayOffAfterAnUnregistration();
    void aReturningMicrophoneNeedsANewHandle();
    void failsTheCallsThatAreAsked();
    void dropsTheOldestOfTooManyReports();
    void faultsConcernTheFirstOpened();
};

void SimulatorTest::listsDevicesInOrder()
{
    configure("devices=046D:C31C,0065,0011");
    hid_device_info *const all = hid_enumerate(0, 0);
    QCOMPARE(all->vendor_id, 0x046D);
    QCOMPARE(all->next->product_id, 0x0065);
    QCOMPARE(all->next->next->product_id, 0x0011);
    QVERIFY(all->next->next->next == nullptr);
    hid_device *const foreign = hid_open_path(all->path);
    hid_free_enumeration(all);
    QCOMPARE(send(foreign, Packet{0x4B}), -1);
    QCOMPARE(simulator().violations(), std::vector{Refusal::Foreign});

    hid_device *const device = hid_open(0x3C9E, 0x0011, nullptr);
    std::array<wchar_t, 6> name{};
    QCOMPARE(hid_get_manufacturer_string(device, name.data(), 4), 0);
    QCOMPARE(QString::fromWCharArray(name.data()), QStringLiteral("Vel"));
    QCOMPARE(hid_max_input_report_len(device), 64);
    QVERIFY(hid_open(0x3C9E, 0x000B, nullptr) == nullptr);
    QVERIFY(hid_error(nullptr) != nullptr);
}

void SimulatorTest::flashesWithAReaderAndAWriter()
{
    configure("packet-time=0.2;enter-time=50");
    const auto packets = packetsOf(std::vector<std::size_t>(40, 300));
    hid_device *const device = openFirst();
    std::atomic<int> verdict{0};
    std::atomic<int> answers{0};
    std::thread reader([&] {
        while (verdict == 0) {
            const int code = readCode(device);
            if (code != 1 && code != 3)
                verdict = code;
            ++answers;
        }
    });
    QCOMPARE(send(device, packets[0]), 65);
    QTRY_COMPARE(answers.load(), 1);
    std::this_thread::sleep_for(100ms); // twice the time to its upgrade mode
    for (std::size_t i = 1; i < packets.size(); ++i)
        QCOMPARE(send(device, packets[i]), 65);
    reader.join();
    QCOMPARE(verdict.load(), 5);
    const auto taken = simulator().packets();
    QCOMPARE(taken.size(), packets.size());
    for (std::size_t i = 0; i < taken.size(); ++i)
        QVERIFY(std::equal(taken[i].begin(), taken[i].end(), packets[i].begin(), packets[i].end()));
    QVERIFY(simulator().violations().empty());
    hid_close(device);
}

void SimulatorTest::aWriteTakesThePacketTime()
{
    configure("packet-time=20");
    hid_device *const device = openFirst();
    QElapsedTimer timer;
    timer.start();
    send(device, packetsOf({64})[0]);
    QVERIFY(timer.elapsed() >= 20);
}

void SimulatorTest::aStaleHandleAnswersAsAFailure()
{
    hid_device *const device = openFirst();
    hid_close(device);
    hid_close(device);
    int local = 0;
    for (hid_device *const stale :
         {device, static_cast<hid_device *>(nullptr), reinterpret_cast<hid_device *>(&local)}) {
        std::array<unsigned char, 64> report{};
        QCOMPARE(send(stale, Packet{0x4B}), -1);
        QCOMPARE(hid_read_timeout(stale, report.data(), report.size(), 1000), -1);
        QCOMPARE(hid_read(stale, report.data(), report.size()), -1);
        std::array<wchar_t, 8> name{};
        QCOMPARE(hid_get_product_string(stale, name.data(), name.size()), -1);
        QVERIFY(hid_error(stale) != nullptr);
        QCOMPARE(hid_max_input_report_len(stale), stale != nullptr ? -1 : 0);
    }
    QVERIFY(simulator().violations().empty());
}

void SimulatorTest::anUnplugWakesTheReader()
{
    configure("unplug-after=100");
    hid_device *const device = openFirst();
    std::array<unsigned char, 64> report{};
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(hid_read_timeout(device, report.data(), report.size(), 60000), -1);
    QVERIFY(timer.elapsed() >= 99 && timer.elapsed() < 30000);
    QCOMPARE(send(device, Packet{0x4B}), -1);
    QCOMPARE(simulator().violations(), std::vector{Refusal::Absent});
    QVERIFY(openFirst() == nullptr);
}

void SimulatorTest::aCloseWakesTheReader()
{
    hid_device *const device = openFirst();
    auto reading = std::async(std::launch::async, [device] {
        std::array<unsigned char, 64> report{};
        return hid_read(device, report.data(), report.size());
    });
    QVERIFY(reading.wait_for(50ms) == std::future_status::timeout);
    hid_close(device);
    QCOMPARE(reading.get(), -1);
}

void SimulatorTest::survivesOpenCloseAndUnplugUnderTraffic()
{
    configure("packet-time=0");
    std::atomic<hid_device *> shared{nullptr};
    std::atomic<bool> over{false};
    std::atomic<int> failures{0};
    const Packet entry = packetsOf({64})[0];
    std::thread writer([&] {
        while (!over)
            if (send(shared, entry) < 0)
                ++failures;
    });
    std::thread reader([&] {
        std::array<unsigned char, 64> report{};
        while (!over)
            if (hid_read_timeout(shared, report.data(), report.size(), 5) < 0)
                ++failures;
    });
    for (int round = 0; round < 50; ++round) {
        shared = openFirst();
        QVERIFY(shared.load() != nullptr);
        std::this_thread::sleep_for(1ms);
        if (round % 2 == 0)
            simulator().unplug();
        hid_close(shared);
        simulator().plug();
    }
    over = true;
    writer.join();
    reader.join();
    QVERIFY(failures > 0);
}

void SimulatorTest::noticesComeOnTheRegisteringThread()
{
    configure("vanish=yes;return-as=0010;enter-time=140;replug-path=new");
    std::vector<Notice> first;
    std::vector<Notice> notices;
    hid_register_device_notification(receive, &first);
    hid_register_device_notification(receive, &notices);
    QCOMPARE(send(openFirst(), packetsOf({64})[0]), 65);
    QTRY_COMPARE(notices.size(), std::size_t{2});
    QVERIFY(first.empty());
    QVERIFY(notices[0].removal);
    QCOMPARE(notices[0].id, 0x3C9E000B);
    QVERIFY(!notices[1].removal);
    QCOMPARE(notices[1].id, 0x3C9E0010);
    QVERIFY(notices[0].path != notices[1].path);
    QCOMPARE(notices[1].thread, thread());
    hid_device *const device = hid_open_path(notices[1].path.toLatin1().constData());
    QVERIFY(device != nullptr);
}

void SimulatorTest::noticesStayOffAfterAnUnregistration()
{
    std::vector<Notice> notices;
    hid_register_device_notification(nullptr, nullptr); // of nothing: does nothing
    hid_register_device_notification(receive, &notices);
    simulator().unplug();
    QVERIFY(notices.empty()); // not before the event loop runs
    QTRY_COMPARE(notices.size(), std::size_t{1});
    hid_register_device_notification(nullptr, nullptr);
    hid_register_device_notification(receive, &notices);
    simulator().plug();
    QCoreApplication::processEvents();
    QCoreApplication::processEvents();
    QCOMPARE(notices.size(), std::size_t{1});
}

void SimulatorTest::aReturningMicrophoneNeedsANewHandle()
{
    hid_device *const old = openFirst();
    const auto packets = packetsOf({64});
    simulator().inject({0x4B});
    simulator().unplug();
    simulator().plug(std::nullopt, true);
    std::array<unsigned char, 64> report{};
    QCOMPARE(hid_read_timeout(old, report.data(), report.size(), 1000), -1);
    QCOMPARE(send(old, packets[1]), -1);
    QCOMPARE(simulator().violations(), std::vector{Refusal::Absent});
    hid_device *const fresh = openFirst();
    QCOMPARE(send(fresh, packets[1]), 65);
    QCOMPARE(readCode(fresh), 3);
}

void SimulatorTest::failsTheCallsThatAreAsked()
{
    configure("devices=0065;fail-writes=2;fail-reads=2;short-reads=2;answer-delay=0");
    hid_device *const device = openFirst();
    const auto packets = packetsOf({64, 64, 64});
    std::array<unsigned char, 64> report{};
    const auto read = [&] { return hid_read_timeout(device, report.data(), report.size(), 5000); };
    QCOMPARE(send(device, packets[1]), 65);
    QCOMPARE(read(), 64);
    QCOMPARE(send(device, packets[2]), -1);
    QCOMPARE(read(), -1);
    QCOMPARE(send(device, packets[2]), 65);
    QCOMPARE(read(), 32);
    QCOMPARE(simulator().packets().size(), std::size_t{2});
    QVERIFY(simulator().violations().empty());
}

void SimulatorTest::dropsTheOldestOfTooManyReports()
{
    hid_device *const device = openFirst();
    for (int i = 0; i < 66; ++i)
        simulator().inject({static_cast<std::uint8_t>(i)});
    std::array<unsigned char, 64> report{};
    hid_set_nonblocking(device, 1);
    for (int i = 2; i < 66; ++i) {
        QCOMPARE(hid_read(device, report.data(), report.size()), 64);
        QCOMPARE(int{report[0]}, i);
    }
    QCOMPARE(hid_read(device, report.data(), report.size()), 0);
}

void SimulatorTest::faultsConcernTheFirstOpened()
{
    configure("devices=0065,0065;unplug-at=1");
    hid_device_info *const all = hid_enumerate(0, 0);
    hid_device *const second = hid_open_path(all->next->path);
    hid_device *const first = hid_open_path(all->path);
    hid_free_enumeration(all);
    const auto packets = packetsOf({64, 64});
    for (std::size_t i = 1; i <= 2; ++i) {
        QCOMPARE(send(first, packets[i]), 65);
        QCOMPARE(send(second, packets[i]), i == 1 ? 65 : -1);
    }
}

QTEST_GUILESS_MAIN(SimulatorTest)
#include "tst_simulator.moc"
