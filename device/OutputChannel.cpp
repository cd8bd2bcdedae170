#include "device/OutputChannel.h"

#include <chrono>
#include <system_error>
#include <thread>

namespace {

/// Room for some thousand debug lines.
constexpr int queueCapacity = 1024 * 1024;
/// finish() gives up on a reader that takes no text for this long ...
constexpr std::chrono::seconds stallTimeout(1);
/// ... or that does not take everything in this time.
constexpr std::chrono::seconds finishTimeout(5);

} // namespace

OutputChannel::OutputChannel(Output::Stream which)
    : stream(which)
    , isQueued(mayBlock(which))
{
    if (!isQueued)
        return;
    try {
        std::thread(&OutputChannel::drainQueue, this).detach();
    } catch (const std::system_error &) {
        // No thread can be started. The upgrade matters more than its output.
        isClosed = true;
    }
}

void OutputChannel::write(const QByteArray &text)
{
    const std::lock_guard<std::mutex> guard(mutex);
    if (isEnding)
        return;
    const int end = text.lastIndexOf('\n') + 1;
    if (end > 0)
        enqueue(unfinished + text.left(end));
    unfinished = end > 0 ? text.mid(end) : unfinished + text;
}

void OutputChannel::enqueue(const QByteArray &lines)
{
    if (!isQueued) {
        writeNow(stream, lines);
        return;
    }
    if (isClosed || lines.size() > queueCapacity)
        return;
    // The oldest lines are dropped, because the last ones say how the upgrade ended.
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
    // Other threads may go on printing.
    isEnding = true;
    if (!unfinished.isEmpty())
        enqueue(unfinished);
    const auto end = std::chrono::steady_clock::now() + finishTimeout;
    bool isMoving = true;
    while (!queue.empty() && isMoving && std::chrono::steady_clock::now() < end)
        isMoving = written.wait_for(lock, stallTimeout) == std::cv_status::no_timeout;
}

void OutputChannel::drainQueue()
{
    std::unique_lock<std::mutex> lock(mutex);
    for (;;) {
        filled.wait(lock, [this] { return !queue.empty(); });
        const QByteArray text = queue.front();
        isWriting = true;
        lock.unlock();
        const bool isWritten = writeNow(stream, text);
        lock.lock();
        isWriting = false;
        isClosed = !isWritten;
        queue.erase(queue.begin(), isClosed ? queue.end() : queue.begin() + 1);
        queuedBytes = isClosed ? 0 : queuedBytes - text.size();
        written.notify_all();
    }
}
