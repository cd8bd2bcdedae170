#pragma once

#include <QByteArray>

/// The standard streams, written so that nobody who does not read them makes this process
/// wait.
///
/// A regular file gets every line at once.  Anything else (pipe, terminal, socket) may stop
/// taking bytes for as long as its reader likes.  So a thread of its own writes there, from
/// a queue of bounded size; when the queue is full, its oldest lines are dropped.  Any thread
/// may call, and nothing here fails.
class Output
{
public:
    enum class Stream
    {
        Standard,
        Error
    };

    static void write(Stream stream, const QByteArray &text);
    /// printf-style, to standard output.
    static void print(const char *format, ...) Q_ATTRIBUTE_FORMAT_PRINTF(1, 2);
    /// Waits until everything is written, as long as a reader takes some of it each second.
    /// Call it before the process ends.
    static void finish();
};
