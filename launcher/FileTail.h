#pragma once

#include <QByteArray>
#include <QString>

/// Reads what another process appends to a file.  One thread.
class FileTail
{
public:
    /// From the file's begin on; the file need not exist yet.
    explicit FileTail(QString filePath);

    /// What came since the last call; nothing when the file cannot be read.  A file
    /// that became shorter is read from its begin.
    QByteArray readNew();
    /// Whether the last call found the file shorter than before.
    bool wasEmptied() const { return emptied; }
    const QString &path() const { return tailPath; }

private:
    QString tailPath;
    qint64 position = 0;
    bool emptied = false;
};
