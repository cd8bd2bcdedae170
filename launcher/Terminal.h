#pragma once

#include <QString>

#include <cstdio>

/// The terminal that this program was started in, if there is one.
class Terminal
{
public:
    /// Characters in a line of this stream now; 0: it goes somewhere else.
    static int columns(std::FILE *stream);

    /// Writes lines.  Those too long for a terminal are broken between words, and what
    /// goes on stands behind `indent`; elsewhere they stay whole.
    static void print(std::FILE *stream, const QString &text, const QString &indent = {});
    /// `text` in lines that are shorter than `columns`, but for words that are not.
    static QString broken(const QString &text, int columns, const QString &indent);

    /// `text` with a "?" for each character that a terminal would obey.
    static QString printable(QString text);

    /// A reader of our output that goes away must not cost the exit code.  Once, at the start.
    static void outliveReaders();
    /// From now on Ctrl-C is counted and does not end this program.  Once in a process.
    static void watchInterrupts();
    /// Ctrl-C so far.  Any thread.
    static int interrupts();

private:
    /// Where it cannot be asked.
    static constexpr int usualColumns = 80;
};
