#include "simulator/windows/driver.h"

NTSTATUS NTAPI bus_add(DRIVER_OBJECT *driver, DEVICE_OBJECT *lower)
{
    DEVICE_OBJECT *device = NULL;
    KIRQL irql = PASSIVE_LEVEL;

    const NTSTATUS status = IoCreateDevice(driver, sizeof(struct bus_device), NULL,
                                           FILE_DEVICE_BUS_EXTENDER, 0, FALSE, &device);
    if (!NT_SUCCESS(status))
        return status;
    struct bus_device *const bus = device->DeviceExtension;
    bus->head.kind = kind_bus;

    KeAcquireSpinLock(&velmo.lock, &irql);
    const BOOLEAN first = velmo.bus == NULL;
    KeReleaseSpinLock(&velmo.lock, irql);
    DEVICE_OBJECT *const attached = first ? IoAttachDeviceToDeviceStack(device, lower) : NULL;
    if (attached == NULL) {
        IoDeleteDevice(device);
        return STATUS_DEVICE_BUSY;
    }
    bus->lower = attached;
    KeAcquireSpinLock(&velmo.lock, &irql);
    velmo.bus = device; /* the system adds one at a time */
    KeReleaseSpinLock(&velmo.lock, irql);
    device->Flags &= ~(ULONG)DO_DEVICE_INITIALIZING;
    return STATUS_SUCCESS;
}

void bus_changed(void)
{
    KIRQL irql = PASSIVE_LEVEL;

    KeAcquireSpinLock(&velmo.lock, &irql);
    DEVICE_OBJECT *const lower =
        velmo.bus != NULL ? ((const struct bus_device *)velmo.bus->DeviceExtension)->lower : NULL;
    KeReleaseSpinLock(&velmo.lock, irql);
    if (lower != NULL)
        IoInvalidateDeviceRelations(lower, BusRelations);
}

/* The children that are on the bus, for the system to keep. */
static NTSTATUS list_children(IRP *irp)
{
    DEVICE_RELATIONS *const list =
        ExAllocatePool(NonPagedPool, sizeof *list + velmo_slots * sizeof(DEVICE_OBJECT *));
    KIRQL irql = PASSIVE_LEVEL;

    if (list == NULL)
        return STATUS_NO_MEMORY;
    list->Count = 0;
    KeAcquireSpinLock(&velmo.lock, &irql);
    for (ULONG slot = 0; slot < velmo_slots; ++slot) {
        struct child_device *const child = child_at(slot);
        if (child == NULL)
            continue;
        child->reported = TRUE;
        ObReferenceObject(velmo.children[slot]);
        list->Objects[list->Count++] = velmo.children[slot];
    }
    KeReleaseSpinLock(&velmo.lock, irql);
    irp->IoStatus.Information = (ULONG_PTR)list;
    return STATUS_SUCCESS;
}

static NTSTATUS remove(DEVICE_OBJECT *device, DEVICE_OBJECT *lower, IRP *irp)
{
    KIRQL irql = PASSIVE_LEVEL;

    KeAcquireSpinLock(&velmo.lock, &irql);
    velmo.bus = NULL;
    KeReleaseSpinLock(&velmo.lock, irql);
    irp->IoStatus.Status = STATUS_SUCCESS;
    IoSkipCurrentIrpStackLocation(irp);
    const NTSTATUS status = IoCallDriver(lower, irp);
    IoDetachDevice(lower);
    IoDeleteDevice(device);
    return status;
}

NTSTATUS bus_pnp(DEVICE_OBJECT *device, IRP *irp)
{
    const IO_STACK_LOCATION *const request = IoGetCurrentIrpStackLocation(irp);
    DEVICE_OBJECT *const lower = ((const struct bus_device *)device->DeviceExtension)->lower;

    switch (request->MinorFunction) {
    case IRP_MN_QUERY_DEVICE_RELATIONS:
        if (request->Parameters.QueryDeviceRelations.Type != BusRelations)
            break;
        irp->IoStatus.Status = list_children(irp);
        if (!NT_SUCCESS(irp->IoStatus.Status))
            return complete(irp, irp->IoStatus.Status, 0);
        break;
    case IRP_MN_START_DEVICE:
    case IRP_MN_SURPRISE_REMOVAL:
        irp->IoStatus.Status = STATUS_SUCCESS;
        break;
    case IRP_MN_REMOVE_DEVICE:
        return remove(device, lower, irp);
    default:
        break;
    }
    IoSkipCurrentIrpStackLocation(irp);
    return IoCallDriver(lower, irp);
}
