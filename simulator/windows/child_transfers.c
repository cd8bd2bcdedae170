#include "simulator/windows/driver.h"

/* Everything happens under the lock, except complete(): it may call the driver again. */

static IRP *pop(LIST_ENTRY *list)
{
    if (IsListEmpty(list))
        return NULL;
    return CONTAINING_RECORD(RemoveHeadList(list), IRP, Tail.Overlay.ListEntry);
}

/* If a take and a write are waiting, fills the take in and returns it. */
static IRP *match(struct child_device *child)
{
    if (child->taken_write != NULL || IsListEmpty(&child->writes))
        return NULL;
    IRP *const take = child->take;
    if (take == NULL)
        return NULL;
    child->take = NULL;
    child->taken_write = pop(&child->writes);
    const struct hid_transfer_packet *const packet = child->taken_write->UserBuffer;
    struct velmo_report *const report = take->AssociatedIrp.SystemBuffer;
    RtlZeroMemory(report, sizeof *report);
    report->slot = child->identity.slot;
    report->size = packet->size < velmo_report_room ? packet->size : velmo_report_room;
    RtlCopyMemory(report->data, packet->data, report->size);
    return take;
}

static void complete_take(IRP *take)
{
    if (take != NULL)
        complete(take, STATUS_SUCCESS, sizeof(struct velmo_report));
}

static ULONG_PTR copy_report(const IRP *read, const struct velmo_report *report)
{
    const IO_STACK_LOCATION *const request =
        IoGetCurrentIrpStackLocation((IRP *)read); // NOLINT: const-correct but for its type
    const ULONG room = request->Parameters.DeviceIoControl.OutputBufferLength;
    const ULONG size = report->size < room ? report->size : room;
    RtlCopyMemory(read->UserBuffer, report->data, size);
    return size;
}

NTSTATUS child_read(struct child_device *child, IRP *irp)
{
    KIRQL irql = PASSIVE_LEVEL;

    KeAcquireSpinLock(&velmo.lock, &irql);
    if (child->gone) {
        KeReleaseSpinLock(&velmo.lock, irql);
        return complete(irp, STATUS_DEVICE_NOT_CONNECTED, 0);
    }
    if (child->queue_size > 0) {
        const ULONG_PTR size = copy_report(irp, &child->queue[child->queue_start]);
        child->queue_start = (child->queue_start + 1) % velmo_queued_reports;
        --child->queue_size;
        KeReleaseSpinLock(&velmo.lock, irql);
        return complete(irp, STATUS_SUCCESS, size);
    }
    IoMarkIrpPending(irp);
    InsertTailList(&child->reads, &irp->Tail.Overlay.ListEntry);
    KeReleaseSpinLock(&velmo.lock, irql);
    return STATUS_PENDING;
}

NTSTATUS child_write(struct child_device *child, IRP *irp)
{
    KIRQL irql = PASSIVE_LEVEL;

    KeAcquireSpinLock(&velmo.lock, &irql);
    if (child->gone) {
        KeReleaseSpinLock(&velmo.lock, irql);
        return complete(irp, STATUS_DEVICE_NOT_CONNECTED, 0);
    }
    IoMarkIrpPending(irp);
    InsertTailList(&child->writes, &irp->Tail.Overlay.ListEntry);
    IRP *const take = match(child);
    KeReleaseSpinLock(&velmo.lock, irql);
    complete_take(take);
    return STATUS_PENDING;
}

NTSTATUS child_take(ULONG slot, IRP *irp)
{
    KIRQL irql = PASSIVE_LEVEL;

    KeAcquireSpinLock(&velmo.lock, &irql);
    struct child_device *const child = child_at(slot);
    if (child == NULL || child->take != NULL) {
        const NTSTATUS status = child == NULL ? STATUS_NO_SUCH_DEVICE : STATUS_DEVICE_BUSY;
        KeReleaseSpinLock(&velmo.lock, irql);
        return complete(irp, status, 0);
    }
    /* It has no cancel routine. It ends when the device leaves the bus, which happens at the
       latest when the owner's file is closed. */
    IoMarkIrpPending(irp);
    child->take = irp;
    IRP *const take = match(child);
    KeReleaseSpinLock(&velmo.lock, irql);
    complete_take(take);
    return STATUS_PENDING;
}

NTSTATUS child_answer(const struct velmo_answer *answer)
{
    KIRQL irql = PASSIVE_LEVEL;

    KeAcquireSpinLock(&velmo.lock, &irql);
    struct child_device *const child = child_at(answer->slot);
    IRP *const write = child != NULL ? child->taken_write : NULL;
    if (write == NULL) {
        KeReleaseSpinLock(&velmo.lock, irql);
        return STATUS_NO_SUCH_DEVICE;
    }
    child->taken_write = NULL;
    const struct hid_transfer_packet *const packet = write->UserBuffer;
    const ULONG size = packet->size;
    IRP *const take = match(child);
    KeReleaseSpinLock(&velmo.lock, irql);
    /* The class driver subtracts one for the report id, which is one of these bytes. */
    if (answer->accepted)
        complete(write, STATUS_SUCCESS, (ULONG_PTR)size + 1);
    else
        complete(write, STATUS_IO_DEVICE_ERROR, 0);
    complete_take(take);
    return STATUS_SUCCESS;
}

NTSTATUS child_give(const struct velmo_report *report)
{
    KIRQL irql = PASSIVE_LEVEL;

    if (report->size > velmo_report_room)
        return STATUS_INVALID_PARAMETER;
    KeAcquireSpinLock(&velmo.lock, &irql);
    struct child_device *const child = child_at(report->slot);
    if (child == NULL) {
        KeReleaseSpinLock(&velmo.lock, irql);
        return STATUS_NO_SUCH_DEVICE;
    }
    IRP *const read = pop(&child->reads);
    if (read == NULL) {
        if (child->queue_size == velmo_queued_reports) {
            child->queue_start = (child->queue_start + 1) % velmo_queued_reports;
            --child->queue_size;
        }
        child->queue[(child->queue_start + child->queue_size++) % velmo_queued_reports] = *report;
    }
    KeReleaseSpinLock(&velmo.lock, irql);
    if (read != NULL)
        complete(read, STATUS_SUCCESS, copy_report(read, report));
    return STATUS_SUCCESS;
}

void child_end_transfers(struct child_device *child)
{
    LIST_ENTRY ended;
    IRP *irp = NULL;
    KIRQL irql = PASSIVE_LEVEL;

    InitializeListHead(&ended);
    KeAcquireSpinLock(&velmo.lock, &irql);
    child->gone = TRUE;
    while ((irp = pop(&child->reads)) != NULL)
        InsertTailList(&ended, &irp->Tail.Overlay.ListEntry);
    while ((irp = pop(&child->writes)) != NULL)
        InsertTailList(&ended, &irp->Tail.Overlay.ListEntry);
    if (child->taken_write != NULL)
        InsertTailList(&ended, &child->taken_write->Tail.Overlay.ListEntry);
    child->taken_write = NULL;
    if (child->take != NULL)
        InsertTailList(&ended, &child->take->Tail.Overlay.ListEntry);
    child->take = NULL;
    KeReleaseSpinLock(&velmo.lock, irql);
    while ((irp = pop(&ended)) != NULL)
        complete(irp, STATUS_DEVICE_NOT_CONNECTED, 0);
}
