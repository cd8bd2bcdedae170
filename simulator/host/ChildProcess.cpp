#include "simulator/host/ChildProcess.h"

#include <cerrno>
#include <csignal>
#include <cstdio>

#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>

namespace sim {

namespace {

constexpr int signalCode = 128;

/// In the new process, which knows no other thread than this one.
[[noreturn]] void become(const std::vector<std::string> &command, int input, int output, int error,
                         ChildProcess::WhenLeft whenLeft, pid_t parent)
{
    if (whenLeft == ChildProcess::WhenLeft::Dies) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        // It may have died before it was listened for.
        if (getppid() != parent)
            _exit(ChildProcess::cannotStart);
    }
    sigset_t none{};
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    std::signal(SIGPIPE, SIG_DFL);
    dup2(input, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(error, STDERR_FILENO);

    std::vector<char *> arguments;
    arguments.reserve(command.size() + 1);
    for (const std::string &argument : command)
        arguments.push_back(const_cast<char *>(argument.c_str()));
    arguments.push_back(nullptr);
    execvp(arguments.front(), arguments.data());
    std::perror(arguments.front());
    _exit(ChildProcess::cannotStart);
}

} // namespace

ChildProcess::~ChildProcess()
{
    kill();
}

bool ChildProcess::start(const std::vector<std::string> &command, int input, int output, int error,
                         WhenLeft whenLeft)
{
    const pid_t parent = getpid();
    id = fork();
    if (id == 0)
        become(command, input, output, error, whenLeft, parent);
    if (id < 0)
        return false;
    // Not by the C library's function: its header did not suit C++ at first (glibc 2.36).
    end = FileDescriptor(static_cast<int>(syscall(SYS_pidfd_open, id, 0)));
    if (end.isOpen())
        return true;
    // Without it nobody could wait for the end with a time-out.
    ::kill(id, SIGKILL);
    waitpid(id, nullptr, 0);
    id = 0;
    return false;
}

std::optional<int> ChildProcess::waitForEnd(std::chrono::milliseconds patience)
{
    if (code || id <= 0)
        return code;
    pollfd ended = {end.get(), POLLIN, 0};
    int events = -1;
    do
        events = poll(&ended, 1, static_cast<int>(patience.count()));
    while (events < 0 && errno == EINTR);
    if (events <= 0)
        return std::nullopt;
    int status = 0;
    if (waitpid(id, &status, 0) != id)
        return std::nullopt;
    code = WIFEXITED(status) ? WEXITSTATUS(status) : signalCode + WTERMSIG(status);
    return code;
}

void ChildProcess::kill()
{
    constexpr std::chrono::milliseconds forever{-1};
    if (id <= 0 || code)
        return;
    ::kill(id, SIGKILL);
    waitForEnd(forever);
}

} // namespace sim
