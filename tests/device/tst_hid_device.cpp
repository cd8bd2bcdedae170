#include "device/CHidBase.h"
#include "device/deviceSelection.h"
#include "simulator/dropin/Simulator.h"

#include <QElapsedTimer>
#include <QTest>

#include <memory>

namespace {

/// What the device passed on or printed.
QStringList told;

void note(const char *path, int removal, std::uint16_t vid, std::uint16_t pid, void * /*context*/)
{
    told += QString::asprintf("%s %d %04x:%04x", path, removal, unsigned{vid}, unsigned{pid});
}

} // namespace

/// CHidBase over the simulated bus.
class HidDeviceTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<CHidBase> device;
    std::array<std::uint8_t, 64> report{};
    sim::Simulator &bus = sim::Simulator::instance();

    bool read() { return device->read(report.data(), 10); }

    /// Finds and opens the microphone that the path selects.
    bool openFor(const char *firmwarePath)
    {
        selectMicrophoneFor(firmwarePath);
        std::array<char, ICommunicateDevice::pathBufferSize> path{};
        std::uint32_t vid = 0;
        std::uint32_t pid = 0;
        return device->getDeviceInfo(device->findDevice(0, 0, 0), path.data(), &vid, &pid) &&
               device->open(path.data(), vid, pid, 0);
    }

private slots:
    void init()
    {
        QCOMPARE(bus.configure("devices=000B,0010"), std::string());
        device = std::make_unique<CHidBase>();
        QVERIFY(device->init() && device->init());
        told.clear();
    }
    void cleanup() { device->close(); }

    void the_path_decides_which_microphone_is_found()
    {
        const auto find = [this] {
            const void *const found = device->findDevice(1, 2, 3);
            return found != nullptr ? static_cast<const hid_device_info *>(found)->product_id : 0;
        };
        // Path, devices, product id.
        for (const QString row : {
                 "TB210.bin 046D:000B,0065,0011,0010,000B B",
                 "R5.bin 0065,0011,0010,000B 10",
                 "/otg/R5.bin 0065,0011,0010,000B 65", // the one listed first
                 "R5_otg.bin 0011,0065 11",
                 "r5_otg.bin 0065,0011,0010,000B B",
                 "R5_OTG.bin 0065,0011,0010,000B 10",
                 "TB210.bin 046D:000B,0010,0011,0065 0",
             }) {
            const QStringList cells = row.split(' ');
            QCOMPARE(bus.configure("devices=" + cells.at(1).toStdString()), std::string());
            selectMicrophoneFor(cells.first());
            for (int time = 0; time < 2; ++time)
                QCOMPARE(row.left(row.lastIndexOf(' ')) + QString::asprintf(" %X", find()), row);
            QCOMPARE(bool{g_otgAltPid}, row.endsWith("65"));
            // With more than one flag, or none, no device is found.
            g_selPlain = true;
            g_selR5 = true;
            QCOMPARE(find(), 0);
            for (std::atomic<bool> *flag : {&g_selPlain, &g_selR5, &g_selR5Otg})
                *flag = false;
            QCOMPARE(find(), 0);
        }
    }

    void what_cannot_be_opened_is_refused()
    {
        QtMessageHandler const before = qInstallMessageHandler(
            [](QtMsgType, const QMessageLogContext &, const QString &line) { told += line; });
        QVERIFY(!device->open(nullptr, 1, 1, 0));
        for (const std::string &path : {std::string("/none"), std::string(256, 'x')})
            QVERIFY(!device->open(path.c_str(), 1, 1, 0));
        QVERIFY(!CHidBase().open("/dev/velmo-sim0", 1, 1, 0)); // not initialised
        qInstallMessageHandler(before);
        QCOMPARE(told, QStringList()); // nothing is printed
        QCOMPARE(device->getPath(), "");

        std::array<char, ICommunicateDevice::pathBufferSize> path{};
        std::uint32_t id = 0;
        QVERIFY(!device->getDeviceInfo(nullptr, path.data(), &id, &id));
        std::string longPath(path.size(), 'x'); // leaves no room for the path's end
        hid_device_info record{};
        record.path = longPath.data();
        QVERIFY(!device->getDeviceInfo(&record, path.data(), &id, &id));
        QVERIFY(!device->write(report.data(), report.size()));
        QVERIFY(!read() && !device->waitRead(false, 0));
    }

    void an_open_device_stays_the_one_it_is()
    {
        QVERIFY(openFor("a.bin"));
        QVERIFY(!device->isOpen()); // compares the vendor id with 0
        g_activeModelCode = 0x3C9E;
        QVERIFY(device->isOpen());
        g_activeModelCode = 0;
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

    void a_write_succeeds_whatever_its_result()
    {
        const std::array<std::uint8_t, 65> packet = {0x4B, 0, 11}; // a record of 11 bytes
        QVERIFY(openFor("a.bin"));
        QVERIFY(device->write(packet.data(), 12)); // refused by the microphone
        QCOMPARE(bus.violations().size(), std::size_t{1});
        QVERIFY(device->write(packet.data(), packet.size()));
        QCOMPARE(bus.packets().size(), std::size_t{1});
    }

    void reports_are_read_whole()
    {
        QCOMPARE(bus.configure("short-reads=5"), std::string());
        QVERIFY(openFor("a.bin"));
        for (std::uint8_t number = 1; number <= 5; ++number) {
            sim::InputReport each{};
            each.fill(number);
            bus.inject(each);
        }
        QVERIFY(device->read(nullptr, 10)); // discards one
        QVERIFY(read());
        QCOMPARE(std::count(report.begin(), report.end(), 2), std::ptrdiff_t{64});
        QVERIFY(device->waitRead(false, 0)); // discards one, too
        QCOMPARE(report.front(), std::uint8_t{2});
        QVERIFY(read());
        QCOMPARE(report.front(), std::uint8_t{4});
        QVERIFY(read()); // a short one ends in zeros
        QCOMPARE(std::count(report.begin(), report.end(), 5), std::ptrdiff_t{32});
        QCOMPARE(report.back(), std::uint8_t{0});

        QElapsedTimer timer;
        timer.start();
        QVERIFY(!read());
        QVERIFY(timer.elapsed() >= 63);
        QVERIFY(timer.restart() < 500);
        QVERIFY(!device->waitRead(false, 0));
        QVERIFY(timer.elapsed() >= 1023);
    }

    void a_device_that_goes_fails_its_reads()
    {
        QVERIFY(openFor("a.bin"));
        bus.unplug();
        QVERIFY(device->write(report.data(), report.size())); // unlike a read
        QVERIFY(!read() && !device->waitRead(false, 0));
        bus.plug();
        // The old handle stays dead until it is closed and opened again.
        QVERIFY(!read());
        device->close();
        QVERIFY(openFor("a.bin"));
        bus.inject({});
        QVERIFY(read());
    }

    void notices_are_passed_on()
    {
        QCOMPARE(bus.configure("devices=000B"), std::string());
        device->registerNotify(note, this);
        bus.unplug();
        bus.plug();
        const QStringList both = {"/dev/velmo-sim0 1 3c9e:000b", "/dev/velmo-sim0 0 3c9e:000b"};
        QTRY_COMPARE(told, both);
        device->registerNotify(nullptr, nullptr);
        device->registerNotify(note, this); // stays off
        bus.unplug();
        QCoreApplication::processEvents();
        QCOMPARE(told, both);
    }
};

QTEST_GUILESS_MAIN(HidDeviceTest)
#include "tst_hid_device.moc"
