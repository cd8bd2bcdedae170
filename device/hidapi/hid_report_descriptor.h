#pragma once

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Works out the longest input report that a report descriptor (USB HID class 1.11,
 * section 6.2.2) declares.  The length is only printed, so this sums up the input fields
 * from one report id to the next and knows no push and pop items.
 *
 * @return bytes, 2 to 65535, one of them for the report id whether the reports are
 *         numbered or not, as Windows' HIDP_CAPS.InputReportByteLength counts; 0 when
 *         no input report is declared; -1 when the descriptor is malformed or declares
 *         a report that is longer.
 */
int hid_report_descriptor_max_input_length(const uint8_t *descriptor, size_t size);

#ifdef __cplusplus
}
#endif
