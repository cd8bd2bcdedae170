#pragma once

#include "device/Output.h"

#include <condition_variable>
#include <cstdint>
#include <mutex>

/// One standard stream behind Output.  It lives until the process ends, and so does its
/// thread, which may be stuck in a write by then.
class OutputChannel
{
public:
    explicit OutputChannel(Output::Stream which);

    void write(const QByteArray &text);
    void finish();

private:
    /// Whether writing there can take as long as somebody else likes.
    static bool mayWait(Output::Stream stream);
    /// Writes all of it; false when the stream takes nothing any more.
    static bool writeNow(Output::Stream stream, const QByteArray &text);
    /// The thread: writes what is queued, for ever.
    [[noreturn]] void carry();

    const Output::Stream stream;
    const bool isQueued;
    std::mutex mutex;
    std::condition_variable filled;
    std::condition_variable emptied;
    // The rest belongs to the mutex.
    QByteArray queue;
    std::uint64_t written = 0;
    bool isGone = false;
};
