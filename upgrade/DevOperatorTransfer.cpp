#include "upgrade/DevOperator.h"

#include "device/deviceSelection.h"
#include "device/outputLines.h"
#include "upgrade/FirmwareFile.h"
#include "upgrade/hexText.h"
#include "upgrade/linkFlags.h"
#include "upgrade/transferSchedule.h"

#include <QDebug>

// The firmware transfer. Operator thread.

using namespace transferSchedule;

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
    serveQueues();
}

void DevOperator::walkPackets()
{
    // The size is read each time, because a verdict empties the list and ends the transfer.
    for (int i = 0; i < pendingPackets.size(); ++i) {
        if (i == 0 && g_otgAltPid)
            continue; // the microphone is in upgrade mode already
        runStep(i);
        const std::uint32_t sent = sentCount;
        emit tb210_progress_current_value(static_cast<int>(sent));
        if (sent == static_cast<std::uint32_t>(pendingPackets.size()))
            pendingPackets.clear();
    }
}

void DevOperator::runStep(int index)
{
    if (index == 0)
        sendEntryPacket();
    else if (index == 1)
        waitForRestart();
    else if (index == openingPackets)
        sendOpeningPackets();
    else if (index > openingPackets && (index - openingPackets) % batchSize == 0)
        sendBatchBefore(index);
}

void DevOperator::sendEntryPacket()
{
    qDebug().noquote() << QStringLiteral("发送进入升级模式的数据");
    sendOne(pendingPackets.value(0), 0);
    if (g_selR5Otg)
        clock->sleep(otgEntryPauseMs);
}

void DevOperator::waitForRestart()
{
    awaitingConfirmation = true;
    if (waitForConfirmation())
        clock->sleep(restartPauseMs);
}

void DevOperator::sendOpeningPackets()
{
    sentCount += openingPackets;
    awaitingConfirmation = true;
    sendOne(pendingPackets.value(1), 0);
    sendOne(pendingPackets.value(2), 1);
    waitForConfirmation();
}

void DevOperator::sendBatchBefore(int index)
{
    inFlightBatch.clear();
    sentCount += batchSize;
    inFlightBatch = pendingPackets.mid(index - batchSize, batchSize);
    for (int k = 0; k < inFlightBatch.size(); ++k)
        sendOne(inFlightBatch.value(k), k);
    awaitingConfirmation = true;
    if (!waitForConfirmation()) {
        // This is not a failure: the transfer goes on with the next batch.
        qDebug().noquote() << QStringLiteral("超时导致失败");
        confirmTimer->start(confirmTimerMs);
    }
    qDebug() << pendingPackets.size() << "kkkk" << index << sentCount;
}

void DevOperator::sendTail()
{
    awaitingConfirmation = true;
    const PacketList::List packets = pendingPackets.mid(0);
    const int total = packets.size();
    // This is negative for fewer than three packets. The tail then starts past the end of the
    // list, so nothing is sent.
    const int rest = (total - openingPackets) % batchSize;
    const PacketList::List tail =
        rest != 0 ? packets.mid(total - rest) : packets.mid(total - batchSize, batchSize);
    inFlightBatch = tail;
    // If there are only three packets, packet 0 is part of the tail. A microphone that is in
    // upgrade mode already does not get it, but it counts as sent.
    const bool skipsFirst = g_otgAltPid && tail.size() == total;
    for (int k = 0; k < inFlightBatch.size(); ++k) {
        if (k > 0 || !skipsFirst)
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
    // A verdict may have emptied the list since its size was read.
    if (packet.size() != FirmwareFile::packetSize)
        return;
    reportBuffer.clear();
    qDebug().noquote() << outputLine::packetSent << hexText(packet);
    InputReport::Bytes reply{};
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
