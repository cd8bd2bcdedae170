#include "simulator/windows/driver.h"

/* What the HID class driver and the driver below it exchange. The compiler's headers lack some
   of these constants and structures, and others are wrong there. */
#define HID_CODE(function, method) ((UINT32_C(0x0B) << 16) | (UINT32_C(function) << 2) | (method))
#define HID_NEITHER(function) HID_CODE(function, METHOD_NEITHER)
enum hid_request
{
    hid_get_device_descriptor = HID_NEITHER(0),
    hid_get_report_descriptor = HID_NEITHER(1),
    hid_read_report = HID_NEITHER(2),
    hid_write_report = HID_NEITHER(3),
    hid_get_string = HID_NEITHER(4),
    hid_activate_device = HID_NEITHER(7),
    hid_deactivate_device = HID_NEITHER(8),
    hid_get_device_attributes = HID_NEITHER(9),
    hid_set_output_report = HID_CODE(101, METHOD_IN_DIRECT),
};

enum
{
    hid_descriptor_type = 0x21,
    hid_report_descriptor_type = 0x22,
    hid_version = 0x0111,
};

/* As in the USB HID class definition, 6.2.1. */
#pragma pack(push, 1)
struct hid_descriptor
{
    UCHAR length;
    UCHAR type;
    USHORT version;
    UCHAR country;
    UCHAR descriptors;
    UCHAR report_type;
    USHORT report_length;
};
#pragma pack(pop)
_Static_assert(sizeof(struct hid_descriptor) == 9, "wire size");

struct hid_attributes
{
    ULONG size;
    USHORT vendor;
    USHORT product;
    USHORT version;
    USHORT reserved[11];
};
_Static_assert(sizeof(struct hid_attributes) == 32, "layout");

static NTSTATUS give(IRP *irp, ULONG room, const void *data, ULONG size)
{
    if (room < size)
        return complete(irp, STATUS_BUFFER_TOO_SMALL, 0);
    RtlCopyMemory(irp->UserBuffer, data, size);
    return complete(irp, STATUS_SUCCESS, size);
}

static NTSTATUS give_string(IRP *irp, ULONG room, const struct velmo_plug *identity, ULONG which)
{
    /* Windows asks by its own numbers, wine by the indices of a USB device descriptor. */
    enum
    {
        index_manufacturer = 1,
        index_product = 2,
        index_serial = 3,
        id_manufacturer = 14,
        id_product = 15,
        id_serial = 16,
    };
    const uint16_t *text = NULL;
    ULONG size = 0;

    switch (which) {
    case index_manufacturer:
    case id_manufacturer:
        text = identity->manufacturer_name;
        break;
    case index_product:
    case id_product:
        text = identity->product_name;
        break;
    case index_serial:
    case id_serial:
        text = identity->serial;
        break;
    default:
        return complete(irp, STATUS_NOT_SUPPORTED, 0);
    }
    while (size < velmo_text_room - 1 && text[size] != 0)
        ++size;
    return give(irp, room, text, (size + 1) * (ULONG)sizeof *text);
}

NTSTATUS child_hid_request(DEVICE_OBJECT *device, IRP *irp)
{
    struct child_device *const child = device->DeviceExtension;
    const struct velmo_plug *const identity = &child->identity;
    const IO_STACK_LOCATION *const request = IoGetCurrentIrpStackLocation(irp);
    const ULONG room = request->Parameters.DeviceIoControl.OutputBufferLength;

    /* Only transfers fail once the device is gone. The class driver may be in the middle
       of its start, and wine's keeps a pointer to what it has deleted when that fails. */
    switch ((enum hid_request)request->Parameters.DeviceIoControl.IoControlCode) {
    case hid_get_device_descriptor: {
        const struct hid_descriptor descriptor = {
            .length = sizeof descriptor,
            .type = hid_descriptor_type,
            .version = hid_version,
            .descriptors = 1,
            .report_type = hid_report_descriptor_type,
            .report_length = identity->descriptor_size,
        };
        return give(irp, room, &descriptor, sizeof descriptor);
    }
    case hid_get_report_descriptor:
        return give(irp, room, identity->descriptor, identity->descriptor_size);
    case hid_get_device_attributes: {
        const struct hid_attributes attributes = {
            .size = sizeof attributes,
            .vendor = identity->vendor,
            .product = identity->product,
            .version = identity->release,
        };
        return give(irp, room, &attributes, sizeof attributes);
    }
    case hid_get_string: {
        const ULONG_PTR which = (ULONG_PTR)request->Parameters.DeviceIoControl.Type3InputBuffer;
        return give_string(irp, room, identity, (ULONG)(which & 0xFFFF));
    }
    case hid_activate_device:
    case hid_deactivate_device:
        return complete(irp, STATUS_SUCCESS, 0);
    case hid_read_report:
        return child_read(child, irp);
    case hid_write_report:
    case hid_set_output_report:
        return child_write(child, irp);
    default:
        return complete(irp, STATUS_NOT_SUPPORTED, 0);
    }
}
