#pragma once

namespace sim {

/// Installs the bus driver, whose files are in this program's folder. Does nothing if the driver
/// already runs. Throws std::runtime_error with a sentence.
void installDriver();

} // namespace sim
