#include "simulator/windows/Installer.h"

#include "simulator/windows/ControlDevice.h"
#include "simulator/windows/control_codes.h"

#include <array>
#include <chrono>
#include <vector>

// The first of them comes before all that need it.
#include <windows.h>

#include <newdev.h>
#include <setupapi.h>

namespace sim {

namespace {

constexpr const wchar_t *deviceName = L"ROOT\\VELMOSIM\\0000";
/// A list: it ends in two zeros.
constexpr std::array<wchar_t, 15> hardwareId = {L"ROOT\\VELMOSIM\0"};
constexpr std::chrono::milliseconds atOnce{0};

class DeviceSet
{
public:
    DeviceSet()
        : set(SetupDiCreateDeviceInfoList(nullptr, nullptr))
    {
    }
    ~DeviceSet() { SetupDiDestroyDeviceInfoList(set); }
    DeviceSet(const DeviceSet &) = delete;
    DeviceSet &operator=(const DeviceSet &) = delete;
    DeviceSet(DeviceSet &&) = delete;
    DeviceSet &operator=(DeviceSet &&) = delete;

    bool open() { return SetupDiOpenDeviceInfoW(set, deviceName, nullptr, 0, &device) != FALSE; }
    bool create()
    {
        const GUID anyClass{};
        return SetupDiCreateDeviceInfoW(set, deviceName, &anyClass, nullptr, nullptr, 0, &device) !=
                   FALSE &&
               SetupDiSetDeviceRegistryPropertyW(set, &device, SPDRP_HARDWAREID,
                                                 reinterpret_cast<const BYTE *>(hardwareId.data()),
                                                 sizeof hardwareId) != FALSE &&
               SetupDiCallClassInstaller(DIF_REGISTERDEVICE, set, &device) != FALSE;
    }
    bool remove() { return SetupDiCallClassInstaller(DIF_REMOVE, set, &device) != FALSE; }

private:
    HDEVINFO set;
    SP_DEVINFO_DATA device = {sizeof device, {}, 0, 0};
};

std::string failure(const char *what)
{
    return std::string(what) + ": Windows' error " + std::to_string(GetLastError());
}

std::wstring besideThisProgram(const wchar_t *name)
{
    std::vector<wchar_t> path(MAX_PATH);
    for (;;) {
        const DWORD size =
            GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
        if (size < path.size()) {
            const std::wstring self(path.data(), size);
            return self.substr(0, self.rfind(L'\\') + 1) + name;
        }
        path.resize(2 * path.size());
    }
}

} // namespace

std::string Installer::install()
{
    {
        ControlDevice running;
        const unsigned long error = running.open(atOnce);
        if (error == ERROR_SHARING_VIOLATION)
            return {}; // whoever uses it will see which version it is
        std::uint32_t version = 0;
        if (error == ERROR_SUCCESS) {
            running.call(VELMO_IOCTL_VERSION, nullptr, 0, &version, sizeof version);
            return version == velmo_interface_version
                       ? std::string()
                       : "another version of the driver runs: end it with 'wineserver -k'";
        }
    }
    DeviceSet devices;
    if (!devices.open() && !devices.create())
        return failure("the bus could not be registered");
    const std::wstring inf = besideThisProgram(L"velmosim.inf");
    BOOL restart = FALSE;
    if (UpdateDriverForPlugAndPlayDevicesW(nullptr, hardwareId.data(), inf.c_str(),
                                           INSTALLFLAG_FORCE, &restart) == FALSE)
        return failure("the driver could not be installed (velmosim.inf and velmosim.sys must "
                       "stand beside this program)");
    ControlDevice started;
    if (started.open(atOnce) != ERROR_SUCCESS)
        return failure("the driver was installed but does not run");
    return {};
}

std::string Installer::remove()
{
    DeviceSet devices;
    if (!devices.open())
        return "the bus is not installed";
    return devices.remove() ? std::string() : failure("the bus could not be removed");
}

} // namespace sim
