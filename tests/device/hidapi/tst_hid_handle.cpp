#include "device/CHidBase.h"
#include "device/hidapi/hid_report_descriptor.h"
#include "device/hidapi/hidapi_additions.h"

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
#include <cerrno>
#include <cstring>
#include <future>
#include <thread>

namespace {

constexpr int reportSize = 65;
constexpr int anHourMs = 3600 * 1000;
using Report = std::array<unsigned char, reportSize>;

/// How many times this process has the path, or the kind of file, open. Descriptors that child
/// processes would inherit do not count: they would keep an unplugged microphone's node alive.
int openCount(const QString &path)
{
    int count = 0;
    const QDir descriptors("/proc/self/fd");
    for (const QString &name : descriptors.entryList(QDir::NoFilter)) {
        if (fcntl(name.toInt(), F_GETFD) == FD_CLOEXEC)
            count += QFile::symLinkTarget(descriptors.filePath(name)).contains(path) ? 1 : 0;
    }
    return count;
}

int write(hid_device *device)
{
    const Report report{};
    return hid_write(device, report.data(), report.size());
}

int read(hid_device *device, int milliseconds)
{
    Report report{};
    return hid_read_timeout(device, report.data(), report.size(), milliseconds);
}

/// Starts a blocking read in a thread and returns when that thread sleeps, which it does only in
/// the read.
std::future<int> startReading(hid_device *device)
{
    std::promise<long> thread;
    auto result = std::async(std::launch::async, [&thread, device] {
        thread.set_value(syscall(SYS_gettid));
        return read(device, anHourMs);
    });
    QFile state(QString("/proc/self/task/%1/stat").arg(thread.get_future().get()));
    while (!state.open(QIODevice::ReadOnly) || !state.readAll().contains(") S"))
        state.close();
    return result;
}

} // namespace

/// The library's thread safety and its parser for report descriptors. The backend opens any path,
/// so /dev/full, whose writes fail, and a named pipe, whose reads block, stand in for a device.
class tst_hid_handle : public QObject
{
    Q_OBJECT

private slots:
    void nullAndClosedHandles()
    {
        hid_device *const closed = hid_open_path("/dev/full");
        hid_close(closed);
        hid_close(closed);
        hid_close(nullptr);
        for (hid_device *const handle : {closed, static_cast<hid_device *>(nullptr)}) {
            Report report{};
            unsigned char *const data = report.data();
            std::array<wchar_t, 8> text{};
            for (const int result :
                 {write(handle), hid_read(handle, data, 1), hid_set_nonblocking(handle, 1),
                  hid_send_feature_report(handle, data, 1), hid_get_feature_report(handle, data, 1),
                  hid_get_input_report(handle, data, 1),
                  hid_get_manufacturer_string(handle, text.data(), 1),
                  hid_get_serial_number_string(handle, text.data(), 1),
                  hid_get_indexed_string(handle, 1, text.data(), 1)})
                QCOMPARE(result, -1);
            QCOMPARE(hid_max_input_report_len(handle), handle == nullptr ? 0 : -1);
        }
        QVERIFY(hid_open_path(nullptr) == nullptr && hid_open_path("/nonexistent") == nullptr);
        QCOMPARE(QString::fromWCharArray(hid_error(nullptr)), QString(std::strerror(ENOENT)));
    }

    // Hangs, and so fails, if a write or close waits for the read, or if a read starts that
    // was queued when the handle was closed.
    void writeAndCloseDoNotWaitForRead()
    {
        const QTemporaryDir directory;
        const QByteArray pipe = QFile::encodeName(directory.filePath("pipe"));
        QCOMPARE(mkfifo(pipe.constData(), S_IRUSR | S_IWUSR), 0);
        hid_device *const device = hid_open_path(pipe.constData());
        Report report{};
        QCOMPARE(hid_set_nonblocking(device, 1), 0);
        QCOMPARE(hid_read(device, report.data(), report.size()), 0);
        std::future<int> first = startReading(device);
        QCOMPARE(write(device), reportSize);
        QCOMPARE(first.get(), reportSize);

        std::future<int> second = startReading(device);
        std::future<int> third = startReading(device);
        hid_close(device);
        QCOMPARE(write(device), -1);
        QCOMPARE(openCount(pipe), 1);
        // Another handle of the same path still works and wakes the reader.
        hid_device *const again = hid_open_path(pipe.constData());
        QCOMPARE(write(again), reportSize);
        QCOMPARE(second.get(), reportSize);
        // The queued reader finds the handle closed and closes the device.
        QCOMPARE(third.get(), -1);
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
        std::atomic<int> wrongResults{0};
        std::atomic<int> goodReads{0};
        std::thread reader([&] {
            while (!done) {
                const int got = read(shared, 0);
                goodReads += got == reportSize ? 1 : 0;
                wrongResults += got != reportSize && got != -1 ? 1 : 0;
            }
        });
        std::thread writer([&] {
            while (!done)
                wrongResults += write(shared) != -1 ? 1 : 0;
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
        QCOMPARE(wrongResults.load(), 0);
        QCOMPARE(openCount("/dev/full"), 1);
        hid_close(shared);
        QCOMPARE(openCount("/dev/full"), 0);
    }

    /// The updater's device: a path that has no room for its end is not opened.
    void theDeviceClosesItsHandle()
    {
        CHidBase device;
        QVERIFY(device.init());
        for (const int length : {256, 255}) {
            const QByteArray path = QByteArray(length - 8, '/') + "dev/full";
            QCOMPARE(device.open(path.constData(), 1, 1, 0), length == 255);
        }
        device.close();
        QCOMPARE(openCount("/dev/full"), 0);
    }

    void maxInputLength()
    {
        for (const QByteArray row : {
                 "not numbered: 7508 9540 8102: 65",
                 "output and feature only: 7508 9540 9102 b102: 0",
                 "longest of two ids: 7508 8501 950a 8102 8502 9504 8102: 11",
                 "padding counts, bits are rounded up: 7501 9503 8102 9506 8101: 3",
                 "long item skipped: fe0300 8102ff 7508 9501 8102: 2",
                 "longest that fits: 7508 97feff0000 8102: 65535",
                 "too long by a bit: 7508 96feff 8102 7501 9501 8102: -1",
                 "count beyond 24 bits: 7508 9701000004 8102: -1",
                 "product beyond 32 bits: 7700000100 9700000100 8102: -1",
                 "data cut off: 7508 9540 8102 96ff: -1",
             }) {
            const QByteArray name = row.left(row.lastIndexOf(':'));
            const QByteArray bytes = QByteArray::fromHex(name.mid(name.indexOf(':')));
            const int length = hid_report_descriptor_max_input_length(
                reinterpret_cast<const std::uint8_t *>(bytes.constData()),
                static_cast<std::size_t>(bytes.size()));
            QCOMPARE(name + ": " + QByteArray::number(length), row);
        }
    }

    void noticesStopForGood()
    {
        const hid_device_notification_callback receiver = [](auto...) {};
        const int before = openCount("socket:");
        // In a thread without an event loop they do not even start.
        std::thread([receiver] { hid_register_device_notification(receiver, nullptr); }).join();
        QCOMPARE(openCount("socket:"), before);
        hid_register_device_notification(receiver, nullptr);
        QCOMPARE(openCount("socket:"), before + 1);
        for (const auto each : {hid_device_notification_callback{nullptr}, receiver})
            hid_register_device_notification(each, nullptr);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCOMPARE(openCount("socket:"), before);
    }
};

QTEST_GUILESS_MAIN(tst_hid_handle)
#include "tst_hid_handle.moc"
