#pragma once

#include "device/ICommDeviceMgmt.h"
#include "device/Output.h"
#include "device/deviceSelection.h"
#include "device/outputLines.h"
#include "upgrade/ICommProtocol.h"

#include <QDebug>
#include <QElapsedTimer>
#include <QThread>

#include <array>
#include <atomic>
#include <cstring>
#include <memory>
#include <vector>

/// The device manager for one kind of device, which it creates and owns.
///
/// Two threads match commands with replies through `waitingReply`. The operator thread
/// sets it and writes the packet, up to three times. The worker thread reads the reports
/// and clears it when one is the reply.
template <class Device>
class CDeviceManager final : public ICommDeviceMgmt
{
public:
    CDeviceManager() = default;
    ~CDeviceManager() override;
    Q_DISABLE_COPY_MOVE(CDeviceManager)

    bool init() override;
    void setProtocol(ICommProtocol *newProtocol) override { protocol = newProtocol; }
    void setOpenOption(int option) override { openOption = option; }
    bool isConnected() override { return device != nullptr && device->isOpen(); }
    bool connect(const char *path, std::uint32_t vid, std::uint32_t pid) override;
    bool connectFirst() override;
    bool connectByPid(std::uint32_t pid) override;
    QList<int> listDevicePids() override;
    void disconnect() override;
    bool sendAndReadOnce(const std::uint8_t *packet, int *result, int retries,
                         std::size_t length) override;
    int sendAndWait(const std::uint8_t *packet, std::uint8_t *reply, int retries,
                    std::size_t length) override;
    bool sendNoWait(const std::uint8_t *packet, std::uint8_t *reply, int keepPending) override;
    bool receive(std::uint8_t *buffer, int ignored, int ignoredToo) override;
    bool sendWithRetries(std::uint8_t *packet) override;
    ICommunicateDevice *getDevice() override { return device.get(); }

private:
    /// Path and USB ids of a device that was found.
    struct Found
    {
        std::array<char, ICommunicateDevice::pathBufferSize> path{};
        std::uint32_t vid = 0;
        std::uint32_t pid = 0;
    };

    static constexpr int commandAttempts = 3;
    static constexpr qint64 replyWindowMs = 400;
    static constexpr unsigned long commandPauseMs = 500;
    static constexpr unsigned long packetPauseMs = 200;
    static constexpr unsigned long closePauseMs = 500;
    static constexpr int writeAttempts = 5;
    /// Layout of a command: its kind, and the two key bytes that the reply repeats.
    static constexpr std::size_t kindOffset = 5;
    static constexpr std::size_t key1Offset = 6;
    static constexpr std::size_t key2Offset = 7;
    /// Only commands of this kind are matched with replies by their key bytes.
    static constexpr std::uint8_t keyedKind = 4;
    static constexpr std::size_t packetSize = 65;
    static constexpr int readArgument = 10;

    static void onHotPlug(const char *path, int removal, std::uint16_t vid, std::uint16_t pid,
                          void *context);
    bool isReady() const { return protocol != nullptr && device != nullptr; }
    const void *search(const SupportedModel &model);
    void closeAndNotify();
    void matchReply(const std::uint8_t *report);

    // Written by the main thread only before it sets the link flags. A thread that sees a
    // flag sees these values, too.
    std::unique_ptr<ICommunicateDevice> device;
    ICommProtocol *protocol = nullptr;
    int openOption = 0;
    /// Set and polled by the operator thread. Cleared by the worker thread on a reply
    /// and by the main thread on a disconnect.
    std::atomic<bool> waitingReply{false};
    /// Packets sent and not answered; operator thread only. Never dereferenced, because
    /// the packets may be gone.
    std::vector<const std::uint8_t *> unansweredPackets;
    /// The command that waits for a reply. Written by the operator thread, read by the worker.
    std::atomic<std::uint8_t> expectedKey1{0};
    std::atomic<std::uint8_t> expectedKey2{0};
    std::atomic<std::uint8_t> expectedKind{0};
    /// Result of the last reply check. Written by the worker thread, read by the
    /// operator thread.
    ///
    /// Quirk: a new command does not reset it, so a command without a reply returns the
    /// status of an earlier one. The command queues pass that status on.
    std::atomic<int> lastStatus{statusNoReply};
};

template <class Device>
CDeviceManager<Device>::~CDeviceManager()
{
    if (isConnected())
        closeAndNotify();
}

template <class Device>
bool CDeviceManager<Device>::init()
{
    device = std::make_unique<Device>();
    if (!device->init())
        return false;
    device->registerNotify(&CDeviceManager::onHotPlug, this);
    return true;
}

template <class Device>
bool CDeviceManager<Device>::connect(const char *path, std::uint32_t vid, std::uint32_t pid)
{
    if (!isReady())
        return false;
    if (!device->isOpen() && !device->open(path, vid, pid, static_cast<std::uint32_t>(openOption)))
        return false;
    const int frameLength = protocol->frameLength();
    const int reportLength = device->getMaxInputReportLen();
    Output::print("--xxx---%d----%d", frameLength, reportLength);
    qDebug() << outputLine::opened << frameLength << reportLength;
    protocol->onDeviceConnected(this);
    return true;
}

template <class Device>
const void *CDeviceManager<Device>::search(const SupportedModel &model)
{
    return device->findDevice(model.vid, model.pid, model.reserved);
}

template <class Device>
bool CDeviceManager<Device>::connectFirst()
{
    if (!isReady())
        return false;
    const void *record = nullptr;
    for (const SupportedModel *model = protocol->supportedModels();
         model != nullptr && record == nullptr; model = model->next)
        record = search(*model);
    Found found;
    return record != nullptr &&
           device->getDeviceInfo(record, found.path.data(), &found.vid, &found.pid) &&
           connect(found.path.data(), found.vid, found.pid);
}

template <class Device>
bool CDeviceManager<Device>::connectByPid(std::uint32_t pid)
{
    if (!isReady())
        return false;
    for (const SupportedModel *model = protocol->supportedModels(); model != nullptr;
         model = model->next) {
        const void *const record = search(*model);
        Found found;
        if (record != nullptr &&
            device->getDeviceInfo(record, found.path.data(), &found.vid, &found.pid) &&
            found.pid == pid)
            return connect(found.path.data(), found.vid, found.pid);
    }
    return false;
}

template <class Device>
QList<int> CDeviceManager<Device>::listDevicePids()
{
    QList<int> pids;
    if (!isReady())
        return pids;
    // This lists the entry's product id, not the found device's. The search ignores the
    // entry, so every entry is listed while the selected microphone is present.
    for (const SupportedModel *model = protocol->supportedModels(); model != nullptr;
         model = model->next) {
        if (search(*model) != nullptr)
            pids.append(static_cast<int>(model->pid));
    }
    return pids;
}

template <class Device>
void CDeviceManager<Device>::disconnect()
{
    if (device != nullptr)
        closeAndNotify();
}

template <class Device>
void CDeviceManager<Device>::closeAndNotify()
{
    // Quirk: a sender that is waiting takes this for its reply and reports success. The
    // operator thread depends on it: it must not wait for a device that is gone.
    waitingReply = false;
    device->close();
    QThread::msleep(closePauseMs);
    if (protocol != nullptr)
        protocol->onDeviceDisconnected();
}

template <class Device>
int CDeviceManager<Device>::sendAndWait(const std::uint8_t *packet, std::uint8_t *reply,
                                        int /*retries*/, std::size_t length)
{
    if (!isReady())
        return statusNoDevice;
    expectedKey1 = packet[key1Offset];
    expectedKey2 = packet[key2Offset];
    expectedKind = packet[kindOffset];
    waitingReply = true;
    std::memset(reply, 0, reportSize);

    for (int attempt = 0; attempt < commandAttempts; ++attempt) {
        if (device == nullptr)
            return statusNoDevice;
        if (!device->write(packet, length)) {
            QThread::msleep(commandPauseMs);
            qDebug() << "Send failed. cmd";
            continue;
        }
        QElapsedTimer sinceWrite;
        sinceWrite.start();
        do {
            if (!waitingReply)
                return statusReplied;
        } while (sinceWrite.elapsed() < replyWindowMs);
    }
    return lastStatus;
}

template <class Device>
bool CDeviceManager<Device>::receive(std::uint8_t *buffer, int /*ignored*/, int /*ignoredToo*/)
{
    if (!isReady())
        return false;
    std::memset(buffer, 0, reportSize);
    if (!device->read(buffer, readArgument))
        return false;
    matchReply(buffer);
    return true;
}

template <class Device>
void CDeviceManager<Device>::matchReply(const std::uint8_t *report)
{
    const bool valid = protocol->verifyReply(report);
    if (expectedKind != keyedKind) {
        // Any report is the reply to a command of another kind.
        waitingReply = false;
        return;
    }
    const bool sameKeys = report[key1Offset] == expectedKey1 && report[key2Offset] == expectedKey2;
    if (sameKeys && valid)
        waitingReply = false;
    if (!sameKeys)
        lastStatus = statusOtherReply;
    if (!valid)
        lastStatus = statusInvalidReply;
}

template <class Device>
bool CDeviceManager<Device>::sendNoWait(const std::uint8_t *packet, std::uint8_t *reply,
                                        int keepPending)
{
    if (!isReady())
        return false;
    std::memset(reply, 0, reportSize);
    waitingReply = true;
    if (keepPending == 0)
        unansweredPackets.clear();
    if (device->write(packet, packetSize)) {
        unansweredPackets.push_back(packet);
    } else {
        QThread::msleep(packetPauseMs);
        qDebug() << "Send failed. cmd";
    }
    return false;
}

template <class Device>
bool CDeviceManager<Device>::sendAndReadOnce(const std::uint8_t *packet, int *result,
                                             int /*retries*/, std::size_t length)
{
    if (!isReady())
        return false;
    *result = 0;
    if (device->write(packet, length))
        device->waitRead(false, 0);
    else
        qDebug() << "Send failed. cmd";
    return false;
}

template <class Device>
bool CDeviceManager<Device>::sendWithRetries(std::uint8_t *packet)
{
    if (protocol == nullptr)
        return false;
    protocol->acceptFrame(packet, protocol->frameLength());
    protocol->makeChecksum(packet);
    for (int attempt = 0; attempt < writeAttempts; ++attempt) {
        if (device != nullptr &&
            device->write(packet, static_cast<std::size_t>(protocol->frameLength())))
            return true;
    }
    return false;
}

template <class Device>
void CDeviceManager<Device>::onHotPlug(const char *path, int removal, std::uint16_t vid,
                                       std::uint16_t pid, void *context)
{
    Output::print("vid:pid=%04X:%04X removal=%d, path:%s\n", static_cast<unsigned>(vid),
                  static_cast<unsigned>(pid), removal, path);
    auto *const manager = static_cast<CDeviceManager *>(context);
    if (manager == nullptr || !manager->isReady())
        return;
    if (removal != 0) {
        // Quirk: the device keeps its path when it is closed, so a second removal notice for
        // it closes and notifies again. The window then shows the same thing twice.
        if (qstricmp(path, manager->device->getPath()) == 0)
            manager->disconnect();
    } else if (vid == microphoneVendorId) {
        manager->connect(path, vid, pid);
    }
}
