#include "device/CDeviceManager.h"
#include "device/CHidBase.h"
#include "tests/support/PlainProtocol.h"

#include <QTest>

#include <future>
#include <thread>

namespace {

/// A device without a bus. The test sets what is present, opens, and can be read or
/// written.
class FakeDevice : public CHidBase
{
public:
    /// The latest one that the manager under test has created.
    static inline FakeDevice *last = nullptr;

    FakeDevice() { last = this; }
    bool init() override { return true; }
    const void *findDevice(std::uint32_t /*vid*/, std::uint32_t modelPid,
                           std::uint32_t /*option*/) override
    {
        record.path = path.data();
        record.product_id = present.value(modelPid);
        return record.product_id != 0 ? &record : nullptr;
    }
    bool isOpen() override { return reportsOpen; }
    bool open(const char *newPath, std::uint32_t /*vid*/, std::uint32_t newPid,
              std::uint32_t /*option*/) override
    {
        path = newPath;
        openPid = newPid;
        return openResult;
    }
    void close() override { ++closes; }
    bool write(const std::uint8_t *data, std::size_t length) override
    {
        writes.append(QByteArray(reinterpret_cast<const char *>(data), static_cast<int>(length)));
        ++writeCount;
        return canWrite;
    }
    bool waitRead(bool /*flag*/, int /*ignored*/) override { return ++waitReads == 0; }
    bool read(std::uint8_t *destination, int /*ignored*/) override
    {
        std::copy(report.begin(), report.end(), destination);
        return !report.isEmpty();
    }
    const char *getPath() override { return path.constData(); }
    void registerNotify(NotifyCallback callback, void *context) override
    {
        notify = callback;
        notifyContext = context;
    }

    /// Maps a model's product id to that of the device that is found for it.
    QMap<std::uint32_t, unsigned short> present;
    hid_device_info record{};
    QByteArray path = "/dev/Mic";
    bool openResult = false;
    bool reportsOpen = false;
    bool canWrite = true;
    std::uint32_t openPid = 0;
    int closes = 0;
    int waitReads = 0;
    QByteArray report;
    QByteArrayList writes;
    /// Incremented on the sender's thread.
    std::atomic<int> writeCount{0};
    NotifyCallback notify = nullptr;
    void *notifyContext = nullptr;
};

} // namespace

/// Connecting, sending with retries, matching replies, and the hot-plug handler.
class ManagerTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<PlainProtocol> protocol;
    std::unique_ptr<CDeviceManager<FakeDevice>> manager;
    FakeDevice *device = nullptr;
    std::array<std::uint8_t, 64> buffer{};
    QElapsedTimer timer;

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
        manager.reset(); // before the protocol, which it may still notify
        protocol = std::make_unique<PlainProtocol>();
        manager = std::make_unique<CDeviceManager<FakeDevice>>();
        QVERIFY(manager->init());
        device = FakeDevice::last;
        manager->setProtocol(protocol.get());
        timer.start();
    }

    void cleanupTestCase() { manager.reset(); }

    void a_present_model_is_opened()
    {
        QVERIFY(!manager->connectFirst());
        QVERIFY(manager->listDevicePids().isEmpty());

        device->present = {{0x0101, 11}, {0x0102, 16}};
        QVERIFY(!manager->connectFirst()); // it does not open
        QCOMPARE(protocol->connects, 0);
        device->openResult = true;
        QVERIFY(manager->connectFirst());
        QCOMPARE(device->openPid, 11U);
        QCOMPARE(protocol->connects, 1);
        QVERIFY(!manager->isConnected()); // because the device says so
        QVERIFY(manager->connectByPid(16));
        QCOMPARE(device->openPid, 16U);
        // 0x0102 is a product id of the list, not of a device.
        QVERIFY(!manager->connectByPid(0x0102));
        QCOMPARE(manager->listDevicePids(), (QList<int>{0x0101, 0x0102}));
        device->reportsOpen = true; // it is then not opened again
        QVERIFY(manager->connectFirst());
        QCOMPARE(device->openPid, 16U);
        // It is closed at the end.
        manager.reset();
        QCOMPARE(protocol->disconnects, 1);
    }

    void a_command_without_answer_is_written_three_times()
    {
        for (const bool canWrite : {true, false}) {
            device->canWrite = canWrite;
            device->writes.clear();
            timer.start();
            QCOMPARE(send(4), -100);
            QVERIFY(timer.elapsed() >= (canWrite ? 1200 : 1500));
            QCOMPARE(device->writes.size(), 3);
            QCOMPARE(device->writes.last().size(), 12);
        }
    }

    void replies_are_matched()
    {
        // Kind of the command; keys of the reply and 0 if it is valid; status of the command.
        for (const auto &[kind, key1, key2, fault, status] :
             std::initializer_list<std::array<int, 5>>{
                 {4, 1, 2, 0, 1},
                 {4, 9, 2, 0, -201},
                 {4, 1, 9, 0, -201},
                 {4, 1, 2, 1, -301},
                 {4, 9, 9, 1, -301},
                 {5, 9, 9, 1, 1},
             }) {
            init();
            device->report = QByteArray(64, '\0');
            device->report[6] = static_cast<char>(key1);
            device->report[7] = static_cast<char>(key2);
            device->report[10] = static_cast<char>(fault); // checksum
            auto sent = sendInBackground(static_cast<std::uint8_t>(kind));
            const bool received = manager->receive(buffer.data(), 3, 64);
            QCOMPARE(sent.get(), status);
            QVERIFY(received);
            QCOMPARE(device->writes.size(), status == 1 ? 1 : 3);
            QVERIFY(std::equal(buffer.begin(), buffer.end(), device->report.begin()));
            device->report.clear();
            QVERIFY(!manager->receive(buffer.data(), 3, 64));
            // The next command without a reply returns this status again.
            if (status == -301)
                QCOMPARE(send(4), status);
        }
    }

    void a_disconnect_ends_the_wait_as_answered()
    {
        auto sent = sendInBackground(4);
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
        QCOMPARE(device->writes, (QByteArrayList{QByteArray(65, '\0'), QByteArray(500, '\0')}));
        QCOMPARE(result, 0);
        QCOMPARE(device->waitReads, 1);
        device->canWrite = false;
        QVERIFY(!manager->sendAndReadOnce(packet.data(), &result, 3, packet.size()));
        QCOMPARE(device->waitReads, 1);
        timer.start();
        QVERIFY(!manager->sendNoWait(packet.data(), buffer.data(), 0));
        QVERIFY(timer.elapsed() >= 200);
    }

    void a_frame_is_completed_before_it_is_written()
    {
        QVERIFY(manager->sendWithRetries(buffer.data()));
        QCOMPARE(device->writes, QByteArrayList{QByteArray(9, '\0') + QByteArray("\xFF\0", 2)});
        device->canWrite = false;
        QVERIFY(!manager->sendWithRetries(buffer.data()));
        QCOMPARE(device->writes.size(), 1 + 5);
    }

    void arrivals_and_removals()
    {
        // Path, removal, vendor; how often the protocol is then told of each.
        for (const QByteArray row : {
                 "/dev/New 0 3c9e: 1 0",
                 "/dev/New 0 046d: 0 0",
                 "/DEV/mIC 1 3c9e: 0 1",
                 "/dev/New 1 3c9e: 0 0",
             }) {
            init();
            device->openResult = true;
            const QByteArrayList cells = row.left(row.indexOf(':')).split(' ');
            const auto announce = [&](void *context) {
                device->notify(cells.at(0), cells.at(1).toInt(), cells.at(2).toUShort(nullptr, 16),
                               1, context);
                return QString::asprintf("%s: %d %d", cells.join(' ').constData(),
                                         protocol->connects, protocol->disconnects);
            };
            announce(nullptr); // is ignored
            QCOMPARE(announce(device->notifyContext), QString(row));
            QCOMPARE(device->closes, protocol->disconnects);
            // The device keeps its path, so a second notice closes and notifies again.
            announce(device->notifyContext);
            QCOMPARE(device->closes, row.endsWith('1') ? 2 : 0);
            manager->setProtocol(nullptr);
            announce(device->notifyContext);
            QCOMPARE(device->closes, row.endsWith('1') ? 2 : 0);
        }
    }
};

QTEST_GUILESS_MAIN(ManagerTest)
#include "tst_manager.moc"
