#pragma once

#include <QFile>
#include <QString>
#include <QTextStream>

/// The file through which the launching application follows an upgrade: one
/// percentage a line, then the outcome. Main thread.
///
/// An upgrade goes on if the file cannot be written; nobody is told.
class ResultFile
{
public:
    /// Creates the per-user folder (one level) and empties the file.
    void prepare();

    /// Appends `text`; "\n" becomes the platform's line end. False if the file could not
    /// be opened.
    bool write(const QString &text);

private:
    /// Sets the file's path. Creates the folder if it is missing.
    void bind();

    QFile resultFile;
    QTextStream resultStream;
};
