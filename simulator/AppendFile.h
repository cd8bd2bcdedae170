#pragma once

#include <string>

namespace sim {

/// A file that only grows, by whole lines: each is one write at the end of the
/// file, so that a process that is killed leaves none half done.
class AppendFile
{
public:
    AppendFile() = default;
    ~AppendFile();
    AppendFile(const AppendFile &) = delete;
    AppendFile &operator=(const AppendFile &) = delete;
    AppendFile(AppendFile &&) = delete;
    AppendFile &operator=(AppendFile &&) = delete;

    /// Opens the file that the environment variable names, made anew if it is not
    /// there; nothing without the variable.  False when it cannot be opened.
    bool openNamedBy(const char *variable);
    bool isOpen() const { return handle != closed; }
    /// `line` ends with its line end.  An error is not reported.
    void append(const std::string &line) const;

private:
    /// A file descriptor, or a Windows handle as a number.
    static constexpr long long closed = -1;
    long long handle = closed;
};

} // namespace sim
