#include "simulator/windows/BridgeLine.h"

#include "simulator/windows/control_codes.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <sstream>
#include <string_view>

namespace sim {

namespace {

constexpr int hexadecimal = 16;
constexpr std::size_t digitsPerByte = 2;
constexpr unsigned bitsPerByte = 8;
constexpr std::uint8_t lowByte = 0xFF;

/// How many fields follow the word, the slot among them.
struct Form
{
    std::string_view word;
    std::size_t fields;
};

constexpr std::array forms = {
    Form{"PLUG", 4},    Form{"UNPLUG", 1},    Form{"SEND", 2},
    Form{"ACCEPT", 1},  Form{"REFUSE", 1},    Form{"READY", 0},
    Form{"PLUGGED", 1}, Form{"UNPLUGGED", 1}, Form{"REPORT", 2},
};

constexpr const char *failed = "FAILED";

template <typename Number>
bool parseNumber(std::string_view text, int base, Number &number)
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    return error == std::errc() && end == text.data() + text.size();
}

} // namespace

std::optional<BridgeLine> BridgeLine::parse(const std::string &text)
{
    constexpr int decimal = 10;
    std::istringstream stream(text);
    BridgeLine line;
    stream >> line.word;
    if (line.word == failed) {
        std::string why;
        std::getline(stream >> std::ws, why);
        line.rest.push_back(why);
        return line;
    }
    for (std::string field; stream >> field;)
        line.rest.push_back(field);
    const auto *const form = std::find_if(
        forms.begin(), forms.end(), [&line](const Form &one) { return one.word == line.word; });
    if (form == forms.end() || line.rest.size() != form->fields)
        return std::nullopt;
    if (line.rest.empty())
        return line;
    if (!parseNumber(line.rest.front(), decimal, line.slot) || line.slot >= velmo_slots)
        return std::nullopt;
    line.rest.erase(line.rest.begin());
    return line;
}

std::string BridgeLine::text() const
{
    std::string text = word;
    if (word != failed && word != "READY")
        text += ' ' + std::to_string(slot);
    for (const std::string &field : rest)
        text += ' ' + field;
    return text + '\n';
}

std::string BridgeLine::hexOf(const std::uint8_t *bytes, std::size_t size)
{
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text;
    for (std::size_t i = 0; i < size; ++i) {
        text += digits[bytes[i] / hexadecimal];
        text += digits[bytes[i] % hexadecimal];
    }
    return text;
}

std::optional<std::vector<std::uint8_t>> BridgeLine::bytesOf(const std::string &hex)
{
    std::vector<std::uint8_t> bytes(hex.size() / digitsPerByte);
    if (hex.size() % digitsPerByte != 0)
        return std::nullopt;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const std::string_view digits(hex.data() + i * digitsPerByte, digitsPerByte);
        if (!parseNumber(digits, hexadecimal, bytes[i]))
            return std::nullopt;
    }
    return bytes;
}

std::string BridgeLine::hexOf(std::uint16_t id)
{
    const std::array<std::uint8_t, 2> bytes = {static_cast<std::uint8_t>(id >> bitsPerByte),
                                               static_cast<std::uint8_t>(id & lowByte)};
    return hexOf(bytes.data(), bytes.size());
}

std::optional<std::uint16_t> BridgeLine::idOf(const std::string &hex)
{
    const auto bytes = bytesOf(hex);
    if (!bytes || bytes->size() != sizeof(std::uint16_t))
        return std::nullopt;
    return static_cast<std::uint16_t>(bytes->at(0) << bitsPerByte | bytes->at(1));
}

} // namespace sim
