#pragma once

/**
 * hidapi 0.10.1 as this system ships it: the functions of <hidapi.h> under their
 * own names, and the two below, exported from the same shared library.
 *
 * Threads: every function may be called from any thread at any time.  One thread
 * may read a handle, another write it and a third close it and open it anew:
 *   - reads, writes and all else keep to lanes of their own, so that a write
 *     never waits for a read; calls of the same kind on one handle queue up;
 *   - hid_close() does not wait for calls that are inside: the device is closed
 *     when the last of them leaves;
 *   - a closed handle, and a null one, answers -1, for as long as the process
 *     lives (hid_max_input_report_len() answers 0 for a null one);
 *   - hid_error(handle) tells the outcome of the calling thread's own last call,
 *     if that was on this handle; hid_error(NULL) that of its last call without a
 *     handle.  The text holds until that thread's next call.
 * hid_exit() while another thread uses the library is the caller's fault.
 */

#include <hidapi.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * The length of the device's longest input report.
 *
 * Windows: as recorded when the device was opened (the HID capabilities' input
 * report byte length).  Linux: worked out at each call from the report descriptor
 * that the kernel keeps for the device.
 *
 * @return the length in bytes, 1 to 65535, report id byte included whether the device
 *         numbers its reports or not; 0 for a null handle and for a device without
 *         input reports; -1 for a closed handle, or when the descriptor cannot be
 *         had or is malformed.
 */
int HID_API_EXPORT_CALL hid_max_input_report_len(hid_device *dev);

/**
 * Receives one arrival or removal of a HID device.
 *
 * @param vendor_id   the device's USB vendor id
 * @param product_id  the device's USB product id
 * @param path        what hid_open_path() takes: on Windows the interface's name
 *                    in the letter case the system gives it, at most 255 bytes, on
 *                    Linux the device node; valid during the call
 * @param removal     0 arrival, 1 removal
 * @param context     as registered
 */
typedef void (*hid_device_notification_callback)(unsigned short vendor_id,
                                                 unsigned short product_id, const char *path,
                                                 int removal, void *context);

/**
 * Sets the process's one receiver of arrivals and removals.
 *
 * The receiver is called on the thread that registered first, by that thread's
 * event loop (Windows: its message loop; Linux: its Qt event loop, which must
 * exist).  Call this function on that thread only.
 *
 * A second registration replaces receiver and context.  A null callback
 * unregisters, for good: after it no registration brings notices back.  When the
 * system refuses, notification stays off and nothing is reported.
 */
void HID_API_EXPORT_CALL hid_register_device_notification(hid_device_notification_callback callback,
                                                          void *context);

#ifdef __cplusplus
}
#endif
