#pragma once

#include <QByteArray>

/// Writes to the standard streams without ever waiting for a reader.
///
/// A regular file gets every line at once. A pipe, terminal or socket may block for as long as
/// its reader likes, so a separate thread writes there from a bounded queue. When the queue is
/// full, its oldest lines are dropped. Any thread may call; nothing fails.
class Output
{
public:
    enum class Stream
    {
        Standard,
        Error
    };

    static void write(Stream stream, const QByteArray &text);
    /// Prints to standard output, printf style.
    static void print(const char *format, ...) Q_ATTRIBUTE_FORMAT_PRINTF(1, 2);
    /// Waits until everything is written, unless the reader stalls for a second. Call it
    /// before the process ends.
    static void finish();
};
