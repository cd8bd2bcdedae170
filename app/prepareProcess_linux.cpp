#include "app/prepareProcess.h"

#include <QByteArray>

#include <csignal>

void prepareProcess()
{
    // A launcher that stops reading our output must not end an upgrade midway.
    std::signal(SIGPIPE, SIG_IGN);
    // Headless runs must start where there is no display at all.
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM") && !qEnvironmentVariableIsSet("DISPLAY") &&
        !qEnvironmentVariableIsSet("WAYLAND_DISPLAY"))
        qputenv("QT_QPA_PLATFORM", QByteArrayLiteral("offscreen"));
}
