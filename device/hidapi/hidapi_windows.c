/*
 * The Windows backend of hidapi, and what needs to know its device structure.
 * hid.c is found through a system include path: its warnings are not ours.
 */

#include "device/hidapi/hid_backend.h"
#include "device/hidapi/hid_backend_names.h"

#include <windows/hid.c> // NOLINT(bugprone-suspicious-include): see above

/* hidapi's own: how long a write is waited for. */
static const DWORD write_timeout_ms = 1000;
/* How long a device that is being closed waits for what was cancelled: far longer than that
   takes.  What takes longer (a driver that ignores the cancelling) keeps its memory, so that
   the system never writes into freed memory. */
static const DWORD cancel_timeout_ms = 250;

/* A report on its way to the device.  The system reads and writes all of it until the write
   has ended. */
struct pending_write
{
    struct pending_write *earlier;
    OVERLAPPED transfer; /* with an event of its own */
    DWORD length;
    unsigned char report[];
};

struct view
{
    struct hid_device_ device; /* first: a hid_device of hid_backend_new_view() is a view */
    /* Those that took too long, the latest first.  Their number has no limit, because at the
       limit a packet would be lost.  It grows slowly: each one has cost its caller a second,
       for some 200 bytes and an event. */
    struct pending_write *writes;
};

static BOOL wait_for_end(const OVERLAPPED *transfer, DWORD milliseconds)
{
    return WaitForSingleObject(transfer->hEvent, milliseconds) == WAIT_OBJECT_0 ||
           HasOverlappedIoCompleted(transfer);
}

/* A short report is filled with zeros, as hidapi does.  Null, and the system's last error,
   when the system is short of something. */
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

static void free_ended_writes(struct view *view)
{
    struct pending_write **link = &view->writes;
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

/* Of a device that is about to be closed.  A write that does not end in time is never freed. */
static void cancel_writes(struct view *view)
{
    if (view->writes == NULL)
        return;
    /* One call for all, and the read that is under way with them: for each write by itself the
       system would search its whole list. */
    CancelIoEx(view->device.device_handle, NULL);
    const ULONGLONG end = GetTickCount64() + cancel_timeout_ms;
    ULONGLONG now = 0;
    for (const struct pending_write *write = view->writes;
         write != NULL && (now = GetTickCount64()) < end; write = write->earlier)
        wait_for_end(&write->transfer, (DWORD)(end - now));
    free_ended_writes(view);
}

hid_device *hid_backend_new_view(const hid_device *device)
{
    struct view *const view = calloc(1, sizeof *view);
    if (view == NULL)
        return NULL;
    view->device = *device;
    view->device.last_error_str = NULL;
    return &view->device;
}

void hid_backend_free_view(hid_device *view)
{
    if (view == NULL)
        return;
    cancel_writes((struct view *)view);
    LocalFree(view->last_error_str);
    free(view);
}

void hid_backend_close(hid_device *device)
{
    /* CancelIo(), which hidapi calls, ends only what the calling thread began. */
    if (device->read_pending && !HasOverlappedIoCompleted(&device->ol)) {
        CancelIoEx(device->device_handle, &device->ol);
        if (!wait_for_end(&device->ol, cancel_timeout_ms)) {
            CloseHandle(device->device_handle);
            return;
        }
    }
    raw_hid_close(device);
}

/* hidapi's hid_write() has one OVERLAPPED for all writes, and frees the copy of a short
   report while a write that timed out still reads it. */
int hid_backend_write(hid_device *device, const unsigned char *data, size_t length)
{
    struct view *const view = (struct view *)device;
    free_ended_writes(view);
    struct pending_write *const write = new_write(device, data, length);
    if (write == NULL) {
        register_error(device, "WriteFile");
        return -1;
    }
    if (!WriteFile(device->device_handle, write->report, write->length, NULL, &write->transfer) &&
        GetLastError() != ERROR_IO_PENDING) {
        /* Refused: the system has kept nothing, though the transfer is left marked as pending. */
        register_error(device, "WriteFile");
        free_write(write);
        return -1;
    }
    if (!wait_for_end(&write->transfer, write_timeout_ms)) {
        write->earlier = view->writes;
        view->writes = write;
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

const wchar_t *hid_backend_error(const hid_device *view)
{
    return view->last_error_str;
}

void hid_backend_clear_error(hid_device *view)
{
    LocalFree(view->last_error_str);
    view->last_error_str = NULL;
}

void hid_backend_clear_global_error(void)
{
    /* This backend keeps none. */
}
