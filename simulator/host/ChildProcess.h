#pragma once

#include "simulator/host/FileDescriptor.h"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace sim {

/// A program that was started, looked for in PATH.  Killed and waited for at the end.
class ChildProcess
{
public:
    /// What becomes of it when the thread that started it dies without a word.
    enum class WhenLeft
    {
        LivesOn,
        Dies
    };

    /// The exit code of a program that cannot be started; as shells have it.
    static constexpr int cannotStart = 127;

    ChildProcess() = default;
    ~ChildProcess();
    ChildProcess(const ChildProcess &) = delete;
    ChildProcess &operator=(const ChildProcess &) = delete;
    ChildProcess(ChildProcess &&) = delete;
    ChildProcess &operator=(ChildProcess &&) = delete;

    /// With these as its standard input, output and error; all else that it inherits is
    /// open without close-on-exec.  Ends with `cannotStart` when it is none.  False
    /// when there cannot be another process.
    bool start(const std::vector<std::string> &command, int input, int output, int error,
               WhenLeft whenLeft);
    /// Can be read, in the sense of poll(), when it has ended; -1 when none was started.
    int endDescriptor() const { return end.get(); }
    /// Its exit code, or 128 and the number of the signal that ended it; nothing when the
    /// time is up.
    std::optional<int> waitForEnd(std::chrono::milliseconds patience);
    void kill();

private:
    FileDescriptor end;
    pid_t id = 0;
    std::optional<int> code;
};

} // namespace sim
