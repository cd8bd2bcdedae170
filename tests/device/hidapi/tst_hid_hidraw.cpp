#include "device/hidapi/hidapi_additions.h"

#include "tests/simulator/packets.h"

#include <QDirIterator>
#include <QElapsedTimer>
#include <QTest>

#include <fcntl.h>
#include <future>
#include <linux/input.h>
#include <thread>

namespace {

constexpr int anHourMs = 3600 * 1000;
// Far more than anything here needs, for machines under load.
constexpr int endTimeoutMs = 60000;
constexpr int timeoutMs = 50;
/// slow-time in the simulator's settings.
constexpr int slowMs = 200;

/// Everything on the bus.
QStringList enumeration()
{
    QStringList list;
    hid_device_info *const records = hid_enumerate(0, 0);
    for (const hid_device_info *one = records; one != nullptr; one = one->next)
        list += QString::asprintf("%04X:%04X %s ", one->vendor_id, one->product_id, one->path) +
                QString::fromWCharArray(one->manufacturer_string) + '/' +
                QString::fromWCharArray(one->product_string) + '/' +
                QString::fromWCharArray(one->serial_number) +
                QString::asprintf(" %04x %d %04X:%04X", one->release_number, one->interface_number,
                                  one->usage_page, one->usage);
    hid_free_enumeration(records);
    return list;
}

/// How many descriptors of this kind, with these flags, this process has open.
int openCount(const QString &kind, int flags)
{
    int count = 0;
    const QDir descriptors("/proc/self/fd");
    for (const QString &name : descriptors.entryList(QDir::NoFilter)) {
        if (fcntl(name.toInt(), F_GETFD) == flags)
            count += QFile::symLinkTarget(descriptors.filePath(name)).contains(kind) ? 1 : 0;
    }
    return count;
}

/// Fills the unused stack, so that uninitialised variables of later calls have this value.
[[gnu::noinline]] void leaveOnStack(unsigned value)
{
    std::array<volatile unsigned, 4096> left{};
    for (auto &one : left)
        one = value;
}

void receive(unsigned short vendor, unsigned short product, const char *path, int removal,
             void *context)
{
    static_cast<QStringList *>(context)->append(
        QString::asprintf("%04X:%04X %s %d", vendor, product, path, removal));
}

} // namespace

/// The real HID library on simulated hidraw nodes, from the first enumeration to the last
/// notice. The test functions depend on each other, so their order matters. CMakeLists.txt
/// has the simulator's settings.
class tst_hid_hidraw : public QObject
{
    Q_OBJECT

    const std::vector<Packet> packets = packetsOf({100, 100});
    hid_device *device = nullptr;
    QStringList replaced;
    QStringList notices;
    int sockets = 0;
    std::array<wchar_t, 64> text{};

    int write(int packet)
    {
        const Packet &bytes = packets.at(static_cast<std::size_t>(packet));
        return hid_write(device, bytes.data(), bytes.size());
    }

    /// The length of a report, and its byte 7.
    QPair<int, int> read(int milliseconds)
    {
        std::array<unsigned char, 128> report{};
        const int length = hid_read_timeout(device, report.data(), report.size(), milliseconds);
        return {length, report.at(7)};
    }

private slots:
    void initTestCase()
    {
        // A thread without an event loop opens no source of notices.
        std::thread([this] { hid_register_device_notification(receive, &replaced); }).join();
        sockets = openCount("socket:", FD_CLOEXEC);
        hid_register_device_notification(receive, &replaced);
        hid_register_device_notification(receive, &notices);
    }

    void opensWhatItEnumerates()
    {
        const QStringList expected = {
            "3C9E:000B /dev/hidraw0 Velmo/Velmo microphone (simulated)/VS0001 0100 0 FF00:0001",
            "046D:0042 /dev/hidraw1 Simulator/HID device (simulated)/FS0001 0100 0 FF00:0001"};
        QCOMPARE(enumeration(), expected);
        const int before = openCount("/dev/", 0);
        device = hid_open(0x3C9E, 0x000B, nullptr);
        QVERIFY(device != nullptr);
        // A child process that inherits the node would keep it alive after a replug.
        QCOMPARE(openCount("/dev/", 0), before);
        QCOMPARE(hid_max_input_report_len(device), 64);
        QCOMPARE(hid_get_product_string(device, text.data(), text.size()), 0);
        QCOMPARE(QString::fromWCharArray(text.data()), "Velmo microphone (simulated)");
        // A device that vanishes between two look-ups has no name.
        QDirIterator found(QFile::decodeName(qgetenv("UMOCKDEV_DIR") + "/sys/devices"),
                           {"0003:3C9E:000B.*"}, QDir::Dirs, QDirIterator::Subdirectories);
        QFile uevent(found.next() + "/uevent");
        QVERIFY(uevent.open(QIODevice::ReadWrite));
        const QByteArray content = uevent.readAll();
        QVERIFY(content.contains("HID_ID=") && uevent.resize(0));
        leaveOnStack(BUS_USB);
        hid_get_product_string(device, text.data(), text.size());
        QVERIFY(uevent.seek(0) && uevent.write(content) == content.size());
        QCOMPARE(QString::fromWCharArray(text.data()), QString());
    }

    void writesAndReads()
    {
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(read(timeoutMs).first, 0);
        QVERIFY(timer.elapsed() >= timeoutMs);
        // This is slow, and then the microphone refuses it: data before the entry packet.
        timer.restart();
        QCOMPARE(write(1), -1);
        QVERIFY(timer.elapsed() >= slowMs);
        QVERIFY(QString::fromWCharArray(hid_error(device)) != "Success");
        QCOMPARE(write(0), 65);
        QCOMPARE(read(anHourMs), qMakePair(64, 1));
    }

    void removal()
    {
        auto waiting = std::async(std::launch::async, [this] { return read(anHourMs).first; });
        // The microphone refuses packets until it has restarted. Then it is unplugged.
        bool taken = false;
        QTRY_VERIFY_WITH_TIMEOUT(taken = taken || write(0) == 65, endTimeoutMs);
        QCOMPARE(waiting.get(), -1);
        QCOMPARE(write(1), -1);
        QCOMPARE(read(anHourMs).first, -1);
        QTRY_VERIFY_WITH_TIMEOUT(!notices.isEmpty(), endTimeoutMs);
        QCOMPARE(notices.first(), "3C9E:000B /dev/hidraw0 1");
        QVERIFY(hid_open_path("/dev/hidraw0") == nullptr);
    }

    void arrivalOnAnotherNode()
    {
        QTRY_COMPARE_WITH_TIMEOUT(notices.size(), 2, endTimeoutMs);
        QCOMPARE(notices.last(), "3C9E:0010 /dev/hidraw2 0");
        QVERIFY(replaced.isEmpty());
        // The old handle does not work on the new device.
        QCOMPARE(write(1), -1);
        hid_close(device);
        QCOMPARE(write(1), -1);
        device = hid_open_path("/dev/hidraw2");
        QCOMPARE(write(1), 65);
        QCOMPARE(read(anHourMs), qMakePair(32, 3)); // the settings make this report short
        hid_close(device);
    }

    void unregistersForGood()
    {
        for (const auto receiver : {hid_device_notification_callback{nullptr}, &receive}) {
            hid_register_device_notification(receiver, &notices);
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
            QCOMPARE(openCount("socket:", FD_CLOEXEC), sockets);
        }
    }
};

QTEST_GUILESS_MAIN(tst_hid_hidraw)
#include "tst_hid_hidraw.moc"
