#pragma once

#include "simulator/umockdev/GObjectPointer.h"

#include <umockdev.h>

#include <string>

namespace sim {

/// A false /sys and /dev in a temporary folder, for this process and its children.
class Testbed
{
public:
    /// Throws std::runtime_error with a sentence that says what to do when the folder
    /// cannot be made or umockdev is not preloaded.
    Testbed();

    UMockdevTestbed *get() const { return bed.get(); }
    /// The folder that stands for "/".
    const std::string &root() const { return rootFolder; }

private:
    GObjectPointer<UMockdevTestbed> bed;
    std::string rootFolder;
};

} // namespace sim
