#pragma once

namespace sim {

/// What main() comes down to on each system: runs the program behind `arguments[0]` and
/// serves it until it ends.  Its exit code.  The program ends with this process, however
/// that ends.  Throws std::exception with a sentence when the system does not play along.
int runProgram(char **arguments);

} // namespace sim
