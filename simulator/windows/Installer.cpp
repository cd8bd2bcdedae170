#include "simulator/windows/Installer.h"

#include "simulator/windows/ControlDevice.h"

#include <array>
#include <stdexcept>
#include <string>
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

private:
    HDEVINFO set;
    SP_DEVINFO_DATA device = {sizeof device, {}, 0, 0};
};

[[noreturn]] void fail(const char *what)
{
    throw std::runtime_error(std::string(what) + ": Windows' error " +
                             std::to_string(GetLastError()));
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

void Installer::install()
{
    if (ControlDevice().open() == ERROR_SUCCESS)
        return;
    DeviceSet devices;
    if (!devices.open() && !devices.create())
        fail("the bus could not be registered");
    const std::wstring inf = besideThisProgram(L"velmosim.inf");
    BOOL restart = FALSE;
    if (UpdateDriverForPlugAndPlayDevicesW(nullptr, hardwareId.data(), inf.c_str(),
                                           INSTALLFLAG_FORCE, &restart) == FALSE)
        fail("the driver could not be installed (velmosim.inf and velmosim.sys must stand beside "
             "this program)");
}

} // namespace sim
