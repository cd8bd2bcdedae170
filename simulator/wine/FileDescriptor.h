#pragma once

#include <utility>

#include <unistd.h>

namespace sim {

/// An open file descriptor, or none.
class FileDescriptor
{
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int opened)
        : descriptor(opened)
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

    bool isOpen() const { return descriptor != none; }
    int get() const { return descriptor; }
    void close()
    {
        if (isOpen())
            ::close(descriptor);
        descriptor = none;
    }

private:
    static constexpr int none = -1;
    int descriptor = none;
};

} // namespace sim
