#include "launcher/UpdaterProcess.h"

#include <unistd.h>

QString UpdaterProcess::programName()
{
    return QStringLiteral("Velmo_KVX2_DFU");
}

void UpdaterProcess::setupChildProcess()
{
    // In its own session neither Ctrl-C nor a closed terminal ends an upgrade.
    setsid();
}

void UpdaterProcess::addPlatformSettings(QProcessEnvironment *environment)
{
    // Without a display no message box can wait for the user: its text goes to the output.
    environment->remove(QStringLiteral("DISPLAY"));
    environment->remove(QStringLiteral("WAYLAND_DISPLAY"));
    environment->insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
}
