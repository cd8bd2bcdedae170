#pragma once

#include <unistd.h>

namespace sim {

/// Owns a file descriptor.
class FileDescriptor
{
public:
    FileDescriptor() = default;
    ~FileDescriptor() { reset(); }
    /// This also prevents copies and moves by construction.
    FileDescriptor &operator=(FileDescriptor &&) = delete;

    int get() const { return descriptor; }
    void reset(int openDescriptor = none)
    {
        if (descriptor != none)
            ::close(descriptor);
        descriptor = openDescriptor;
    }

private:
    static constexpr int none = -1;
    int descriptor = none;
};

} // namespace sim
