#pragma once

/*
 * The requests of velmo-sim-wine.exe to velmosim.sys, over \\.\VelmoSim. Both are compiled
 * from this header.
 *
 * The bus belongs to the open file that has reserved it. The driver does not check that the
 * other requests come from that file, so a program reserves the bus before it makes them. When
 * the file is closed, which also happens when its process ends, all devices leave the bus.
 */

#ifdef __cplusplus
#include <cstdint>
#else
#include <stdint.h>
#endif

/* FILE_DEVICE_UNKNOWN, METHOD_BUFFERED, FILE_ANY_ACCESS; codes from 0x800 on are free. */
#define VELMO_CONTROL_CODE(number) ((UINT32_C(0x22) << 16) | ((UINT32_C(0x800) + (number)) << 2))
/** Reserves the bus. Fails while another file has it, or while devices of an earlier one are
    still leaving. */
#define VELMO_IOCTL_RESERVE VELMO_CONTROL_CODE(0)
/** in: velmo_plug. The device is on the bus; the system notices that a little later. */
#define VELMO_IOCTL_PLUG VELMO_CONTROL_CODE(1)
/** in: velmo_slot. Ends when the system has released the device. */
#define VELMO_IOCTL_UNPLUG VELMO_CONTROL_CODE(2)
/** in: velmo_slot; out: velmo_report. Waits for the host's next output report. The
    host's write goes on until it is answered; then the next one can be taken. */
#define VELMO_IOCTL_TAKE VELMO_CONTROL_CODE(3)
/** in: velmo_answer. Ends the host's write that was taken. */
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
    /* UTF-16, each with a zero at its end. Devices that are on the bus together have
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
