/*
 * hidapi's hidraw backend and the functions that access its device structure.
 * hid.c is found through a system include path, which silences its warnings.
 */

#include "device/hidapi/hid_backend.h"
#include "device/hidapi/hid_backend_names.h"
#include "device/hidapi/hid_report_descriptor.h"

#include <fcntl.h>
#include <libudev.h>
#include <stdlib.h>
#include <string.h>

/* hid.c copies text from sysfs. The pointer is null if the device has just vanished. */
static char *copy_or_empty(const char *text)
{
    return strdup(text != NULL ? text : "");
}

/* hid.c lets child processes inherit the open node. The DSP vendor's tool, which the updater
   starts, would keep the node of an unplugged microphone alive, and the microphone would
   come back under another one. */
static int open_close_on_exec(const char *path, int flags)
{
    return open(path, flags | O_CLOEXEC);
}

/* hid.c reads the bus type from a HID device's uevent. If the device has just vanished, the text
   is missing and hid.c uses the type uninitialised. This makes it a bus that hid.c does not
   know. */
static const char *attribute_or_unknown_bus(struct udev_device *device, const char *name)
{
    const char *const value = udev_device_get_sysattr_value(device, name);
    if (strcmp(name, "uevent") != 0 || (value != NULL && strstr(value, "HID_ID=") != NULL))
        return value;
    return "HID_ID=0000:00000000:00000000";
}

#undef strdup
#define strdup copy_or_empty
#define open open_close_on_exec
#define udev_device_get_sysattr_value attribute_or_unknown_bus
#include <linux/hid.c> // NOLINT(bugprone-suspicious-include): see above
#undef udev_device_get_sysattr_value
#undef open
#undef strdup

hid_device *hid_backend_new_copy(const hid_device *device)
{
    hid_device *const copy = malloc(sizeof *copy);
    if (copy != NULL) {
        *copy = *device;
        copy->last_error_str = NULL;
    }
    return copy;
}

void hid_backend_free_copy(hid_device *copy)
{
    if (copy != NULL)
        free(copy->last_error_str);
    free(copy);
}

void hid_backend_close(hid_device *device)
{
    raw_hid_close(device);
}

int hid_backend_write(hid_device *device, const unsigned char *data, size_t length)
{
    return raw_hid_write(device, data, length);
}

int hid_backend_max_input_report_len(hid_device *device)
{
    int size = 0;
    if (ioctl(device->device_handle, HIDIOCGRDESCSIZE, &size) < 0 || size < 0) {
        register_device_error_format(device, "ioctl (GRDESCSIZE): %s", strerror(errno));
        return -1;
    }
    struct hidraw_report_descriptor descriptor = {
        .size = size > HID_MAX_DESCRIPTOR_SIZE ? HID_MAX_DESCRIPTOR_SIZE : (__u32)size};
    if (ioctl(device->device_handle, HIDIOCGRDESC, &descriptor) < 0) {
        register_device_error_format(device, "ioctl (GRDESC): %s", strerror(errno));
        return -1;
    }
    const int length = hid_report_descriptor_max_input_length(descriptor.value, descriptor.size);
    if (length < 0)
        register_device_error(device, "malformed report descriptor");
    return length;
}

const wchar_t *hid_backend_error(const hid_device *copy)
{
    return copy->last_error_str;
}

void hid_backend_clear_error(hid_device *copy)
{
    register_device_error(copy, NULL);
}

void hid_backend_clear_global_error(void)
{
    register_global_error(NULL);
}
