#pragma once

/*
 * The platform's hidapi backend as the gate (hid_gate.c) sees it.  The structure
 * behind a hid_device is known only to the backend's translation unit, so what
 * needs its fields is a function here.  None of it is exported, none of it locks.
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

/** A second view of an open device with an error text of its own; null when memory is short. */
hid_device *hid_backend_new_view(const hid_device *device);
/** Frees a view.  What was written on it and has not gone out is cancelled; the device stays
    open. */
void hid_backend_free_view(hid_device *view);
/** Closes the device itself, when its views are gone and no call is inside. */
void hid_backend_close(hid_device *device);

/** hid_write(), on a view of hid_backend_new_view().  A write that takes too long fails, and
    goes out all the same, before later ones. */
int hid_backend_write(hid_device *device, const unsigned char *data, size_t length);
/** As hid_max_input_report_len(), for an open device. */
int hid_backend_max_input_report_len(hid_device *device);

/** The error text of the last call on this view, or null; the view owns it. */
const wchar_t *hid_backend_error(const hid_device *view);
void hid_backend_clear_error(hid_device *view);
/** Frees the calling thread's error text of calls without a handle. */
void hid_backend_clear_global_error(void);
