#include "simulator/wine/BridgeLink.h"

#include <array>
#include <chrono>

#include <fcntl.h>

namespace sim {

namespace {

/// Unplugging takes a few milliseconds a device.
constexpr std::chrono::seconds endPatience{20};

struct Pipe
{
    FileDescriptor readEnd;
    FileDescriptor writeEnd;
};

/// No other process gets hold of its ends, so that each side learns of the other's death.
std::optional<Pipe> makePipe()
{
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        return std::nullopt;
    return Pipe{FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

} // namespace

bool BridgeLink::start(const std::string &bridge)
{
    auto in = makePipe();
    auto out = makePipe();
    if (!in || !out)
        return false;
    toBridge = std::move(in->writeEnd);
    fromBridge = std::move(out->readEnd);
    // Lives on when this process is killed, to unplug what is plugged in.
    return process.start({"wine", bridge, "bridge"}, in->readEnd.get(), out->writeEnd.get(),
                         STDERR_FILENO, ChildProcess::WhenLeft::LivesOn);
}

void BridgeLink::send(const BridgeLine &line) const
{
    const std::string text = line.text();
    // One that has ended is noticed when it is read from.
    [[maybe_unused]] const ssize_t written = write(toBridge.get(), text.data(), text.size());
}

std::optional<std::vector<BridgeLine>> BridgeLink::lines()
{
    std::array<char, 4096> buffer{};
    const ssize_t size = read(fromBridge.get(), buffer.data(), buffer.size());
    if (size <= 0)
        return std::nullopt;
    received.append(buffer.data(), static_cast<std::size_t>(size));

    std::vector<BridgeLine> lines;
    for (std::size_t end = received.find('\n'); end != std::string::npos;
         end = received.find('\n')) {
        std::string text = received.substr(0, end);
        received.erase(0, end + 1);
        if (!text.empty() && text.back() == '\r')
            text.pop_back();
        const auto line = BridgeLine::parse(text);
        lines.push_back(line ? *line : BridgeLine{"FAILED", 0, {"the bridge says: " + text}});
    }
    return lines;
}

void BridgeLink::finish()
{
    toBridge.close();
    process.waitForEnd(endPatience);
    process.kill();
}

} // namespace sim
