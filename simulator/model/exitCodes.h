#pragma once

namespace sim {

/// Exit codes, from sysexits.h, which Windows does not have.
constexpr int exitUsage = 64;
constexpr int exitSystem = 71;
constexpr int exitBadSettings = 78;

} // namespace sim
