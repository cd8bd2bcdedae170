#include "simulator/windows/installDriver.h"

#include "simulator/windows/ControlDevice.h"
#include "simulator/windows/check.h"

#include <array>
#include <string>

#include <newdev.h>
#include <setupapi.h>

namespace sim {

namespace {

constexpr const wchar_t *deviceName = L"ROOT\\VELMOSIM\\0000";
/// A list: it ends in two zeros.
constexpr std::array<wchar_t, 15> hardwareId = {L"ROOT\\VELMOSIM\0"};

std::wstring besideThisProgram(const wchar_t *name)
{
    std::array<wchar_t, MAX_PATH> path{};
    const DWORD size = GetModuleFileNameW(nullptr, path.data(), MAX_PATH);
    check(size < MAX_PATH, "this program's path is too long");
    const std::wstring self(path.data(), size);
    return self.substr(0, self.rfind(L'\\') + 1) + name;
}

} // namespace

void installDriver()
{
    if (ControlDevice().open() == ERROR_SUCCESS)
        return;
    HDEVINFO set = SetupDiCreateDeviceInfoList(nullptr, nullptr);
    SP_DEVINFO_DATA device = {sizeof device, {}, 0, 0};
    if (!SetupDiOpenDeviceInfoW(set, deviceName, nullptr, 0, &device)) {
        const GUID anyClass{};
        check(SetupDiCreateDeviceInfoW(set, deviceName, &anyClass, nullptr, nullptr, 0, &device) &&
                  SetupDiSetDeviceRegistryPropertyW(
                      set, &device, SPDRP_HARDWAREID,
                      reinterpret_cast<const BYTE *>(hardwareId.data()), sizeof hardwareId) &&
                  SetupDiCallClassInstaller(DIF_REGISTERDEVICE, set, &device),
              "the bus could not be registered");
    }
    SetupDiDestroyDeviceInfoList(set);
    BOOL restart = FALSE;
    check(UpdateDriverForPlugAndPlayDevicesW(nullptr, hardwareId.data(),
                                             besideThisProgram(L"velmosim.inf").c_str(),
                                             INSTALLFLAG_FORCE, &restart),
          "the driver could not be installed (velmosim.inf and velmosim.sys must stand beside "
          "this program)");
}

} // namespace sim
