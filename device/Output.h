#pragma once

#include <QByteArray>

/// The standard streams, written so that nobody who does not read them makes this process
/// wait.
///
/// A regular file gets every text at once.  Anything else (pipe, terminal, socket) may stop
/// taking bytes for as long as its reader likes.  So a thread of its own writes there, out
/// of a queue of bounded size, and a text that finds no room in the queue is left out as a
/// whole.  Any thread may call; nothing here fails.
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
    /// Waits until everything is written, as long as a reader takes some of it.  Call it
    /// before the process ends.
    static void finish();
};
