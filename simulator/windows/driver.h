#pragma once

/*
 * velmosim.sys: a bus on which a program outside plugs and unplugs HID devices.
 *
 *   driver_entry.c    where the system's requests come in
 *   bus_device.c      the bus itself, a device that the system knows from the .inf
 *   child_device.c    a device plugged into it: identity, plug and play
 *   child_transfers.c its reports, in and out
 *   hid_requests.c    the requests of the system's HID class driver to it
 *   control_device.c  \\.\VelmoSim (control_codes.h)
 *
 * Requests come in on any thread, several at once.
 */

#include "simulator/model/queuedReports.h"
#include "simulator/windows/control_codes.h"

#include <ntddk.h>

enum device_kind
{
    kind_control = 1,
    kind_bus,
    kind_child,
};

/* How each device's extension begins. */
struct device_head
{
    enum device_kind kind;
};

/* A device on the bus. velmo.lock guards everything except `head` and `identity`, which do
   not change. */
struct child_device
{
    struct device_head head;
    struct velmo_plug identity;
    BOOLEAN reported; /* the system knows of it and will say when it releases it */
    BOOLEAN gone;     /* unplugged; keeps its slot until the system releases it */
    LIST_ENTRY reads;
    LIST_ENTRY writes;
    IRP *taken_write; /* waits for its answer */
    IRP *take;        /* waits for a write */
    IRP *unplug;      /* waits for the system to release the device */
    /* Input reports that no read has come for yet. */
    struct velmo_report queue[velmo_queued_reports];
    ULONG queue_start;
    ULONG queue_size;
};

struct velmo_driver
{
    DEVICE_OBJECT *control;
    DEVICE_OBJECT *lower; /* below the bus; null until there is one */
    KSPIN_LOCK lock;      /* guards the rest */
    DEVICE_OBJECT *children[velmo_slots];
    FILE_OBJECT *owner;   /* the control handle that the devices belong to */
    ULONG device_counter; /* makes device names different */
};

extern struct velmo_driver velmo;

NTSTATUS complete(IRP *irp, NTSTATUS status, ULONG_PTR information);

/* driver_entry.c uses these. */
DRIVER_ADD_DEVICE bus_add;
NTSTATUS bus_pnp(IRP *irp);
NTSTATUS child_pnp(DEVICE_OBJECT *device, IRP *irp);
NTSTATUS child_hid_request(DEVICE_OBJECT *device, IRP *irp);
NTSTATUS control_create(DRIVER_OBJECT *driver);
NTSTATUS control_close(IRP *irp);
NTSTATUS control_request(DEVICE_OBJECT *device, IRP *irp);

/* Has the system look at the bus's children again. */
void bus_changed(void);

/* child_device.c. child_at() is called under the lock; null for a slot without a device
   or with one that is gone. */
struct child_device *child_at(ULONG slot);
NTSTATUS child_plug(DRIVER_OBJECT *driver, const struct velmo_plug *identity);
/* Takes over the request, if there is one. */
NTSTATUS child_unplug(ULONG slot, IRP *irp);

/* child_transfers.c. The first three take over the request. */
NTSTATUS child_read(struct child_device *child, IRP *irp);
NTSTATUS child_write(struct child_device *child, IRP *irp);
NTSTATUS child_take(ULONG slot, IRP *irp);
NTSTATUS child_answer(const struct velmo_answer *answer);
NTSTATUS child_give(const struct velmo_report *report);
/* Marks the device as gone and fails every request that waits on it. */
void child_end_transfers(struct child_device *child);

/* The HID class driver's output report: UserBuffer of a write. */
struct hid_transfer_packet
{
    UCHAR *data;
    ULONG size;
    UCHAR report_id; /* also data[0], when reports are numbered */
};
