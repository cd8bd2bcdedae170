#include "launcher/openFailure.h"

QString openFailure(const char * /*path*/)
{
    // The HID library does not report the system's reason. On Windows everybody may open the
    // microphone unless another program has opened it exclusively.
    return QStringLiteral("another program may be using it. Close that program, or unplug the "
                          "microphone and plug it back in.");
}
