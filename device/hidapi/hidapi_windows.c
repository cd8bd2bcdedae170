/*
 * hidapi's Windows backend and the functions that access its device structure.
 * hid.c is found through a system include path, which silences its warnings.
 */

#include "device/hidapi/hid_backend.h"
#include "device/hidapi/hid_backend_names.h"

#include <windows/hid.c> // NOLINT(bugprone-suspicious-include): see above

/* hidapi's own limit for a write. */
static const DWORD write_timeout_ms = 1000;
/* How long a close waits for cancelled transfers, which is far longer than they need. A
   transfer that takes longer still (because its driver ignores the cancelling) keeps its
   memory, so that the system never writes into freed memory. */
static const DWORD cancel_timeout_ms = 250;

/* A report on its way to the device. The system reads and writes it until the write ends. */
struct pending_write
{
    struct pending_write *earlier;
    OVERLAPPED transfer; /* has its own event */
    DWORD length;
    unsigned char report[];
};

struct device_copy
{
    struct hid_device_ device; /* must be first: hid_backend_new_copy() returns its address */
    /* Writes that took too long, the latest first. A limit would lose a packet. The list grows
       slowly: each of them makes the caller wait for a second, and takes some 200 bytes and an
       event. */
    struct pending_write *writes;
};

static BOOL wait_for_end(const OVERLAPPED *transfer, DWORD milliseconds)
{
    return WaitForSingleObject(transfer->hEvent, milliseconds) == WAIT_OBJECT_0 ||
           HasOverlappedIoCompleted(transfer);
}

/* Fills a short report with zeros, like hidapi. Returns null and sets the last error if the
   system is out of memory or handles. */
static struct pending_write *new_write(const hid_device *device, const unsigned char *data,
                                       size_t length)
{
    const size_t room =
        length < device->output_report_length ? device->output_report_length : length;
    struct pending_write *const write = calloc(1, sizeof *write + room);
    if (write == NULL) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return NULL;
    }
    write->transfer.hEvent = CreateEventW(NULL, TRUE, FALSE, NULL);
    if (write->transfer.hEvent == NULL) {
        free(write);
        return NULL;
    }
    write->length = (DWORD)room;
    memcpy(write->report, data, length); // NOLINT(*.DeprecatedOrUnsafeBufferHandling)
    return write;
}

static void free_write(struct pending_write *write)
{
    CloseHandle(write->transfer.hEvent);
    free(write);
}

static void free_ended_writes(struct device_copy *copy)
{
    struct pending_write **link = &copy->writes;
    while (*link != NULL) {
        struct pending_write *const write = *link;
        if (HasOverlappedIoCompleted(&write->transfer)) {
            *link = write->earlier;
            free_write(write);
        } else {
            link = &write->earlier;
        }
    }
}

/* Called before the device is closed. A write that does not end in time is never freed. */
static void cancel_writes(struct device_copy *copy)
{
    if (copy->writes == NULL)
        return;
    /* One call cancels all writes, and the active read. A call for each write would make the
       system search its whole list each time. */
    CancelIoEx(copy->device.device_handle, NULL);
    const ULONGLONG end = GetTickCount64() + cancel_timeout_ms;
    ULONGLONG now = 0;
    for (const struct pending_write *write = copy->writes;
         write != NULL && (now = GetTickCount64()) < end; write = write->earlier)
        wait_for_end(&write->transfer, (DWORD)(end - now));
    free_ended_writes(copy);
}

hid_device *hid_backend_new_copy(const hid_device *device)
{
    struct device_copy *const copy = calloc(1, sizeof *copy);
    if (copy == NULL)
        return NULL;
    copy->device = *device;
    copy->device.last_error_str = NULL;
    return &copy->device;
}

void hid_backend_free_copy(hid_device *copy)
{
    if (copy == NULL)
        return;
    cancel_writes((struct device_copy *)copy);
    LocalFree(copy->last_error_str);
    free(copy);
}

void hid_backend_close(hid_device *device)
{
    /* hidapi calls CancelIo(), which cancels only transfers of the calling thread. */
    if (device->read_pending && !HasOverlappedIoCompleted(&device->ol)) {
        CancelIoEx(device->device_handle, &device->ol);
        if (!wait_for_end(&device->ol, cancel_timeout_ms)) {
            CloseHandle(device->device_handle);
            return;
        }
    }
    raw_hid_close(device);
}

/* Replaces hidapi's hid_write(), which has one OVERLAPPED for all writes and frees the padded
   short report of a write that timed out and still reads it. */
int hid_backend_write(hid_device *device, const unsigned char *data, size_t length)
{
    if (data == NULL || length == 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        register_error(device, "WriteFile");
        return -1;
    }
    struct device_copy *const copy = (struct device_copy *)device;
    free_ended_writes(copy);
    struct pending_write *const write = new_write(device, data, length);
    if (write == NULL) {
        register_error(device, "WriteFile");
        return -1;
    }
    if (!WriteFile(device->device_handle, write->report, write->length, NULL, &write->transfer) &&
        GetLastError() != ERROR_IO_PENDING) {
        /* The system keeps nothing of a refused write, although the transfer says pending. */
        register_error(device, "WriteFile");
        free_write(write);
        return -1;
    }
    if (!wait_for_end(&write->transfer, write_timeout_ms)) {
        write->earlier = copy->writes;
        copy->writes = write;
        SetLastError(ERROR_IO_PENDING);
        register_error(device, "WriteFile");
        return -1;
    }
    DWORD written = 0;
    int result = -1;
    if (GetOverlappedResult(device->device_handle, &write->transfer, &written, FALSE))
        result = (int)written;
    else
        register_error(device, "WriteFile");
    free_write(write);
    return result;
}

int hid_backend_max_input_report_len(hid_device *device)
{
    return (int)device->input_report_length;
}

const wchar_t *hid_backend_error(const hid_device *copy)
{
    return copy->last_error_str;
}

void hid_backend_clear_error(hid_device *copy)
{
    LocalFree(copy->last_error_str);
    copy->last_error_str = NULL;
}

void hid_backend_clear_global_error(void)
{
    /* This backend has none. */
}
