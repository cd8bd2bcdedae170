#include "simulator/windows/driver.h"

struct velmo_driver velmo;

NTSTATUS complete(IRP *irp, NTSTATUS status, ULONG_PTR information)
{
    irp->IoStatus.Status = status;
    irp->IoStatus.Information = information;
    IoCompleteRequest(irp, IO_NO_INCREMENT);
    return status;
}

static enum device_kind kind_of(const DEVICE_OBJECT *device)
{
    return ((const struct device_head *)device->DeviceExtension)->kind;
}

static NTSTATUS NTAPI on_create(DEVICE_OBJECT *device, IRP *irp)
{
    /* Children are opened through the drivers above them. */
    return complete(irp, kind_of(device) == kind_control ? STATUS_SUCCESS : STATUS_ACCESS_DENIED,
                    0);
}

static NTSTATUS NTAPI on_close(DEVICE_OBJECT *device, IRP *irp)
{
    return kind_of(device) == kind_control ? control_close(irp) : complete(irp, STATUS_SUCCESS, 0);
}

static NTSTATUS NTAPI on_pnp(DEVICE_OBJECT *device, IRP *irp)
{
    switch (kind_of(device)) {
    case kind_bus:
        return bus_pnp(irp);
    case kind_child:
        return child_pnp(device, irp);
    default:
        return complete(irp, STATUS_NOT_SUPPORTED, 0);
    }
}

static NTSTATUS NTAPI on_control(DEVICE_OBJECT *device, IRP *irp)
{
    return kind_of(device) == kind_control ? control_request(device, irp)
                                           : complete(irp, STATUS_INVALID_DEVICE_REQUEST, 0);
}

static NTSTATUS NTAPI on_internal_control(DEVICE_OBJECT *device, IRP *irp)
{
    return kind_of(device) == kind_child ? child_hid_request(device, irp)
                                         : complete(irp, STATUS_NOT_SUPPORTED, 0);
}

NTSTATUS NTAPI DriverEntry(DRIVER_OBJECT *driver, UNICODE_STRING *registry_path)
{
    (void)registry_path;
    KeInitializeSpinLock(&velmo.lock);
    const NTSTATUS status = control_create(driver);
    if (!NT_SUCCESS(status))
        return status;
    driver->DriverExtension->AddDevice = bus_add;
    driver->MajorFunction[IRP_MJ_CREATE] = on_create;
    driver->MajorFunction[IRP_MJ_CLEANUP] = on_close;
    driver->MajorFunction[IRP_MJ_CLOSE] = on_close;
    driver->MajorFunction[IRP_MJ_PNP] = on_pnp;
    driver->MajorFunction[IRP_MJ_DEVICE_CONTROL] = on_control;
    driver->MajorFunction[IRP_MJ_INTERNAL_DEVICE_CONTROL] = on_internal_control;
    return STATUS_SUCCESS;
}
