#include "device/hidapi/hidapi_additions.h"

#include <QDirIterator>
#include <QTest>

#include <array>

namespace {

// Far more than anything here needs, for machines under load.
constexpr int endTimeoutMs = 60000;

void receive(unsigned short vendor, unsigned short product, const char *path, int removal,
             void *context)
{
    static_cast<QStringList *>(context)->append(
        QString::asprintf("%04X:%04X %s %d", vendor, product, path, removal));
}

} // namespace

/// The real HID library on simulated hidraw nodes, where the scenarios do not go. The test
/// functions depend on each other, so their order matters. CMakeLists.txt has the simulator's
/// settings.
class tst_hid_hidraw : public QObject
{
    Q_OBJECT

    hid_device *device = nullptr;
    QStringList replaced;
    QStringList notices;

    int write(unsigned char recordSize)
    {
        const std::array<unsigned char, 65> packet = {0x4B, 0, recordSize};
        return hid_write(device, packet.data(), packet.size());
    }

    QString productName()
    {
        std::array<wchar_t, 64> text{};
        hid_get_product_string(device, text.data(), text.size());
        return QString::fromWCharArray(text.data());
    }

private slots:
    void aDeviceThatVanishesHasNoName()
    {
        device = hid_open(0x3C9E, 0x000B, nullptr);
        QVERIFY(device != nullptr);
        QCOMPARE(hid_max_input_report_len(device), 64);
        QDirIterator found(QFile::decodeName(qgetenv("UMOCKDEV_DIR") + "/sys/devices"),
                           {"0003:3C9E:000B.*"}, QDir::Dirs, QDirIterator::Subdirectories);
        QFile uevent(found.next() + "/uevent");
        QVERIFY(uevent.open(QIODevice::ReadWrite));
        const QByteArray content = uevent.readAll();
        QCOMPARE(productName(), "Velmo microphone (simulated)");
        // It vanishes between two look-ups.
        QVERIFY(content.contains("HID_ID=") && uevent.resize(0));
        const QString name = productName();
        QVERIFY(uevent.seek(0) && uevent.write(content) == content.size());
        QCOMPARE(name, QString());
    }

    void theLastReceiverIsTold()
    {
        for (QStringList *list : {&replaced, &notices})
            hid_register_device_notification(receive, list);
        QCOMPARE(write(64), -1); // not the entry packet
        QVERIFY(QString::fromWCharArray(hid_error(device)) != "Success");
        QCOMPARE(write(11), 65); // after this it is unplugged
        QTRY_COMPARE_WITH_TIMEOUT(notices.size(), 2, endTimeoutMs);
        QCOMPARE(notices, (QStringList{"3C9E:000B /dev/hidraw0 1", "3C9E:0010 /dev/hidraw1 0"}));
        QVERIFY(replaced.isEmpty());
        QCOMPARE(write(11), -1);
        hid_close(device);
    }
};

QTEST_GUILESS_MAIN(tst_hid_hidraw)
#include "tst_hid_hidraw.moc"
