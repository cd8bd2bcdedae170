#include "launcher/FileTail.h"

#include <QFile>

#include <utility>

FileTail::FileTail(QString filePath)
    : tailPath(std::move(filePath))
{
}

QByteArray FileTail::readNew()
{
    emptied = false;
    // Opened anew each time: nothing is held while the updater writes.
    QFile file(tailPath);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    if (file.size() < position) {
        position = 0;
        emptied = true;
    }
    if (!file.seek(position))
        return {};
    QByteArray bytes = file.readAll();
    position += bytes.size();
    return bytes;
}
