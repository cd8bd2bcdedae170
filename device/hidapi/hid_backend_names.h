#pragma once

/*
 * Include this before the backend's hid.c. It renames the backend's functions to raw_hid_...
 * (hid_backend.h) and does not export them. hid_handle.c defines the original names.
 */

#undef HID_API_EXPORT
#define HID_API_EXPORT

#define hid_init raw_hid_init
#define hid_exit raw_hid_exit
#define hid_enumerate raw_hid_enumerate
#define hid_free_enumeration raw_hid_free_enumeration
#define hid_open raw_hid_open
#define hid_open_path raw_hid_open_path
#define hid_write raw_hid_write
#define hid_read_timeout raw_hid_read_timeout
#define hid_read raw_hid_read
#define hid_set_nonblocking raw_hid_set_nonblocking
#define hid_send_feature_report raw_hid_send_feature_report
#define hid_get_feature_report raw_hid_get_feature_report
#define hid_get_input_report raw_hid_get_input_report
#define hid_close raw_hid_close
#define hid_get_manufacturer_string raw_hid_get_manufacturer_string
#define hid_get_product_string raw_hid_get_product_string
#define hid_get_serial_number_string raw_hid_get_serial_number_string
#define hid_get_indexed_string raw_hid_get_indexed_string
#define hid_error raw_hid_error
#define hid_version raw_hid_version
#define hid_version_str raw_hid_version_str
