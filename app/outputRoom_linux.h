#pragma once

#include <climits>

/// What can be written to a pipe that has room at all, in bytes.
constexpr int surelyFitting = PIPE_BUF;

/// Whether `surelyFitting` bytes can be written to a descriptor without waiting.
bool hasOutputRoom(int descriptor);
