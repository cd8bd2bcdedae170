#pragma once

/// Leaves at once: no destructor, no exit handler, no library clean-up runs.
[[noreturn]] void leaveProcess(int code);
