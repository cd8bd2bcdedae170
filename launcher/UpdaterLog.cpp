#include "launcher/UpdaterLog.h"

#include "device/outputLines.h"

#include <QList>

#include <algorithm>

namespace {

constexpr int wholePercent = 100;

bool begins(const QByteArray &line, const char *mark)
{
    return line.startsWith(mark);
}

QString behind(const QByteArray &line, const char *mark)
{
    return QString::fromLocal8Bit(line.mid(line.indexOf(mark) + static_cast<int>(qstrlen(mark))))
        .trimmed();
}

InputReport::Verdict verdictOf(const QByteArray &statusLine)
{
    constexpr int hexadecimal = 16;
    // Behind the report stand two of its bytes once more.
    const QList<QByteArray> words = statusLine.simplified().split(' ').mid(1, InputReport::size);
    InputReport::Bytes bytes{};
    std::transform(words.begin(), words.end(), bytes.begin(), [](const QByteArray &word) {
        return static_cast<std::uint8_t>(word.toUInt(nullptr, hexadecimal));
    });
    return InputReport(bytes).verdict();
}

} // namespace

void UpdaterLog::take(const QByteArray &bytes)
{
    unfinished += bytes;
    int begin = 0;
    for (int end = unfinished.indexOf('\n'); end >= 0; end = unfinished.indexOf('\n', begin)) {
        takeLine(unfinished.mid(begin, end - begin).trimmed());
        begin = end + 1;
    }
    unfinished.remove(0, begin);
}

void UpdaterLog::finish()
{
    takeLine(unfinished.trimmed());
    unfinished.clear();
}

void UpdaterLog::takeLine(const QByteArray &line)
{
    // What stands before it may be another updater's, which keeps its output in the same file.
    begun = begun || line == outputLine::begun;
    if (!begun)
        return;
    if (begins(line, outputLine::opened))
        opened = true;
    else if (begins(line, outputLine::packetReady))
        packetCount = std::max(packetCount, 1) + 1;
    else if (begins(line, outputLine::packetSent))
        ++sentCount;
    else if (begins(line, outputLine::status) && reported == Verdict::None)
        reported = verdictOf(line);
    else if (begins(line, outputLine::refused))
        refusalText = behind(line, outputLine::refused);
    else if (begins(line, outputLine::box))
        refusalText = behind(line, "+");
    else
        takeEnd(line);
}

void UpdaterLog::takeEnd(const QByteArray &line)
{
    // One that a verdict ended early did not come to the end.
    const QList<QByteArray> words = line.split(' ');
    if (words.value(1) == outputLine::transferOver && words.value(2).toInt() == packetCount)
        sentAll = packetCount > 0;
}

int UpdaterLog::percent() const
{
    if (sentAll)
        return wholePercent;
    const qint64 percents = qint64{sentCount} * wholePercent;
    return std::min(wholePercent - 1, static_cast<int>(percents / std::max(1, packetCount)));
}
