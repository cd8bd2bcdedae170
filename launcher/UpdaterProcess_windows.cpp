#include "launcher/UpdaterProcess.h"

QString UpdaterProcess::programName()
{
    return QStringLiteral("Velmo_KVX2_DFU.exe");
}

void UpdaterProcess::setupChildProcess()
{
    // Not called here.  A program of the window subsystem has no console, so Ctrl-C
    // does not reach it.
}

void UpdaterProcess::addPlatformSettings(QProcessEnvironment *environment)
{
    // A program without a console otherwise sends its debug output to a debugger.
    environment->insert(QStringLiteral("QT_FORCE_STDERR_LOGGING"), QStringLiteral("1"));
}
