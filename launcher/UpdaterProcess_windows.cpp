#include "launcher/UpdaterProcess.h"

QString UpdaterProcess::programName()
{
    return QStringLiteral("Velmo_KVX2_DFU.exe");
}

void UpdaterProcess::setupChildProcess()
{
    // Not called on Windows. The updater has no console there, so Ctrl-C does not reach it.
}

void UpdaterProcess::addPlatformSettings(QProcessEnvironment *environment)
{
    // Otherwise a program without a console sends its debug output to the debugger.
    environment->insert(QStringLiteral("QT_FORCE_STDERR_LOGGING"), QStringLiteral("1"));
}
