#pragma once

/**
 * hidapi 0.10.1 as we ship it: the functions of <hidapi.h> and the two below, exported from
 * one shared library.
 *
 * Threads: any thread may call any function at any time. One thread may read a handle while
 * another writes it and a third closes and reopens it.
 *   - Reads, writes and all other calls are three channels of a handle. Calls on the same
 *     channel queue up; a write never waits for a read.
 *   - hid_close() does not wait for active calls. The device is closed when the last of them
 *     returns.
 *   - A closed handle and a null one return -1, for as long as the process lives
 *     (hid_max_input_report_len() returns 0 for a null one).
 *   - hid_error(handle) returns the result of the calling thread's last call if that was on
 *     this handle. hid_error(NULL) returns that of its last call without a handle. The text
 *     is valid until the thread's next call.
 * Do not call hid_exit() while another thread uses the library.
 */

#include <hidapi.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * The length of the device's longest input report.
 *
 * Windows: the input report byte length of the HID capabilities when the device was opened.
 * Linux: computed at each call from the report descriptor that the kernel has.
 *
 * @return the length in bytes, 2 to 65535. It includes the report id byte even if the device
 *         does not number its reports. 0 for a null handle or a device without input reports;
 *         -1 for a closed handle or if the descriptor cannot be read or is malformed.
 */
int HID_API_EXPORT_CALL hid_max_input_report_len(hid_device *dev);

/**
 * Receives one arrival or removal of a HID device.
 *
 * @param vendor_id   the device's USB vendor id
 * @param product_id  the device's USB product id
 * @param path        what hid_open_path() takes; valid during the call. Linux: the
 *                    device node. Windows: the interface's name in the letter case
 *                    that the system uses, at most 255 bytes
 * @param removal     0 arrival, 1 removal
 * @param context     as registered
 */
typedef void (*hid_device_notification_callback)(unsigned short vendor_id,
                                                 unsigned short product_id, const char *path,
                                                 int removal, void *context);

/**
 * Sets the receiver of arrivals and removals. A process has one.
 *
 * The receiver is called by the event loop of the thread that registered first (Windows: its
 * message loop; Linux: its Qt event loop, which must exist). Call this function on that
 * thread only.
 *
 * A second registration replaces receiver and context. A null callback unregisters for good:
 * registering again does not bring notices back. If the system refuses, notification stays
 * off and no error is reported.
 */
void HID_API_EXPORT_CALL hid_register_device_notification(hid_device_notification_callback callback,
                                                          void *context);

#ifdef __cplusplus
}
#endif
