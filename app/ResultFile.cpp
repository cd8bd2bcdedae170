#include "app/ResultFile.h"

#include "app/common_funtion.h"
#include "device/outputLines.h"

#include <QDebug>
#include <QDir>

void ResultFile::bind()
{
    const QString folder = common_funtion::perUserFolder();
    QDir().mkdir(folder); // fails if it is there already
    resultFile.setFileName(folder + QLatin1String("/Firmware_bin.txt"));
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
    qDebug() << "file_ssss:" << resultFile.fileName();
    if (!resultFile.open(QIODevice::ReadWrite | QIODevice::Append | QIODevice::Text))
        return false;
    resultStream.setDevice(&resultFile);
    resultStream << text;
    resultStream.flush();
    resultFile.flush();
    resultFile.close();
    return true;
}
