#include "device/hidapi/hid_notification.h"

#include "device/hidapi/hid_device_ids.h"

#include <windows.h>

#include <dbt.h>
#include <stddef.h>
#include <stdlib.h>
#include <wchar.h>

static HDEVNOTIFY s_notifyHandle = NULL;
static HWND s_notifyWindow = NULL;

/* Quirk: the class name is 8-bit text that is passed to wide-character functions, which read
   two bytes as one character. Nobody is known to depend on the resulting name.
   The rest of the buffer is zero and terminates the name. */
static const union {
    char text[40];
    WCHAR name[20];
} windowClass = {"{2FCD1C73-42E0-4EF3-8A0C-96FE38475572}"};

/* GUID_DEVINTERFACE_HID of the USB HID class driver. */
static const GUID hidInterfaceClass = {
    0x4D1E55B2, 0xF16F, 0x11CF, {0x88, 0xCB, 0x00, 0x11, 0x11, 0x00, 0x00, 0x30}};

enum
{
    filterSize = 32,
    pathBufferSize = 256,
};
_Static_assert(sizeof(DEV_BROADCAST_DEVICEINTERFACE_W) == filterSize, "wire size");
_Static_assert(sizeof windowClass.text == sizeof windowClass.name, "one buffer");
_Static_assert(CS_HREDRAW + CS_VREDRAW == 3 && COLOR_WINDOW + 1 == 6, "window class");
_Static_assert(DBT_DEVICEARRIVAL == 0x8000 && DBT_DEVICEREMOVECOMPLETE == 0x8004, "events");

/* Converts an interface's name to multibyte text. Returns 0 if the record is not of an
   interface, or if its name is unterminated, cannot be converted or is too long. */
static int copyPath(const DEV_BROADCAST_HDR *record, char path[pathBufferSize])
{
    if (record->dbch_devicetype != DBT_DEVTYP_DEVICEINTERFACE)
        return 0;
    const DEV_BROADCAST_DEVICEINTERFACE_W *const named =
        (const DEV_BROADCAST_DEVICEINTERFACE_W *)(const void *)record;
    const size_t nameOffset = offsetof(DEV_BROADCAST_DEVICEINTERFACE_W, dbcc_name);
    if (named->dbcc_size < nameOffset)
        return 0;
    const size_t room = (named->dbcc_size - nameOffset) / sizeof(WCHAR);
    if (wcsnlen(named->dbcc_name, room) == room)
        return 0;
    /* Not wcstombs_s(), which can end the process if the text does not fit. wcstombs() returns
       a huge number if a character cannot be converted, and the buffer's size if there is no
       room for the terminating zero. */
    return wcstombs(path, named->dbcc_name, pathBufferSize) < pathBufferSize;
}

static LRESULT CALLBACK windowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (message != WM_DEVICECHANGE)
        return DefWindowProcW(window, message, wParam, lParam);
    if (lParam == 0)
        return 0;
    if (wParam == DBT_DEVICEARRIVAL || wParam == DBT_DEVICEREMOVECOMPLETE) {
        char path[pathBufferSize];
        struct hid_device_ids ids;
        const DEV_BROADCAST_HDR *const record =
            (const DEV_BROADCAST_HDR *)lParam; // NOLINT(*-no-int-to-ptr)
        if (copyPath(record, path) && hid_ids_from_interface_name(path, &ids))
            hid_notification_deliver(ids.vendor, ids.product, path,
                                     wParam == DBT_DEVICEREMOVECOMPLETE);
    }
    return 0;
}

int hid_notification_source_open(void)
{
    HINSTANCE instance = GetModuleHandleW(NULL);
    const WNDCLASSEXW description = {
        .cbSize = sizeof description,
        .style = CS_HREDRAW | CS_VREDRAW,
        .lpfnWndProc = windowProcedure,
        .hInstance = instance,
        .hbrBackground = (HBRUSH)(INT_PTR)(COLOR_WINDOW + 1), // NOLINT(*-no-int-to-ptr)
        .lpszClassName = windowClass.name,
    };
    if (RegisterClassExW(&description) == 0)
        return 0;

    s_notifyWindow = CreateWindowExW(0, windowClass.name, NULL, WS_POPUP, 0, 0, 0, 0, NULL, NULL,
                                     instance, NULL);
    if (s_notifyWindow == NULL)
        return 0;
    ShowWindow(s_notifyWindow, SW_HIDE);
    UpdateWindow(s_notifyWindow);

    DEV_BROADCAST_DEVICEINTERFACE_W filter = {
        .dbcc_size = filterSize,
        .dbcc_devicetype = DBT_DEVTYP_DEVICEINTERFACE,
        .dbcc_classguid = hidInterfaceClass,
    };
    s_notifyHandle =
        RegisterDeviceNotificationW(s_notifyWindow, &filter, DEVICE_NOTIFY_WINDOW_HANDLE);
    if (s_notifyHandle == NULL) {
        /* s_notifyWindow keeps its value. Destroying the window again does nothing, and no
           second one can be made because its class stays registered. */
        DestroyWindow(s_notifyWindow);
        return 0;
    }
    return 1;
}

void hid_notification_source_close(void)
{
    if (s_notifyHandle != NULL)
        UnregisterDeviceNotification(s_notifyHandle);
    s_notifyHandle = NULL;
    if (s_notifyWindow != NULL)
        DestroyWindow(s_notifyWindow);
    s_notifyWindow = NULL;
}
