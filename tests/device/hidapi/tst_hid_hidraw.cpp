#include "device/hidapi/hidapi_additions.h"

#include <QDirIterator>
#include <QTest>

#include <array>
#include <linux/input.h>

namespace {

// Far more than it needs, for machines under load.
constexpr int endTimeoutMs = 60000;

/// Fills the unused stack, so that uninitialised variables of later calls have this value.
[[gnu::noinline]] void leaveOnStack(unsigned value)
{
    std::array<volatile unsigned, 4096> left{};
    for (auto &one : left)
        one = value;
}

} // namespace

/// The real HID library on a simulated hidraw node that vanishes. The scenarios test the rest.
class tst_hid_hidraw : public QObject
{
    Q_OBJECT

private slots:
    void aDeviceThatVanishesHasIdsButNoName()
    {
        hid_device *const device = hid_open(0x3C9E, 0x000B, nullptr);
        QCOMPARE(hid_max_input_report_len(device), 64);
        const auto productName = [device] {
            std::array<wchar_t, 64> text = {L'x'};
            leaveOnStack(BUS_USB);
            hid_get_product_string(device, text.data(), text.size());
            return QString::fromWCharArray(text.data());
        };
        QDirIterator found(QFile::decodeName(qgetenv("UMOCKDEV_DIR") + "/sys/devices"),
                           {"0003:3C9E:000B.*"}, QDir::Dirs, QDirIterator::Subdirectories);
        QFile uevent(found.next() + "/uevent");
        QVERIFY(uevent.open(QIODevice::ReadWrite));
        QVERIFY(uevent.readAll().contains("HID_ID="));
        QCOMPARE(productName(), "Velmo microphone (simulated)");
        QVERIFY(uevent.resize(0)); // it vanishes between two look-ups
        QCOMPARE(productName(), "");
        // A notice of its removal has the ids nevertheless, from its path.
        QString notice;
        hid_register_device_notification(
            [](unsigned short vendor, unsigned short product, const char *path, int removal,
               void *text) {
                *static_cast<QString *>(text) =
                    QString::asprintf("%d %04X:%04X %s", removal, vendor, product, path);
            },
            &notice);
        const std::array<unsigned char, 65> entry = {0x4B, 0, 11};
        QCOMPARE(hid_write(device, entry.data(), entry.size()), 65); // now it is unplugged
        QTRY_COMPARE_WITH_TIMEOUT(notice, "1 3C9E:000B /dev/hidraw0", endTimeoutMs);
        hid_close(device);
    }
};

QTEST_GUILESS_MAIN(tst_hid_hidraw)
#include "tst_hid_hidraw.moc"
