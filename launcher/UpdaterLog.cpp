#include "launcher/UpdaterLog.h"

#include <QList>

namespace {

// Lines of the updater, in the order in which they come.
/// Written just before the result file is emptied ...
const char *const beginMark = "createUI----";
/// ... and the first that can stand behind that: the search begins, or it could not.
const char *const searchMark = "kkkhhhhxxxxx ";
const char *const resultMark = "file_ssss: ";
/// Packet and report length of the microphone that was opened.
const char *const openedMark = "xxxxx ";
/// A packet that goes out, and a status report that came: the bytes in hexadecimal, each
/// behind a blank.
const char *const packetMark = "dfuxxx------";
const char *const statusMark = "qqqq  ";
const char *const refusedMark = "firmware refused: ";
/// The box that says that the image cannot be opened, where there is no screen.
const char *const boxMark = "Title: ";

QString behind(const QByteArray &line, const char *mark)
{
    return QString::fromLocal8Bit(line.mid(line.indexOf(mark) + static_cast<int>(qstrlen(mark))));
}

/// The verdict in a status report, by the rules of docs/protocol.md.
ResultFollower::Verdict verdictOf(const QByteArray &statusLine)
{
    constexpr int stateIndex = 7;
    constexpr int flagIndex = 8;
    const QList<QByteArray> bytes =
        statusLine.mid(static_cast<int>(qstrlen(statusMark))).split(' ');
    const QByteArray state = bytes.value(stateIndex);
    if (bytes.value(flagIndex) == "1" || state == "2" || state == "4")
        return ResultFollower::Verdict::Failure;
    if (state == "5" || state == "6")
        return ResultFollower::Verdict::Success;
    return ResultFollower::Verdict::None;
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
    takeLine(unfinished);
    unfinished.clear();
}

void UpdaterLog::takeLine(const QByteArray &line)
{
    if (line == beginMark)
        begun = true;
    else if (line.startsWith(searchMark) || line.startsWith(resultMark))
        resultEmptied = begun;
    else if (line.startsWith(openedMark))
        opened = true;
    else if (line.startsWith(packetMark))
        ++sentCount;
    else if (line.startsWith(statusMark) && reported == ResultFollower::Verdict::None)
        reported = verdictOf(line);
    else if (line.startsWith(refusedMark))
        refusalText = behind(line, refusedMark);
    else if (line.startsWith(boxMark))
        refusalText = behind(line, "+");
}
