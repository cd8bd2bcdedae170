#include "launcher/KeptLog.h"

#include <QFileInfo>

KeptLog::KeptLog(const QString &path)
    : file(path)
{
}

QString KeptLog::obstacle()
{
    if (file.fileName().isEmpty())
        return {};
    // A pipe or a device could keep us waiting while a microphone is flashed.
    const QFileInfo info(file.fileName());
    if (info.exists() && !info.isFile())
        return QStringLiteral("%1 is not a file that can keep its output").arg(file.fileName());
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append)) {
        faultTold = true;
        return QStringLiteral("its output cannot be kept in %1: %2")
            .arg(file.fileName(), file.errorString());
    }
    file.close();
    return {};
}

void KeptLog::take(const QByteArray &bytes)
{
    if (file.isOpen())
        write(bytes);
    else if (!file.fileName().isEmpty())
        waiting += bytes;
}

void KeptLog::claim()
{
    if (file.fileName().isEmpty() || file.isOpen())
        return;
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        write(waiting);
    waiting.clear();
}

void KeptLog::write(const QByteArray &bytes)
{
    file.write(bytes);
    file.flush();
}

QString KeptLog::newFault()
{
    if (faultTold || file.error() == QFileDevice::NoError)
        return {};
    faultTold = true;
    return QStringLiteral("What the updater says is not all in %1: %2")
        .arg(file.fileName(), file.errorString());
}
