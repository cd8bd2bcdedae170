#include "simulator/Settings.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <initializer_list>
#include <limits>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

namespace sim {

namespace {

constexpr std::uint32_t largestTimeMs = 600000;
constexpr std::size_t timeDecimals = 3;
/// A shorter interval would be all that the simulator does.
constexpr Time leastRepeat = std::chrono::milliseconds(1);
constexpr std::uint32_t largestNumber = 100000000;
constexpr int hexadecimal = 16;
constexpr int decimal = 10;
constexpr std::size_t largestIdDigits = 4;

constexpr const char *timeRule = "milliseconds from 0 to 600000, at most 3 decimals";
constexpr const char *numberRule = "a packet number from 0 to 100000000";
constexpr const char *productRule = "a product id of 1 to 4 hexadecimal digits";
constexpr const char *deviceRule = "PID or VID:PID, 1 to 4 hexadecimal digits each";
constexpr const char *devicesRule =
    "'none', or a comma list of PID or VID:PID, 1 to 4 hexadecimal digits each";
constexpr const char *rangesRule = "a comma list of N, N-M and N- with 1 <= N <= M <= 100000000";

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

/// Digits and nothing else.
std::optional<std::uint32_t> parseNumber(std::string_view text, int base, std::uint32_t largest)
{
    std::uint32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    if (error != std::errc() || end != text.data() + text.size() || value > largest)
        return std::nullopt;
    return value;
}

std::optional<Time> parseTime(std::string_view text)
{
    const std::size_t point = text.find('.');
    const auto whole = parseNumber(text.substr(0, point), decimal, largestTimeMs);
    if (!whole)
        return std::nullopt;
    Time time = std::chrono::milliseconds(*whole);
    if (point != std::string_view::npos) {
        std::string decimals(text.substr(point + 1));
        if (decimals.empty() || decimals.size() > timeDecimals)
            return std::nullopt;
        decimals.resize(timeDecimals, '0');
        const auto thousandths =
            parseNumber(decimals, decimal, std::numeric_limits<std::uint32_t>::max());
        if (!thousandths)
            return std::nullopt;
        time += Time(*thousandths);
    }
    if (time > std::chrono::milliseconds(largestTimeMs))
        return std::nullopt;
    return time;
}

std::optional<std::uint16_t> parseId(std::string_view text)
{
    if (text.size() > largestIdDigits)
        return std::nullopt;
    const auto id = parseNumber(text, hexadecimal, std::numeric_limits<std::uint16_t>::max());
    if (!id)
        return std::nullopt;
    return static_cast<std::uint16_t>(*id);
}

/// PID or VID:PID.
std::optional<DeviceId> parseDevice(std::string_view text)
{
    const std::size_t colon = text.find(':');
    const bool hasVendor = colon != std::string_view::npos;
    const auto vendor = hasVendor ? parseId(text.substr(0, colon)) : microphoneVendor;
    const auto product = parseId(hasVendor ? text.substr(colon + 1) : text);
    if (!vendor || !product)
        return std::nullopt;
    return DeviceId{*vendor, *product};
}

std::optional<std::vector<DeviceId>> parseDevices(std::string_view text)
{
    std::vector<DeviceId> devices;
    if (text == "none")
        return devices;
    for (const std::string_view part : split(text, ',')) {
        const auto device = parseDevice(part);
        if (!device)
            return std::nullopt;
        devices.push_back(*device);
    }
    return devices;
}

std::optional<CallRanges> parseRanges(std::string_view text)
{
    CallRanges ranges;
    for (const std::string_view part : split(text, ',')) {
        const std::size_t dash = part.find('-');
        const auto first = parseNumber(part.substr(0, dash), decimal, largestNumber);
        auto last = first;
        if (dash != std::string_view::npos && dash + 1 == part.size())
            last = std::numeric_limits<std::uint32_t>::max();
        else if (dash != std::string_view::npos)
            last = parseNumber(part.substr(dash + 1), decimal, largestNumber);
        if (!first || !last || *first < 1 || *last < *first)
            return std::nullopt;
        ranges.add(*first, *last);
    }
    return ranges;
}

template <typename Value>
std::optional<Value> parseWord(std::string_view text,
                               std::initializer_list<std::pair<std::string_view, Value>> words)
{
    for (const auto &[word, value] : words)
        if (text == word)
            return value;
    return std::nullopt;
}

std::optional<Silence> parseSilence(std::string_view text)
{
    return parseWord<Silence>(text, {{"no", Silence::None},
                                     {"all", Silence::All},
                                     {"entry", Silence::Entry},
                                     {"data", Silence::Data}});
}

std::optional<VerdictKind> parseVerdict(std::string_view text)
{
    return parseWord<VerdictKind>(text, {{"by-image", VerdictKind::ByImage},
                                         {"success5", VerdictKind::Success5},
                                         {"success6", VerdictKind::Success6},
                                         {"failure2", VerdictKind::Failure2},
                                         {"failure4", VerdictKind::Failure4},
                                         {"failure-flag", VerdictKind::FailureFlag},
                                         {"none", VerdictKind::None}});
}

std::optional<std::uint32_t> parsePacket(std::string_view text)
{
    return parseNumber(text, decimal, largestNumber);
}

/// Stores what was parsed; false when nothing was.
template <typename Value, typename Target>
bool put(const std::optional<Value> &parsed, Target &target)
{
    if (parsed)
        target = *parsed;
    return parsed.has_value();
}

/// Made by the first setting about it, whichever comes first.
Visitor &visitorOf(Settings &settings)
{
    return settings.visitor ? *settings.visitor : settings.visitor.emplace();
}

/// One setting.  `store` answers false for a value that is not allowed.
struct Rule
{
    const char *name;
    bool (*store)(std::string_view value, Settings &settings);
    const char *allowed;
};

constexpr std::array rules = {
    Rule{"devices", [](std::string_view v, Settings &s) { return put(parseDevices(v), s.devices); },
         devicesRule},
    Rule{
        "answer-delay",
        [](std::string_view v, Settings &s) { return put(parseTime(v), s.microphone.answerDelay); },
        timeRule},
    Rule{"packet-time",
         [](std::string_view v, Settings &s) { return put(parseTime(v), s.packetTime); }, timeRule},
    Rule{"silent",
         [](std::string_view v, Settings &s) { return put(parseSilence(v), s.microphone.silence); },
         "no, all, entry or data"},
    Rule{"enter-time",
         [](std::string_view v, Settings &s) { return put(parseTime(v), s.microphone.enterTime); },
         timeRule},
    Rule{"vanish",
         [](std::string_view v, Settings &s) {
             return put(parseWord<bool>(v, {{"no", false}, {"yes", true}}), s.microphone.vanish);
         },
         "no or yes"},
    Rule{"return-as",
         [](std::string_view v, Settings &s) { return put(parseId(v), s.microphone.returnAs); },
         productRule},
    Rule{"verdict",
         [](std::string_view v, Settings &s) { return put(parseVerdict(v), s.microphone.verdict); },
         "by-image, success5, success6, failure2, failure4, failure-flag or none"},
    Rule{
        "verdict-at",
        [](std::string_view v, Settings &s) { return put(parsePacket(v), s.microphone.verdictAt); },
        numberRule},
    Rule{"verdict-delay",
         [](std::string_view v, Settings &s) {
             return put(parseTime(v), s.microphone.verdictDelay);
         },
         timeRule},
    Rule{"verdict-repeat",
         [](std::string_view v, Settings &s) {
             return put(parseTime(v), s.microphone.verdictRepeat) &&
                    *s.microphone.verdictRepeat >= leastRepeat;
         },
         "milliseconds from 1 to 600000, at most 3 decimals"},
    Rule{"quiet",
         [](std::string_view v, Settings &s) { return put(parseTime(v), s.microphone.quiet); },
         timeRule},
    Rule{"unplug-at",
         [](std::string_view v, Settings &s) { return put(parsePacket(v), s.microphone.unplugAt); },
         numberRule},
    Rule{
        "unplug-after",
        [](std::string_view v, Settings &s) { return put(parseTime(v), s.microphone.unplugAfter); },
        timeRule},
    Rule{
        "replug-after",
        [](std::string_view v, Settings &s) { return put(parseTime(v), s.microphone.replugAfter); },
        timeRule},
    Rule{"replug-as",
         [](std::string_view v, Settings &s) { return put(parseId(v), s.microphone.replugAs); },
         productRule},
    Rule{"replug-state",
         [](std::string_view v, Settings &s) {
             return put(parseWord<bool>(v, {{"idle", false}, {"upgrading", true}}),
                        s.microphone.replugUpgrading);
         },
         "idle or upgrading"},
    Rule{"replug-path",
         [](std::string_view v, Settings &s) {
             return put(parseWord<bool>(v, {{"same", false}, {"new", true}}), s.newPath);
         },
         "same or new"},
    Rule{"visitor",
         [](std::string_view v, Settings &s) {
             const auto id = parseDevice(v);
             if (id)
                 visitorOf(s).id = *id;
             return id.has_value();
         },
         deviceRule},
    Rule{"visitor-at",
         [](std::string_view v, Settings &s) { return put(parsePacket(v), visitorOf(s).at); },
         numberRule},
    Rule{"visitor-stay",
         [](std::string_view v, Settings &s) { return put(parseTime(v), visitorOf(s).stay); },
         timeRule},
    Rule{"fail-writes",
         [](std::string_view v, Settings &s) { return put(parseRanges(v), s.failingWrites); },
         rangesRule},
    Rule{"slow-writes",
         [](std::string_view v, Settings &s) { return put(parseRanges(v), s.slowWrites); },
         rangesRule},
    Rule{"slow-time", [](std::string_view v, Settings &s) { return put(parseTime(v), s.slowTime); },
         timeRule},
    Rule{"fail-reads",
         [](std::string_view v, Settings &s) { return put(parseRanges(v), s.failingReads); },
         rangesRule},
    Rule{"short-reads",
         [](std::string_view v, Settings &s) { return put(parseRanges(v), s.shortReads); },
         rangesRule},
};

std::string knownNames()
{
    std::string names;
    for (const Rule &rule : rules)
        names += std::string(names.empty() ? "" : ", ") + rule.name;
    return names;
}

/// What contradicts what.  Empty: nothing does.
std::string contradiction(const Settings &settings, const std::set<std::string> &given)
{
    const MicrophoneSettings &microphone = settings.microphone;
    const auto has = [&given](const char *name) { return given.count(name) != 0; };
    if (has("unplug-at") && has("unplug-after"))
        return "unplug-after: not together with unplug-at, one of the two";
    if (has("replug-after") && !has("unplug-at") && !has("unplug-after"))
        return "replug-after: needs unplug-at or unplug-after";
    for (const char *name : {"replug-as", "replug-state"})
        if (has(name) && !has("replug-after"))
            return std::string(name) + ": needs replug-after";
    if (has("return-as") && has("vanish") && !microphone.vanish)
        return "return-as: means vanish=yes, not vanish=no";
    const bool vanishes = microphone.vanish || has("return-as");
    if (has("replug-path") && !has("replug-after") && !vanishes)
        return "replug-path: needs replug-after, vanish=yes or return-as";
    if (vanishes && microphone.enterTime <= microphone.answerDelay + restartPause)
        return "enter-time: must exceed answer-delay by more than 100 for a microphone that "
               "vanishes";
    for (const char *name : {"visitor-at", "visitor-stay"})
        if (has(name) && !has("visitor"))
            return std::string(name) + ": needs visitor";
    if (has("slow-time") && !has("slow-writes"))
        return "slow-time: needs slow-writes";
    for (const char *name : {"verdict-at", "verdict-repeat"})
        if (has(name) && microphone.verdict == VerdictKind::None)
            return std::string(name) + ": not together with verdict=none";
    return {};
}

} // namespace

std::variant<Settings, std::string> Settings::parse(const std::string &text)
{
    Settings settings;
    std::set<std::string> given;
    for (const std::string_view part : split(text, ';')) {
        if (part.empty())
            continue;
        const std::size_t equals = part.find('=');
        if (equals == std::string_view::npos)
            return "'" + std::string(part) + "': not of the form name=value";
        const std::string name(trimmed(part.substr(0, equals)));
        const std::string_view value = trimmed(part.substr(equals + 1));
        const auto *const rule = std::find_if(
            rules.begin(), rules.end(), [&name](const Rule &one) { return name == one.name; });
        if (rule == rules.end())
            return "'" + name + "': no such setting, there are: " + knownNames();
        if (!given.insert(name).second)
            return name + ": given twice";
        if (!rule->store(value, settings))
            return name + ": '" + std::string(value) + "' is not allowed, only " + rule->allowed;
    }
    std::string fault = contradiction(settings, given);
    if (!fault.empty())
        return fault;
    if (settings.microphone.returnAs)
        settings.microphone.vanish = true;
    return settings;
}

} // namespace sim
