#include "simulator/umockdev/UmockdevHost.h"

#include "simulator/model/runProgram.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

namespace sim {

namespace {

constexpr const char *nodePrefix = "/dev/hidraw";
constexpr const char *preloadVariable = "LD_PRELOAD";
/// Set by the build: the address sanitizer's run-time library, which has to be loaded
/// before every other, and a colon; or nothing.
constexpr const char *sanitizerRuntime = VELMO_SANITIZER_RUNTIME;
constexpr const char *umockdevPreload = "libumockdev-preload.so.0";
// The same as a shell's.
constexpr int exitNotStarted = 127;
constexpr int exitBySignal = 128;

/// Restarts this program with umockdev's library, which shows it and its children the test
/// bed's files instead of the system's. Returns if the library is loaded already.
void preload(char **arguments)
{
    const char *const variable = std::getenv(preloadVariable);
    const std::string before = variable != nullptr ? variable : "";
    if (before.find(umockdevPreload) != std::string::npos)
        return;
    const std::string wanted =
        std::string(sanitizerRuntime) + umockdevPreload + (before.empty() ? "" : ":") + before;
    setenv(preloadVariable, wanted.c_str(), 1);
    execv("/proc/self/exe", arguments);
}

/// Finds the program in PATH. The system kills it when this thread ends.
pid_t start(char *const *arguments)
{
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child < 0)
        throw std::system_error(errno, std::generic_category(), "fork");
    if (child != 0)
        return child;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    // The parent may have ended before that.
    if (getppid() != parent)
        _exit(exitNotStarted);
    // A node is a terminal, and the first one that the leader of a session opens becomes its own:
    // unplugging would hang up on it.
    std::signal(SIGHUP, SIG_IGN);
    execvp(arguments[0], arguments);
    std::perror(arguments[0]);
    _exit(exitNotStarted);
}

int waitForEnd(pid_t child)
{
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFSIGNALED(status) ? exitBySignal + WTERMSIG(status) : WEXITSTATUS(status);
}

} // namespace

int runProgram(char **arguments)
{
    preload(arguments);
    return UmockdevHost().run(arguments + 1);
}

UmockdevHost::UmockdevHost()
    : bus(this, nodePrefix)
{
    current.resize(bus.devices().size());
    for (std::size_t i = 0; i < current.size(); ++i)
        if (bus.devices()[i].microphone.isOnBus())
            UmockdevHost::arrived(i);
}

int UmockdevHost::run(char *const *arguments)
{
    const pid_t child = start(arguments);
    std::thread waiting([this, child] {
        const int code = waitForEnd(child);
        const std::lock_guard<std::mutex> lock(mutex);
        exitCode = code;
        wake.notify_one();
    });
    std::unique_lock<std::mutex> lock(mutex);
    while (!exitCode) {
        const auto requests = std::exchange(inbox, {});
        lock.unlock();
        for (const HidrawNode::Request &request : requests)
            take(request);
        const auto next = bus.runDue();
        lock.lock();
        const auto something = [this] { return exitCode || !inbox.empty(); };
        if (next)
            wake.wait_until(lock, *next, something);
        else
            wake.wait(lock, something);
    }
    waiting.join();
    return *exitCode;
}

void UmockdevHost::take(const HidrawNode::Request &request)
{
    const auto found = std::find(current.begin(), current.end(), request.node);
    std::optional<std::size_t> index;
    if (found != current.end())
        index = static_cast<std::size_t>(found - current.begin());
    if (request.writer == nullptr) {
        if (index)
            bus.opened(*index);
        return;
    }
    const UMockdevIoctlData *const report = umockdev_ioctl_client_get_arg(request.writer.get());
    const auto length = static_cast<std::size_t>(report->data_len);
    bus.write(index, {report->data, report->data + length},
              [writer = request.writer, length](bool taken) {
                  umockdev_ioctl_client_complete(
                      writer.get(), taken ? static_cast<long>(length) : -1, taken ? 0 : EIO);
              });
}

void UmockdevHost::departed(std::size_t index)
{
    current[index]->unplug();
    current[index] = nullptr;
}

void UmockdevHost::arrived(std::size_t index)
{
    const Bus::Device &device = bus.devices()[index];
    const Microphone &microphone = device.microphone;
    nodes.push_back(std::make_unique<HidrawNode>(
        testbed,
        HidrawNode::Identity{{microphone.vendorId(), microphone.productId()},
                             device.path,
                             index,
                             static_cast<unsigned>(nodes.size()) + 1},
        [this](HidrawNode::Request request) {
            const std::lock_guard<std::mutex> lock(mutex);
            inbox.push_back(std::move(request));
            wake.notify_one();
        }));
    current[index] = nodes.back().get();
}

void UmockdevHost::sent(std::size_t index, const Bus::Report &report)
{
    if (current[index] == nullptr)
        return;
    if (const auto dropped = current[index]->send(report))
        bus.log().line("dropped", "path=" + bus.devices()[index].path +
                                      " data=" + Trace::hex(dropped->data(), dropped->size()));
}

} // namespace sim
