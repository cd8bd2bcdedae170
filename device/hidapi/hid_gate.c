/*
 * hidapi's functions as this library exports them: the backend's, made safe for
 * several threads.  hidapi 0.10.1 by itself is not: a write and a read both free
 * and replace the handle's one error text, and a close frees the handle under
 * whoever is inside.  See hidapi_additions.h for what callers may rely on.
 */

#include "device/hidapi/hid_backend.h"
#include "device/hidapi/hid_lock.h"
#include "device/hidapi/hidapi_additions.h"

#include <stdlib.h>
#include <wchar.h>

/* Calls of one lane queue up, calls of different lanes do not meet: each lane has
   its own view of the device, with its own error text. */
enum lane
{
    lane_read,
    lane_write,
    lane_control,
    lane_count
};

struct session
{
    hid_lock lock[lane_count];
    hid_device *view[lane_count]; /* view[lane_read] is the device itself */
};

/* What a hid_device pointer handed out by this library points to.  It is neither
   freed nor used again while the process lives, so that a closed handle stays
   recognisable; the list keeps it reachable for leak checkers. */
struct gate
{
    struct gate *next;
    struct session *session; /* null once the device is closed */
    unsigned inside;         /* calls that are using the session */
    int closed;
    int nonblocking;
};

enum
{
    error_text_size = 128
};

/* Guards the list and every gate's fields; held for a few instructions only. */
static hid_lock s_gates_lock = HID_LOCK_INITIAL;
static struct gate *s_gates = NULL;

/* Guards the backend's own process-wide state (Windows: the functions of hid.dll). */
static hid_lock s_library_lock = HID_LOCK_INITIAL;

/* The outcome of the thread's last call on a handle, and of its last one without. */
static _Thread_local const hid_device *t_error_handle = NULL;
static _Thread_local wchar_t t_error[error_text_size];
static _Thread_local wchar_t t_global_error[error_text_size];

static void copy_text(wchar_t target[error_text_size], const wchar_t *text)
{
    wcsncpy(target, text, error_text_size - 1);
    target[error_text_size - 1] = L'\0';
}

static void set_error(const hid_device *handle, const wchar_t *text)
{
    t_error_handle = handle;
    copy_text(t_error, text);
}

/* Moves the backend's error text of calls without a handle to where it needs no
   freeing when the thread ends. */
static void take_global_error(int failed)
{
    copy_text(t_global_error, failed ? raw_hid_error(NULL) : L"");
    hid_backend_clear_global_error();
}

static void end_session(struct session *session)
{
    if (session == NULL)
        return;
    /* The device last: a view may have something to cancel on it. */
    hid_backend_free_view(session->view[lane_write]);
    hid_backend_free_view(session->view[lane_control]);
    hid_backend_close(session->view[lane_read]);
    for (int i = 0; i < lane_count; ++i)
        hid_lock_destroy(&session->lock[i]);
    free(session);
}

/* Takes the session out of a closed gate that nobody is inside; s_gates_lock held. */
static struct session *take_if_unused(struct gate *gate)
{
    if (!gate->closed || gate->inside != 0)
        return NULL;
    struct session *const session = gate->session;
    gate->session = NULL;
    return session;
}

static void count_out(struct gate *gate)
{
    hid_lock_take(&s_gates_lock);
    --gate->inside;
    struct session *const unused = take_if_unused(gate);
    hid_lock_give(&s_gates_lock);
    end_session(unused);
}

/* Enters a handle's lane.  Returns the lane's view, to be given back with leave(),
   or null when the handle is null or closed. */
static hid_device *enter(hid_device *handle, enum lane lane)
{
    struct gate *const gate = (struct gate *)handle;
    struct session *session = NULL;
    if (gate != NULL) {
        hid_lock_take(&s_gates_lock);
        if (!gate->closed) {
            session = gate->session;
            ++gate->inside;
        }
        hid_lock_give(&s_gates_lock);
    }
    if (session != NULL) {
        hid_lock_take(&session->lock[lane]);
        /* The handle may have been closed while this call queued for the lane. */
        hid_lock_take(&s_gates_lock);
        const int closed = gate->closed;
        hid_lock_give(&s_gates_lock);
        if (!closed) {
            hid_backend_clear_error(session->view[lane]);
            return session->view[lane];
        }
        hid_lock_give(&session->lock[lane]);
        count_out(gate);
    }
    set_error(handle, L"The device handle is closed");
    return NULL;
}

/* Leaves the lane, keeps the error text if the result is a failure; returns the result. */
static int leave(hid_device *handle, enum lane lane, int result)
{
    struct gate *const gate = (struct gate *)handle;
    /* The session stays, and so may be read without the lock, while this call is inside. */
    struct session *const session = gate->session;
    const wchar_t *const text = hid_backend_error(session->view[lane]);
    if (result >= 0)
        set_error(handle, L"");
    else
        set_error(handle, text != NULL ? text : L"Failed; the system gives no reason");
    hid_lock_give(&session->lock[lane]);
    count_out(gate);
    return result;
}

/* Makes a handle of a device that has just been opened; null stays null. */
static hid_device *new_handle(hid_device *device)
{
    if (device == NULL)
        return NULL;
    struct gate *const gate = calloc(1, sizeof *gate);
    struct session *const session = calloc(1, sizeof *session);
    hid_device *const write_view = hid_backend_new_view(device);
    hid_device *const control_view = hid_backend_new_view(device);
    if (gate == NULL || session == NULL || write_view == NULL || control_view == NULL) {
        hid_backend_free_view(control_view);
        hid_backend_free_view(write_view);
        free(session);
        free(gate);
        hid_backend_close(device);
        copy_text(t_global_error, L"Out of memory");
        return NULL;
    }
    for (int i = 0; i < lane_count; ++i)
        hid_lock_init(&session->lock[i]);
    session->view[lane_read] = device;
    session->view[lane_write] = write_view;
    session->view[lane_control] = control_view;
    gate->session = session;

    hid_lock_take(&s_gates_lock);
    gate->next = s_gates;
    s_gates = gate;
    hid_lock_give(&s_gates_lock);
    return (hid_device *)gate;
}

int hid_init(void)
{
    hid_lock_take(&s_library_lock);
    const int result = raw_hid_init();
    hid_lock_give(&s_library_lock);
    return result;
}

int hid_exit(void)
{
    hid_lock_take(&s_library_lock);
    const int result = raw_hid_exit();
    hid_lock_give(&s_library_lock);
    return result;
}

/* The backend's enumerate and open functions initialise the library themselves.
   hid_init() before them makes that a mere look, which needs no lock. */

struct hid_device_info *hid_enumerate(unsigned short vendor_id, unsigned short product_id)
{
    if (hid_init() < 0)
        return NULL;
    struct hid_device_info *const found = raw_hid_enumerate(vendor_id, product_id);
    take_global_error(found == NULL);
    return found;
}

void hid_free_enumeration(struct hid_device_info *devs)
{
    raw_hid_free_enumeration(devs);
}

hid_device *hid_open(unsigned short vendor_id, unsigned short product_id,
                     const wchar_t *serial_number)
{
    if (hid_init() < 0)
        return NULL;
    hid_device *const device = raw_hid_open(vendor_id, product_id, serial_number);
    take_global_error(device == NULL);
    return new_handle(device);
}

hid_device *hid_open_path(const char *path)
{
    if (path == NULL || hid_init() < 0)
        return NULL;
    hid_device *const device = raw_hid_open_path(path);
    take_global_error(device == NULL);
    return new_handle(device);
}

void hid_close(hid_device *dev)
{
    struct gate *const gate = (struct gate *)dev;
    if (gate == NULL)
        return;
    hid_lock_take(&s_gates_lock);
    gate->closed = 1;
    struct session *const unused = take_if_unused(gate);
    hid_lock_give(&s_gates_lock);
    end_session(unused);
}

int hid_write(hid_device *dev, const unsigned char *data, size_t length)
{
    hid_device *const view = enter(dev, lane_write);
    return view == NULL ? -1 : leave(dev, lane_write, hid_backend_write(view, data, length));
}

int hid_read_timeout(hid_device *dev, unsigned char *data, size_t length, int milliseconds)
{
    hid_device *const view = enter(dev, lane_read);
    return view == NULL
               ? -1
               : leave(dev, lane_read, raw_hid_read_timeout(view, data, length, milliseconds));
}

/* Whether reads block is kept in the gate: changing it must not wait for a read. */

int hid_read(hid_device *dev, unsigned char *data, size_t length)
{
    const int forever = -1;
    int milliseconds = forever;
    if (dev != NULL) {
        hid_lock_take(&s_gates_lock);
        if (((struct gate *)dev)->nonblocking)
            milliseconds = 0;
        hid_lock_give(&s_gates_lock);
    }
    return hid_read_timeout(dev, data, length, milliseconds);
}

int hid_set_nonblocking(hid_device *dev, int nonblock)
{
    struct gate *const gate = (struct gate *)dev;
    if (gate == NULL)
        return -1;
    hid_lock_take(&s_gates_lock);
    const int closed = gate->closed;
    gate->nonblocking = nonblock != 0;
    hid_lock_give(&s_gates_lock);
    set_error(dev, closed ? L"The device handle is closed" : L"");
    return closed ? -1 : 0;
}

int hid_send_feature_report(hid_device *dev, const unsigned char *data, size_t length)
{
    hid_device *const view = enter(dev, lane_control);
    return view == NULL ? -1
                        : leave(dev, lane_control, raw_hid_send_feature_report(view, data, length));
}

int hid_get_feature_report(hid_device *dev, unsigned char *data, size_t length)
{
    hid_device *const view = enter(dev, lane_control);
    return view == NULL ? -1
                        : leave(dev, lane_control, raw_hid_get_feature_report(view, data, length));
}

int hid_get_input_report(hid_device *dev, unsigned char *data, size_t length)
{
    hid_device *const view = enter(dev, lane_control);
    return view == NULL ? -1
                        : leave(dev, lane_control, raw_hid_get_input_report(view, data, length));
}

typedef int string_getter(hid_device *, wchar_t *, size_t);

static int get_string(hid_device *dev, string_getter *getter, wchar_t *string, size_t maxlen)
{
    hid_device *const view = enter(dev, lane_control);
    if (view == NULL)
        return -1;
    /* The Linux backend can report success without having written anything. */
    if (maxlen > 0)
        string[0] = L'\0';
    return leave(dev, lane_control, getter(view, string, maxlen));
}

int hid_get_manufacturer_string(hid_device *dev, wchar_t *string, size_t maxlen)
{
    return get_string(dev, raw_hid_get_manufacturer_string, string, maxlen);
}

int hid_get_product_string(hid_device *dev, wchar_t *string, size_t maxlen)
{
    return get_string(dev, raw_hid_get_product_string, string, maxlen);
}

int hid_get_serial_number_string(hid_device *dev, wchar_t *string, size_t maxlen)
{
    return get_string(dev, raw_hid_get_serial_number_string, string, maxlen);
}

int hid_get_indexed_string(hid_device *dev, int string_index, wchar_t *string, size_t maxlen)
{
    hid_device *const view = enter(dev, lane_control);
    return view == NULL ? -1
                        : leave(dev, lane_control,
                                raw_hid_get_indexed_string(view, string_index, string, maxlen));
}

int hid_max_input_report_len(hid_device *dev)
{
    if (dev == NULL)
        return 0;
    hid_device *const view = enter(dev, lane_control);
    return view == NULL ? -1 : leave(dev, lane_control, hid_backend_max_input_report_len(view));
}

const wchar_t *hid_error(hid_device *dev)
{
    const wchar_t *text = t_global_error;
    if (dev != NULL)
        text = dev == t_error_handle ? t_error : L"";
    return text[0] != L'\0' ? text : L"Success";
}

const struct hid_api_version *hid_version(void)
{
    return raw_hid_version();
}

const char *hid_version_str(void)
{
    return raw_hid_version_str();
}
