#include "tests/endtoend/Transport.h"

#include <QDir>

namespace {

/// The Linux program, either in a host program and with the real HID library, or with the drop-in
/// library.
Transport onLinux(bool inHost)
{
    QStringList updater{VELMO_BINARY_DIR "/bin/Velmo_KVX2_DFU"};
    if (inHost)
        updater.prepend(VELMO_BINARY_DIR "/bin/velmo-sim-umockdev");
    Transport transport{updater, updater, {}, "data/CorvoUpgrade/Firmware_bin.txt", "\n"};
    if (!inHost)
        transport.environment.insert("LD_LIBRARY_PATH", VELMO_BINARY_DIR "/simulator");
    return transport;
}

Transport wine()
{
    const QString program = qEnvironmentVariable("VELMO_WINDOWS_PROGRAM");
    const QDir users(qEnvironmentVariable("WINEPREFIX") + "/drive_c/users");
    // Wine names one folder after the user. The other folder is common to all users.
    QStringList user = users.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    user.removeAll("Public");
    if (program.isEmpty() || user.isEmpty())
        qFatal("scripts/test-windows runs the tests over wine");
    Transport transport{
        {"wine", VELMO_BINARY_DIR "/../windows/simulator/windows/velmo-sim-wine.exe", program},
        // The second updater uses the bus of the current run.
        {"wine", program},
        {},
        users.filePath(user.first() + "/AppData/Roaming/CorvoUpgrade/Firmware_bin.txt"),
        "\r\n"};
    // Programs find wine's server through TMPDIR. Windows programs have no offscreen platform to
    // fall back on.
    transport.environment.insert("TMPDIR", QDir::tempPath());
    transport.environment.insert("DISPLAY", qEnvironmentVariable("DISPLAY"));
    return transport;
}

} // namespace

const Transport &Transport::chosen()
{
    static const Transport transport = [] {
        const QByteArray name = qgetenv("VELMO_TRANSPORT");
        if (name == "wine")
            return wine();
        if (!QByteArrayList{"", "drop-in", "umockdev"}.contains(name))
            qFatal("VELMO_TRANSPORT: there is no transport '%s'", name.constData());
        return onLinux(name == "umockdev");
    }();
    return transport;
}
