#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/** A device's USB vendor and product id. */
struct hid_device_ids
{
    unsigned short vendor;
    unsigned short product;
};

/*
 * These functions find the two ids in names and properties of a device. Each returns 1 and
 * fills in *ids, or returns 0 and leaves it alone. Hexadecimal digits may have either case.
 */

/**
 * A Windows device interface name such as "#VID_3C9E&PID_000B", in either case.
 *
 * Quirk: the five characters between the two ids are not checked. Nobody is known
 * to depend on it.
 */
int hid_ids_from_interface_name(const char *name, struct hid_device_ids *ids);

/** The HID_ID property of a Linux HID device: "0003:00003C9E:0000000B". */
int hid_ids_from_hid_id(const char *hid_id, struct hid_device_ids *ids);

/**
 * The last component like "0003:3C9E:000B.0001" (bus, vendor, product, instance) of a Linux
 * device path. It is the last one because a HID device can be the child of another.
 */
int hid_ids_from_device_path(const char *path, struct hid_device_ids *ids);

#ifdef __cplusplus
}
#endif
