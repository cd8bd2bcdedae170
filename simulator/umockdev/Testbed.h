#pragma once

#include <umockdev.h>

#include <memory>
#include <string>

namespace sim {

/// Takes over one reference to a GLib object.
template <typename T>
std::shared_ptr<T> owned(T *object)
{
    return {object, g_object_unref};
}

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
    std::shared_ptr<UMockdevTestbed> bed;
    std::string rootFolder;
};

} // namespace sim
