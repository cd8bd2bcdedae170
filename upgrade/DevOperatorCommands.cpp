#include "upgrade/DevOperator.h"

#include "upgrade/commandQueues.h"
#include "upgrade/hexText.h"
#include "upgrade/linkFlags.h"
#include "upgrade/transferSchedule.h"

#include <QDebug>

#include <algorithm>
#include <cstring>

// The queues of control commands. The operator thread serves them between upgrades. The updater
// never starts the other two loops that serve them.

namespace {

constexpr int commandPauseMs = 5;
constexpr int reportRequestPauseMs = 30;
constexpr int shortCommandPauseMs = 10;

template <class Padded, class Command>
Padded zeroPadded(const Command &command)
{
    Padded padded{};
    std::copy(command.begin(), command.end(), padded.begin());
    return padded;
}

/// Removes the first command if it succeeded, and all commands if it failed.
template <class Queue>
void removeServed(Queue &queue, bool succeeded)
{
    if (succeeded)
        queue.removeFirst();
    else
        queue.clear();
}

} // namespace

template <class Queue>
int DevOperator::sendFirst(const Queue &queue, int pauseMs)
{
    clock->sleep(pauseMs);
    const auto command = zeroPadded<ControlCommand>(queue.first());
    InputReport::Bytes reply{};
    return sendCommand(command.data(), reply.data(), command.size());
}

template <class Queue>
void DevOperator::serveCommand(Queue &queue)
{
    const int result = sendFirst(queue, commandPauseMs);
    const bool succeeded = result >= 0 && connectedFlag;
    removeServed(queue, succeeded);
    if (!succeeded)
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
        // Unlike the others, this queue does not report a failure.
        const int result = sendFirst(reportCommandQueue, reportRequestPauseMs);
        removeServed(reportCommandQueue, result >= 0 && connectedFlag);
    }
}

void DevOperator::disconnectedPass()
{
    reportCommandQueue.clear();
    if (settingQueue.isEmpty())
        return;
    // Quirk: any result but 0 counts as a reply, even a negative one. Kept for the
    // companion application, which fills this queue.
    const bool answered = sendFirst(settingQueue, commandPauseMs) != 0;
    qDebug() << "send------" << answered;
    removeServed(settingQueue, answered && linkReadyFlag);
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
    // Quirk: this tests one queue and serves another. Kept for the companion
    // application, which fills both.
    if (controlCommandQueue.isEmpty())
        return;
    const ShortCommand request = shortCommandQueue.value(0);
    ExchangeReply answer{};
    clock->sleep(commandPauseMs);
    if (exchange(zeroPadded<ExchangeBuffer>(request), answer))
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
    if (exchange(zeroPadded<ExchangeBuffer>(request), answer))
        return;
    // Quirk: this removes a command from another queue, so the request is sent again in the
    // next round. Kept for the companion application, which fills both.
    if (!controlCommandQueue.isEmpty())
        controlCommandQueue.removeFirst();
}
