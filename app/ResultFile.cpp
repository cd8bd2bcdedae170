#include "app/ResultFile.h"

#include "device/outputLines.h"
#include "device/resultFilePath.h"

#include <QDebug>
#include <QDir>

void ResultFile::bind()
{
    resultFile.setFileName(resultFilePath());
    QDir().mkdir(QFileInfo(resultFile).path()); // fails if it is there already
}

void ResultFile::prepare()
{
    bind();
    qDebug() << outputLine::begun;
    if (resultFile.open(QIODevice::ReadWrite | QIODevice::Append | QIODevice::Truncate |
                        QIODevice::Text))
        resultFile.close();
}

bool ResultFile::write(const QString &text)
{
    bind();
    qDebug() << outputLine::resultFile << resultFile.fileName();
    if (!resultFile.open(QIODevice::ReadWrite | QIODevice::Append | QIODevice::Text))
        return false;
    resultStream.setDevice(&resultFile);
    resultStream << text;
    resultStream.flush();
    resultFile.flush();
    resultFile.close();
    return true;
}
