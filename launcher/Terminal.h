#pragma once

#include <QString>

#include <cstdio>

/// The terminal in which this program runs, if there is one.
class Terminal
{
public:
    /// The stream's current width in characters; 0 if it is not a terminal.
    static int columns(std::FILE *stream);

    /// Prints lines. On a terminal long lines are wrapped between words, and continuation lines
    /// start with `indent` blanks.
    static void print(std::FILE *stream, const QString &text, int indent = 0);

    /// Replaces each control character by "?".
    static QString printable(QString text);

    /// Makes writes to a closed pipe fail instead of ending this program. Call it once, at the
    /// start.
    static void ignoreBrokenPipes();
    /// From now on Ctrl-C does not end this program. Call it once.
    static void catchInterrupts();
    /// Whether Ctrl-C was pressed since the last call.
    static bool takeInterrupt();
    /// The calling process leaves the terminal: neither Ctrl-C nor a closed terminal ends it.
    static void leave();

private:
    /// For a terminal that does not report its width.
    static constexpr int defaultColumns = 80;

    /// Wraps `text` to lines shorter than `columns`. Longer words are not broken.
    static QString wrapped(const QString &text, int columns, int indent);
};
