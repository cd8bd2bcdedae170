// Measures how the time to parse and cut an image grows with its size. An image that is four
// times as large should take about four times as long.

#include "upgrade/FirmwareFile.h"

#include <QElapsedTimer>
#include <QProcess>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <limits>

namespace {

constexpr int recordSize = 64;
constexpr int mebibyte = 1024 * 1024;
constexpr int rounds = 21;

QByteArray imageOf(int bytes)
{
    QByteArray image(FirmwareFile::entryRecordSize, '\0');
    image[1] = FirmwareFile::entryRecordSize;
    QByteArray record(recordSize, 'x');
    record[1] = recordSize;
    record[2] = 0;
    return image + record.repeated(bytes / recordSize);
}

qint64 nanosecondsFor(const QByteArray &image)
{
    QElapsedTimer timer;
    timer.start();
    const QList<QByteArray> packets = FirmwareFile::cut(FirmwareFile::parse(image).records());
    const qint64 taken = timer.nsecsElapsed();
    if (packets.size() != 1 + (image.size() - FirmwareFile::entryRecordSize) / recordSize)
        std::abort();
    return taken;
}

/// Each image has its own process, as in the updater. Otherwise the memory of an earlier round
/// could make one of the sizes faster.
int measureOne(int mebibytes)
{
    std::printf("%lld\n", nanosecondsFor(imageOf(mebibytes * mebibyte)));
    return 0;
}

qint64 nanosecondsInProcess(const QString &program, int mebibytes)
{
    QProcess process;
    process.start(program, {QString::number(mebibytes)});
    if (!process.waitForFinished())
        std::abort();
    return process.readAllStandardOutput().trimmed().toLongLong();
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc > 1)
        return measureOne(std::atoi(argv[1]));
    const QString program = QString::fromLocal8Bit(argv[0]);
    constexpr std::array<int, 2> sizes = {4, 16};
    std::array<qint64, 2> best{};
    best.fill(std::numeric_limits<qint64>::max());
    // The sizes alternate, so that a change of the machine's speed affects both.
    for (int round = 0; round < rounds; ++round) {
        for (std::size_t i = 0; i < sizes.size(); ++i)
            best[i] = std::min(best[i], nanosecondsInProcess(program, sizes[i]));
    }
    constexpr double nanosecondsPerMillisecond = 1e6;
    std::printf("records of %d bytes, best of %d\n", recordSize, rounds);
    for (std::size_t i = 0; i < sizes.size(); ++i)
        std::printf("%2d MiB: %8.2f ms\n", sizes[i],
                    static_cast<double>(best[i]) / nanosecondsPerMillisecond);
    std::printf("ratio:  %8.2f\n", static_cast<double>(best[1]) / static_cast<double>(best[0]));
    return 0;
}
