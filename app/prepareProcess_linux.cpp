#include "app/prepareProcess.h"

#include "app/outputRoom_linux.h"

#include <QByteArray>
#include <QLoggingCategory>

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {

/// A file opened later must not become standard error: the microphone's node would
/// get the debug output.
void fillStandardDescriptors()
{
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
        // The lowest free descriptor is the one that is missing.
        if (fcntl(descriptor, F_GETFD) == -1 && open("/dev/null", O_RDWR) == -1)
            return;
    }
}

/// Writes a debug line unless it would have to wait: a launcher that does not read
/// our output loses lines, not the upgrade.
void writeDebugLine(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    const QByteArray line = qFormatLogMessage(type, context, text).toLocal8Bit() + '\n';
    for (int begin = 0; begin < line.size(); begin += surelyFitting) {
        if (!hasOutputRoom(STDERR_FILENO))
            return;
        const QByteArray piece = line.mid(begin, surelyFitting);
        if (write(STDERR_FILENO, piece.constData(), static_cast<std::size_t>(piece.size())) == -1)
            return;
    }
}

} // namespace

void prepareProcess()
{
    fillStandardDescriptors();
    // Nor must one that closes its end stop an upgrade midway.
    std::signal(SIGPIPE, SIG_IGN);
    qInstallMessageHandler(&writeDebugLine);
    // Without a display, or with one that does not answer, a headless run goes on.
    if (qgetenv("QT_QPA_PLATFORM").isEmpty()) {
        const bool wayland = !qgetenv("WAYLAND_DISPLAY").isEmpty();
        const bool x11 = !qgetenv("DISPLAY").isEmpty();
        qputenv("QT_QPA_PLATFORM",
                QByteArray(wayland ? "wayland;" : "") + (x11 ? "xcb;" : "") + "offscreen");
    }
}
