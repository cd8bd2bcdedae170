#include "device/CDeviceManager.h"
#include "tests/support/PlainProtocol.h"

#include <QTest>

#include <future>
#include <map>
#include <thread>

namespace {

/// A device without a bus. The test sets what is present, opens, and can be read or
/// written.
class FakeDevice : public ICommunicateDevice
{
public:
    /// The latest one that the manager under test has created.
    static inline FakeDevice *last = nullptr;

    FakeDevice() { last = this; }
    bool init() override { return true; }
    const void *findDevice(std::uint32_t /*vid*/, std::uint32_t pid,
                           std::uint32_t /*option*/) override
    {
        const auto at = present.find(pid);
        return at == present.end() ? nullptr : &at->second;
    }
    bool getDeviceInfo(const void *record, char *pathOut, std::uint32_t *vidOut,
                       std::uint32_t *pidOut) override
    {
        *pidOut = *static_cast<const std::uint32_t *>(record);
        *vidOut = microphoneVendorId;
        const std::string path = "/dev/" + std::to_string(*pidOut);
        std::memcpy(pathOut, path.c_str(), path.size() + 1);
        return true;
    }
    int getVid() override { return 0; }
    int getPid() override { return 0; }
    bool isOpen() override { return reportsOpen; }
    const char *getProductName() override { return ""; }
    bool open(const char *path, std::uint32_t /*vid*/, std::uint32_t pid,
              std::uint32_t /*option*/) override
    {
        openPath = path;
        openPid = pid;
        return openResult;
    }
    void close() override { ++closes; }
    bool write(const std::uint8_t *data, std::size_t length) override
    {
        writes.append(QByteArray(reinterpret_cast<const char *>(data), static_cast<int>(length)));
        ++writeCount;
        return canWrite;
    }
    bool waitRead(bool /*flag*/, int /*ignored*/) override
    {
        ++waitReads;
        return false;
    }
    bool read(std::uint8_t *destination, int /*ignored*/) override
    {
        std::copy(report.begin(), report.end(), destination);
        return !report.isEmpty();
    }
    int getMaxInputReportLen() override { return 64; }
    const char *getPath() override { return openPath.c_str(); }
    void registerNotify(NotifyCallback callback, void *context) override
    {
        notify = callback;
        notifyContext = context;
    }

    /// Maps a model's product id to that of the device that is found for it.
    std::map<std::uint32_t, std::uint32_t> present;
    bool openResult = false;
    bool reportsOpen = false;
    bool canWrite = true;
    std::uint32_t openPid = 0;
    std::string openPath;
    int closes = 0;
    int waitReads = 0;
    QByteArray report;
    QList<QByteArray> writes;
    /// Incremented on the sender's thread.
    std::atomic<int> writeCount{0};
    NotifyCallback notify = nullptr;
    void *notifyContext = nullptr;
};

QByteArray reply(char key1, char key2, bool valid)
{
    QByteArray bytes(64, '\0');
    bytes[6] = key1;
    bytes[7] = key2;
    bytes[10] = valid ? '\0' : '\1'; // checksum
    return bytes;
}

} // namespace

/// Connecting, sending with retries, matching replies, and the hot-plug handler.
class ManagerTest : public QObject
{
    Q_OBJECT

private:
    using Manager = CDeviceManager<FakeDevice>;
    std::unique_ptr<PlainProtocol> protocol;
    std::unique_ptr<Manager> manager;
    FakeDevice *device = nullptr;
    std::array<std::uint8_t, 64> buffer{};

    /// Sends a command of 12 bytes with keys 1 and 2 and returns its status.
    int send(std::uint8_t kind)
    {
        const std::array<std::uint8_t, 12> command = {0, 0, 0, 0, 0, kind, 1, 2};
        std::array<std::uint8_t, 64> unused{};
        unused.fill(9);
        const int status = manager->sendAndWait(command.data(), unused.data(), 3, command.size());
        return unused == std::array<std::uint8_t, 64>{} ? status : 0;
    }

    /// The same on another thread. Returns when that thread waits for the reply.
    std::future<int> sendInBackground(std::uint8_t kind)
    {
        auto status = std::async(std::launch::async, [=] { return send(kind); });
        while (device->writeCount == 0)
            std::this_thread::yield();
        return status;
    }

private slots:
    void init()
    {
        protocol = std::make_unique<PlainProtocol>();
        manager = std::make_unique<Manager>();
        QVERIFY(manager->init());
        device = FakeDevice::last;
        manager->setProtocol(protocol.get());
    }

    // The protocol must outlive the manager, which may still notify it.
    void cleanup() { manager.reset(); }

    void a_present_model_is_opened()
    {
        QVERIFY(!manager->connectFirst());
        QVERIFY(manager->listDevicePids().isEmpty());

        device->present = {{0x0101, 11}, {0x0102, 16}};
        QVERIFY(!manager->connectFirst()); // it does not open
        QCOMPARE(protocol->connects, 0);
        device->openResult = true;
        QVERIFY(manager->connectFirst());
        QCOMPARE(device->getPath(), "/dev/11");
        QCOMPARE(protocol->connects, 1);
        QVERIFY(!manager->isConnected()); // because the device says so
        QVERIFY(manager->connectByPid(16));
        QCOMPARE(device->getPath(), "/dev/16");
        QCOMPARE(device->openPid, 16U);
        // 0x0102 is a product id of the list, not of a device.
        QVERIFY(!manager->connectByPid(0x0102));
        QCOMPARE(manager->listDevicePids(), (QList<int>{0x0101, 0x0102}));
        device->reportsOpen = true; // it is then not opened again
        QVERIFY(manager->connectFirst());
        QCOMPARE(device->getPath(), "/dev/16");
    }

    void a_command_without_answer_is_written_three_times()
    {
        for (const bool canWrite : {true, false}) {
            device->canWrite = canWrite;
            device->writes.clear();
            QElapsedTimer timer;
            timer.start();
            QCOMPARE(send(4), -100);
            QVERIFY(timer.elapsed() >= (canWrite ? 1200 : 1500));
            QCOMPARE(device->writes.size(), 3);
            QCOMPARE(device->writes.last().size(), 12);
        }
    }

    void replies_are_matched_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<int>("status");
        QTest::newRow("same keys, valid") << 4 << reply(1, 2, true) << 1;
        QTest::newRow("other first key") << 4 << reply(9, 2, true) << -201;
        QTest::newRow("other second key") << 4 << reply(1, 9, true) << -201;
        QTest::newRow("not valid") << 4 << reply(1, 2, false) << -301;
        QTest::newRow("not valid wins over other keys") << 4 << reply(9, 9, false) << -301;
        QTest::newRow("other kind, anything") << 5 << reply(9, 9, false) << 1;
    }

    void replies_are_matched()
    {
        QFETCH(int, kind);
        QFETCH(int, status);
        QFETCH(QByteArray, answer);
        device->report = answer;
        auto sent = sendInBackground(static_cast<std::uint8_t>(kind));
        const bool received = manager->receive(buffer.data(), 3, 64);
        QCOMPARE(sent.get(), status);
        QVERIFY(received);
        QCOMPARE(device->writes.size(), status == 1 ? 1 : 3);
        QVERIFY(std::memcmp(buffer.data(), answer.constData(), buffer.size()) == 0);
        // The next command without a reply returns this status again.
        if (status != 1)
            QCOMPARE(send(4), status);
    }

    void a_disconnect_ends_the_wait_as_answered()
    {
        auto sent = sendInBackground(4);
        QElapsedTimer timer;
        timer.start();
        manager->disconnect();
        QVERIFY(timer.elapsed() >= 500);
        QCOMPARE(sent.get(), 1);
        QCOMPARE(device->closes, 1);
        QCOMPARE(protocol->disconnects, 1);
    }

    void packets_go_out_once_and_never_report_success()
    {
        std::array<std::uint8_t, 500> packet{};
        int result = 7;
        QVERIFY(!manager->sendNoWait(packet.data(), buffer.data(), 0));
        QVERIFY(!manager->sendAndReadOnce(packet.data(), &result, 3, packet.size()));
        QCOMPARE(device->writes, (QList<QByteArray>{QByteArray(65, '\0'), QByteArray(500, '\0')}));
        QCOMPARE(result, 0);
        QCOMPARE(device->waitReads, 1);
        device->canWrite = false;
        QVERIFY(!manager->sendAndReadOnce(packet.data(), &result, 3, packet.size()));
        QCOMPARE(device->waitReads, 1);
        QElapsedTimer timer;
        timer.start();
        QVERIFY(!manager->sendNoWait(packet.data(), buffer.data(), 0));
        QVERIFY(timer.elapsed() >= 200);
    }

    void a_frame_is_completed_before_it_is_written()
    {
        QVERIFY(manager->sendWithRetries(buffer.data()));
        QCOMPARE(device->writes, QList<QByteArray>{QByteArray(9, '\0') + QByteArray("\xFF\0", 2)});
        device->canWrite = false;
        QVERIFY(!manager->sendWithRetries(buffer.data()));
        QCOMPARE(device->writes.size(), 1 + 5);
    }

    void arrivals_and_removals_data()
    {
        QTest::addColumn<QByteArray>("path");
        QTest::addColumn<int>("removal");
        QTest::addColumn<int>("vid");
        QTest::addColumn<int>("connects");
        QTest::addColumn<int>("closes");
        const QByteArray other("/dev/New");
        QTest::newRow("our vendor arrives, any product") << other << 0 << 0x3C9E << 2 << 0;
        QTest::newRow("another vendor arrives") << other << 0 << 0x046D << 1 << 0;
        QTest::newRow("ours goes") << QByteArray("/DEV/mIC") << 1 << 0x3C9E << 1 << 1;
        QTest::newRow("another device goes") << other << 1 << 0x3C9E << 1 << 0;
    }

    void arrivals_and_removals()
    {
        QFETCH(QByteArray, path);
        QFETCH(int, removal);
        QFETCH(int, vid);
        QFETCH(int, closes);
        device->openResult = true;
        QVERIFY(manager->connect("/dev/Mic", 0x3C9E, 0x000B));
        const auto announce = [&](void *context) {
            device->notify(path.constData(), removal, static_cast<std::uint16_t>(vid), 1, context);
        };
        announce(nullptr); // is ignored
        QCOMPARE(protocol->disconnects, 0);
        announce(device->notifyContext);
        QTEST(protocol->connects, "connects");
        QCOMPARE(device->closes, closes);
        QCOMPARE(protocol->disconnects, closes);
        if (closes == 0)
            return;
        // The device keeps its path, so a second notice closes and notifies again.
        announce(device->notifyContext);
        QCOMPARE(protocol->disconnects, 2);
        manager->setProtocol(nullptr);
        announce(device->notifyContext);
        QCOMPARE(device->closes, 2);
    }

    void an_open_device_is_closed_at_the_end()
    {
        for (const bool open : {false, true}) {
            init();
            device->reportsOpen = open;
            manager.reset();
            QCOMPARE(protocol->disconnects, open ? 1 : 0);
        }
    }
};

QTEST_GUILESS_MAIN(ManagerTest)
#include "tst_manager.moc"
