#include "device/hidapi/hid_report_descriptor.h"

/* Item prefixes of USB HID class 1.11, section 6.2.2. The two low bits are the data's size. */
enum
{
    long_item_prefix = 0xFE,
    item_size_mask = 0x03,
    item_type_and_tag_mask = 0xFC,
    item_input = 0x80,
    item_report_size = 0x74,
    item_report_id = 0x84,
    item_report_count = 0x94,
};

enum
{
    bits_per_byte = 8,
    report_id_bytes = 1,
    /* A long item's data size and tag. */
    long_item_head = 2,
    /* The length has 16 bits in the device, in Windows and here. */
    max_report_bits = (UINT16_MAX - report_id_bytes) * bits_per_byte,
};

int hid_report_descriptor_max_input_length(const uint8_t *descriptor, size_t size)
{
    uint64_t field_size = 0;
    uint64_t field_count = 0;
    uint64_t bits = 0; /* of the current report */
    uint64_t longest = 0;
    size_t at = 0;
    while (at < size) {
        const unsigned prefix = descriptor[at++];
        const int is_long = prefix == long_item_prefix;
        const unsigned size_code = prefix & item_size_mask;
        size_t data_size = size_code == item_size_mask ? sizeof(uint32_t) : size_code;
        if (is_long) {
            if (size - at < long_item_head)
                return -1;
            data_size = (size_t)long_item_head + descriptor[at];
        }
        if (size - at < data_size)
            return -1;
        uint32_t value = 0;
        for (size_t i = 0; i < data_size && !is_long; ++i)
            value |= (uint32_t)descriptor[at + i] << (bits_per_byte * i);
        at += data_size;
        switch (is_long ? 0 : prefix & item_type_and_tag_mask) {
        case item_report_size:
            field_size = value;
            break;
        case item_report_count:
            field_count = value;
            break;
        case item_report_id:
            bits = 0; /* a new report starts */
            break;
        case item_input:
            if (field_size > max_report_bits || field_count > max_report_bits ||
                field_size * field_count > max_report_bits - bits)
                return -1;
            bits += field_size * field_count;
            longest = bits > longest ? bits : longest;
            break;
        default:
            break;
        }
    }
    if (longest == 0)
        return 0;
    return (int)((longest + bits_per_byte - 1) / bits_per_byte) + report_id_bytes;
}
