#pragma once

#include "device/Output.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>

/// One standard stream of Output. It lives until the process ends, because its thread may be
/// stuck in a write until then.
class OutputChannel
{
public:
    explicit OutputChannel(Output::Stream which);

    /// Keeps an unfinished line until the rest arrives. Both streams may go to the same file,
    /// where a debug line must not continue a printed one.
    void write(const QByteArray &text);
    /// Writes what is left, unless the reader stalls. Later text is dropped.
    void finish();

private:
    /// Whether a write can block until a reader takes the bytes.
    static bool mayBlock(Output::Stream stream);
    /// Writes all of it. Returns false if the stream is closed.
    static bool writeNow(Output::Stream stream, const QByteArray &text);
    /// Writes or queues whole lines. The caller holds the mutex.
    void enqueue(const QByteArray &lines);
    /// The thread's loop: writes what is queued.
    [[noreturn]] void drainQueue();

    const Output::Stream stream;
    const bool isQueued;
    std::mutex mutex;
    std::condition_variable filled;
    std::condition_variable written;
    // Guarded by the mutex:
    QByteArray unfinished;
    std::deque<QByteArray> queue;
    int queuedBytes = 0;
    /// The first text of the queue is being written.
    bool isWriting = false;
    bool isClosed = false;
    bool isEnding = false;
};
