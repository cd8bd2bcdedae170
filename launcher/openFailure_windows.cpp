#include "launcher/openFailure.h"

QString openFailure(const char * /*path*/)
{
    // The HID library does not tell the system's reason, and has replaced it by now.
    // Everybody may open the microphone here unless somebody holds it for himself.
    return QStringLiteral("another program may be using it. Close the programs that do, or plug "
                          "the microphone in anew.");
}
