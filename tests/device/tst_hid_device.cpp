#include "device/CHidBase.h"
#include "device/deviceSelection.h"
#include "simulator/dropin/Simulator.h"

#include <QElapsedTimer>
#include <QScopeGuard>
#include <QTest>

#include <memory>

/// CHidBase over the simulated bus.
class HidDeviceTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<CHidBase> device;
    std::array<std::uint8_t, 64> report{};
    sim::Simulator &bus = sim::Simulator::instance();

    /// The product id of the microphone that is found, or 0.
    int find()
    {
        const auto *const found = static_cast<const hid_device_info *>(device->findDevice(1, 2, 3));
        return found == nullptr ? 0 : int{found->product_id};
    }

    /// Finds and opens the microphone that the path selects.
    bool openFor(const char *firmwarePath)
    {
        selectMicrophoneFor(QString::fromLatin1(firmwarePath));
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
        g_otgAltPid = false;
        device = std::make_unique<CHidBase>();
        QVERIFY(device->init());
        QVERIFY(device->init());
    }
    void cleanup()
    {
        device->close();
        device.reset();
    }

    void the_path_decides_which_microphone_is_found_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("devices");
        QTest::addColumn<int>("found");
        const auto row = [](const char *path, const char *devices, int found) {
            QTest::addRow("%s on %s", path, devices)
                << QString::fromLatin1(path) << QByteArray(devices) << found;
        };
        const char *const every = "046D:000B,0065,0011,0010,000B";
        row("TB210.bin", every, 0x000B);
        row("R5.bin", every, 0x0010);
        row("/otg/R5.bin", every, 0x0065); // the one listed first
        row("R5_otg.bin", "0011,0065", 0x0011);
        row("r5_otg.bin", every, 0x000B);
        row("R5_OTG.bin", every, 0x0010);
        row("TB210.bin", "046D:000B", 0);
        row("TB210.bin", "0010,0011,0065", 0);
    }

    void the_path_decides_which_microphone_is_found()
    {
        QFETCH(QByteArray, devices);
        QFETCH(QString, path);
        QCOMPARE(bus.configure("devices=" + devices.toStdString()), std::string());
        selectMicrophoneFor(path);
        QTEST(find(), "found");
        QTEST(find(), "found");
        QCOMPARE(bool{g_otgAltPid}, find() == 0x0065);
        // With more than one flag, or none, no device is found.
        g_selPlain = true;
        g_selR5 = true;
        QCOMPARE(find(), 0);
        for (std::atomic<bool> *flag : {&g_selPlain, &g_selR5, &g_selR5Otg})
            *flag = false;
        QCOMPARE(find(), 0);
    }

    void a_path_that_fills_the_buffer_leaves_no_room_for_its_end()
    {
        std::array<char, ICommunicateDevice::pathBufferSize> path{};
        std::uint32_t id = 0;
        QVERIFY(!device->getDeviceInfo(nullptr, path.data(), &id, &id));
        std::string longPath(path.size(), 'x');
        hid_device_info record{};
        record.path = longPath.data();
        QVERIFY(!device->getDeviceInfo(&record, path.data(), &id, &id));
        QCOMPARE(path.data(), "");
    }

    void an_open_device_stays_the_one_it_is()
    {
        QVERIFY(openFor("a.bin"));
        QCOMPARE(device->getPath(), "/dev/velmo-sim0");
        QCOMPARE(device->getVid(), 0x3C9E);
        QCOMPARE(device->getMaxInputReportLen(), 64);
        QVERIFY(qstrlen(device->getProductName()) > 0);
        QVERIFY(!device->isOpen()); // compares the vendor id with 0
        g_activeModelCode = 0x3C9E;
        QVERIFY(device->isOpen());
        g_activeModelCode = 0;

        QVERIFY(openFor("R5.bin"));
        QCOMPARE(device->getPid(), 0x000B);
        device->close();
        QCOMPARE(device->getMaxInputReportLen(), 0);
        QCOMPARE(device->getProductName(), "");
        QCOMPARE(device->getPath(), "/dev/velmo-sim0");
        QCOMPARE(device->getPid(), 0x000B);
        QVERIFY(openFor("R5.bin"));
        QCOMPARE(device->getPath(), "/dev/velmo-sim1");
    }

    void what_cannot_be_opened_is_refused()
    {
        static int lines = 0;
        QtMessageHandler const before = qInstallMessageHandler(
            [](QtMsgType, const QMessageLogContext &, const QString &) { ++lines; });
        const auto restoring = qScopeGuard([before] { qInstallMessageHandler(before); });
        QVERIFY(!device->open(nullptr, 1, 1, 0));
        QVERIFY(!device->open("/dev/velmo-sim7", 0x3C9E, 0x000B, 0));
        QVERIFY(!device->open(std::string(256, 'x').c_str(), 1, 1, 0));
        QVERIFY(!device->open(std::string(255, 'x').c_str(), 1, 1, 0));
        QCOMPARE(device->getPath(), "");
        QVERIFY(!CHidBase().open("/dev/velmo-sim0", 1, 1, 0)); // not initialised
        QCOMPARE(lines, 0);                                    // nothing is printed
    }

    void a_write_succeeds_whatever_its_result()
    {
        const std::array<std::uint8_t, 65> packet = {0x4B, 0, 11}; // a record of 11 bytes
        QVERIFY(!device->write(packet.data(), packet.size()));
        QVERIFY(openFor("a.bin"));
        QVERIFY(device->write(packet.data(), 12)); // refused by the microphone
        QCOMPARE(static_cast<int>(bus.violations().size()), 1);
        QVERIFY(device->write(packet.data(), packet.size()));
        QCOMPARE(static_cast<int>(bus.packets().size()), 1);
        bus.unplug();
        QVERIFY(device->write(packet.data(), packet.size()));
    }

    void reports_are_read_whole()
    {
        QVERIFY(!device->read(report.data(), 10));
        QVERIFY(!device->waitRead(false, 0));
        QVERIFY(openFor("a.bin"));
        for (std::uint8_t number = 1; number <= 4; ++number) {
            sim::InputReport each{};
            each.front() = each.back() = number;
            bus.inject(each);
        }
        QVERIFY(device->read(nullptr, 10)); // discards one
        QVERIFY(device->read(report.data(), 10));
        QCOMPARE(report.front(), std::uint8_t{2});
        QCOMPARE(report.back(), std::uint8_t{2});
        QVERIFY(device->waitRead(false, 0)); // discards one, too
        QCOMPARE(report.front(), std::uint8_t{2});
        QVERIFY(device->read(report.data(), 10));
        QCOMPARE(report.front(), std::uint8_t{4});

        QElapsedTimer timer;
        timer.start();
        QVERIFY(!device->read(report.data(), 10));
        QVERIFY(timer.elapsed() >= 63);
        QVERIFY(timer.restart() < 500);
        QVERIFY(!device->waitRead(false, 0));
        QVERIFY(timer.elapsed() >= 1023);
    }

    void a_short_report_ends_in_zeros()
    {
        QCOMPARE(bus.configure("short-reads=2"), std::string());
        QVERIFY(openFor("a.bin"));
        sim::InputReport each{};
        each.fill(0xA5);
        for (const int whole : {64, 32}) {
            bus.inject(each);
            QVERIFY(device->read(report.data(), 10));
            QCOMPARE(static_cast<int>(std::count(report.begin(), report.end(), 0xA5)), whole);
        }
    }

    void a_device_that_goes_fails_its_reads()
    {
        QVERIFY(openFor("a.bin"));
        bus.unplug();
        QVERIFY(!device->read(report.data(), 10));
        QVERIFY(!device->waitRead(false, 0));
        bus.plug();
        // The old handle stays dead until it is closed and opened again.
        QVERIFY(!device->read(report.data(), 10));
        device->close();
        QVERIFY(openFor("a.bin"));
        bus.inject({});
        QVERIFY(device->read(report.data(), 10));
    }

    void notices_are_passed_on()
    {
        QStringList notices;
        const auto note = [](const char *path, int removal, std::uint16_t vid, std::uint16_t pid,
                             void *context) {
            *static_cast<QStringList *>(context) += QStringLiteral("%1 %2 %3:%4")
                                                        .arg(QLatin1String(path))
                                                        .arg(removal)
                                                        .arg(vid, 4, 16)
                                                        .arg(pid);
        };
        QCOMPARE(bus.configure("devices=000B"), std::string());
        device->registerNotify(note, &notices);
        bus.unplug();
        bus.plug();
        QTRY_COMPARE(notices, (QStringList{QStringLiteral("/dev/velmo-sim0 1 3c9e:11"),
                                           QStringLiteral("/dev/velmo-sim0 0 3c9e:11")}));
        device->registerNotify(nullptr, nullptr);
        device->registerNotify(note, &notices); // stays off
        bus.unplug();
        QCoreApplication::processEvents();
        QCOMPARE(notices.size(), 2);
    }
};

QTEST_GUILESS_MAIN(HidDeviceTest)
#include "tst_hid_device.moc"
