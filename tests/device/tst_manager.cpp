#include "device/CDeviceManager.h"
#include "tests/support/FakeDevice.h"

#include <QElapsedTimer>
#include <QTest>

#include <memory>
#include <thread>

namespace {

/// A protocol with two models that takes a report as valid when its byte 20 says so.
class FakeProtocol : public ICommProtocol
{
public:
    bool isSupported(const void * /*ignored*/, int /*vid*/, int /*pid*/) override { return false; }
    const SupportedModel *supportedModels() override { return models.data(); }
    bool acceptFrame(std::uint8_t *frame, int length) override
    {
        frame[0] = static_cast<std::uint8_t>(length);
        return false;
    }
    std::uint8_t makeChecksum(std::uint8_t *frame) override { return frame[1] = frame[0]; }
    bool verifyReply(const std::uint8_t *reply) override { return reply[20] == 'v'; }
    void forwardFirst(std::uintptr_t /*word*/) override {}
    void forwardSecond(std::uintptr_t /*word*/) override {}
    void onDeviceEvent(std::uint32_t /*word*/) override {}
    void onDeviceConnected(ICommDeviceMgmt * /*manager*/) override { ++connects; }
    void onDeviceDisconnected() override { ++disconnects; }
    int frameLength() override { return 11; }
    int setFrameLength(int length) override { return length; }

    std::array<SupportedModel, 2> models = {
        {{{"first"}, 1, 0x0101, 0, nullptr}, {{"second"}, 1, 0x0102, 0, nullptr}}};
    std::atomic<int> connects{0};
    int disconnects = 0;
};

constexpr std::uint8_t keyedKind = 4;

/// A command of 12 bytes with kind and keys at 5, 6 and 7.
std::array<std::uint8_t, 12> command(std::uint8_t kind, std::uint8_t key1, std::uint8_t key2)
{
    return {1, 2, 3, 4, 5, kind, key1, key2, 0, 0, 0, 0};
}

QByteArray reply(char key1, char key2, bool valid)
{
    QByteArray bytes(64, '\0');
    bytes[6] = key1;
    bytes[7] = key2;
    bytes[20] = valid ? 'v' : '-';
    return bytes;
}

} // namespace

/// Connecting, sending with retries, matching replies, and the hot-plug handler.
class ManagerTest : public QObject
{
    Q_OBJECT

private:
    using Manager = CDeviceManager<FakeDevice>;
    std::unique_ptr<FakeProtocol> protocol;
    std::unique_ptr<Manager> manager;
    FakeDevice *device = nullptr;
    std::array<std::uint8_t, 64> buffer{};

    void announce(const char *path, int removal, std::uint16_t vid)
    {
        device->notify(path, removal, vid, 0x0777, device->notifyContext);
    }

private slots:
    void init()
    {
        FakeDevice::initResult = true;
        protocol = std::make_unique<FakeProtocol>();
        protocol->models[0].next = &protocol->models[1];
        manager = std::make_unique<Manager>();
        QVERIFY(manager->init());
        device = FakeDevice::last;
        manager->setProtocol(protocol.get());
    }

    void cleanup() { manager.reset(); } // before the protocol it may still tell

    void a_device_that_does_not_start_is_reported();
    void the_first_present_model_is_opened();
    void a_device_that_does_not_open_gives_no_connection();
    void only_the_asked_product_id_is_taken();
    void without_protocol_or_device_nothing_is_sent();
    void a_command_without_answer_is_written_three_times();
    void a_failed_write_is_tried_again_after_a_pause();
    void replies_are_matched_data();
    void replies_are_matched();
    void a_disconnect_ends_the_wait_as_answered();
    void packets_go_out_once_and_never_report_success();
    void a_frame_is_completed_before_it_is_written();
    void arrivals_and_removals_data();
    void arrivals_and_removals();
    void an_open_device_is_closed_at_the_end();
};

void ManagerTest::a_device_that_does_not_start_is_reported()
{
    FakeDevice::initResult = false;
    Manager other;
    QVERIFY(!other.init());
    QVERIFY(FakeDevice::last->notify == nullptr);
}

void ManagerTest::the_first_present_model_is_opened()
{
    QVERIFY(!manager->connectFirst());
    QCOMPARE(device->searches, (QList<int>{0x0101, 0x0102}));
    QVERIFY(manager->listDevicePids().isEmpty());

    device->openResult = true;
    device->present[0x0102] = {"/dev/mic", 0x3C9E, 0x000B};
    QVERIFY(manager->connectFirst());
    QCOMPARE(device->openPath, std::string("/dev/mic"));
    QCOMPARE(device->openPid, 0x000B);
    QCOMPARE(static_cast<int>(protocol->connects), 1);
    QCOMPARE(manager->listDevicePids(), QList<int>{0x0102}); // the entry's, not the device's
    QVERIFY(!manager->isConnected());                        // the device does not say it is open
}

void ManagerTest::a_device_that_does_not_open_gives_no_connection()
{
    device->present[0x0101] = {"/dev/mic", 0x3C9E, 0x000B};
    QVERIFY(!manager->connectFirst());
    QCOMPARE(static_cast<int>(protocol->connects), 0);
    device->reportsOpen = true; // then it is not opened again
    QVERIFY(manager->connectFirst());
    QVERIFY(device->openPath.empty());
}

void ManagerTest::only_the_asked_product_id_is_taken()
{
    device->openResult = true;
    device->present[0x0101] = {"/dev/mic1", 0x3C9E, 0x000B};
    device->present[0x0102] = {"/dev/mic2", 0x3C9E, 0x0010};
    QVERIFY(!manager->connectByPid(0x0102)); // the entry's id is not the device's
    QVERIFY(manager->connectByPid(0x0010));
    QCOMPARE(device->openPath, std::string("/dev/mic2"));
}

void ManagerTest::without_protocol_or_device_nothing_is_sent()
{
    auto packet = command(keyedKind, 1, 1);
    int result = 7;
    Manager bare;
    bare.setProtocol(protocol.get());
    bare.disconnect();
    manager->setProtocol(nullptr);
    for (Manager *lacking : {&bare, manager.get()}) {
        QCOMPARE(lacking->sendAndWait(packet.data(), buffer.data(), 3, 12), -1);
        QVERIFY(!lacking->sendNoWait(packet.data(), buffer.data(), 0));
        QVERIFY(!lacking->sendAndReadOnce(packet.data(), &result, 3, 12));
        QVERIFY(!lacking->sendWithRetries(packet.data()));
        QVERIFY(!lacking->receive(buffer.data(), 3, 64));
        QVERIFY(!lacking->connectFirst());
        QVERIFY(!lacking->connectByPid(1));
        QVERIFY(!lacking->connect("/dev/mic", 1, 1));
        QVERIFY(lacking->listDevicePids().isEmpty());
    }
    QCOMPARE(result, 7);
    QVERIFY(device->writes.isEmpty());
}

void ManagerTest::a_command_without_answer_is_written_three_times()
{
    device->canWrite = true;
    buffer.fill(9);
    const auto packet = command(keyedKind, 1, 2);
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(manager->sendAndWait(packet.data(), buffer.data(), 3, 12), -100);
    QVERIFY(timer.elapsed() >= 1200); // 3 x 400 ms
    QCOMPARE(device->writes.size(), 3);
    QCOMPARE(device->writes.last().size(), 12);
    QCOMPARE(*std::max_element(buffer.begin(), buffer.end()), std::uint8_t{0});
}

void ManagerTest::a_failed_write_is_tried_again_after_a_pause()
{
    const auto packet = command(keyedKind, 1, 2);
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(manager->sendAndWait(packet.data(), buffer.data(), 3, 12), -100);
    QCOMPARE(device->writes.size(), 3);
    QVERIFY(timer.elapsed() >= 1500); // 3 x 500 ms
}

void ManagerTest::replies_are_matched_data()
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

void ManagerTest::replies_are_matched()
{
    QFETCH(int, kind);
    QFETCH(QByteArray, answer);
    device->canWrite = true;
    device->reports.push_back(answer);
    const auto packet = command(static_cast<std::uint8_t>(kind), 1, 2);
    int status = 0;
    std::array<std::uint8_t, 64> unused{};
    std::thread sender(
        [&] { status = manager->sendAndWait(packet.data(), unused.data(), 3, packet.size()); });
    while (device->writeCount == 0)
        std::this_thread::yield();
    const bool received = manager->receive(buffer.data(), 3, 64);
    sender.join();
    QVERIFY(received);
    QTEST(status, "status");
    QCOMPARE(device->writes.size(), status == 1 ? 1 : 3);
    QCOMPARE(QByteArray(reinterpret_cast<const char *>(buffer.data()), 64), answer);

    if (status == 1)
        return;
    // The status is kept for the next command that gets no answer.
    QCOMPARE(manager->sendAndWait(packet.data(), unused.data(), 3, packet.size()), status);
}

void ManagerTest::a_disconnect_ends_the_wait_as_answered()
{
    device->canWrite = true;
    const auto packet = command(keyedKind, 1, 2);
    int status = 0;
    std::thread sender(
        [&] { status = manager->sendAndWait(packet.data(), buffer.data(), 3, packet.size()); });
    while (device->writeCount == 0)
        std::this_thread::yield();
    QElapsedTimer timer;
    timer.start();
    manager->disconnect();
    QVERIFY(timer.elapsed() >= 500);
    sender.join();
    QCOMPARE(status, 1);
    QCOMPARE(device->closes, 1);
    QCOMPARE(protocol->disconnects, 1);
}

void ManagerTest::packets_go_out_once_and_never_report_success()
{
    std::array<std::uint8_t, 500> packet{};
    int result = 7;
    device->canWrite = true;
    QVERIFY(!manager->sendNoWait(packet.data(), buffer.data(), 0));
    QVERIFY(!manager->sendAndReadOnce(packet.data(), &result, 3, packet.size()));
    QCOMPARE(device->writes.size(), 2);
    QCOMPARE(device->writes.at(0).size(), 65);
    QCOMPARE(device->writes.at(1).size(), 500);
    QCOMPARE(result, 0);
    QCOMPARE(device->waitReads, 1);
    device->canWrite = false;
    QVERIFY(!manager->sendAndReadOnce(packet.data(), &result, 3, packet.size()));
    QCOMPARE(device->waitReads, 1); // nothing to wait for
    QElapsedTimer timer;
    timer.start();
    QVERIFY(!manager->sendNoWait(packet.data(), buffer.data(), 0));
    QVERIFY(timer.elapsed() >= 200);
}

void ManagerTest::a_frame_is_completed_before_it_is_written()
{
    std::array<std::uint8_t, 11> frame{};
    QVERIFY(!manager->sendWithRetries(frame.data()));
    QCOMPARE(device->writes.size(), 5);
    device->canWrite = true;
    QVERIFY(manager->sendWithRetries(frame.data()));
    QCOMPARE(device->writes.size(), 6);
    QCOMPARE(device->writes.last(), QByteArray("\x0B\x0B\0\0\0\0\0\0\0\0\0", 11));
}

void ManagerTest::arrivals_and_removals_data()
{
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<int>("removal");
    QTest::addColumn<int>("vid");
    QTest::addColumn<int>("connects");
    QTest::addColumn<int>("closes");
    QTest::newRow("our vendor arrives, any product")
        << QByteArray("/dev/New") << 0 << 0x3C9E << 2 << 0;
    QTest::newRow("another vendor arrives") << QByteArray("/dev/New") << 0 << 0x046D << 1 << 0;
    QTest::newRow("ours goes") << QByteArray("/dev/Mic") << 1 << 0x3C9E << 1 << 1;
    QTest::newRow("ours goes, other letter case")
        << QByteArray("/DEV/mIC") << 1 << 0x3C9E << 1 << 1;
    QTest::newRow("another device goes") << QByteArray("/dev/Mic2") << 1 << 0x3C9E << 1 << 0;
}

void ManagerTest::arrivals_and_removals()
{
    QFETCH(QByteArray, path);
    QFETCH(int, removal);
    QFETCH(int, vid);
    QFETCH(int, connects);
    QFETCH(int, closes);
    device->openResult = true;
    QVERIFY(manager->connect("/dev/Mic", 0x3C9E, 0x000B));

    device->notify(path.constData(), removal, static_cast<std::uint16_t>(vid), 1, nullptr);
    QCOMPARE(protocol->disconnects, 0); // for nobody
    announce(path.constData(), removal, static_cast<std::uint16_t>(vid));
    QCOMPARE(static_cast<int>(protocol->connects), connects);
    QCOMPARE(device->closes, closes);
    QCOMPARE(protocol->disconnects, closes);
    if (closes == 0)
        return;
    // The path stays, so a second notice closes and tells again.
    announce(path.constData(), removal, static_cast<std::uint16_t>(vid));
    QCOMPARE(protocol->disconnects, 2);

    manager->setProtocol(nullptr);
    announce(path.constData(), removal, static_cast<std::uint16_t>(vid));
    QCOMPARE(device->closes, 2);
}

void ManagerTest::an_open_device_is_closed_at_the_end()
{
    manager.reset();
    QCOMPARE(protocol->disconnects, 0);
    manager = std::make_unique<Manager>();
    QVERIFY(manager->init());
    manager->setProtocol(protocol.get());
    FakeDevice::last->reportsOpen = true;
    manager.reset();
    QCOMPARE(protocol->disconnects, 1);
}

QTEST_GUILESS_MAIN(ManagerTest)
#include "tst_manager.moc"
