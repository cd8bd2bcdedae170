/* Linked with the real HID library and run with the simulator in its place. */

#include <hidapi.h>

#include <stdio.h>
#include <string.h>

int main(void)
{
    static const unsigned char not_a_packet[3] = {0x4B, 1, 2};
    struct hid_device_info *found;
    hid_device *device;

    if (hid_init() != 0)
        return 2;
    found = hid_enumerate(0x3C9E, 0);
    if (found == NULL)
        return 3;
    device = hid_open_path(found->path);
    hid_free_enumeration(found);
    if (device == NULL)
        return 4;
    if (hid_write(device, not_a_packet, sizeof not_a_packet) != -1)
        return 5;
    hid_close(device);
    printf("done\n");
    return 0;
}
