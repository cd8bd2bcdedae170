#include "app/process.h"

#include <QByteArray>

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {

/// Opens standard descriptors that are closed. Otherwise the microphone's node could become
/// standard error and get the debug output.
void fillStandardDescriptors()
{
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
        // The lowest free descriptor is the one that is missing.
        if (fcntl(descriptor, F_GETFD) == -1 && open("/dev/null", O_RDWR) == -1)
            return;
    }
}

} // namespace

void prepareProcess()
{
    fillStandardDescriptors();
    // A reader that closes its end must not stop an upgrade midway.
    std::signal(SIGPIPE, SIG_IGN);
    installDebugOutput();
    // The toolkit tries these in turn. The last one needs no display.
    if (qgetenv("QT_QPA_PLATFORM").isEmpty()) {
        const bool wayland = !qgetenv("WAYLAND_DISPLAY").isEmpty();
        const bool x11 = !qgetenv("DISPLAY").isEmpty();
        qputenv("QT_QPA_PLATFORM",
                QByteArray(wayland ? "wayland;" : "") + (x11 ? "xcb;" : "") + "offscreen");
    }
}

void leaveProcess(int code)
{
    _exit(code);
}
