#include "simulator/windows/WineHost.h"

#include "simulator/model/DeviceNames.h"
#include "simulator/model/reportDescriptor.h"
#include "simulator/model/runProgram.h"
#include "simulator/windows/check.h"
#include "simulator/windows/installDriver.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace sim {

namespace {

/// How long an earlier run may take to release the driver.
constexpr std::chrono::milliseconds reservePatience{10000};
/// How long the system may take to recognise a device (usually 20 to 50 ms).
constexpr std::chrono::milliseconds plugPatience{10000};
constexpr DWORD pauseMs = 2;
/// Wine's name for the root of Linux' files.
constexpr const wchar_t *linuxDrive = L"Z:";

/// Copies a text into a field of velmo_text_room zeros. A long text is cut, so that one zero
/// stays at the end.
template <typename Text>
void put(const Text &text, std::uint16_t *room)
{
    const std::size_t size = std::min<std::size_t>(text.size(), velmo_text_room - 1);
    std::transform(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(size), room,
                   [](auto character) { return static_cast<std::uint16_t>(character); });
}

/// Waits until programs can open the device by the name that Windows gives its interface.
void waitForInterface(const Microphone &microphone, const std::string &instance)
{
    const std::string name = "\\\\?\\HID#VID_" + Trace::hex(microphone.vendorId()) + "&PID_" +
                             Trace::hex(microphone.productId()) + '#' + instance +
                             "#{4d1e55b2-f16f-11cf-88cb-001111000030}";
    const auto end = std::chrono::steady_clock::now() + plugPatience;
    while (std::chrono::steady_clock::now() < end) {
        HANDLE device = CreateFileA(name.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                    OPEN_EXISTING, 0, nullptr);
        if (device != INVALID_HANDLE_VALUE) { // NOLINT: the macro's cast
            CloseHandle(device);
            return;
        }
        Sleep(pauseMs);
    }
    throw std::runtime_error("wine does not recognise the device that was plugged in");
}

/// The time for a wait. It is rounded up, so that something is due when it is over.
DWORD timeout(const std::optional<Bus::Clock::time_point> &until)
{
    if (!until)
        return INFINITE;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*until - Bus::Clock::now());
    return static_cast<DWORD>(std::max<long long>(left.count(), 0));
}

/// This program's command line without its own name.
const wchar_t *commandLineOfProgram()
{
    std::wstring_view line = GetCommandLineW();
    const wchar_t end = line.front() == L'"' ? L'"' : L' ';
    line.remove_prefix(line.find(end, 1) + 1);
    line.remove_prefix(line.find_first_not_of(L' '));
    return line.data();
}

/// Starts the program with this process's streams. The system kills it when this process ends.
HANDLE start(const std::wstring &program, std::wstring commandLine)
{
    HANDLE job = CreateJobObjectW(nullptr, nullptr);
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    check(SetInformationJobObject(job, JobObjectExtendedLimitInformation, &limits, sizeof limits),
          "cannot create a job");
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    startup.hStdOutput = GetStdHandle(STD_OUTPUT_HANDLE);
    startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    PROCESS_INFORMATION process{};
    check(CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, TRUE,
                         CREATE_SUSPENDED, nullptr, nullptr, &startup, &process),
          "the program cannot be started");
    if (!AssignProcessToJobObject(job, process.hProcess)) {
        const DWORD error = GetLastError();
        TerminateProcess(process.hProcess, EXIT_FAILURE);
        check(error, "the program is in another job");
    }
    ResumeThread(process.hThread);
    CloseHandle(process.hThread);
    return process.hProcess;
}

} // namespace

int runProgram(char **arguments)
{
    // Both paths may be written as on Linux.
    const std::string trace = std::getenv(Trace::variable) ? std::getenv(Trace::variable) : "";
    if (!trace.empty() && trace.front() == '/')
        _putenv_s(Trace::variable, (narrow(linuxDrive) + trace).c_str());
    const wchar_t *const commandLine = commandLineOfProgram();
    std::wstring program(MAX_PATH, L'\0');
    const int length = MultiByteToWideChar(CP_ACP, 0, arguments[1], -1, program.data(), MAX_PATH);
    check(static_cast<BOOL>(length), "the program's name is too long");
    program.resize(static_cast<std::size_t>(length) - 1);
    if (program.front() == L'/')
        program.insert(0, linuxDrive);
    // A program without a console would write its debug output to a debugger.
    SetEnvironmentVariableW(L"QT_FORCE_STDERR_LOGGING", L"1");
    // The first process that asks for the desktop starts wine's desktop process, which inherits
    // its output and keeps it open. That must not be the program, because another process may wait
    // for the end of the program's output.
    GetDesktopWindow();
    return WineHost().run(program, commandLine);
}

WineHost::WineHost()
    : bus(this, "velmo-sim")
{
}

void WineHost::unplugAll()
{
    for (std::size_t i = 0; i < ports.size(); ++i)
        if (ports[i].isTaking && unplug(i) == ERROR_SUCCESS)
            finishTake(i);
}

void WineHost::plugIn()
{
    installDriver();
    check(control.open(), "the driver cannot be reached");
    const auto end = Bus::Clock::now() + reservePatience;
    while (control.call(VELMO_IOCTL_RESERVE, nullptr, 0) != ERROR_SUCCESS) {
        if (Bus::Clock::now() > end)
            throw std::runtime_error("another program runs on the simulated bus");
        Sleep(pauseMs);
    }
    for (Port &port : ports)
        port.arrival.hEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    for (std::size_t i = 0; i < bus.devices().size(); ++i)
        if (bus.devices()[i].microphone.isOnBus())
            WineHost::arrived(i);
}

int WineHost::run(const std::wstring &program, const wchar_t *commandLine)
{
    // The driver writes reports into the ports until their devices have left the bus.
    const std::unique_ptr<WineHost, void (*)(WineHost *)> unplugging(
        this, [](WineHost *host) { host->unplugAll(); });
    plugIn();
    HANDLE process = start(program, commandLine);
    for (;;) {
        const auto next = bus.runDue();
        std::vector<HANDLE> sources = {process};
        std::vector<std::size_t> indices = {0};
        for (std::size_t i = 0; i < ports.size(); ++i) {
            if (!ports[i].isTaking)
                continue;
            sources.push_back(ports[i].arrival.hEvent);
            indices.push_back(i);
        }
        const DWORD source = WaitForMultipleObjects(static_cast<DWORD>(sources.size()),
                                                    sources.data(), FALSE, timeout(next));
        if (source == WAIT_OBJECT_0) {
            DWORD code = 0;
            GetExitCodeProcess(process, &code);
            return static_cast<int>(code);
        }
        check(source != WAIT_FAILED, "cannot wait for the devices");
        if (source >= sources.size())
            continue;
        const std::size_t index = indices[source];
        Bus::Report report = finishTake(index);
        if (report.empty())
            throw std::runtime_error("the driver stopped delivering reports");
        // The driver gives the next report when this one has been answered.
        beginTake(index);
        bus.write(index, std::move(report), [this, index](bool taken) {
            const velmo_answer answer = {ports[index].slot.slot, taken ? 1U : 0U};
            // This fails for a device that has just left, and so does the write.
            control.call(VELMO_IOCTL_ANSWER, &answer, sizeof answer);
        });
    }
}

void WineHost::beginTake(std::size_t index)
{
    Port &port = ports[index];
    check(control.begin(VELMO_IOCTL_TAKE, &port.slot, sizeof port.slot, &port.report,
                        sizeof port.report, &port.arrival),
          "the driver does not accept the request for reports");
    port.isTaking = true;
}

Bus::Report WineHost::finishTake(std::size_t index)
{
    Port &port = ports[index];
    port.isTaking = false;
    if (control.finish(sizeof port.report, &port.arrival) != ERROR_SUCCESS)
        return {};
    return {port.report.data, port.report.data + port.report.size};
}

void WineHost::departed(std::size_t index)
{
    check(unplug(index), "a device could not be unplugged");
    // The program may have written a report while the device was leaving.
    Bus::Report report = finishTake(index);
    if (!report.empty())
        bus.write(std::nullopt, std::move(report), [](bool) {});
}

DWORD WineHost::unplug(std::size_t index)
{
    const velmo_slot &slot = ports[index].slot;
    return control.call(VELMO_IOCTL_UNPLUG, &slot, sizeof slot);
}

void WineHost::arrived(std::size_t index)
{
    const Bus::Device &device = bus.devices()[index];
    velmo_plug request{};
    request.slot = static_cast<std::uint32_t>(index);
    request.vendor = device.microphone.vendorId();
    request.product = device.microphone.productId();
    request.release = deviceRelease;
    const DeviceNames names = deviceNames(request.vendor);
    put(std::wstring_view(names.manufacturer), request.manufacturer_name);
    put(std::wstring_view(names.product), request.product_name);
    put(std::wstring_view(names.serial), request.serial);
    // The instance makes the device's path.
    put(device.path, request.instance);
    static_assert(reportDescriptor.size() <= velmo_descriptor_room);
    request.descriptor_size = static_cast<std::uint16_t>(reportDescriptor.size());
    std::copy(reportDescriptor.begin(), reportDescriptor.end(), request.descriptor);
    // This fails when there are more devices than slots.
    check(control.call(VELMO_IOCTL_PLUG, &request, sizeof request),
          "a device could not be plugged in");
    ports[index].slot.slot = request.slot;
    beginTake(index);
    // wine crashes when a device is unplugged before that.
    waitForInterface(device.microphone, device.path);
}

void WineHost::sent(std::size_t index, const Bus::Report &report)
{
    // The system reads again after a failure and does not pass it on.
    if (report.empty())
        return;
    velmo_report request{};
    request.slot = static_cast<std::uint32_t>(index);
    request.size = static_cast<std::uint32_t>(report.size());
    std::copy(report.begin(), report.end(), request.data);
    // This fails for a device that has just left. Its report is lost, too.
    control.call(VELMO_IOCTL_GIVE, &request, sizeof request);
}

} // namespace sim
