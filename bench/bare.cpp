/// What the updater is compared with: as many widgets and the same writes, reads and pauses, with
/// the reads on a thread of their own, but without debug output, result file, hot-plugging and
/// checks.

#include "device/deviceSelection.h"
#include "device/hidapi/hidapi_additions.h"
#include "upgrade/FirmwareFile.h"
#include "upgrade/InputReport.h"
#include "upgrade/transferSchedule.h"

#include <QApplication>
#include <QComboBox>
#include <QFile>
#include <QLabel>
#include <QMainWindow>
#include <QProgressBar>
#include <QPushButton>
#include <QTextEdit>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::milliseconds;

/// As the operator and the worker do it.
constexpr Milliseconds operatorPause(transferSchedule::passPauseMs);
constexpr Milliseconds readPause(2);
constexpr int readTimeoutMs = 64;

template <typename Widget>
void make(QWidget *parent, int count)
{
    for (int i = 0; i < count; ++i)
        new Widget(parent); // NOLINT(cppcoreguidelines-owning-memory): its parent owns it
}

class Bare
{
public:
    explicit Bare(const QString &path)
    {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly) || hid_init() != 0)
            std::abort();
        packets = FirmwareFile::cut(FirmwareFile::parse(file.readAll()).records());
        hid_device_info *const found = hid_enumerate(microphoneVendorId, plainProductId);
        device = found != nullptr ? hid_open_path(found->path) : nullptr;
        if (device == nullptr)
            std::abort();
        hid_free_enumeration(found);
    }

    void run()
    {
        std::thread([this] { readForever(); }).detach();
        send(0, 1);
        if (waitForReport(transferSchedule::confirmationWindowMs))
            std::this_thread::sleep_for(Milliseconds(transferSchedule::restartPauseMs));
        int next = transferSchedule::openingPackets;
        send(1, next);
        waitForReport(transferSchedule::confirmationWindowMs);
        for (; packets.size() - next > transferSchedule::batchSize;
             next += transferSchedule::batchSize) {
            send(next, next + transferSchedule::batchSize);
            waitForReport(transferSchedule::confirmationWindowMs);
        }
        send(next, packets.size());
        // The operator goes on looking for packets.
        while (!isOver)
            std::this_thread::sleep_for(operatorPause);
    }

private:
    void send(int begin, int end)
    {
        for (int i = begin; i < end; ++i)
            hid_write(device, reinterpret_cast<const unsigned char *>(packets.at(i).constData()),
                      FirmwareFile::packetSize);
        isWaiting = true;
    }

    void readForever()
    {
        InputReport report;
        while (!isOver) {
            if (hid_read_timeout(device, report.data(), InputReport::size, readTimeoutMs) > 0)
                isWaiting = false;
            isOver = report.verdict() != InputReport::Verdict::None;
            std::this_thread::sleep_for(readPause);
        }
    }

    bool waitForReport(int timeoutMs) const
    {
        for (const auto end = Clock::now() + Milliseconds(timeoutMs); Clock::now() < end;) {
            if (!isWaiting)
                return true;
        }
        return false;
    }

    QList<QByteArray> packets;
    hid_device *device = nullptr;
    std::atomic<bool> isWaiting = false;
    std::atomic<bool> isOver = false;
};

} // namespace

int main(int argc, char *argv[])
{
    if (!qEnvironmentVariableIsSet("DISPLAY"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    QMainWindow window;
    make<QLabel>(&window, 9);
    make<QPushButton>(&window, 4);
    make<QTextEdit>(&window, 2);
    make<QComboBox>(&window, 1);
    make<QProgressBar>(&window, 1);
    make<QWidget>(&window, 1);
    Bare(QApplication::arguments().at(1)).run();
    return 0;
}
