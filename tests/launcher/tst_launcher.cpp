#include "device/hidapi/hidapi_additions.h"
#include "launcher/Outcome.h"
#include "launcher/PluggedIn.h"

#include <QTest>

#include <cerrno>
#include <cstring>
#include <string>
#include <unistd.h>

namespace {

// The bus has one microphone with two usages.
std::string node = "/dev/hidraw7";
std::wstring product = L"A\x1b[31mB";
hid_device_info listedAgain{};
hid_device_info listed{};
/// The error with which it does not open; 0: none.
int refusal = 0;
std::wstring errorText;

} // namespace

// These replace the HID library's functions in this program, where none writes, and the system's.
extern "C" {

hid_device_info *hid_enumerate(unsigned short vendor, unsigned short /*product*/)
{
    return vendor == 0x3C9E ? &listed : nullptr;
}

void hid_free_enumeration(hid_device_info * /*records*/) {}

hid_device *hid_open_path(const char * /*path*/)
{
    errorText = QString::fromLocal8Bit(std::strerror(refusal)).toStdWString();
    return refusal == 0 ? reinterpret_cast<hid_device *>(&listed) : nullptr;
}

void hid_close(hid_device * /*device*/) {}

const wchar_t *hid_error(hid_device * /*device*/)
{
    return errorText.c_str();
}

int access(const char *name, int type) noexcept
{
    const bool forbidden = refusal == EACCES || refusal == ENOENT;
    errno = node == name && (type & W_OK) != 0 && forbidden ? refusal : 0;
    return errno == 0 ? 0 : -1;
}

} // extern "C"

/// What can be tested without an updater.
class LauncherTest : public QObject
{
    Q_OBJECT

private slots:
    void what_does_not_open_comes_with_a_remedy()
    {
        const QList<QPair<int, QString>> rows = {
            {0, "opens"},
            {EACCES, "does not open: no permission. The udev rule 70-velmo-microphones.rules"},
            {ENOENT, "does not open: it is gone. Plug the microphone back in."},
            {EBUSY, "does not open: another program is using it."},
            {EPERM, "does not open: Operation not permitted. Let this container"},
        };
        listed.path = node.data();
        listed.product_id = 0x000B;
        listed.product_string = product.data();
        listedAgain = listed;
        listed.next = &listedAgain;
        for (const auto &[error, expected] : rows) {
            refusal = error;
            const QList<PluggedIn> found = PluggedIn::all();
            QCOMPARE(found.size(), 1);
            const QString text = found.first().text();
            const QString start =
                "3C9E:000B  A?[31mB  /dev/hidraw7  selected by a path without \"R5\"  " + expected;
            QCOMPARE(text.left(start.size()), start);

            Outcome::RunResult run;
            run.imagePath = "TB210.bin";
            run.log.append("createUI----\n");
            const QString message = Outcome::of(run).message;
            QCOMPARE(message.contains("plugged in now ("), refusal == 0);
            QVERIFY2(message.contains(found.first().openError), qPrintable(message));
        }
    }
};

QTEST_GUILESS_MAIN(LauncherTest)
#include "tst_launcher.moc"
