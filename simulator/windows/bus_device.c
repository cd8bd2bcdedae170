#include "simulator/windows/driver.h"

NTSTATUS NTAPI bus_add(DRIVER_OBJECT *driver, DEVICE_OBJECT *lower)
{
    DEVICE_OBJECT *device = NULL;

    /* The system adds one at a time. */
    if (velmo.lower != NULL)
        return STATUS_DEVICE_BUSY;
    const NTSTATUS status = IoCreateDevice(driver, sizeof(struct device_head), NULL,
                                           FILE_DEVICE_BUS_EXTENDER, 0, FALSE, &device);
    if (!NT_SUCCESS(status))
        return status;
    ((struct device_head *)device->DeviceExtension)->kind = kind_bus;
    velmo.lower = IoAttachDeviceToDeviceStack(device, lower);
    device->Flags &= ~(ULONG)DO_DEVICE_INITIALIZING;
    return STATUS_SUCCESS;
}

void bus_changed(void)
{
    IoInvalidateDeviceRelations(velmo.lower, BusRelations);
}

/* Lists the children that are on the bus. The system keeps a reference to each. */
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

NTSTATUS bus_pnp(IRP *irp)
{
    const IO_STACK_LOCATION *const request = IoGetCurrentIrpStackLocation(irp);

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
    default:
        break;
    }
    IoSkipCurrentIrpStackLocation(irp);
    return IoCallDriver(velmo.lower, irp);
}
