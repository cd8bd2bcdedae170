#include "device/OutputChannel.h"

#include <chrono>
#include <system_error>
#include <thread>

namespace {

/// Some thousand debug lines.
constexpr int queueCapacity = 1024 * 1024;
/// Bytes of one write; progress is counted in these.
constexpr int pieceSize = 4096;
/// A reader that takes nothing for so long does not read.
constexpr std::chrono::milliseconds readerPatience(250);

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
    if (!isQueued) {
        writeNow(stream, text);
        return;
    }
    const std::lock_guard<std::mutex> guard(mutex);
    if (isGone || text.size() > queueCapacity - queue.size())
        return;
    queue += text;
    filled.notify_one();
}

void OutputChannel::finish()
{
    std::unique_lock<std::mutex> lock(mutex);
    bool isMoving = true;
    while (!queue.isEmpty() && isMoving) {
        const std::uint64_t before = written;
        emptied.wait_for(lock, readerPatience, [this] { return queue.isEmpty(); });
        isMoving = written != before;
    }
}

void OutputChannel::carry()
{
    std::unique_lock<std::mutex> lock(mutex);
    for (;;) {
        filled.wait(lock, [this] { return !queue.isEmpty(); });
        const QByteArray piece = queue.left(pieceSize);
        lock.unlock();
        const bool isTaken = writeNow(stream, piece);
        lock.lock();
        queue.remove(0, isTaken ? piece.size() : queue.size());
        written += static_cast<std::uint64_t>(piece.size());
        isGone = !isTaken;
        if (queue.isEmpty())
            emptied.notify_all();
    }
}
