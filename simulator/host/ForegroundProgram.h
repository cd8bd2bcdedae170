#pragma once

#include "simulator/host/FileDescriptor.h"

#include <sys/types.h>

#include <csignal>
#include <optional>

namespace sim {

/// The program under test, as if it stood in our place: signals that would end this
/// process go to it instead, and when this process dies of the one that cannot be
/// caught, it dies, too.
class ForegroundProgram
{
public:
    /// What a shell answers for a program that it cannot start.
    static constexpr int exitNotStarted = 127;
    /// Added to the signal's number for a program that a signal ended.
    static constexpr int exitBySignal = 128;

    /// Takes the signals over.  Made before this process has another thread.  Throws
    /// std::system_error when the system is out of descriptors.
    ForegroundProgram();

    /// `arguments` ends with a null; the first is the program, looked for in PATH.
    /// The thread that calls this must live as long as the process.  Throws
    /// std::system_error when there can be no more processes.
    void start(char *const *arguments);
    /// Readable when there is something for handleSignals().
    int pollDescriptor() const { return signals.get(); }
    /// Passes signals on; the exit code once the program has ended.
    std::optional<int> handleSignals();

private:
    sigset_t signalsBefore{};
    FileDescriptor signals;
    pid_t child = 0;
};

} // namespace sim
