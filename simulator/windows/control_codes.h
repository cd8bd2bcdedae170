#pragma once

/*
 * The requests of velmo-sim-wine.exe to velmosim.sys, over \\.\VelmoSim.  Both are compiled
 * from this header.
 *
 * The bus belongs to the open file that has claimed it.  The driver does not check that the
 * other requests come from that file, so a program claims the bus before it makes them.  When
 * the file is closed, which also happens when its process ends, all devices leave the bus.
 */

#ifdef __cplusplus
#include <cstddef>
#include <cstdint>
#define VELMO_STATIC_ASSERT static_assert
extern "C" {
#else
#include <stddef.h>
#include <stdint.h>
#define VELMO_STATIC_ASSERT _Static_assert
#endif

/* FILE_DEVICE_UNKNOWN, METHOD_BUFFERED, FILE_ANY_ACCESS; codes from 0x800 on are free. */
#define VELMO_CONTROL_CODE(number) ((UINT32_C(0x22) << 16) | ((UINT32_C(0x800) + (number)) << 2))
/** Claims the bus.  Fails while another file has it, or while devices of an earlier one are
    still leaving. */
#define VELMO_IOCTL_CLAIM VELMO_CONTROL_CODE(0)
/** in: velmo_plug.  The device is on the bus; the system notices that a little later. */
#define VELMO_IOCTL_PLUG VELMO_CONTROL_CODE(1)
/** in: velmo_slot.  Ends when the system has released the device. */
#define VELMO_IOCTL_UNPLUG VELMO_CONTROL_CODE(2)
/** in: velmo_slot; out: velmo_report.  Waits for the host's next output report.  The
    host's write goes on until it is answered; then the next one can be taken. */
#define VELMO_IOCTL_TAKE VELMO_CONTROL_CODE(3)
/** in: velmo_answer.  Ends the host's write that was taken. */
#define VELMO_IOCTL_ANSWER VELMO_CONTROL_CODE(4)
/** in: velmo_report: one input report for the host. */
#define VELMO_IOCTL_GIVE VELMO_CONTROL_CODE(5)

enum
{
    velmo_slots = 16,
    velmo_report_room = 128,
    velmo_descriptor_room = 128,
    velmo_text_room = 64,
};

struct velmo_slot
{
    uint32_t slot; /* 0 to velmo_slots - 1 */
};

struct velmo_plug
{
    uint32_t slot;
    uint16_t vendor;
    uint16_t product;
    uint16_t release;
    uint16_t descriptor_size; /* at most velmo_descriptor_room */
    /* UTF-16, each with a zero at its end.  Devices that are on the bus together have
       different instances. */
    uint16_t manufacturer_name[velmo_text_room];
    uint16_t product_name[velmo_text_room];
    uint16_t serial[velmo_text_room];
    uint16_t instance[velmo_text_room];
    uint8_t descriptor[velmo_descriptor_room];
};

struct velmo_report
{
    uint32_t slot;
    uint32_t size; /* at most velmo_report_room */
    uint8_t data[velmo_report_room];
};

struct velmo_answer
{
    uint32_t slot;
    uint32_t accepted; /* 0: the host's write fails */
};

VELMO_STATIC_ASSERT(sizeof(struct velmo_slot) == 4, "layout");
VELMO_STATIC_ASSERT(offsetof(struct velmo_plug, descriptor) == 12 + 4 * 2 * velmo_text_room,
                    "layout");
VELMO_STATIC_ASSERT(sizeof(struct velmo_plug) == 12 + 8 * velmo_text_room + velmo_descriptor_room,
                    "layout");
VELMO_STATIC_ASSERT(sizeof(struct velmo_report) == 8 + velmo_report_room, "layout");
VELMO_STATIC_ASSERT(sizeof(struct velmo_answer) == 8, "layout");

#ifdef __cplusplus
}
#endif
