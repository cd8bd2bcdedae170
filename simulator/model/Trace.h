#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string>

namespace sim {

/// The log of all events, one line for each (README.md has the format). Only one thread at a time
/// may use it.
class Trace
{
public:
    static constexpr const char *variable = "VELMO_SIM_TRACE";

    /// Opens the file that VELMO_SIM_TRACE names, if any. Lines are appended to it. False if the
    /// file cannot be opened.
    bool open();
    /// Writes "TIME EVENT" and, if there are any, " DETAILS".
    void line(const char *event, const std::string &details = {});

    /// Upper-case digits without blanks.
    static std::string hex(const std::uint8_t *bytes, std::size_t size);
    /// Four digits.
    static std::string hex(std::uint16_t id);
    /// "3C9E:000B".
    static std::string ids(std::uint16_t vendor, std::uint16_t product);

private:
    std::ofstream file;
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
};

} // namespace sim
