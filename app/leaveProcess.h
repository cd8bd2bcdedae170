#pragma once

/// Writes out what the standard streams hold, then leaves at once: no destructor,
/// no exit handler, no library clean-up runs.
[[noreturn]] void leaveProcess(int code);
