#pragma once

#include "device/Output.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>

/// One standard stream behind Output.  It lives until the process ends, and so does its
/// thread, which may be stuck in a write by then.
class OutputChannel
{
public:
    explicit OutputChannel(Output::Stream which);

    /// A line without its end is kept until the rest comes: the two streams may go to the
    /// same file, and a debug line must not continue somebody's printed one.
    void write(const QByteArray &text);
    /// Writes what is left, as long as a reader takes some of it, and nothing after that.
    void finish();

private:
    /// Whether writing there can take as long as somebody else likes.
    static bool mayWait(Output::Stream stream);
    /// Writes all of it; false when the stream takes nothing any more.
    static bool writeNow(Output::Stream stream, const QByteArray &text);
    /// With the mutex held.
    void pass(const QByteArray &lines);
    /// The thread: writes what is queued and never returns.
    [[noreturn]] void carry();

    const Output::Stream stream;
    const bool isQueued;
    std::mutex mutex;
    std::condition_variable filled;
    std::condition_variable taken;
    // The rest belongs to the mutex.
    QByteArray unfinished;
    std::deque<QByteArray> queue;
    int queuedBytes = 0;
    /// The first of the queue is being written.
    bool isWriting = false;
    bool isGone = false;
    bool isEnding = false;
};
