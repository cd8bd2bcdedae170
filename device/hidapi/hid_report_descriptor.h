#pragma once

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Computes the length of the longest input report that a report descriptor (USB HID class
 * 1.11, section 6.2.2) declares. The length is only printed, so this just adds up the input
 * fields of each report id and ignores push and pop items.
 *
 * @return bytes, 2 to 65535. One of them is the report id, even if the reports are not
 *         numbered, as in Windows' HIDP_CAPS.InputReportByteLength. 0 if no input report is
 *         declared; -1 if the descriptor is malformed or declares a longer report.
 */
int hid_report_descriptor_max_input_length(const uint8_t *descriptor, size_t size);

#ifdef __cplusplus
}
#endif
