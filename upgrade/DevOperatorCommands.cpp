#include "upgrade/DevOperator.h"

#include "upgrade/commandQueues.h"
#include "upgrade/hexText.h"
#include "upgrade/linkFlags.h"
#include "upgrade/transferSchedule.h"

#include <QDebug>

#include <algorithm>
#include <cstring>

// The queues of control commands, on the operator thread: served between upgrades, and by two
// loops that the updater never starts.

namespace {

constexpr int commandPauseMs = 5;
constexpr int reportRequestPauseMs = 30;
constexpr int shortCommandPauseMs = 10;

/// A shorter command is filled with zeros.
template <class Whole, class Command>
Whole filledUp(const Command &command)
{
    Whole whole{};
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

} // namespace

template <class Queue>
int DevOperator::sendFirst(const Queue &queue, int pauseMs)
{
    clock->sleep(pauseMs);
    const ControlCommand command = filledUp<ControlCommand>(queue.first());
    InputReport::Bytes reply{};
    return sendCommand(command.data(), reply.data(), command.size());
}

template <class Queue>
void DevOperator::serveCommand(Queue &queue)
{
    const int result = sendFirst(queue, commandPauseMs);
    if (!settle(queue, result >= 0 && connectedFlag))
        emit tb210_break_fail_mess(result);
}

void DevOperator::serveQueues()
{
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

void DevOperator::disconnectedPass()
{
    reportCommandQueue.clear();
    if (settingQueue.isEmpty())
        return;
    // Quirk: any result but 0 passes for an answer, even a negative one.  Kept for the companion
    // application, which fills this queue.
    const bool answered = sendFirst(settingQueue, commandPauseMs) != 0;
    qDebug() << "send------" << answered;
    settle(settingQueue, answered && linkReadyFlag);
}

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
    // Quirk: one queue is tested and another one served.  Kept for the companion application,
    // which fills both.
    if (controlCommandQueue.isEmpty())
        return;
    const ShortCommand request = shortCommandQueue.value(0);
    ExchangeReply answer{};
    clock->sleep(commandPauseMs);
    if (exchange(filledUp<ExchangeBuffer>(request), answer))
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
    qDebug().noquote() << "receive_data------" << hexText(reply) << "------xx"
                       << reply[valueOffset];
}

void DevOperator::tb210_startReceiveMsg()
{
    for (;;)
        reportRequestPass();
}

void DevOperator::reportRequestPass()
{
    clock->sleep(transferSchedule::passPauseMs);
    if (reportCommandQueue.isEmpty())
        return;
    ExchangeReply answer{};
    const ReportCommand request = reportCommandQueue.first();
    clock->sleep(commandPauseMs);
    if (exchange(filledUp<ExchangeBuffer>(request), answer))
        return;
    // Quirk: the queue that was served keeps its request, which is sent again in the next
    // round; another queue gets shorter.  Kept for the companion application, which fills both.
    if (!controlCommandQueue.isEmpty())
        controlCommandQueue.removeFirst();
}
