#include "device/hidapi/hid_report_descriptor.h"

/* Item prefixes, USB HID class 1.11, section 6.2.2; the low two bits are the data's size. */
enum
{
    long_item_prefix = 0xFE,
    item_size_mask = 0x03,
    item_type_and_tag_mask = 0xFC,
    item_input = 0x80,
    item_report_size = 0x74,
    item_report_id = 0x84,
    item_report_count = 0x94,
    item_push = 0xA4,
    item_pop = 0xB4,
};

enum
{
    bits_per_byte = 8,
    report_id_bytes = 1,
    max_report_id = 255,
    /* Far more than any device has: Linux refuses descriptors that nest deeper than 4. */
    max_pushed = 16,
    /* The length is 16 bits wide at the device, in Windows and here. */
    max_report_bits = (UINT16_MAX - report_id_bytes) * bits_per_byte,
};

/* The global items that lengths depend on. */
struct globals
{
    uint32_t report_size; /* bits */
    uint32_t report_count;
    uint32_t report_id; /* 0: not numbered */
};

struct parser
{
    struct globals now;
    struct globals pushed[max_pushed];
    unsigned depth;
    uint32_t input_bits[max_report_id + 1];
    uint32_t longest; /* bits */
};

/* Returns 0, or -1 when the report grows beyond max_report_bits. */
static int add_input(struct parser *parser)
{
    const uint64_t bits = (uint64_t)parser->now.report_size * parser->now.report_count;
    uint32_t *const total = &parser->input_bits[parser->now.report_id];
    if (bits > max_report_bits - *total)
        return -1;
    *total += (uint32_t)bits;
    if (*total > parser->longest)
        parser->longest = *total;
    return 0;
}

/* Returns 0, or -1 when the item makes the descriptor malformed. */
static int take_item(struct parser *parser, unsigned type_and_tag, uint32_t value)
{
    switch (type_and_tag) {
    case item_input:
        return add_input(parser);
    case item_report_size:
        parser->now.report_size = value;
        return 0;
    case item_report_count:
        parser->now.report_count = value;
        return 0;
    case item_report_id:
        if (value == 0 || value > max_report_id)
            return -1;
        parser->now.report_id = value;
        return 0;
    case item_push:
        if (parser->depth == max_pushed)
            return -1;
        parser->pushed[parser->depth++] = parser->now;
        return 0;
    case item_pop:
        if (parser->depth == 0)
            return -1;
        parser->now = parser->pushed[--parser->depth];
        return 0;
    default:
        return 0;
    }
}

int hid_report_descriptor_max_input_length(const uint8_t *descriptor, size_t size)
{
    struct parser parser = {.depth = 0};
    size_t at = 0;
    while (at < size) {
        const unsigned prefix = descriptor[at++];
        if (prefix == long_item_prefix) {
            /* Data size, tag, data: none is defined, all are skipped. */
            const size_t header = 2;
            if (size - at < header || size - at - header < descriptor[at])
                return -1;
            at += header + descriptor[at];
            continue;
        }
        const unsigned size_code = prefix & item_size_mask;
        const size_t data_size = size_code == item_size_mask ? sizeof(uint32_t) : size_code;
        if (size - at < data_size)
            return -1;
        uint32_t value = 0;
        for (size_t i = 0; i < data_size; ++i)
            value |= (uint32_t)descriptor[at + i] << (bits_per_byte * i);
        at += data_size;
        if (take_item(&parser, prefix & item_type_and_tag_mask, value) != 0)
            return -1;
    }
    if (parser.longest == 0)
        return 0;
    return (int)((parser.longest + bits_per_byte - 1) / bits_per_byte) + report_id_bytes;
}
