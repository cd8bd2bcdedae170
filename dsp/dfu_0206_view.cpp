#include "dsp/dfu_0206_view.h"

#include <QCoreApplication>
#include <QDebug>
#include <QProcess>
#include <QStringList>

namespace {

constexpr int startTimeoutMs = 30000;
constexpr int hexadecimal = 16;
/// A run counts as successful if the tool reported a total above this.
constexpr int leastTotal = 10;

// The tool writes "current/total" records that end in a carriage return. The third part
// from the end of a chunk is the last record that is certainly complete.
constexpr int completePartFromEnd = 3;
/// One more character of the previous record precedes the current value.
constexpr int charactersBeforeCurrent = 1;
/// Two characters follow the total.
constexpr int charactersAfterTotal = 2;

/// The tool is in the updater's folder.
QString toolPath()
{
    QStringList parts = QCoreApplication::applicationFilePath().split(QLatin1Char('/'));
    parts.removeLast();
    return parts.join(QLatin1Char('/')) + QLatin1String("/ktTool.exe");
}

} // namespace

void dfu_0206_view::startDspUpgrade(const QString &filePath)
{
    const QString program = toolPath();
    dspProcess = new QProcess(this);
    const QString productId = QString::number(dspProductId, hexadecimal);
    qDebug().noquote() << productId;
    // The tool expects a prefix before the vendor id and none before the product id.
    dspProcess->start(
        program,
        {QStringLiteral("0x3C9E"), productId, QStringLiteral("-s"), QStringLiteral("-b"), filePath},
        QIODevice::ReadWrite);
    qDebug() << (dspProcess->waitForStarted(startTimeoutMs) ? "succ!" : "failure!");
    // No signal is lost before this: the event loop emits them.
    connect(dspProcess, SIGNAL(readyReadStandardOutput()), this, SLOT(onReadData()));
    connect(dspProcess, SIGNAL(finished(int)), this, SLOT(readResult(int)));
}

void dfu_0206_view::onReadData()
{
    const QString text = QString::fromLocal8Bit(dspProcess->readAllStandardOutput());
    const QStringList parts = text.split(QLatin1Char('\r'));
    if (parts.size() > completePartFromEnd) {
        const QStringList fields =
            parts.at(parts.size() - completePartFromEnd).split(QLatin1Char('/'));
        if (fields.size() > 1) {
            const QString current = fields.first().mid(charactersBeforeCurrent);
            QString total = fields.last();
            total.chop(charactersAfterTotal);
            dspTotal = static_cast<int>(total.toUInt());
            emit dsp_progress_value(current.toInt());
            qDebug().noquote() << "gogogogoogo" << total << current;
        }
    }
    qDebug().noquote() << "gogogogoogo" << text;
}

void dfu_0206_view::readResult(int exitCode)
{
    const QByteArray rest = dspProcess->readAllStandardOutput();
    qDebug() << "ggggggggxddddxx" << exitCode << rest << dspTotal;
    emit dsp_finish_progress(dspTotal > leastTotal ? 1 : -1);
}
