#include "device/hidapi/hidapi_additions.h"
#include "launcher/Outcome.h"
#include "launcher/PluggedIn.h"

#include <QFile>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

/// Not the superuser, who may open everything.
constexpr long somebody = 65534;
constexpr long unchanged = -1;
constexpr int noNode = -1;

// The bus has one microphone with two usages. Its node is a file.
hid_device_info listed{};
hid_device_info listedAgain{};
/// The error with which it does not open; 0: opening the file decides.
int refusal = 0;
std::wstring errorText;
int openHandles = 0;

} // namespace

// These replace the HID library's functions in this program. There is none that writes.
extern "C" {

hid_device_info *hid_enumerate(unsigned short vendor, unsigned short /*product*/)
{
    listedAgain = listed;
    listedAgain.next = nullptr;
    listed.next = &listedAgain;
    return vendor == listed.vendor_id ? &listed : nullptr;
}

void hid_free_enumeration(hid_device_info * /*records*/) {}

hid_device *hid_open_path(const char *path)
{
    const int descriptor = open(path, O_RDWR | O_CLOEXEC);
    const int error = refusal != 0 ? refusal : errno;
    if (descriptor != -1)
        close(descriptor);
    if (descriptor == -1 || refusal != 0) {
        errorText = QString::fromLocal8Bit(std::strerror(error)).toStdWString();
        return nullptr;
    }
    ++openHandles;
    return reinterpret_cast<hid_device *>(&listed);
}

void hid_close(hid_device * /*device*/)
{
    --openHandles;
}

const wchar_t *hid_error(hid_device * /*device*/)
{
    return errorText.c_str();
}

} // extern "C"

/// How velmo-flash describes a microphone that is plugged in.
class PluggedInTest : public QObject
{
    Q_OBJECT

private slots:
    void what_does_not_open_comes_with_a_remedy_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<int>("refusedWith");
        QTest::addColumn<QString>("openError");
        QTest::addColumn<QString>("outcome");
        const QString closed = QStringLiteral("but cannot be opened: %1");
        const auto row = [&closed](const char *name, int mode, int refusedWith, const char *text) {
            const QString openError = QString::fromLatin1(text);
            QTest::newRow(name) << mode << refusedWith << openError << closed.arg(openError);
        };
        QTest::newRow("opens") << 0666 << 0 << QString()
                               << QStringLiteral("but it is plugged in now (");
        const char *const permission = "no permission. The udev rule 70-velmo-microphones.rules";
        row("not ours", 0, 0, permission);
        row("read-only", S_IRUSR | S_IRGRP | S_IROTH, 0, permission);
        row("gone", noNode, 0, "it is gone. Plug the microphone back in.");
        row("in use", 0666, EBUSY, "another program is using it.");
        row("in a container", 0666, EPERM, "Operation not permitted. Let this container");
    }

    void what_does_not_open_comes_with_a_remedy()
    {
        QFETCH(int, mode);
        QFETCH(QString, openError);
        QFETCH(QString, outcome);
        QFETCH(int, refusedWith);
        refusal = refusedWith;
        const QTemporaryDir folder;
        QByteArray node = QFile::encodeName(folder.filePath(QStringLiteral("hidraw0")));
        chmod(QFile::encodeName(folder.path()).constData(), S_IRWXU | S_IRWXG | S_IRWXO);
        if (mode != noNode)
            QVERIFY(QFile(QFile::decodeName(node)).open(QIODevice::WriteOnly));
        chmod(node.constData(), static_cast<mode_t>(mode));
        listed.vendor_id = 0x3C9E;
        listed.product_id = 0x000B;
        listed.path = node.data();
        std::wstring name = L"A\x1b[31mB";
        listed.product_string = name.data();

        // Change the user of this thread only.
        if (geteuid() == 0)
            syscall(SYS_setresuid, somebody, somebody, unchanged);
        const auto again = qScopeGuard([] {
            syscall(SYS_setresuid, 0L, 0L, unchanged);
            prctl(PR_SET_DUMPABLE, 1); // or the leak checker cannot inspect this process
        });
        const QList<PluggedIn> found = PluggedIn::all();
        QCOMPARE(found.size(), 1);
        QCOMPARE(found.first().id(), QStringLiteral("3C9E:000B"));
        QCOMPARE(found.first().node, QString::fromLocal8Bit(node));
        QCOMPARE(found.first().product, QStringLiteral("A?[31mB"));
        QVERIFY2(found.first().openError.startsWith(openError),
                 qPrintable(found.first().openError));
        QCOMPARE(found.first().openError.isEmpty(), openError.isEmpty());

        Outcome::RunResult run;
        run.imagePath = QStringLiteral("TB210.bin");
        run.log.append("createUI----\n");
        const QString message = Outcome::of(run).message;
        QVERIFY2(message.contains(outcome), qPrintable(message));
        QCOMPARE(openHandles, 0);
    }
};

QTEST_GUILESS_MAIN(PluggedInTest)
#include "tst_plugged_in.moc"
