#include "device/hidapi/hid_device_ids.h"

#include <stddef.h>
#include <string.h>

/* Windows: offsets from the '#' of "#VID_3C9E&PID_000B". */
static const char vendor_marker[] = "#VID_";
static const size_t vendor_offset = 5;
static const size_t product_offset = 14;

static const size_t id_digits = 4;
/* HID_ID pads vendor and product to 32 bits. */
static const size_t wide_id_digits = 8;

static char to_upper(char c)
{
    return (char)(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
}

/* Returns the digit's value or -1. Unlike isxdigit() it does not depend on the locale. */
static int digit_value(char c)
{
    const char upper = to_upper(c);
    if (upper >= '0' && upper <= '9')
        return upper - '0';
    if (upper >= 'A' && upper <= 'F')
        return upper - 'A' + 0xA;
    return -1;
}

/* Reads exactly `count` digits, at most 8. Returns 0 if the text is shorter or the number
   has more than 16 bits. */
static int read_id(const char *text, size_t count, unsigned short *id)
{
    unsigned long value = 0;
    for (size_t i = 0; i < count; ++i) {
        const int digit = digit_value(text[i]);
        if (digit < 0)
            return 0;
        value = value << 4 | (unsigned long)digit;
    }
    if (value > 0xFFFF)
        return 0;
    *id = (unsigned short)value;
    return 1;
}

static int starts_with_marker(const char *text)
{
    size_t i = 0;
    while (vendor_marker[i] != '\0' && to_upper(text[i]) == vendor_marker[i])
        ++i;
    return vendor_marker[i] == '\0';
}

int hid_ids_from_interface_name(const char *name, struct hid_device_ids *ids)
{
    while (*name != '\0' && !starts_with_marker(name))
        ++name;
    struct hid_device_ids found;
    if (strlen(name) < product_offset + id_digits ||
        !read_id(name + vendor_offset, id_digits, &found.vendor) ||
        !read_id(name + product_offset, id_digits, &found.product))
        return 0;
    *ids = found;
    return 1;
}

/* Reads "bus:vendor:product" with ids of `digits` digits. Returns the rest, or null. */
static const char *read_triple(const char *text, size_t digits, struct hid_device_ids *ids)
{
    unsigned short bus = 0;
    if (!read_id(text, id_digits, &bus))
        return NULL;
    text += id_digits;
    if (*text != ':' || !read_id(text + 1, digits, &ids->vendor))
        return NULL;
    text += 1 + digits;
    if (*text != ':' || !read_id(text + 1, digits, &ids->product))
        return NULL;
    return text + 1 + digits;
}

int hid_ids_from_hid_id(const char *hid_id, struct hid_device_ids *ids)
{
    struct hid_device_ids found;
    const char *const rest = read_triple(hid_id, wide_id_digits, &found);
    if (rest == NULL || *rest != '\0')
        return 0;
    *ids = found;
    return 1;
}

int hid_ids_from_device_path(const char *path, struct hid_device_ids *ids)
{
    int is_found = 0;
    const char *component = path;
    while (component != NULL) {
        struct hid_device_ids found;
        const char *const rest = read_triple(component, id_digits, &found);
        if (rest != NULL && rest[0] == '.' && digit_value(rest[1]) >= 0) {
            *ids = found;
            is_found = 1;
        }
        component = strchr(component, '/');
        if (component != NULL)
            ++component;
    }
    return is_found;
}
