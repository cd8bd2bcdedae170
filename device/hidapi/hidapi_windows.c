/*
 * The Windows backend of hidapi, and what needs to know its device structure.
 * hid.c is found through a system include path: its warnings are not ours.
 */

#include "device/hidapi/hid_backend.h"
#include "device/hidapi/hid_backend_names.h"

#include <windows/hid.c> // NOLINT(bugprone-suspicious-include): see above

/* How long a cancelled transfer may take to end: far longer than it does.  One that takes
   longer (a driver that ignores the cancelling) keeps its memory, so that the system never
   writes into freed memory. */
static const DWORD cancel_timeout_ms = 250;

struct view
{
    struct hid_device_ device; /* first: a hid_device of hid_backend_new_view() is a view */
    BOOL write_stuck;          /* a cancelled write had not ended when last looked at */
};

/* Ends a transfer that may still be under way.  CancelIo(), which hidapi calls, ends
   only what the calling thread began.  Returns whether the system is done with it. */
static BOOL end_transfer(HANDLE device, OVERLAPPED *transfer)
{
    if (HasOverlappedIoCompleted(transfer))
        return TRUE;
    /* A transfer that was refused at once is left marked as pending. */
    if (!CancelIoEx(device, transfer) && GetLastError() == ERROR_NOT_FOUND)
        return TRUE;
    return WaitForSingleObject(transfer->hEvent, cancel_timeout_ms) == WAIT_OBJECT_0 ||
           HasOverlappedIoCompleted(transfer);
}

static BOOL is_write_stuck(struct view *view)
{
    if (view->write_stuck && HasOverlappedIoCompleted(&view->device.write_ol))
        view->write_stuck = FALSE;
    return view->write_stuck;
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
    LocalFree(view->last_error_str);
    if (!is_write_stuck((struct view *)view))
        free(view);
}

void hid_backend_close(hid_device *device)
{
    if (device->read_pending && !end_transfer(device->device_handle, &device->ol)) {
        CloseHandle(device->device_handle);
        return;
    }
    raw_hid_close(device);
}

int hid_backend_write(hid_device *device, const unsigned char *data, size_t length)
{
    struct view *const view = (struct view *)device;
    if (is_write_stuck(view)) {
        SetLastError(ERROR_BUSY);
        register_error(device, "WriteFile");
        return -1;
    }

    /* hidapi would pad a short report too, but free its copy while a write that
       timed out still reads it. */
    unsigned char *padded = NULL;
    if (length < device->output_report_length) {
        padded = calloc(1, device->output_report_length);
        if (padded == NULL)
            return -1;
        memcpy(padded, data, length); // NOLINT(*.DeprecatedOrUnsafeBufferHandling)
        data = padded;
        length = device->output_report_length;
    }
    const int result = raw_hid_write(device, data, length);
    view->write_stuck = result < 0 && !end_transfer(device->device_handle, &device->write_ol);
    if (!view->write_stuck)
        free(padded);
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
