// Measures how much memory an image takes: the updater's peak, less that with a tiny image, in
// multiples of the image.

#include "bench/compare.h"

#include <QRegularExpression>

namespace {

constexpr int recordSize = 1024;
constexpr int recordsPerMebibyte = 1024;

/// Peak of the resident memory when the image is loaded and the transfer has begun.
double peakMebibytes(int records)
{
    UpdaterRun run;
    const QString image = run.makeFirmware(QStringLiteral("TB210.bin"),
                                           {QStringLiteral("--records"), QString::number(records),
                                            QStringLiteral("--size"), QString::number(recordSize)});
    run.start({image}, compare::noPause);
    compare::waitForTrace(run, " write packet=3 ");
    QFile status(QStringLiteral("/proc/%1/status").arg(run.process.processId()));
    if (!status.open(QIODevice::ReadOnly))
        qFatal("%s", qPrintable(status.errorString()));
    constexpr double kibibytesPerMebibyte = 1024;
    const QRegularExpression peak(QStringLiteral("VmHWM:\\s*(\\d+) kB"));
    return peak.match(QString::fromLatin1(status.readAll())).captured(1).toInt() /
           kibibytesPerMebibyte;
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    for (const int mebibytes : {1, 16}) {
        QVector<double> without;
        QVector<double> with;
        for (int round = 0; round < compare::rounds; ++round) {
            without += peakMebibytes(1);
            with += peakMebibytes(mebibytes * recordsPerMebibyte);
        }
        const double taken = compare::median(with) - compare::median(without);
        std::printf("memory for %2d MiB [MiB] %39.3f, ratio %.3f\n", mebibytes, taken,
                    taken / mebibytes);
    }
    return 0;
}
