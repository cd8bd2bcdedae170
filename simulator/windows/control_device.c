#include "simulator/windows/driver.h"

static const WCHAR device_name[] = L"\\Device\\VelmoSimControl";
static const WCHAR link_name[] = L"\\DosDevices\\VelmoSim";

NTSTATUS control_create(DRIVER_OBJECT *driver)
{
    UNICODE_STRING name;
    UNICODE_STRING link;

    RtlInitUnicodeString(&name, device_name);
    RtlInitUnicodeString(&link, link_name);
    NTSTATUS status = IoCreateDevice(driver, sizeof(struct device_head), &name, FILE_DEVICE_UNKNOWN,
                                     0, FALSE, &velmo.control);
    if (!NT_SUCCESS(status))
        return status;
    ((struct device_head *)velmo.control->DeviceExtension)->kind = kind_control;
    velmo.control->Flags &= ~(ULONG)DO_DEVICE_INITIALIZING;
    status = IoCreateSymbolicLink(&link, &name);
    if (!NT_SUCCESS(status))
        IoDeleteDevice(velmo.control);
    return status;
}

/* A separate request, because wine ignores that a driver refuses an open. */
static NTSTATUS reserve(IRP *irp)
{
    FILE_OBJECT *const file = IoGetCurrentIrpStackLocation(irp)->FileObject;
    KIRQL irql = PASSIVE_LEVEL;

    KeAcquireSpinLock(&velmo.lock, &irql);
    /* Devices of the earlier owner may still be leaving. */
    BOOLEAN busy = velmo.owner != NULL;
    for (ULONG slot = 0; slot < velmo_slots; ++slot)
        busy = busy || velmo.children[slot] != NULL;
    if (!busy)
        velmo.owner = file;
    KeReleaseSpinLock(&velmo.lock, irql);
    return complete(irp, busy ? STATUS_SHARING_VIOLATION : STATUS_SUCCESS, 0);
}

NTSTATUS control_close(IRP *irp)
{
    const FILE_OBJECT *const file = IoGetCurrentIrpStackLocation(irp)->FileObject;
    KIRQL irql = PASSIVE_LEVEL;

    KeAcquireSpinLock(&velmo.lock, &irql);
    const BOOLEAN owned = velmo.owner == file;
    KeReleaseSpinLock(&velmo.lock, irql);
    if (owned) {
        for (ULONG slot = 0; slot < velmo_slots; ++slot)
            child_unplug(slot, NULL);
        KeAcquireSpinLock(&velmo.lock, &irql);
        velmo.owner = NULL;
        KeReleaseSpinLock(&velmo.lock, irql);
    }
    return complete(irp, STATUS_SUCCESS, 0);
}

NTSTATUS control_request(DEVICE_OBJECT *device, IRP *irp)
{
    const IO_STACK_LOCATION *const request = IoGetCurrentIrpStackLocation(irp);
    /* Its size is not checked: the program is compiled from control_codes.h, too. */
    const void *const buffer = irp->AssociatedIrp.SystemBuffer;

    switch (request->Parameters.DeviceIoControl.IoControlCode) {
    case VELMO_IOCTL_RESERVE:
        return reserve(irp);
    case VELMO_IOCTL_PLUG:
        return complete(irp, child_plug(device->DriverObject, buffer), 0);
    case VELMO_IOCTL_UNPLUG:
        return child_unplug(((const struct velmo_slot *)buffer)->slot, irp);
    case VELMO_IOCTL_TAKE:
        return child_take(((const struct velmo_slot *)buffer)->slot, irp);
    case VELMO_IOCTL_ANSWER:
        return complete(irp, child_answer(buffer), 0);
    case VELMO_IOCTL_GIVE:
        return complete(irp, child_give(buffer), 0);
    default:
        return complete(irp, STATUS_INVALID_PARAMETER, 0);
    }
}
