#include "device/deviceSelection.h"

Unguarded<bool> g_selPlain{false};
Unguarded<bool> g_selR5{false};
Unguarded<bool> g_selR5Otg{false};
Unguarded<bool> g_otgAltPid{false};
Unguarded<int> g_activeModelCode{0};

void selectMicrophoneFor(const QString &firmwarePath)
{
    const bool r5 = firmwarePath.contains(QLatin1String("R5"));
    const bool otg = firmwarePath.contains(QLatin1String("otg"));
    g_selPlain = !r5;
    g_selR5 = r5 && !otg;
    g_selR5Otg = r5 && otg;
}
