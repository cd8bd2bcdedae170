#include "launcher/UpdaterLog.h"

#include "device/outputLines.h"

#include <QList>

#include <algorithm>

namespace {

constexpr int wholePercent = 100;

QString textAfter(const QByteArray &line, const char *mark)
{
    return QString::fromLocal8Bit(line.mid(line.indexOf(mark) + static_cast<int>(qstrlen(mark))))
        .trimmed();
}

InputReport::Verdict verdictOf(const QByteArray &statusLine)
{
    constexpr int hexadecimal = 16;
    // Two of the bytes are repeated after the report.
    const QList<QByteArray> words = statusLine.simplified().split(' ').mid(1, InputReport::size);
    InputReport::Bytes bytes{};
    std::transform(words.begin(), words.end(), bytes.begin(), [](const QByteArray &word) {
        return static_cast<std::uint8_t>(word.toUInt(nullptr, hexadecimal));
    });
    return InputReport(bytes).verdict();
}

} // namespace

void UpdaterLog::append(const QByteArray &bytes)
{
    unfinished += bytes;
    int begin = 0;
    for (int end = unfinished.indexOf('\n'); end >= 0; end = unfinished.indexOf('\n', begin)) {
        parseLine(unfinished.mid(begin, end - begin).trimmed());
        begin = end + 1;
    }
    unfinished.remove(0, begin);
}

void UpdaterLog::finish()
{
    parseLine(unfinished.trimmed());
    unfinished.clear();
}

void UpdaterLog::parseLine(const QByteArray &line)
{
    // Anything printed before this line is not part of the run.
    begun = begun || line == outputLine::begun;
    if (!begun)
        return;
    if (line.startsWith(outputLine::opened))
        opened = true;
    else if (line.startsWith(outputLine::packetReady))
        packetCount = std::max(packetCount, 1) + 1;
    else if (line.startsWith(outputLine::packetSent))
        ++sentCount;
    else if (line.startsWith(outputLine::status) && reported == Verdict::None)
        reported = verdictOf(line);
    else if (line.startsWith(outputLine::refused))
        refusalText = textAfter(line, outputLine::refused);
    else if (line.startsWith(outputLine::box))
        refusalText = textAfter(line, "+");
    else
        parseTransferOver(line);
}

void UpdaterLog::parseTransferOver(const QByteArray &line)
{
    // A transfer that a verdict ended early has sent fewer packets.
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
