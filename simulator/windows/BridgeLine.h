#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace sim {

/// One line of text between velmo-sim-wine, where the devices are, and velmo-simbridge.exe,
/// where they are plugged in:
///
///     to the bridge                          from it
///     PLUG slot vendor product instance      READY            once, at the start
///     UNPLUG slot                            PLUGGED slot     programs can open it
///     SEND slot BYTES                        UNPLUGGED slot   programs have lost it
///     ACCEPT slot                            REPORT slot BYTES
///     REFUSE slot                            FAILED REST OF THE LINE
///
/// Each REPORT is a write of a program that goes on until ACCEPT or REFUSE; the next one
/// of that slot comes behind it, or none when the device is unplugged first.  PLUG and
/// UNPLUG are carried out one after the other; what they are answered with comes behind
/// all reports of an earlier device in that slot.  The end of the bridge's input unplugs
/// everything.  After FAILED the bridge ends.
///
/// Slots are decimal, ids four hexadecimal digits, bytes two each without blanks.
struct BridgeLine
{
    std::string word;
    std::size_t slot = 0;
    /// What follows, in fields; one field, as it is, of FAILED.
    std::vector<std::string> rest;

    /// Without line end.  Nothing when it is none of the above.
    static std::optional<BridgeLine> parse(const std::string &text);
    /// With line end.
    std::string text() const;

    static std::string hexOf(const std::uint8_t *bytes, std::size_t size);
    /// Nothing when they are not bytes.
    static std::optional<std::vector<std::uint8_t>> bytesOf(const std::string &hex);
    static std::string hexOf(std::uint16_t id);
    static std::optional<std::uint16_t> idOf(const std::string &hex);
};

} // namespace sim
