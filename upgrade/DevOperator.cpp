#include "upgrade/DevOperator.h"

#include "device/CDeviceManager.h"
#include "device/CHidBase.h"
#include "device/Output.h"
#include "device/deviceSelection.h"
#include "device/outputLines.h"
#include "upgrade/FirmwareFile.h"
#include "upgrade/commandQueues.h"
#include "upgrade/hexText.h"
#include "upgrade/linkFlags.h"
#include "upgrade/transferSchedule.h"

#include <QDebug>

#include <algorithm>
#include <cstring>

QVector<std::uint8_t> modelCodes;
int statusReportCount = 0;

using namespace transferSchedule;

namespace {

constexpr int commandPauseMs = 5;
constexpr int reportRequestPauseMs = 30;
constexpr int shortCommandPauseMs = 10;

constexpr int sysreceiveThreshold = 31;

using Reply = std::array<std::uint8_t, InputReport::size>;

/// Commands of every queue go out with 12 bytes; a shorter one is filled with zeros.
template <std::size_t Size>
ControlCommand asControlCommand(const std::array<std::uint8_t, Size> &command)
{
    ControlCommand whole{};
    std::copy(command.begin(), command.end(), whole.begin());
    return whole;
}

/// Takes a command off its queue if it went well, otherwise the whole queue with it.
/// Tells which.
template <class Queue>
bool settle(Queue &queue, bool wentWell)
{
    if (wentWell)
        queue.removeFirst();
    else
        queue.clear();
    return wentWell;
}

template <std::size_t Size>
CFirmwareUpgradeProtocol::ExchangeBuffer
asExchangeBuffer(const std::array<std::uint8_t, Size> &command)
{
    CFirmwareUpgradeProtocol::ExchangeBuffer whole{};
    std::copy(command.begin(), command.end(), whole.begin());
    return whole;
}

QByteArray asByteArray(const std::uint8_t *bytes, std::size_t size)
{
    return {reinterpret_cast<const char *>(bytes), static_cast<int>(size)};
}

} // namespace

DevOperator::DevOperator(QObject *parent)
    : QObject(parent)
    , confirmTimer(new QTimer(this))
{
    connect(confirmTimer, &QTimer::timeout, this, &DevOperator::timeOutAction);
}

DevOperator::~DevOperator()
{
    delete deviceManager;
}

bool DevOperator::initDeviceManager()
{
    auto *const created = new CDeviceManager<CHidBase>;
    // An earlier manager is not deleted, by decision of this system.
    deviceManager = created;
    if (!created->init())
        return false;
    manager = created;
    created->setProtocol(this);
    created->setOpenOption(0);
    return created->connectFirst();
}

void DevOperator::onDeviceEvent(std::uint32_t /*word*/) {}

void DevOperator::onDeviceConnected(ICommDeviceMgmt *connected)
{
    connectedProductId = static_cast<std::uint32_t>(connected->getDevice()->getPid());
    emit connectDevice();
}

void DevOperator::onDeviceDisconnected()
{
    Output::print("NOconnect-----new------\n");
    emit disconnectDevice();
}

void DevOperator::timeOutAction()
{
    if (!awaitingConfirmation)
        return;
    qDebug().noquote() << QStringLiteral("确认超时导致失败");
    emit tb210_break_fail_mess(static_cast<int>(InputReport::Verdict::Failed));
    pendingPackets.clear();
}

// ---- The firmware transfer ---------------------------------------------------

void DevOperator::tb210_startSendMsg()
{
    for (;;)
        transferPass();
}

void DevOperator::transferPass()
{
    clock->sleep(passPauseMs);
    if (!connectedFlag) {
        disconnectedPass();
        return;
    }
    if (!pendingPackets.isEmpty()) {
        walkPackets();
        sendTail();
    }
    if (!controlCommandQueue.isEmpty()) {
        serveCommand(controlCommandQueue);
        return;
    }
    if (!settingQueue.isEmpty())
        serveCommand(settingQueue);
    if (!reportCommandQueue.isEmpty()) {
        // Its failure is told to nobody.
        const int result = sendFirst(reportCommandQueue, reportRequestPauseMs);
        settle(reportCommandQueue, result >= 0 && connectedFlag);
    }
}

void DevOperator::walkPackets()
{
    // The size is asked for every index: a list emptied by a verdict ends the walk.
    for (int i = 0; i < pendingPackets.size(); ++i) {
        if (i == 0 && g_otgAltPid)
            continue; // in its upgrade mode already
        walkPacket(i);
        const std::uint32_t sent = sentCount;
        emit tb210_progress_current_value(static_cast<int>(sent));
        if (sent == static_cast<std::uint32_t>(pendingPackets.size()))
            pendingPackets.clear();
    }
}

void DevOperator::walkPacket(int index)
{
    if (index == 0) {
        qDebug().noquote() << QStringLiteral("发送进入升级模式的数据");
        sendOne(pendingPackets.value(0), 0);
        if (g_selR5Otg)
            clock->sleep(otgEntryPauseMs);
    } else if (index == 1) {
        awaitingConfirmation = true;
        if (waitForConfirmation())
            clock->sleep(restartPauseMs);
    } else if (index == firstBatchIndex) {
        sentCount += firstBatchIndex;
        awaitingConfirmation = true;
        sendOne(pendingPackets.value(1), 0);
        sendOne(pendingPackets.value(2), 1);
        waitForConfirmation();
    } else if (index > firstBatchIndex && (index - firstBatchIndex) % batchSize == 0) {
        inFlightBatch.clear();
        sentCount += batchSize;
        inFlightBatch = pendingPackets.mid(index - batchSize, batchSize);
        sendBatch();
        awaitingConfirmation = true;
        if (!waitForConfirmation()) {
            // No verdict is drawn here: the transfer goes on with the next batch.
            qDebug().noquote() << QStringLiteral("超时导致失败");
            confirmTimer->start(confirmTimerMs);
        }
        qDebug() << pendingPackets.size() << "kkkk" << index << sentCount;
    }
}

void DevOperator::sendBatch()
{
    for (int k = 0; k < inFlightBatch.size(); ++k)
        sendOne(inFlightBatch.value(k), k);
}

void DevOperator::sendTail()
{
    awaitingConfirmation = true;
    const PacketList::List packets = pendingPackets.mid(0);
    const int total = packets.size();
    // Negative for fewer than three packets; then nothing lies behind the position
    // and nothing is sent.
    const int rest = (total - firstBatchIndex) % batchSize;
    const PacketList::List tail =
        rest != 0 ? packets.mid(total - rest) : packets.mid(total - batchSize, batchSize);
    inFlightBatch = tail;
    // Three packets are all tail, packet 0 among them; it is counted once more, but a
    // microphone that is in its upgrade mode already never gets it.
    const bool leavesOutFirst = g_otgAltPid && tail.size() == total;
    for (int k = 0; k < inFlightBatch.size(); ++k) {
        if (k > 0 || !leavesOutFirst)
            sendOne(inFlightBatch.value(k), k);
        sentCount += 1;
        const std::uint32_t sent = sentCount;
        emit tb210_progress_current_value(static_cast<int>(sent));
        if (sent == static_cast<std::uint32_t>(pendingPackets.size()))
            pendingPackets.clear();
    }
    qDebug() << pendingPackets.size() << outputLine::transferOver << sentCount;
}

void DevOperator::sendOne(const QByteArray &packet, int indexInBatch)
{
    // A verdict may have emptied the list since its size was asked.
    if (packet.size() != FirmwareFile::packetSize)
        return;
    reportBuffer.clear();
    qDebug().noquote() << outputLine::packetSent << hexText(packet);
    Reply reply{};
    sendPacket(reinterpret_cast<const std::uint8_t *>(packet.constData()), reply.data(),
               indexInBatch, packetTimeoutMs);
}

bool DevOperator::waitForConfirmation()
{
    const qint64 begin = clock->now();
    while (awaitingConfirmation) {
        if (clock->now() - begin >= confirmationWindowMs)
            return false;
    }
    return true;
}

// ---- The command queues between upgrades ---------------------------------------

template <class Queue>
int DevOperator::sendFirst(const Queue &queue, int pauseMs)
{
    clock->sleep(pauseMs);
    const ControlCommand command = asControlCommand(queue.first());
    Reply reply{};
    return sendCommand(command.data(), reply.data(), command.size());
}

template <class Queue>
void DevOperator::serveCommand(Queue &queue)
{
    const int result = sendFirst(queue, commandPauseMs);
    if (!settle(queue, result >= 0 && connectedFlag))
        emit tb210_break_fail_mess(result);
}

void DevOperator::disconnectedPass()
{
    reportCommandQueue.clear();
    if (settingQueue.isEmpty())
        return;
    // Any result but 0 passes for an answer here, by decision of this system.
    const bool answered = sendFirst(settingQueue, commandPauseMs) != 0;
    qDebug() << "send------" << answered;
    settle(settingQueue, answered && linkReadyFlag);
}

// ---- The two command loops that the updater never starts ------------------------

void DevOperator::startSendMsg()
{
    for (;;)
        shortCommandPass();
}

void DevOperator::shortCommandPass()
{
    constexpr std::size_t verbOffset = 5;
    constexpr std::size_t valueOffset = 7;
    constexpr std::uint8_t writeVerb = 'w';
    constexpr std::uint8_t valueVerb = 'v';

    clock->sleep(shortCommandPauseMs);
    // One queue is tested, another one served: a decision of this system.
    if (controlCommandQueue.isEmpty())
        return;
    const ShortCommand request = shortCommandQueue.value(0);
    ExchangeReply answer{};
    clock->sleep(commandPauseMs);
    if (exchange(asExchangeBuffer(request), answer))
        return; // the request stays and is sent again
    ShortCommand reply{};
    std::memcpy(reply.data(), answer.data(), reply.size());
    if (!shortCommandQueue.isEmpty())
        shortCommandQueue.removeFirst();
    lastCommandNotWrite = request[verbOffset] != writeVerb;
    if (reply[verbOffset] != valueVerb || request[verbOffset] == writeVerb)
        return;
    shortReplyList.append(reply);
    if (shortReplyList.size() >= expectedReplyList.size() - 1)
        emit refresh_main_signal();
    qDebug().noquote() << "receive_data------" << hexText(asByteArray(reply.data(), reply.size()))
                       << "------xx" << reply[valueOffset];
}

void DevOperator::tb210_startReceiveMsg()
{
    for (;;)
        reportRequestPass();
}

void DevOperator::reportRequestPass()
{
    clock->sleep(passPauseMs);
    if (reportCommandQueue.isEmpty())
        return;
    ExchangeReply answer{};
    const ReportCommand request = reportCommandQueue.first();
    clock->sleep(commandPauseMs);
    if (exchange(asExchangeBuffer(request), answer))
        return;
    // Not the queue that was served: its request is sent again on the next round,
    // by decision of this system.
    if (!controlCommandQueue.isEmpty())
        controlCommandQueue.removeFirst();
}

// ---- The worker thread's poll ----------------------------------------------------

void DevOperator::readDeviceReport()
{
    InputReport report;
    const bool got = readReport(report.data());

    if (report.isUpgradeStatus()) {
        ++statusReportCount;
        qDebug().noquote() << outputLine::status
                           << hexText(asByteArray(report.data(), InputReport::size))
                           << report.value() << report.subKind();
        giveVerdict(report.verdict());
    }
    switch (report.kind()) {
    case InputReport::Kind::DfuState:
        emit blockDfuStatus(report.value());
        break;
    case InputReport::Kind::ModelCode:
        takeModelCode(report);
        break;
    case InputReport::Kind::Parameter:
        if (got)
            takeParameterReport(report);
        break;
    }
    // Any report at all is the answer the transfer waits for.
    if (got && !pendingPackets.isEmpty()) {
        qDebug() << "OOOOOOOOOOO";
        awaitingConfirmation = false;
    }
}

void DevOperator::giveVerdict(InputReport::Verdict verdict)
{
    if (verdict == InputReport::Verdict::None)
        return;
    pendingPackets.clear();
    inFlightBatch.clear();
    emit tb210_break_fail_mess(static_cast<int>(verdict));
}

void DevOperator::takeModelCode(const InputReport &report)
{
    // Both bytes must differ from the last report's, by decision of this system.
    if (report.value() != modelReport.value() &&
        report.secondValue() != modelReport.secondValue()) {
        modelCodes.append(report.value());
        modelCodes.append(report.secondValue());
    }
    modelReport = report;
    qDebug().noquote() << "send_message"
                       << hexText(asByteArray(modelReport.data(), InputReport::size));
    qDebug() << "xxxx11111111111modeleCodel------" << modelCodes;
    if (report.isLastModelCode())
        emit blockModelCodel();
}

void DevOperator::takeParameterReport(const InputReport &report)
{
    if (report.isStored()) {
        if (reportBuffer.size() < ReportBuffer::capacity && report.startsParameterSet())
            reportBuffer.clear();
        reportBuffer.append(report);
    }
    if (report.endsMainValues())
        emit tb210_refresh_main_signal();
    lastReport = report;
    if (report.replacesFirst() && reportBuffer.size() > 1)
        reportBuffer.replaceFirst(report);
    if (reportBuffer.size() >= sysreceiveThreshold)
        emit tb210_sysreceive_datasignal();
}
