#include "device/CDeviceManager.h"
#include "device/CHidBase.h"
#include "device/deviceSelection.h"
#include "simulator/dropin/Simulator.h"
#include "upgrade/CFirmwareUpgradeProtocol.h"

#include <QElapsedTimer>
#include <QTest>

#include <functional>
#include <memory>

namespace {

/// Implements the protocol's notifications by counting them.
class PlainProtocol : public CFirmwareUpgradeProtocol
{
public:
    void onDeviceEvent(std::uint32_t /*word*/) override {}
    void onDeviceConnected(ICommDeviceMgmt * /*manager*/) override { ++connects; }
    void onDeviceDisconnected() override { ++disconnects; }
    int connects = 0;
    int disconnects = 0;
};

/// Records what the manager does with it.
class RecordingDevice : public CHidBase
{
public:
    bool write(const std::uint8_t *data, std::size_t length) override
    {
        writes.append(QByteArray(reinterpret_cast<const char *>(data), static_cast<int>(length)));
        const bool written = CHidBase::write(data, length);
        if (onWrite)
            onWrite();
        return written;
    }
    void registerNotify(NotifyCallback callback, void * /*context*/) override { notify = callback; }

    QByteArrayList writes;
    /// Does what other threads do while the sender waits for a reply.
    std::function<void()> onWrite;
    NotifyCallback notify = nullptr;
};

} // namespace

/// The device over the simulated bus, and its manager: connecting, sending with retries,
/// matching replies, and the hot-plug handler.
class HidDeviceTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<PlainProtocol> protocol;
    std::unique_ptr<CDeviceManager<RecordingDevice>> manager;
    RecordingDevice *device = nullptr;
    sim::InputReport report{};
    QElapsedTimer timer;
    sim::Simulator &bus = sim::Simulator::instance();

    bool read() { return device->read(report.data(), 10); }

    /// Finds and opens the microphone that the path selects.
    bool openFor(const char *firmwarePath)
    {
        selectMicrophoneFor(firmwarePath);
        return manager->connectFirst();
    }

    /// Sends a command of 12 bytes with keys 1 and 2 and returns its status.
    int send(int kind)
    {
        const std::array<std::uint8_t, 12> command = {
            0, 0, 0, 0, 0, static_cast<std::uint8_t>(kind), 1, 2};
        sim::InputReport unused{};
        unused.fill(9);
        const int status = manager->sendAndWait(command.data(), unused.data(), 3, command.size());
        return unused == sim::InputReport{} ? status : 0;
    }

private slots:
    void init()
    {
        manager.reset(); // before the protocol, which it may still notify
        protocol = std::make_unique<PlainProtocol>();
        QCOMPARE(bus.configure("devices=000B,0010;short-reads=4"), std::string());
        manager = std::make_unique<CDeviceManager<RecordingDevice>>();
        QVERIFY(manager->init());
        manager->setProtocol(protocol.get());
        device = static_cast<RecordingDevice *>(manager->getDevice());
        timer.start();
    }

    void cleanupTestCase() { manager.reset(); }

    void the_path_decides_which_microphone_is_found()
    {
        // Path, devices, product id.
        for (const QString row : {
                 "TB210.bin 046D:000B,0065,0011,0010,000B B",
                 "/otg/R5.bin 0065,0011,0010,000B 65", // the one listed first
                 "R5_otg.bin 0011,0065 11",
                 "r5_otg.bin 0065,0011,0010,000B B",
                 "R5_OTG.bin 0065,0011,0010,000B 10",
                 "TB210.bin 046D:000B,0010,0011,0065 0",
             }) {
            const QStringList cells = row.split(' ');
            QCOMPARE(bus.configure("devices=" + cells.at(1).toStdString()), std::string());
            device->close();
            const int found = openFor(qPrintable(cells.first())) ? device->getPid() : 0;
            QCOMPARE(row.left(row.lastIndexOf(' ')) + QString::asprintf(" %X", found), row);
            QCOMPARE(bool{g_otgAltPid}, row.endsWith("65"));
        }
        g_selR5 = true; // two flags select nothing
        QVERIFY(!manager->connectFirst());
    }

    void what_cannot_be_opened_is_refused()
    {
        QVERIFY(!device->open(nullptr, 1, 1, 0));
        QVERIFY(!CHidBase().open("/dev/velmo-sim0", 1, 1, 0)); // not initialised
        QVERIFY(!device->write(report.data(), report.size()));
        QVERIFY(!read() && !device->waitRead(false, 0));
        std::array<char, ICommunicateDevice::pathBufferSize> path{};
        std::uint32_t id = 0;
        QVERIFY(!device->getDeviceInfo(nullptr, path.data(), &id, &id));
        std::string longPath(path.size(), 'x'); // leaves no room for the path's end
        hid_device_info record{};
        record.path = longPath.data();
        QVERIFY(!device->getDeviceInfo(&record, path.data(), &id, &id));
        QVERIFY(protocol->isSupported(nullptr, 0x31B2, 0x0011));
        QVERIFY(!protocol->isSupported(nullptr, 0x31B2, 0x0100));
    }

    void an_open_device_stays_the_one_it_is()
    {
        QVERIFY(openFor("a.bin"));
        QVERIFY(!device->isOpen()); // compares the vendor id with 0
        QVERIFY(openFor("R5.bin"));
        for (const bool open : {true, false}) {
            QCOMPARE(device->getPath(), "/dev/velmo-sim0");
            QCOMPARE(device->getVid(), 0x3C9E);
            QCOMPARE(device->getPid(), 0x000B);
            QCOMPARE(device->getMaxInputReportLen(), open ? 64 : 0);
            QCOMPARE(qstrlen(device->getProductName()) > 0, open);
            device->close();
        }
        QVERIFY(openFor("R5.bin"));
        QCOMPARE(device->getPath(), "/dev/velmo-sim1");
    }

    void reports_are_read_whole()
    {
        QVERIFY(openFor("a.bin"));
        for (std::uint8_t number = 1; number <= 4; ++number) {
            sim::InputReport each{};
            each.fill(number);
            bus.inject(each);
        }
        const auto count = [this](int byte) {
            return static_cast<int>(std::count(report.begin(), report.end(), byte));
        };
        QVERIFY(device->read(nullptr, 10)); // discards one
        QVERIFY(read());
        QCOMPARE(count(2), 64);
        QVERIFY(device->waitRead(false, 0)); // discards one, too
        QVERIFY(read());                     // a short one ends in zeros
        QCOMPARE(count(4), 32);
        QCOMPARE(count(0), 32);

        timer.start();
        QVERIFY(!read());
        QVERIFY(timer.elapsed() >= 63);
        QVERIFY(timer.restart() < 500);
        QVERIFY(!device->waitRead(false, 0));
        QVERIFY(timer.elapsed() >= 1023);

        bus.unplug();
        QVERIFY(!read() && !device->waitRead(false, 0));
        QVERIFY(hid_open_path("/dev/velmo-sim0") == nullptr);
        bus.plug(); // for an open device this changes nothing
        bus.inject({});
        QVERIFY(!read());
        QVERIFY(device->write(report.data(), report.size())); // nevertheless
        QCOMPARE(bus.violations(), {sim::Microphone::Refusal::Absent});
    }

    void the_microphone_is_connected_whatever_model_is_listed()
    {
        QVERIFY(!openFor("R5_otg.bin"));
        QVERIFY(manager->listDevicePids().isEmpty());
        QVERIFY(!manager->connect("/none", 0x3C9E, 0x000B));
        selectMicrophoneFor("R5.bin");
        QVERIFY(!manager->connectByPid(0x0100)); // an id of the list, not of a device
        QCOMPARE(protocol->connects, 0);
        QVERIFY(manager->connectByPid(0x0010));
        QCOMPARE(protocol->connects, 1);
        QVERIFY(!manager->isConnected()); // because the device says so
        QCOMPARE(manager->listDevicePids(),
                 (QList<int>{0x006A, 0x0101, 0x0011, 0x0100, 0x0102, 0x0103}));
    }

    void a_command_without_answer_is_written_three_times()
    {
        for (const bool open : {false, true}) {
            QCOMPARE(openFor(open ? "a.bin" : "R5_otg.bin"), open);
            device->writes.clear();
            timer.start();
            QCOMPARE(send(4), -100);
            QVERIFY(timer.elapsed() >= (open ? 1200 : 1500));
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
            QVERIFY(openFor("a.bin"));
            sim::InputReport reply{};
            reply[0] = reply[9] = reply[1] = 1;
            reply[5] = 4; // in other groups the sum must be 0
            reply[6] = static_cast<std::uint8_t>(key1);
            reply[7] = static_cast<std::uint8_t>(key2);
            // With bytes 10 and 11, bytes 1 to 9 add up to 0.
            reply[10] = static_cast<std::uint8_t>(fault - 6 - key1 - key2);
            reply[11] = 0xFF;
            bus.inject(reply);
            int received = 0;
            device->onWrite = [&] { received += manager->receive(report.data(), 3, 64) ? 1 : 0; };
            QCOMPARE(send(kind), status);
            QCOMPARE(received, 1);
            QCOMPARE(device->writes.size(), status == 1 ? 1 : 3);
            // The next command without a reply returns this status again.
            if (status == -301)
                QCOMPARE(send(4), status);
        }
    }

    void a_disconnect_ends_the_wait_as_answered()
    {
        QVERIFY(openFor("a.bin"));
        device->onWrite = [this] { manager->disconnect(); };
        QCOMPARE(send(4), 1);
        QVERIFY(timer.elapsed() >= 500);
        QCOMPARE(device->writes.size(), 1);
        QCOMPARE(device->getMaxInputReportLen(), 0); // closed
        QCOMPARE(protocol->disconnects, 1);
    }

    void packets_go_out_once_and_never_report_success()
    {
        QVERIFY(openFor("a.bin"));
        bus.inject({});
        const std::array<std::uint8_t, 500> packet{};
        int result = 7;
        QVERIFY(!manager->sendNoWait(packet.data(), report.data(), 0));
        QVERIFY(!manager->sendAndReadOnce(packet.data(), &result, 3, packet.size()));
        QCOMPARE(device->writes, (QByteArrayList{QByteArray(65, '\0'), QByteArray(500, '\0')}));
        QCOMPARE(result, 0);
        QVERIFY(!read()); // it has read the report
        device->close();
        timer.start();
        QVERIFY(!manager->sendNoWait(packet.data(), report.data(), 0));
        QVERIFY(timer.elapsed() >= 200);
    }

    void a_frame_is_completed_before_it_is_written()
    {
        // The sum of so many bytes depends on every entry of its table.
        constexpr int summedUp = 8 * 256;
        QByteArray frame;
        for (int i = 0; i < summedUp + 2; ++i)
            frame += static_cast<char>(i);
        const QByteArray completed = QByteArray(frame).replace(summedUp, 1, "\x46");
        protocol->setFrameLength(frame.size());
        auto *const bytes = reinterpret_cast<std::uint8_t *>(frame.data());
        QVERIFY(!manager->sendWithRetries(bytes));
        QVERIFY(openFor("a.bin"));
        QVERIFY(manager->sendWithRetries(bytes));
        QCOMPARE(device->writes, QVector<QByteArray>(6, completed).toList());
    }

    void arrivals_and_removals()
    {
        // Path, removal, vendor; how often the protocol was told of each after two such notices.
        for (const QByteArray row : {
                 "/dev/New 0 3c9e: 3 0",
                 "/dev/New 0 046d: 1 0",
                 "/DEV/velmo-SIM0 1 3c9e: 1 2", // although it was closed already
                 "/dev/New 1 3c9e: 1 0",
             }) {
            init();
            QVERIFY(openFor("a.bin"));
            const QByteArrayList cells = row.left(row.indexOf(':')).split(' ');
            for (const bool hasContext : {true, true, false})
                device->notify(cells.at(0), cells.at(1).toInt(), cells.at(2).toUShort(nullptr, 16),
                               1, hasContext ? manager.get() : nullptr);
            QCOMPARE(QString::asprintf("%s: %d %d", cells.join(' ').constData(), protocol->connects,
                                       protocol->disconnects),
                     QString(row));
        }
    }
};

QTEST_GUILESS_MAIN(HidDeviceTest)
#include "tst_hid_device.moc"
