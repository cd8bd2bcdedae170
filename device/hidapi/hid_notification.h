#pragma once

/*
 * Arrival and removal notices. hid_notification.c has the state that both platforms share,
 * hid_notification_linux.cpp and hid_notification_windows.c have the source of the notices.
 * All of it runs on the thread that registered.
 */

#ifdef __cplusplus
extern "C" {
#endif

/** Opens the platform's source of notices. Returns 1, or 0 if the system refuses. */
int hid_notification_source_open(void);

/** Closes the source if it is open. The receiver of a notice may call it. */
void hid_notification_source_close(void);

/** Called by the source for each notice: calls the registered receiver, if any. */
void hid_notification_deliver(unsigned short vendor_id, unsigned short product_id, const char *path,
                              int removal);

#ifdef __cplusplus
}
#endif
