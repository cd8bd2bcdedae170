#pragma once

/*
 * The platform's hidapi backend, used by hid_handle.c only. Only the backend's own source
 * file knows the fields of its hid_device, so all access to them is through these functions.
 * None of them is exported or takes a lock.
 */

#include <hidapi.h>

/* hidapi's own functions, renamed by hid_backend_names.h. */
int raw_hid_init(void);
int raw_hid_exit(void);
struct hid_device_info *raw_hid_enumerate(unsigned short vendor_id, unsigned short product_id);
void raw_hid_free_enumeration(struct hid_device_info *devs);
hid_device *raw_hid_open(unsigned short vendor_id, unsigned short product_id,
                         const wchar_t *serial_number);
hid_device *raw_hid_open_path(const char *path);
int raw_hid_write(hid_device *dev, const unsigned char *data, size_t length);
int raw_hid_read_timeout(hid_device *dev, unsigned char *data, size_t length, int milliseconds);
int raw_hid_send_feature_report(hid_device *dev, const unsigned char *data, size_t length);
int raw_hid_get_feature_report(hid_device *dev, unsigned char *data, size_t length);
int raw_hid_get_input_report(hid_device *dev, unsigned char *data, size_t length);
void raw_hid_close(hid_device *dev);
int raw_hid_get_manufacturer_string(hid_device *dev, wchar_t *string, size_t maxlen);
int raw_hid_get_product_string(hid_device *dev, wchar_t *string, size_t maxlen);
int raw_hid_get_serial_number_string(hid_device *dev, wchar_t *string, size_t maxlen);
int raw_hid_get_indexed_string(hid_device *dev, int string_index, wchar_t *string, size_t maxlen);
const wchar_t *raw_hid_error(hid_device *dev);
const struct hid_api_version *raw_hid_version(void);
const char *raw_hid_version_str(void);

/** A copy of an open device's structure, with its own error text; null if out of memory. */
hid_device *hid_backend_new_copy(const hid_device *device);
/** Frees a copy and cancels the writes on it that have not gone out. The device stays open. */
void hid_backend_free_copy(hid_device *copy);
/** Closes the device itself. All copies must be freed before, and no call may be active. */
void hid_backend_close(hid_device *device);

/** hid_write() on a copy. A write that takes too long fails but still goes out, before later
    ones. */
int hid_backend_write(hid_device *device, const unsigned char *data, size_t length);
/** Like hid_max_input_report_len(), for an open device. */
int hid_backend_max_input_report_len(hid_device *device);

/** The error text of the last call on this copy, or null. The copy owns it. */
const wchar_t *hid_backend_error(const hid_device *copy);
void hid_backend_clear_error(hid_device *copy);
/** Frees the calling thread's error text of calls without a handle. */
void hid_backend_clear_global_error(void);
