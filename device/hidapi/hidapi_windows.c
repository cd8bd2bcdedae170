/*
 * The Windows backend of hidapi, and what needs to know its device structure.
 * hid.c is found through a system include path: its warnings are not ours.
 */

#include "device/hidapi/hid_backend.h"
#include "device/hidapi/hid_backend_names.h"

#include <windows/hid.c> // NOLINT(bugprone-suspicious-include): see above

/* How long a cancelled transfer may take to end.  One that takes longer (a driver
   that hangs) keeps its memory, so that the system never writes into freed memory. */
static const DWORD cancel_timeout_ms = 1000;

/* Ends a transfer that may still be under way.  CancelIo(), which hidapi calls, ends
   only what the calling thread began.  Returns whether the system is done with it. */
static BOOL end_transfer(HANDLE device, OVERLAPPED *transfer)
{
    if (HasOverlappedIoCompleted(transfer))
        return TRUE;
    if (!CancelIoEx(device, transfer) && GetLastError() == ERROR_NOT_FOUND) {
        /* A transfer that was refused at once is left marked as pending. */
        transfer->Internal = 0;
        return TRUE;
    }
    return WaitForSingleObject(transfer->hEvent, cancel_timeout_ms) == WAIT_OBJECT_0 ||
           HasOverlappedIoCompleted(transfer);
}

hid_device *hid_backend_new_view(const hid_device *device)
{
    hid_device *const view = malloc(sizeof *view);
    if (view != NULL) {
        *view = *device;
        view->last_error_str = NULL;
    }
    return view;
}

void hid_backend_free_view(hid_device *view)
{
    if (view == NULL)
        return;
    LocalFree(view->last_error_str);
    /* The system still writes the transfer's outcome here: see cancel_timeout_ms. */
    if (HasOverlappedIoCompleted(&view->write_ol))
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
    if (!end_transfer(device->device_handle, &device->write_ol)) {
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
    if (result >= 0 || end_transfer(device->device_handle, &device->write_ol))
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
