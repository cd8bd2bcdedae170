#include "device/hidapi/hidapi_additions.h"
#include "launcher/Display.h"
#include "launcher/Outcome.h"
#include "launcher/PluggedIn.h"
#include "launcher/Terminal.h"

#include <QTest>

#include <cerrno>
#include <cstring>
#include <string>
#include <tuple>
#include <unistd.h>

namespace {

// The bus has one microphone with two usages.
std::string node = "/dev/hidraw7";
std::wstring product = L"A\x1b[31mB";
hid_device_info listedAgain{};
hid_device_info listed{};
/// The errors with which its node may not be written and does not open; 0: none.
int denial = 0;
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
    errno = node == name && (type & W_OK) != 0 ? denial : 0;
    return errno == 0 ? 0 : -1;
}

} // extern "C"

/// What can be tested without an updater.
class LauncherTest : public QObject
{
    Q_OBJECT

private slots:
    void the_bar_fits_every_terminal()
    {
        for (const int columns : {0, 1, 20, 40, 51, 80, 200}) {
            const QString line =
                Display::barLine({Progress::Phase::Sending, 50, 9999000, 998001}, columns);
            QVERIFY(line.size() < std::max(1, columns));
            QCOMPARE(line.contains('#'), columns > 51);
            QCOMPARE(line.contains(", 999 s left"), columns >= 40);
            // The word is there as a whole or not at all.
            QCOMPARE(line.contains('s'), line.contains("sending"));
        }
    }

    void long_lines_are_wrapped_between_words()
    {
        const QString text = "one two\nthree  averylongword  four\n";
        QCOMPARE(Terminal::wrapped(text, 8, 2), "one two\nthree \n  averylongword\n  four\n");
    }

    void what_does_not_open_comes_with_a_remedy()
    {
        const QList<std::tuple<int, int, QString>> rows = {
            {0, 0, "opens"},
            {EACCES, EACCES,
             "does not open: no permission. The udev rule 70-velmo-microphones.rules"},
            {ENOENT, ENOENT, "does not open: it is gone. Plug the microphone back in."},
            {0, EBUSY, "does not open: another program is using it."},
            {0, EPERM, "does not open: Operation not permitted. Let this container"},
        };
        listed.path = node.data();
        listed.product_id = 0x000B;
        listed.product_string = product.data();
        listedAgain = listed;
        listed.next = &listedAgain;
        for (const auto &[mayNotWrite, doesNotOpen, expected] : rows) {
            denial = mayNotWrite;
            refusal = doesNotOpen;
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
