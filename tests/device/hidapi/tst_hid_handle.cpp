#include "device/hidapi/hidapi_additions.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <thread>

namespace {

constexpr std::size_t reportSize = 65;
using Report = std::array<unsigned char, reportSize>;

/// How many times this process has the path open. "socket:" counts its sockets.
int openCount(const QString &path)
{
    int count = 0;
    const QDir descriptors(QStringLiteral("/proc/self/fd"));
    for (const QString &name : descriptors.entryList(QDir::AllEntries | QDir::System)) {
        std::array<char, 4096> target{};
        const QByteArray link = QFile::encodeName(descriptors.filePath(name));
        if (readlink(link.constData(), target.data(), target.size() - 1) > 0)
            count += QString::fromLocal8Bit(target.data()).startsWith(path) ? 1 : 0;
    }
    return count;
}

/// A thread that makes one blocking read.
class BlockedReader
{
public:
    explicit BlockedReader(hid_device *device)
        : thread([this, device] {
            threadId = static_cast<pid_t>(syscall(SYS_gettid));
            Report report{};
            result = hid_read_timeout(device, report.data(), report.size(), anHourMs);
        })
    {
    }

    /// Whether the thread sleeps. It does so only in the read.
    bool isReading() const
    {
        const pid_t id = threadId;
        QFile stat(QStringLiteral("/proc/self/task/%1/stat").arg(id));
        if (id == 0 || !stat.open(QIODevice::ReadOnly))
            return false;
        const QByteArray text = stat.readAll();
        return text.mid(text.lastIndexOf(')')).startsWith(") S");
    }

    int join()
    {
        thread.join();
        return result;
    }

private:
    static constexpr int anHourMs = 3600 * 1000;
    std::atomic<pid_t> threadId{0};
    int result = -2;
    std::thread thread;
};

} // namespace

/// The library's thread safety. The backend opens any path, so /dev/full, whose writes fail,
/// and a named pipe, whose reads block, stand in for a device.
class tst_hid_handle : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        pipe = directory.filePath(QStringLiteral("pipe"));
        QCOMPARE(mkfifo(QFile::encodeName(pipe).constData(), S_IRUSR | S_IWUSR), 0);
    }

    void nullAndClosedHandles()
    {
        hid_device *const closed = hid_open_path("/dev/full");
        hid_close(closed);
        hid_close(closed);
        hid_close(nullptr);
        for (hid_device *const handle : {closed, static_cast<hid_device *>(nullptr)}) {
            Report report{};
            std::array<wchar_t, 8> text{};
            QCOMPARE(hid_write(handle, report.data(), report.size()), -1);
            QCOMPARE(hid_read(handle, report.data(), report.size()), -1);
            QCOMPARE(hid_read_timeout(handle, report.data(), report.size(), 0), -1);
            QCOMPARE(hid_set_nonblocking(handle, 1), -1);
            QCOMPARE(hid_get_serial_number_string(handle, text.data(), text.size()), -1);
            QCOMPARE(hid_get_indexed_string(handle, 1, text.data(), text.size()), -1);
            QCOMPARE(hid_max_input_report_len(handle), handle == nullptr ? 0 : -1);
            QVERIFY(hid_error(handle) != nullptr);
        }
    }

    void errorBelongsToThread()
    {
        QVERIFY(hid_open_path("/nonexistent") == nullptr);
        QVERIFY(QString::fromWCharArray(hid_error(nullptr)) != QLatin1String("Success"));

        hid_device *const device = hid_open_path("/dev/full");
        QCOMPARE(QString::fromWCharArray(hid_error(nullptr)), QStringLiteral("Success"));
        QCOMPARE(hid_set_nonblocking(device, 1), 0);
        QString other;
        std::thread([device, &other] {
            const Report report{};
            hid_write(device, report.data(), report.size());
            other = QString::fromWCharArray(hid_error(device));
        }).join();
        QVERIFY(other != QLatin1String("Success"));
        QCOMPARE(QString::fromWCharArray(hid_error(device)), QStringLiteral("Success"));
        hid_close(device);
    }

    // Hangs, and so fails, if a write or close waits for the read, or if a read starts that
    // was queued when the handle was closed.
    void writeAndCloseDoNotWaitForRead()
    {
        const QByteArray path = QFile::encodeName(pipe);
        hid_device *const device = hid_open_path(path.constData());
        Report report{};
        QCOMPARE(hid_set_nonblocking(device, 1), 0);
        QCOMPARE(hid_read(device, report.data(), report.size()), 0);
        BlockedReader first(device);
        QTRY_VERIFY(first.isReading());
        QCOMPARE(hid_write(device, report.data(), report.size()), int(reportSize));
        QCOMPARE(first.join(), int(reportSize));

        BlockedReader second(device);
        QTRY_VERIFY(second.isReading());
        BlockedReader third(device);
        BlockedReader fourth(device);
        QTRY_VERIFY(third.isReading() && fourth.isReading());
        hid_close(device);
        QCOMPARE(hid_write(device, report.data(), report.size()), -1);
        QCOMPARE(openCount(pipe), 1);
        // Another handle of the same path still works and wakes the reader.
        hid_device *const again = hid_open_path(path.constData());
        QCOMPARE(hid_write(again, report.data(), report.size()), int(reportSize));
        QCOMPARE(second.join(), int(reportSize));
        // The queued readers find the handle closed. The last one closes the device.
        QCOMPARE(third.join(), -1);
        QCOMPARE(fourth.join(), -1);
        QCOMPARE(openCount(pipe), 1);
        hid_close(again);
        QCOMPARE(openCount(pipe), 0);
    }

    /// Like the updater: one thread reads, one writes, one closes and opens. Every write
    /// fails and so replaces an error text.
    void threeThreads()
    {
        constexpr int reopenings = 2000;
        std::atomic<hid_device *> shared{hid_open_path("/dev/full")};
        std::atomic<bool> done{false};
        std::atomic<int> wrongReads{0};
        std::atomic<int> goodReads{0};
        std::atomic<int> wrongWrites{0};

        std::thread reader([&] {
            Report report{};
            while (!done) {
                const int got = hid_read_timeout(shared, report.data(), report.size(), 0);
                goodReads += got == int(reportSize) ? 1 : 0;
                wrongReads += got != int(reportSize) && got != -1 ? 1 : 0;
            }
        });
        std::thread writer([&] {
            const Report report{};
            while (!done)
                wrongWrites += hid_write(shared, report.data(), report.size()) != -1 ? 1 : 0;
        });
        for (int i = 0; i < reopenings; ++i) {
            // Wait until there were some calls on this handle.
            for (const int before = goodReads; goodReads == before;)
                std::this_thread::yield();
            hid_close(shared);
            shared = hid_open_path("/dev/full"); // if this fails, the test hangs
        }
        done = true;
        reader.join();
        writer.join();
        QCOMPARE(wrongReads.load(), 0);
        QCOMPARE(wrongWrites.load(), 0);
        QCOMPARE(openCount(QStringLiteral("/dev/full")), 1);
        hid_close(shared);
        QCOMPARE(openCount(QStringLiteral("/dev/full")), 0);
    }

    /// The real source of notices needs an event loop and opens only once.
    void noticesNeedEventLoop()
    {
        const auto ignore = [](unsigned short, unsigned short, const char *, int, void *) {};
        const QString sockets = QStringLiteral("socket:");
        const int before = openCount(sockets);
        hid_register_device_notification(ignore, nullptr);
        QCOMPARE(openCount(sockets), before);

        int argc = 1;
        std::array<char, 2> name{"t"};
        std::array<char *, 2> argv{name.data(), nullptr};
        const QCoreApplication application(argc, argv.data());
        hid_register_device_notification(ignore, nullptr);
        QCOMPARE(openCount(sockets), before + 1);
        hid_register_device_notification(ignore, this);
        QCOMPARE(openCount(sockets), before + 1);
        hid_register_device_notification(nullptr, nullptr);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCOMPARE(openCount(sockets), before);
        hid_register_device_notification(ignore, nullptr);
        QCOMPARE(openCount(sockets), before);
    }

private:
    QTemporaryDir directory;
    QString pipe;
};

QTEST_APPLESS_MAIN(tst_hid_handle)
#include "tst_hid_handle.moc"
