/*
 * hidapi's functions as this library exports them: the backend's functions, made safe for
 * several threads. hidapi 0.10.1 is not: a read and a write both free and replace the handle's
 * only error text, and a close frees the handle while other calls use it. hidapi_additions.h
 * says what callers may rely on.
 */

#include "device/hidapi/hid_backend.h"
#include "device/hidapi/hid_lock.h"
#include "device/hidapi/hidapi_additions.h"

#include <stdlib.h>
#include <wchar.h>

/* Each handle has three channels. Calls on the same channel queue up. Calls on different
   channels do not wait for each other, because each channel has its own copy of the backend's
   device structure, with its own error text. */
enum channel
{
    channel_read,
    channel_write,
    channel_control,
    channel_count
};

struct open_device
{
    hid_lock lock[channel_count];
    hid_device *copy[channel_count]; /* copy[channel_read] is the original */
};

/* What an exported hid_device pointer points to. A handle is never freed or reused, so that
   a closed one stays recognisable. The list keeps it reachable for leak checkers. */
struct handle
{
    struct handle *next;
    struct open_device *device; /* null once the device is closed */
    unsigned active_calls;      /* calls that are using the device */
    int closed;
    int nonblocking;
};

enum
{
    error_text_size = 128
};

/* Guards the list and all fields of its handles. Held for a few instructions only. */
static hid_lock s_handles_lock = HID_LOCK_INITIAL;
static struct handle *s_handles = NULL;

/* Guards the backend's own process-wide state (Windows: the functions of hid.dll). */
static hid_lock s_library_lock = HID_LOCK_INITIAL;

/* Results of this thread's last call on a handle and of its last call without one. */
static _Thread_local const hid_device *t_error_device = NULL;
static _Thread_local wchar_t t_error[error_text_size];
static _Thread_local wchar_t t_global_error[error_text_size];

static void copy_text(wchar_t target[error_text_size], const wchar_t *text)
{
    wcsncpy(target, text, error_text_size - 1);
    target[error_text_size - 1] = L'\0';
}

static void set_error(const hid_device *dev, const wchar_t *text)
{
    t_error_device = dev;
    copy_text(t_error, text);
}

/* Moves the backend's error text of calls without a handle into thread-local memory, which
   needs no freeing when the thread ends. */
static void take_global_error(int failed)
{
    copy_text(t_global_error, failed ? raw_hid_error(NULL) : L"");
    hid_backend_clear_global_error();
}

static void close_device(struct open_device *device)
{
    if (device == NULL)
        return;
    /* The original goes last, because freeing a copy may cancel writes on it. */
    hid_backend_free_copy(device->copy[channel_write]);
    hid_backend_free_copy(device->copy[channel_control]);
    hid_backend_close(device->copy[channel_read]);
    for (int i = 0; i < channel_count; ++i)
        hid_lock_destroy(&device->lock[i]);
    free(device);
}

/* Takes the device out of a closed handle without active calls. The caller holds
   s_handles_lock. */
static struct open_device *detach_if_unused(struct handle *handle)
{
    if (!handle->closed || handle->active_calls != 0)
        return NULL;
    struct open_device *const device = handle->device;
    handle->device = NULL;
    return device;
}

static void release_device(struct handle *handle)
{
    hid_lock_acquire(&s_handles_lock);
    --handle->active_calls;
    struct open_device *const unused = detach_if_unused(handle);
    hid_lock_release(&s_handles_lock);
    close_device(unused);
}

/* Locks a channel of the handle. Returns the channel's copy of the device, or null if the
   handle is null or closed. end_call() unlocks it. */
static hid_device *begin_call(hid_device *dev, enum channel channel)
{
    struct handle *const handle = (struct handle *)dev;
    struct open_device *device = NULL;
    if (handle != NULL) {
        hid_lock_acquire(&s_handles_lock);
        if (!handle->closed) {
            device = handle->device;
            ++handle->active_calls;
        }
        hid_lock_release(&s_handles_lock);
    }
    if (device != NULL) {
        hid_lock_acquire(&device->lock[channel]);
        /* The handle may have been closed while this call waited for the channel. */
        hid_lock_acquire(&s_handles_lock);
        const int closed = handle->closed;
        hid_lock_release(&s_handles_lock);
        if (!closed) {
            hid_backend_clear_error(device->copy[channel]);
            return device->copy[channel];
        }
        hid_lock_release(&device->lock[channel]);
        release_device(handle);
    }
    set_error(dev, L"The device handle is closed");
    return NULL;
}

/* Unlocks the channel and keeps the error text if the result is a failure. Returns the
   result. */
static int end_call(hid_device *dev, enum channel channel, int result)
{
    struct handle *const handle = (struct handle *)dev;
    /* No lock is needed: the device stays as long as this call is active. */
    struct open_device *const device = handle->device;
    const wchar_t *const text = hid_backend_error(device->copy[channel]);
    if (result >= 0)
        set_error(dev, L"");
    else
        set_error(dev, text != NULL ? text : L"Failed; the system gives no reason");
    hid_lock_release(&device->lock[channel]);
    release_device(handle);
    return result;
}

/* Makes a handle for a device that has just been opened. Null stays null. */
static hid_device *new_handle(hid_device *opened)
{
    if (opened == NULL)
        return NULL;
    struct handle *const handle = calloc(1, sizeof *handle);
    struct open_device *const device = calloc(1, sizeof *device);
    hid_device *const write_copy = hid_backend_new_copy(opened);
    hid_device *const control_copy = hid_backend_new_copy(opened);
    if (handle == NULL || device == NULL || write_copy == NULL || control_copy == NULL) {
        hid_backend_free_copy(control_copy);
        hid_backend_free_copy(write_copy);
        free(device);
        free(handle);
        hid_backend_close(opened);
        copy_text(t_global_error, L"Out of memory");
        return NULL;
    }
    for (int i = 0; i < channel_count; ++i)
        hid_lock_init(&device->lock[i]);
    device->copy[channel_read] = opened;
    device->copy[channel_write] = write_copy;
    device->copy[channel_control] = control_copy;
    handle->device = device;

    hid_lock_acquire(&s_handles_lock);
    handle->next = s_handles;
    s_handles = handle;
    hid_lock_release(&s_handles_lock);
    return (hid_device *)handle;
}

int hid_init(void)
{
    hid_lock_acquire(&s_library_lock);
    const int result = raw_hid_init();
    hid_lock_release(&s_library_lock);
    copy_text(t_global_error, result < 0 ? L"The system's HID library does not load" : L"");
    return result;
}

int hid_exit(void)
{
    hid_lock_acquire(&s_library_lock);
    const int result = raw_hid_exit();
    hid_lock_release(&s_library_lock);
    return result;
}

/* The backend's enumerate and open functions call raw_hid_init() themselves, without a lock.
   After our hid_init() there is nothing left for it to write. */

struct hid_device_info *hid_enumerate(unsigned short vendor_id, unsigned short product_id)
{
    if (hid_init() < 0)
        return NULL;
    struct hid_device_info *const found = raw_hid_enumerate(vendor_id, product_id);
    take_global_error(found == NULL);
    return found;
}

void hid_free_enumeration(struct hid_device_info *devs)
{
    raw_hid_free_enumeration(devs);
}

hid_device *hid_open(unsigned short vendor_id, unsigned short product_id,
                     const wchar_t *serial_number)
{
    if (hid_init() < 0)
        return NULL;
    hid_device *const device = raw_hid_open(vendor_id, product_id, serial_number);
    take_global_error(device == NULL);
    return new_handle(device);
}

hid_device *hid_open_path(const char *path)
{
    if (hid_init() < 0)
        return NULL;
    if (path == NULL) {
        copy_text(t_global_error, L"There is no path");
        return NULL;
    }
    hid_device *const device = raw_hid_open_path(path);
    take_global_error(device == NULL);
    return new_handle(device);
}

void hid_close(hid_device *dev)
{
    struct handle *const handle = (struct handle *)dev;
    if (handle == NULL)
        return;
    hid_lock_acquire(&s_handles_lock);
    handle->closed = 1;
    struct open_device *const unused = detach_if_unused(handle);
    hid_lock_release(&s_handles_lock);
    close_device(unused);
}

int hid_write(hid_device *dev, const unsigned char *data, size_t length)
{
    hid_device *const copy = begin_call(dev, channel_write);
    return copy == NULL ? -1 : end_call(dev, channel_write, hid_backend_write(copy, data, length));
}

int hid_read_timeout(hid_device *dev, unsigned char *data, size_t length, int milliseconds)
{
    hid_device *const copy = begin_call(dev, channel_read);
    return copy == NULL ? -1
                        : end_call(dev, channel_read,
                                   raw_hid_read_timeout(copy, data, length, milliseconds));
}

/* The handle, not the backend, stores whether reads block: changing that must not wait for a
   read. */

int hid_read(hid_device *dev, unsigned char *data, size_t length)
{
    const int forever = -1;
    int milliseconds = forever;
    if (dev != NULL) {
        hid_lock_acquire(&s_handles_lock);
        if (((struct handle *)dev)->nonblocking)
            milliseconds = 0;
        hid_lock_release(&s_handles_lock);
    }
    return hid_read_timeout(dev, data, length, milliseconds);
}

int hid_set_nonblocking(hid_device *dev, int nonblock)
{
    struct handle *const handle = (struct handle *)dev;
    if (handle == NULL)
        return -1;
    hid_lock_acquire(&s_handles_lock);
    const int closed = handle->closed;
    handle->nonblocking = nonblock != 0;
    hid_lock_release(&s_handles_lock);
    set_error(dev, closed ? L"The device handle is closed" : L"");
    return closed ? -1 : 0;
}

int hid_send_feature_report(hid_device *dev, const unsigned char *data, size_t length)
{
    hid_device *const copy = begin_call(dev, channel_control);
    return copy == NULL
               ? -1
               : end_call(dev, channel_control, raw_hid_send_feature_report(copy, data, length));
}

int hid_get_feature_report(hid_device *dev, unsigned char *data, size_t length)
{
    hid_device *const copy = begin_call(dev, channel_control);
    return copy == NULL
               ? -1
               : end_call(dev, channel_control, raw_hid_get_feature_report(copy, data, length));
}

int hid_get_input_report(hid_device *dev, unsigned char *data, size_t length)
{
    hid_device *const copy = begin_call(dev, channel_control);
    return copy == NULL
               ? -1
               : end_call(dev, channel_control, raw_hid_get_input_report(copy, data, length));
}

typedef int string_getter(hid_device *, wchar_t *, size_t);

static int get_string(hid_device *dev, string_getter *getter, wchar_t *string, size_t maxlen)
{
    hid_device *const copy = begin_call(dev, channel_control);
    if (copy == NULL)
        return -1;
    /* The Linux backend can report success without having written anything. */
    if (maxlen > 0)
        string[0] = L'\0';
    return end_call(dev, channel_control, getter(copy, string, maxlen));
}

int hid_get_manufacturer_string(hid_device *dev, wchar_t *string, size_t maxlen)
{
    return get_string(dev, raw_hid_get_manufacturer_string, string, maxlen);
}

int hid_get_product_string(hid_device *dev, wchar_t *string, size_t maxlen)
{
    return get_string(dev, raw_hid_get_product_string, string, maxlen);
}

int hid_get_serial_number_string(hid_device *dev, wchar_t *string, size_t maxlen)
{
    return get_string(dev, raw_hid_get_serial_number_string, string, maxlen);
}

int hid_get_indexed_string(hid_device *dev, int string_index, wchar_t *string, size_t maxlen)
{
    hid_device *const copy = begin_call(dev, channel_control);
    return copy == NULL ? -1
                        : end_call(dev, channel_control,
                                   raw_hid_get_indexed_string(copy, string_index, string, maxlen));
}

int hid_max_input_report_len(hid_device *dev)
{
    if (dev == NULL)
        return 0;
    hid_device *const copy = begin_call(dev, channel_control);
    return copy == NULL ? -1
                        : end_call(dev, channel_control, hid_backend_max_input_report_len(copy));
}

const wchar_t *hid_error(hid_device *dev)
{
    const wchar_t *text = t_global_error;
    if (dev != NULL)
        text = dev == t_error_device ? t_error : L"";
    return text[0] != L'\0' ? text : L"Success";
}

const struct hid_api_version *hid_version(void)
{
    return raw_hid_version();
}

const char *hid_version_str(void)
{
    return raw_hid_version_str();
}
