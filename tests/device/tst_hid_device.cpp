#include "device/CHidBase.h"
#include "device/deviceSelection.h"
#include "simulator/Simulator.h"

#include <QElapsedTimer>
#include <QTest>

#include <memory>

namespace {

using Record = const hid_device_info;

std::array<std::uint8_t, 65> entryPacket()
{
    std::array<std::uint8_t, 65> packet{};
    packet[0] = 0x4B;
    packet[2] = 11; // the record's length
    return packet;
}

QStringList notices;

void note(const char *path, int removal, std::uint16_t vid, std::uint16_t pid, void *context)
{
    notices += QStringLiteral("%1 %2 %3:%4 %5")
                   .arg(QString::fromLatin1(path))
                   .arg(removal)
                   .arg(vid, 4, 16)
                   .arg(pid, 4, 16, QLatin1Char('0'))
                   .arg(*static_cast<int *>(context));
}

} // namespace

/// CHidBase over the simulated bus.
class HidDeviceTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<CHidBase> device;
    std::array<std::uint8_t, 64> report{};

    static void setUp(const char *settings)
    {
        QCOMPARE(sim::Simulator::instance().configure(settings), std::string());
    }

    /// Finds and opens the microphone that the path means.
    bool openFor(const char *firmwarePath)
    {
        selectMicrophoneFor(QString::fromLatin1(firmwarePath));
        const auto *const found = static_cast<Record *>(device->findDevice(0, 0, 0));
        return found != nullptr &&
               device->open(found->path, found->vendor_id, found->product_id, 0);
    }

private slots:
    void init()
    {
        setUp("devices=000B");
        g_otgAltPid = false;
        notices.clear();
        device = std::make_unique<CHidBase>();
        QVERIFY(device->init());
        QVERIFY(device->init());
    }
    void cleanup()
    {
        device->close();
        device.reset();
    }

    void the_path_decides_which_microphone_is_found_data();
    void the_path_decides_which_microphone_is_found();
    void a_record_tells_where_the_device_is();
    void an_open_device_stays_the_one_it_is();
    void what_cannot_be_opened_is_refused();
    void a_write_counts_as_done_whatever_becomes_of_it();
    void reports_are_read_whole();
    void reads_wait_for_their_time();
    void a_device_that_goes_fails_its_reads();
    void notices_are_passed_on();
};

void HidDeviceTest::the_path_decides_which_microphone_is_found_data()
{
    QTest::addColumn<QByteArray>("bus");
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("found");
    QTest::addColumn<bool>("altPid");
    const auto row = [](const char *bus, const char *path, int found, bool altPid) {
        QTest::addRow("%s on %s", path, bus)
            << QByteArray(bus) << QString::fromLatin1(path) << found << altPid;
    };
    const char *const every = "devices=046D:000B,0065,0011,0010,000B";
    row(every, "TB210.bin", 0x000B, false);
    row(every, "R5.bin", 0x0010, false);
    row(every, "/R5/a_otg.bin", 0x0065, true); // the one listed first
    row(every, "/otg/R5.bin", 0x0065, true);
    row(every, "r5_otg.bin", 0x000B, false);
    row(every, "otg.bin", 0x000B, false);
    row(every, "R5_OTG.bin", 0x0010, false);
    row("devices=0011,0065", "R5_otg.bin", 0x0011, false);
    row("devices=046D:000B", "TB210.bin", 0, false);
    row("devices=0010,0011,0065", "TB210.bin", 0, false);
    row("devices=none", "TB210.bin", 0, false);
}

void HidDeviceTest::the_path_decides_which_microphone_is_found()
{
    QFETCH(QByteArray, bus);
    QFETCH(QString, path);
    setUp(bus.constData());
    selectMicrophoneFor(path);
    for (int search = 0; search < 2; ++search) {
        const auto *const found = static_cast<Record *>(device->findDevice(1, 2, 3));
        QTEST(found == nullptr ? 0 : int{found->product_id}, "found");
        QTEST(static_cast<bool>(g_otgAltPid), "altPid");
    }
    g_selPlain = true; // more than one flag, or none, means no device
    g_selR5 = true;
    QVERIFY(device->findDevice(0, 0, 0) == nullptr);
    for (Unguarded<bool> *flag : {&g_selPlain, &g_selR5, &g_selR5Otg})
        *flag = false;
    QVERIFY(device->findDevice(0, 0, 0) == nullptr);
}

void HidDeviceTest::a_record_tells_where_the_device_is()
{
    std::array<char, ICommunicateDevice::pathBufferSize> path{};
    std::uint32_t vid = 0;
    std::uint32_t pid = 0;
    QVERIFY(!device->getDeviceInfo(nullptr, path.data(), &vid, &pid));
    selectMicrophoneFor(QStringLiteral("a.bin"));
    QVERIFY(device->getDeviceInfo(device->findDevice(0, 0, 0), path.data(), &vid, &pid));
    QCOMPARE(path.data(), "/dev/velmo-sim0");
    QCOMPARE(vid, 0x3C9EU);
    QCOMPARE(pid, 0x000BU);
    // A path that fills the buffer leaves no room for its end.
    std::string longPath(path.size(), 'x');
    hid_device_info record{};
    record.path = longPath.data();
    QVERIFY(!device->getDeviceInfo(&record, path.data(), &vid, &pid));
    QCOMPARE(path.data(), "/dev/velmo-sim0");
}

void HidDeviceTest::an_open_device_stays_the_one_it_is()
{
    setUp("devices=000B,0010");
    QVERIFY(openFor("a.bin"));
    QCOMPARE(device->getPath(), "/dev/velmo-sim0");
    QCOMPARE(device->getVid(), 0x3C9E);
    QCOMPARE(device->getPid(), 0x000B);
    QCOMPARE(device->getMaxInputReportLen(), 64);
    QVERIFY(qstrlen(device->getProductName()) > 0);
    QVERIFY(!device->isOpen()); // compared with a model code of 0
    g_activeModelCode = 0x3C9E;
    QVERIFY(device->isOpen());
    g_activeModelCode = 0;

    QVERIFY(openFor("R5.bin"));
    QCOMPARE(device->getPath(), "/dev/velmo-sim0");
    QCOMPARE(device->getPid(), 0x000B);

    device->close();
    QCOMPARE(device->getMaxInputReportLen(), 0);
    QCOMPARE(device->getProductName(), "");
    QCOMPARE(device->getPath(), "/dev/velmo-sim0");
    QCOMPARE(device->getPid(), 0x000B);
    QVERIFY(openFor("R5.bin"));
    QCOMPARE(device->getPath(), "/dev/velmo-sim1");
}

void HidDeviceTest::what_cannot_be_opened_is_refused()
{
    QVERIFY(!device->open(nullptr, 1, 1, 0));
    QVERIFY(!device->open("/dev/velmo-sim7", 1, 1, 0));
    QTest::ignoreMessage(QtDebugMsg, "device path is longer than 255 bytes, not opened");
    QVERIFY(!device->open(std::string(256, 'x').c_str(), 1, 1, 0));
    QVERIFY(!device->open(std::string(255, 'x').c_str(), 1, 1, 0));
    QCOMPARE(device->getPath(), "");
    CHidBase notReady;
    QVERIFY(!notReady.open("/dev/velmo-sim0", 1, 1, 0));
}

void HidDeviceTest::a_write_counts_as_done_whatever_becomes_of_it()
{
    const auto packet = entryPacket();
    QVERIFY(!device->write(packet.data(), packet.size()));
    QVERIFY(openFor("a.bin"));
    QVERIFY(device->write(packet.data(), 12)); // refused by the microphone
    QCOMPARE(static_cast<int>(sim::Simulator::instance().violations().size()), 1);
    QVERIFY(device->write(packet.data(), packet.size()));
    QCOMPARE(static_cast<int>(sim::Simulator::instance().packets().size()), 1);
    sim::Simulator::instance().unplug();
    QVERIFY(device->write(packet.data(), packet.size()));
    device->close();
    QVERIFY(!device->write(packet.data(), packet.size()));
}

void HidDeviceTest::reports_are_read_whole()
{
    QVERIFY(!device->read(report.data(), 10));
    QVERIFY(!device->waitRead(false, 0));
    QVERIFY(openFor("a.bin"));
    sim::InputReport first{};
    first.front() = 1;
    first.back() = 2;
    sim::InputReport second = first;
    second.front() = 3;
    for (const sim::InputReport &each : {first, second, first, second})
        sim::Simulator::instance().inject(each);
    QVERIFY(device->read(nullptr, 10)); // consumes one all the same
    QVERIFY(device->read(report.data(), 10));
    QCOMPARE(report, second);
    report.fill(9);
    QVERIFY(device->waitRead(false, 0)); // keeps it to itself
    QCOMPARE(report[0], std::uint8_t{9});
    QVERIFY(device->read(report.data(), 10));
    QCOMPARE(report, second);
}

void HidDeviceTest::reads_wait_for_their_time()
{
    QVERIFY(openFor("a.bin"));
    QElapsedTimer timer;
    timer.start();
    QVERIFY(!device->read(report.data(), 10));
    QVERIFY(timer.elapsed() >= 63);
    QVERIFY(timer.restart() < 500);
    QVERIFY(!device->waitRead(false, 0));
    QVERIFY(timer.elapsed() >= 1023);
}

void HidDeviceTest::a_device_that_goes_fails_its_reads()
{
    QVERIFY(openFor("a.bin"));
    sim::Simulator::instance().unplug();
    QVERIFY(!device->read(report.data(), 10));
    QVERIFY(!device->waitRead(false, 0));
    sim::Simulator::instance().plug();
    // Still the handle of before: it stays dead until it is closed and opened.
    QVERIFY(!device->read(report.data(), 10));
    device->close();
    QVERIFY(openFor("a.bin"));
    sim::Simulator::instance().inject({});
    QVERIFY(device->read(report.data(), 10));
}

void HidDeviceTest::notices_are_passed_on()
{
    int context = 7;
    device->registerNotify(&note, &context);
    sim::Simulator::instance().unplug();
    sim::Simulator::instance().plug();
    QTRY_COMPARE(notices, (QStringList{QStringLiteral("/dev/velmo-sim0 1 3c9e:000b 7"),
                                       QStringLiteral("/dev/velmo-sim0 0 3c9e:000b 7")}));
    device->registerNotify(nullptr, nullptr);
    device->registerNotify(&note, &context); // stays off after an unregistration
    sim::Simulator::instance().unplug();
    QCoreApplication::processEvents();
    QCOMPARE(notices.size(), 2);
}

QTEST_GUILESS_MAIN(HidDeviceTest)
#include "tst_hid_device.moc"
