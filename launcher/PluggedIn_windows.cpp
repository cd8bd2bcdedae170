#include "launcher/PluggedIn.h"

QString PluggedIn::openFailure(const char * /*node*/)
{
    // The HID library does not report the system's reason. On Windows everybody may open the
    // microphone unless another program has opened it exclusively.
    return "another program may be using it. Close that program, or unplug the microphone and plug "
           "it back in.";
}
