#pragma once

/*
 * Arrival and removal notices: the state that is common to both platforms
 * (hid_notification.c) and the platform's source of notices
 * (hid_notification_linux.cpp, hid_notification_windows.c).
 * All of it runs on the thread that registered.
 */

#ifdef __cplusplus
extern "C" {
#endif

/** Opens the platform's source of notices; returns 1, or 0 when the system refuses. */
int hid_notification_source_open(void);

/** Closes the source if it is open.  May be called from within a notice. */
void hid_notification_source_close(void);

/** The source's one way out: calls the registered receiver, if there is one. */
void hid_notification_deliver(unsigned short vendor_id, unsigned short product_id, const char *path,
                              int removal);

#ifdef __cplusplus
}
#endif
