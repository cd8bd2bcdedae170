#include "device/OutputChannel.h"

#include <chrono>
#include <system_error>
#include <thread>

namespace {

/// Some thousand debug lines.
constexpr int queueCapacity = 1024 * 1024;
/// At the end: a reader that takes no text for so long does not read.
constexpr std::chrono::seconds readerPatience(1);
/// At the end: how long a reader may take for everything.
constexpr std::chrono::seconds endPatience(5);

} // namespace

OutputChannel::OutputChannel(Output::Stream which)
    : stream(which)
    , isQueued(mayWait(which))
{
    if (!isQueued)
        return;
    try {
        std::thread(&OutputChannel::carry, this).detach();
    } catch (const std::system_error &) {
        isGone = true; // no thread to be had: the upgrade matters more than its output
    }
}

void OutputChannel::write(const QByteArray &text)
{
    const std::lock_guard<std::mutex> guard(mutex);
    if (isEnding)
        return;
    const int end = text.lastIndexOf('\n') + 1;
    if (end > 0)
        pass(unfinished + text.left(end));
    unfinished = end > 0 ? text.mid(end) : unfinished + text;
}

void OutputChannel::pass(const QByteArray &lines)
{
    if (!isQueued) {
        writeNow(stream, lines);
        return;
    }
    if (isGone || lines.size() > queueCapacity)
        return;
    // The oldest go first: the last lines tell how the upgrade ended.
    while (lines.size() > queueCapacity - queuedBytes) {
        const auto oldest = queue.begin() + (isWriting ? 1 : 0);
        if (oldest == queue.end())
            return;
        queuedBytes -= oldest->size();
        queue.erase(oldest);
    }
    queue.push_back(lines);
    queuedBytes += lines.size();
    filled.notify_one();
}

void OutputChannel::finish()
{
    std::unique_lock<std::mutex> lock(mutex);
    // The other threads may go on printing.
    isEnding = true;
    if (!unfinished.isEmpty())
        pass(unfinished);
    const auto end = std::chrono::steady_clock::now() + endPatience;
    bool isMoving = true;
    while (!queue.empty() && isMoving && std::chrono::steady_clock::now() < end)
        isMoving = taken.wait_for(lock, readerPatience) == std::cv_status::no_timeout;
}

void OutputChannel::carry()
{
    std::unique_lock<std::mutex> lock(mutex);
    for (;;) {
        filled.wait(lock, [this] { return !queue.empty(); });
        const QByteArray text = queue.front();
        isWriting = true;
        lock.unlock();
        const bool isTaken = writeNow(stream, text);
        lock.lock();
        isWriting = false;
        isGone = !isTaken;
        queue.erase(queue.begin(), isGone ? queue.end() : queue.begin() + 1);
        queuedBytes = isGone ? 0 : queuedBytes - text.size();
        taken.notify_all();
    }
}
