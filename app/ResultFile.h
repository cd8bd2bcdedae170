#pragma once

#include <QFile>
#include <QString>
#include <QTextStream>

/// The file through which the launching application follows an upgrade: one
/// percentage a line, then the outcome.  Main thread.
///
/// Nothing here fails an upgrade: what cannot be written is left out silently.
class ResultFile
{
public:
    /// Creates the per-user folder (one level) and empties the file.
    void prepare();

    /// Appends `text` as it stands, "\n" as the platform's line end.  False when
    /// the file could not be opened.
    bool write(const QString &text);

private:
    /// Binds the file to its path, making the folder where it is missing.
    void bind();

    QFile resultFile;
    QTextStream resultStream;
};
