#include "launcher/UpdaterLog.h"

#include "device/outputLines.h"

#include <QList>

#include <algorithm>

namespace {

/// Only the upgrade-mode command.
constexpr int packetsBeforeFirmware = 1;

QString textAfter(const QByteArray &line, char mark)
{
    return QString::fromLocal8Bit(line.mid(line.indexOf(mark) + 1)).trimmed();
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
    QList<QByteArray> lines = (unfinished + bytes).split('\n');
    unfinished = lines.takeLast();
    for (const QByteArray &line : lines)
        parseLine(line.trimmed());
}

void UpdaterLog::parseLine(const QByteArray &line)
{
    // Anything printed before this line is not part of the run.
    hasBegun = hasBegun || line == outputLine::begun;
    if (!hasBegun)
        return;
    // A transfer that a verdict ended early has sent fewer packets.
    const QList<QByteArray> words = line.split(' ');
    if (words.value(1) == outputLine::transferOver && words.value(2).toInt() == packets)
        hasSentAll = packets > 0;
    if (line.startsWith(outputLine::opened))
        hasOpened = true;
    else if (line.startsWith(outputLine::packetReady))
        packets = std::max(packets, 1) + 1;
    else if (line.startsWith(outputLine::packetSent))
        ++sent;
    else if (line.startsWith(outputLine::status) && verdict == Verdict::None)
        verdict = verdictOf(line);
    else if (line.startsWith(outputLine::refused))
        refusal = textAfter(line, ':');
    else if (line.startsWith(outputLine::box))
        refusal = textAfter(line, '+');
}

Progress::Phase UpdaterLog::phase() const
{
    if (hasSentAll)
        return Progress::Phase::Verdict;
    if (sent > packetsBeforeFirmware)
        return Progress::Phase::Sending;
    return hasOpened ? Progress::Phase::Entering : Progress::Phase::Starting;
}

int UpdaterLog::percent() const
{
    constexpr int whole = Progress::wholePercent;
    const qint64 percents = qint64{sent} * whole / std::max(1, packets);
    return hasSentAll ? whole : static_cast<int>(std::min<qint64>(whole - 1, percents));
}
