#include "launcher/PluggedIn.h"

#include "device/hidapi/hidapi_additions.h"

#include <cerrno>
#include <cstring>
#include <unistd.h>

QString PluggedIn::openFailure(const char *node)
{
    const int denial = access(node, R_OK | W_OK) == 0 ? 0 : errno;
    if (denial == EACCES) {
        return "no permission. The udev rule 70-velmo-microphones.rules of the package "
               "velmo-kvx2-dfu gives it to the user who is logged in at this machine. Install it, "
               "unplug the microphone and plug it back in, or run this as root.";
    }
    if (denial == ENOENT)
        return "it is gone. Plug the microphone back in.";
    const QString reason = QString::fromWCharArray(hid_error(nullptr));
    if (reason.contains(QString::fromLocal8Bit(std::strerror(EBUSY)))) {
        return "another program is using it. Close that program, or unplug the microphone and plug "
               "it back in.";
    }
    // The file's mode allows it, but the container was not given the device.
    if (reason.contains(QString::fromLocal8Bit(std::strerror(EPERM))))
        return reason + ". Let this container use the device, or run this outside of it.";
    return reason + ". Unplug the microphone and plug it back in.";
}
