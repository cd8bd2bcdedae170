#pragma once

#include <unistd.h>

#include <utility>

namespace sim {

/// Owns a file descriptor.
class FileDescriptor
{
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int openDescriptor)
        : descriptor(openDescriptor)
    {
    }
    ~FileDescriptor() { close(); }
    FileDescriptor(const FileDescriptor &) = delete;
    FileDescriptor &operator=(const FileDescriptor &) = delete;
    FileDescriptor(FileDescriptor &&other) noexcept
        : descriptor(std::exchange(other.descriptor, none))
    {
    }
    FileDescriptor &operator=(FileDescriptor &&other) noexcept
    {
        std::swap(descriptor, other.descriptor);
        return *this;
    }

    int get() const { return descriptor; }
    bool isOpen() const { return descriptor != none; }
    void close()
    {
        if (isOpen())
            ::close(std::exchange(descriptor, none));
    }

private:
    static constexpr int none = -1;
    int descriptor = none;
};

} // namespace sim
