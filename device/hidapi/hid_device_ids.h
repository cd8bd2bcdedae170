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
 * Where the two ids stand in what the systems say about a device.  Each function
 * returns 1 and fills in *ids, or returns 0 and leaves it alone; hexadecimal
 * digits may be of either case.
 */

/**
 * A Windows device interface name: "#VID_", in either case, four digits, then four
 * more at the place they have in "#VID_3C9E&PID_000B".  Quirk: what
 * stands between the two is not looked at, because drivers differ there.
 */
int hid_ids_from_interface_name(const char *name, struct hid_device_ids *ids);

/** The HID_ID property of a Linux HID device: "0003:00003C9E:0000000B". */
int hid_ids_from_hid_id(const char *hid_id, struct hid_device_ids *ids);

/**
 * The last component "0003:3C9E:000B.0001" (bus, vendor, product, instance) of a
 * Linux device path: the last, because one HID device can hang on another.
 */
int hid_ids_from_device_path(const char *path, struct hid_device_ids *ids);

#ifdef __cplusplus
}
#endif
