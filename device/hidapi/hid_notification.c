#include "device/hidapi/hid_notification.h"

#include "device/hidapi/hidapi_additions.h"

#include <stddef.h>

static hid_device_notification_callback s_notifyCallback = NULL;
static void *s_notifyContext = NULL;

void hid_register_device_notification(hid_device_notification_callback callback, void *context)
{
    if (callback == NULL) {
        /* Quirk: the receiver stays stored, so a later registration does not open the source
           again and notification stays off until the process ends. A receiver that has
           unregistered can rely on never being called again. */
        hid_notification_source_close();
        return;
    }
    if (s_notifyCallback == NULL && !hid_notification_source_open())
        return;
    s_notifyCallback = callback;
    s_notifyContext = context;
}

void hid_notification_deliver(unsigned short vendor_id, unsigned short product_id, const char *path,
                              int removal)
{
    if (s_notifyCallback != NULL)
        s_notifyCallback(vendor_id, product_id, path, removal, s_notifyContext);
}
