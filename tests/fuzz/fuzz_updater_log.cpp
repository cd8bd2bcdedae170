#include "launcher/UpdaterLog.h"
#include "tests/fuzz/fuzzTarget.h"

#include <tuple>

/// Byte 0 of the input is the size of the pieces in which the rest, the output, arrives.
int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray output = bytesOf(data, size).mid(1);
    const int piece = size > 0 ? 1 + data[0] : 1;
    const auto allOf = [](const UpdaterLog &log) {
        return std::tuple(log.hasBegun, log.hasOpened, log.packets, log.sent, log.hasSentAll,
                          log.percent(), log.verdict, log.refusal, log.phase());
    };
    UpdaterLog whole;
    whole.append(output);
    UpdaterLog log;
    for (int begin = 0; begin < output.size(); begin += piece) {
        const UpdaterLog::Verdict before = log.verdict;
        log.append(output.mid(begin, piece));
        require(before == UpdaterLog::Verdict::None || log.verdict == before, "first verdict");
        require(log.percent() >= 0 && log.percent() <= (log.hasSentAll ? 100 : 99), "percents");
        require(log.hasBegun || allOf(log) == allOf({}), "nothing before the begin");
    }
    require(allOf(log) == allOf(whole), "pieces do not matter");
    require(log.sent <= output.count("dfuxxx------"), "the updater's lines only");
    return 0;
}
