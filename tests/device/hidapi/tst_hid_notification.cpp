#include "device/hidapi/hid_notification.h"
#include "device/hidapi/hidapi_additions.h"

#include <QTest>

namespace {

bool systemRefuses = false;
int opened = 0;
int closed = 0;

void receive(unsigned short vendor, unsigned short product, const char *path, int removal,
             void *context)
{
    *static_cast<QString *>(context) +=
        QString::asprintf("%04X:%04X %s %d;", vendor, product, path, removal);
}

void receiveOtherwise(unsigned short /*vendor*/, unsigned short /*product*/, const char *path,
                      int /*removal*/, void *context)
{
    *static_cast<QString *>(context) += path;
}

} // namespace

extern "C" int hid_notification_source_open()
{
    opened += systemRefuses ? 0 : 1;
    return systemRefuses ? 0 : 1;
}

extern "C" void hid_notification_source_close()
{
    ++closed;
}

/// Registration: one state for the whole process, so the order of the slots matters.
class tst_hid_notification : public QObject
{
    Q_OBJECT

private slots:
    void nothingStoredWhenRefused()
    {
        hid_notification_deliver(1, 2, "early", 0);
        systemRefuses = true;
        hid_register_device_notification(receive, &first);
        hid_notification_deliver(1, 2, "refused", 0);
        QCOMPARE(first, QString());
        systemRefuses = false;
    }

    void lastRegistrationReceives()
    {
        hid_register_device_notification(receive, &first);
        hid_notification_deliver(0x3C9E, 0x000B, "/dev/x", 1);
        hid_register_device_notification(receiveOtherwise, &second);
        QCOMPARE(opened, 1);
        hid_notification_deliver(3, 4, "/dev/y", 0);
        QCOMPARE(first, QStringLiteral("3C9E:000B /dev/x 1;"));
        QCOMPARE(second, QStringLiteral("/dev/y"));
    }

    void unregisteredForGood()
    {
        hid_register_device_notification(nullptr, nullptr);
        QCOMPARE(closed, 1);
        hid_register_device_notification(receive, &first);
        QCOMPARE(opened, 1);
    }

private:
    QString first;
    QString second;
};

QTEST_APPLESS_MAIN(tst_hid_notification)
#include "tst_hid_notification.moc"
