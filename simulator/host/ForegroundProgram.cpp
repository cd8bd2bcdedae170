#include "simulator/host/ForegroundProgram.h"

#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <system_error>

namespace sim {

ForegroundProgram::ForegroundProgram()
{
    sigset_t taken{};
    sigemptyset(&taken);
    for (const int signal : {SIGCHLD, SIGHUP, SIGINT, SIGTERM})
        sigaddset(&taken, signal);
    pthread_sigmask(SIG_BLOCK, &taken, &signalsBefore);
    signals = FileDescriptor(signalfd(-1, &taken, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!signals.isOpen())
        throw std::system_error(errno, std::generic_category(), "signalfd");
}

void ForegroundProgram::start(char *const *arguments)
{
    const pid_t parent = getpid();
    child = fork();
    if (child < 0)
        throw std::system_error(errno, std::generic_category(), "fork");
    if (child != 0)
        return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    // It may have died before that.
    if (getppid() != parent)
        _exit(exitNotStarted);
    pthread_sigmask(SIG_SETMASK, &signalsBefore, nullptr);
    execvp(arguments[0], arguments);
    std::perror(arguments[0]);
    _exit(exitNotStarted);
}

std::optional<int> ForegroundProgram::handleSignals()
{
    signalfd_siginfo info{};
    while (read(signals.get(), &info, sizeof info) == sizeof info) {
        // What a terminal sends it sends to all in front of it, and so to the program.
        if (info.ssi_signo != SIGCHLD && info.ssi_code != SI_KERNEL)
            kill(child, static_cast<int>(info.ssi_signo));
    }
    int status = 0;
    if (waitpid(child, &status, WNOHANG) != child)
        return std::nullopt;
    return WIFSIGNALED(status) ? exitBySignal + WTERMSIG(status) : WEXITSTATUS(status);
}

} // namespace sim
