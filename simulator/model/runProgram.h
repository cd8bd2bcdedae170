#pragma once

namespace sim {

/// Runs the program that `arguments[1]` names, with simulated devices, until it ends, and
/// returns its exit code. When this process ends, however it does, the program ends, too.
/// Throws std::exception with a sentence when something fails. Each system has its own.
int runProgram(char **arguments);

} // namespace sim
