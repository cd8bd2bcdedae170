#include "simulator/model/Settings.h"

#include <charconv>
#include <map>
#include <optional>
#include <string_view>
#include <utility>

namespace sim {

namespace {

constexpr std::uint32_t largestNumber = 100000000;
constexpr std::uint32_t largestTimeMs = 600000;
constexpr std::uint32_t largestId = 0xFFFF;
constexpr int decimal = 10;
constexpr int hexadecimal = 16;

std::string_view trimmed(std::string_view text)
{
    constexpr std::string_view blanks = " \t\r\n";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::vector<std::string_view> split(std::string_view text, char separator)
{
    std::vector<std::string_view> parts;
    for (;;) {
        const std::size_t end = text.find(separator);
        parts.push_back(trimmed(text.substr(0, end)));
        if (end == std::string_view::npos)
            return parts;
        text.remove_prefix(end + 1);
    }
}

/// False unless the text is a number in this base and not above the largest.
bool parseNumber(std::string_view text, int base, std::uint32_t largest, std::uint32_t &number)
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    return error == std::errc() && end == text.data() + text.size() && number <= largest;
}

// parse() reads a value of each type. It returns false if the text is not such a value.

bool parse(std::string_view text, std::uint32_t &number)
{
    return parseNumber(text, decimal, largestNumber, number);
}

bool parse(std::string_view text, Time &time)
{
    std::uint32_t number = 0;
    const bool good = parseNumber(text, decimal, largestTimeMs, number);
    time = std::chrono::milliseconds(number);
    return good;
}

bool parse(std::string_view text, std::uint16_t &id)
{
    std::uint32_t number = 0;
    const bool good = parseNumber(text, hexadecimal, largestId, number);
    id = static_cast<std::uint16_t>(number);
    return good;
}

bool parse(std::string_view text, DeviceId &id)
{
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos)
        return parse(text, id.product);
    return parse(text.substr(0, colon), id.vendor) && parse(text.substr(colon + 1), id.product);
}

template <typename Value>
bool parse(std::string_view text, std::optional<Value> &value)
{
    return parse(text, value.emplace());
}

bool parse(std::string_view text, std::vector<DeviceId> &devices)
{
    devices.clear();
    if (text == "none")
        return true;
    for (const std::string_view part : split(text, ','))
        if (!parse(part, devices.emplace_back()))
            return false;
    return true;
}

bool parse(std::string_view text, Settings::Calls &calls)
{
    for (const std::string_view part : split(text, ',')) {
        std::uint32_t call = 0;
        if (!parse(part, call) || call == 0)
            return false;
        calls.insert(call);
    }
    return true;
}

/// The given values by name. A value is removed when it is fetched.
class Values
{
public:
    explicit Values(std::string_view text)
    {
        for (const std::string_view part : split(text, ';')) {
            const std::size_t equals = part.find('=');
            if (part.empty())
                continue;
            const std::string name(trimmed(part.substr(0, equals)));
            if (equals == std::string_view::npos)
                blame(name, "not of the form name=value");
            else if (!values.emplace(name, trimmed(part.substr(equals + 1))).second)
                blame(name, "given twice");
        }
    }

    template <typename Value>
    void fetch(const char *name, Value &value)
    {
        const auto given = values.extract(name);
        if (given && !parse(given.mapped(), value))
            blame(name, "invalid value");
    }

    /// At an interval of 0 the simulator would do nothing else.
    void fetchInterval(const char *name, std::optional<Time> &value)
    {
        fetch(name, value);
        if (value == Time(0))
            blame(name, "must be at least 1");
    }

    template <typename Value>
    void fetch(const char *name, Value &value, const std::map<std::string_view, Value> &words)
    {
        const auto given = values.extract(name);
        const auto word = given ? words.find(given.mapped()) : words.end();
        if (word != words.end())
            value = word->second;
        else if (given)
            blame(name, "invalid value");
    }

    /// The first fault, or nothing. A name that was not fetched is unknown.
    std::string fault()
    {
        if (!values.empty())
            blame(values.begin()->first, "there is no such setting");
        return firstFault.empty() ? firstFault : firstFault + "; see simulator/README.md";
    }

private:
    void blame(const std::string &name, const char *why)
    {
        if (firstFault.empty())
            firstFault = name + ": " + why;
    }

    std::map<std::string, std::string_view> values;
    std::string firstFault;
};

} // namespace

std::variant<Settings, std::string> Settings::parse(const std::string &text)
{
    Settings settings;
    MicrophoneSettings &microphone = settings.microphone;
    Values values(text);
    values.fetch("devices", settings.devices);
    values.fetch("answer-delay", microphone.answerDelay);
    values.fetch("packet-time", settings.packetTime);
    values.fetch("silent", microphone.silence,
                 {{"all", Silence::All}, {"entry", Silence::Entry}, {"data", Silence::Data}});
    values.fetch("enter-time", microphone.enterTime);
    values.fetch("vanish", microphone.vanish, {{"yes", true}});
    values.fetch("return-as", microphone.returnAs);
    values.fetch("verdict", microphone.verdict,
                 {{"by-image", VerdictKind::ByImage},
                  {"success6", VerdictKind::Success6},
                  {"failure2", VerdictKind::Failure2},
                  {"failure4", VerdictKind::Failure4},
                  {"failure-flag", VerdictKind::FailureFlag},
                  {"none", VerdictKind::None}});
    values.fetch("verdict-at", microphone.verdictAt);
    values.fetch("verdict-delay", microphone.verdictDelay);
    values.fetchInterval("verdict-repeat", microphone.verdictRepeat);
    values.fetchInterval("chatter", microphone.chatter);
    values.fetch("quiet", microphone.quiet);
    values.fetch("unplug-at", microphone.unplugAt);
    values.fetch("unplug-after", microphone.unplugAfter);
    values.fetch("replug-after", microphone.replugAfter);
    values.fetch("replug-as", microphone.replugAs);
    values.fetch("replug-state", microphone.replugUpgrading, {{"upgrading", true}});
    values.fetch("replug-path", settings.newPath, {{"new", true}});
    values.fetch("extra", settings.extra);
    values.fetch("extra-at", settings.extraAt);
    values.fetch("extra-stay", settings.extraStay);
    values.fetch("fail-writes", settings.failingWrites);
    values.fetch("slow-writes", settings.slowWrites);
    values.fetch("slow-time", settings.slowTime);
    values.fetch("short-reads", settings.shortReads);
    values.fetch("fail-reads", settings.failingReads);
    if (std::string fault = values.fault(); !fault.empty())
        return fault;
    if (microphone.returnAs)
        microphone.vanish = true;
    return settings;
}

} // namespace sim
