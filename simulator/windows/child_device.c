#include "simulator/windows/driver.h"

/* The HID minidriver that the system has for any device with this compatible id: it adds
   nothing and passes every request on to the bus. So it needs no driver of its own. */
static const WCHAR compatible_id[] = L"WINEBUS\\WINE_COMP_HID";

/* The HID class driver makes the interface's name from it, with "HID" for the first part:
   \\?\HID#VID_3C9E&PID_000B#instance#{class}. */
static const WCHAR id_pattern[] = L"VELMOSIM\\VID_0000&PID_0000";
enum
{
    id_vendor_offset = 13,
    id_product_offset = 22,
    id_size = sizeof id_pattern / sizeof *id_pattern - 1,
};

static void put_hex(WCHAR *text, USHORT value)
{
    enum
    {
        digits = 4,
        bits = 4,
    };
    for (int i = digits - 1; i >= 0; --i) {
        text[i] = L"0123456789ABCDEF"[value % (1 << bits)];
        value = (USHORT)(value >> bits);
    }
}

/* A copy that the system keeps. Two zeros end it, because some ids are lists. */
static WCHAR *copy_text(const WCHAR *text, ULONG size)
{
    WCHAR *const copy = ExAllocatePool(PagedPool, (size + 2) * sizeof *copy);
    if (copy == NULL)
        return NULL;
    RtlCopyMemory(copy, text, size * sizeof *copy);
    copy[size] = copy[size + 1] = 0;
    return copy;
}

static WCHAR *make_id(const struct velmo_plug *identity, BUS_QUERY_ID_TYPE type)
{
    WCHAR id[id_size];
    ULONG size = 0;

    switch (type) {
    case BusQueryDeviceID:
    case BusQueryHardwareIDs:
        RtlCopyMemory(id, id_pattern, sizeof id);
        put_hex(id + id_vendor_offset, identity->vendor);
        put_hex(id + id_product_offset, identity->product);
        return copy_text(id, id_size);
    case BusQueryCompatibleIDs:
        return copy_text(compatible_id, sizeof compatible_id / sizeof *compatible_id - 1);
    case BusQueryInstanceID:
        while (size < velmo_text_room && identity->instance[size] != 0)
            ++size;
        return copy_text((const WCHAR *)identity->instance, size);
    default:
        return NULL;
    }
}

struct child_device *child_at(ULONG slot)
{
    if (slot >= velmo_slots || velmo.children[slot] == NULL)
        return NULL;
    struct child_device *const child = velmo.children[slot]->DeviceExtension;
    return child->gone ? NULL : child;
}

NTSTATUS child_plug(DRIVER_OBJECT *driver, const struct velmo_plug *identity)
{
    WCHAR name_text[] = L"\\Device\\VelmoSim0000";
    UNICODE_STRING name;
    DEVICE_OBJECT *device = NULL;
    KIRQL irql = PASSIVE_LEVEL;

    if (identity->slot >= velmo_slots || identity->descriptor_size > velmo_descriptor_room)
        return STATUS_INVALID_PARAMETER;
    KeAcquireSpinLock(&velmo.lock, &irql);
    put_hex(name_text + sizeof name_text / sizeof *name_text - 5, (USHORT)velmo.device_counter++);
    KeReleaseSpinLock(&velmo.lock, irql);
    RtlInitUnicodeString(&name, name_text);
    const NTSTATUS status = IoCreateDevice(driver, sizeof(struct child_device), &name,
                                           FILE_DEVICE_UNKNOWN, 0, FALSE, &device);
    if (!NT_SUCCESS(status))
        return status;
    struct child_device *const child = device->DeviceExtension;
    child->head.kind = kind_child;
    child->identity = *identity;
    InitializeListHead(&child->reads);
    InitializeListHead(&child->writes);
    device->Flags &= ~(ULONG)DO_DEVICE_INITIALIZING;

    KeAcquireSpinLock(&velmo.lock, &irql);
    const BOOLEAN free = velmo.lower != NULL && velmo.children[identity->slot] == NULL;
    if (free)
        velmo.children[identity->slot] = device;
    KeReleaseSpinLock(&velmo.lock, irql);
    if (!free) {
        IoDeleteDevice(device);
        return STATUS_DEVICE_BUSY;
    }
    bus_changed();
    return STATUS_SUCCESS;
}

NTSTATUS child_unplug(ULONG slot, IRP *irp)
{
    KIRQL irql = PASSIVE_LEVEL;

    KeAcquireSpinLock(&velmo.lock, &irql);
    struct child_device *const child = child_at(slot);
    if (child == NULL) {
        KeReleaseSpinLock(&velmo.lock, irql);
        return irp != NULL ? complete(irp, STATUS_NO_SUCH_DEVICE, 0) : STATUS_NO_SUCH_DEVICE;
    }
    DEVICE_OBJECT *const device = velmo.children[slot];
    const BOOLEAN wait = child->reported;
    child->gone = TRUE;
    if (!wait)
        velmo.children[slot] = NULL;
    else if (irp != NULL) {
        IoMarkIrpPending(irp);
        child->unplug = irp;
    }
    /* Keeps the device until the end of this function. */
    ObReferenceObject(device);
    KeReleaseSpinLock(&velmo.lock, irql);

    child_end_transfers(child);
    if (wait)
        bus_changed();
    else
        IoDeleteDevice(device);
    ObDereferenceObject(device);
    if (wait)
        return STATUS_PENDING;
    return irp != NULL ? complete(irp, STATUS_SUCCESS, 0) : STATUS_SUCCESS;
}

/* The system has released the device, so its slot is free again. */
static NTSTATUS remove(DEVICE_OBJECT *device, IRP *irp)
{
    struct child_device *const child = device->DeviceExtension;
    KIRQL irql = PASSIVE_LEVEL;

    child_end_transfers(child);
    KeAcquireSpinLock(&velmo.lock, &irql);
    if (velmo.children[child->identity.slot] == device)
        velmo.children[child->identity.slot] = NULL;
    IRP *const unplug = child->unplug;
    KeReleaseSpinLock(&velmo.lock, irql);
    complete(irp, STATUS_SUCCESS, 0);
    IoDeleteDevice(device);
    if (unplug != NULL)
        complete(unplug, STATUS_SUCCESS, 0);
    return STATUS_SUCCESS;
}

NTSTATUS child_pnp(DEVICE_OBJECT *device, IRP *irp)
{
    const IO_STACK_LOCATION *const request = IoGetCurrentIrpStackLocation(irp);
    struct child_device *const child = device->DeviceExtension;

    switch (request->MinorFunction) {
    case IRP_MN_QUERY_ID: {
        WCHAR *const id = make_id(&child->identity, request->Parameters.QueryId.IdType);
        if (id == NULL)
            break;
        return complete(irp, STATUS_SUCCESS, (ULONG_PTR)id);
    }
    case IRP_MN_QUERY_CAPABILITIES: {
        DEVICE_CAPABILITIES *const capabilities =
            request->Parameters.DeviceCapabilities.Capabilities;
        capabilities->Removable = 1;
        capabilities->SilentInstall = 1;
        capabilities->SurpriseRemovalOK = 1;
        return complete(irp, STATUS_SUCCESS, 0);
    }
    case IRP_MN_SURPRISE_REMOVAL:
        child_end_transfers(child);
        return complete(irp, STATUS_SUCCESS, 0);
    case IRP_MN_REMOVE_DEVICE:
        return remove(device, irp);
    case IRP_MN_START_DEVICE:
    case IRP_MN_STOP_DEVICE:
    case IRP_MN_QUERY_REMOVE_DEVICE:
    case IRP_MN_CANCEL_REMOVE_DEVICE:
        return complete(irp, STATUS_SUCCESS, 0);
    default:
        break;
    }
    return complete(irp, irp->IoStatus.Status, irp->IoStatus.Information);
}
