#include "device/hidapi/hid_notification.h"
#include "device/hidapi/hidapi_additions.h"

#include <QTest>

namespace {

bool systemRefuses = false;
int opened = 0;
int closed = 0;

struct Receiver
{
    int notices = 0;
    unsigned short vendor = 0;
    unsigned short product = 0;
    QByteArray path;
    int removal = -1;
};

void receive(unsigned short vendor, unsigned short product, const char *path, int removal,
             void *context)
{
    auto &receiver = *static_cast<Receiver *>(context);
    receiver = {receiver.notices + 1, vendor, product, path, removal};
}

void receiveOtherwise(unsigned short vendor, unsigned short product, const char *path,
                      int /*removal*/, void *context)
{
    receive(vendor, product, path, 2, context);
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
        QCOMPARE(first.notices, 0);
        systemRefuses = false;
    }

    void noticeReachesReceiver()
    {
        hid_register_device_notification(receive, &first);
        QCOMPARE(opened, 1);
        hid_notification_deliver(0x3C9E, 0x000B, "/dev/x", 1);
        QCOMPARE(first.notices, 1);
        QCOMPARE(int(first.vendor), 0x3C9E);
        QCOMPARE(int(first.product), 0x000B);
        QCOMPARE(first.path, QByteArray("/dev/x"));
        QCOMPARE(first.removal, 1);
    }

    void secondRegistrationReplaces()
    {
        hid_register_device_notification(receiveOtherwise, &second);
        QCOMPARE(opened, 1);
        hid_notification_deliver(3, 4, "/dev/y", 0);
        QCOMPARE(first.notices, 1);
        QCOMPARE(second.notices, 1);
        QCOMPARE(second.removal, 2);
    }

    void unregisteredForGood()
    {
        hid_register_device_notification(nullptr, nullptr);
        QCOMPARE(closed, 1);
        hid_register_device_notification(receive, &first);
        QCOMPARE(opened, 1);
    }

private:
    Receiver first;
    Receiver second;
};

QTEST_APPLESS_MAIN(tst_hid_notification)
#include "tst_hid_notification.moc"
