#include "tests/endtoend/Transport.h"

#include <QDir>

namespace {

/// The Linux program with the drop-in library.
Transport dropIn()
{
    const QStringList updater{QStringLiteral(VELMO_BINARY_DIR "/bin/Velmo_KVX2_DFU")};
    Transport transport{updater, updater, {}, QStringLiteral("data/CorvoUpgrade/Firmware_bin.txt"),
                        "\n",    {}};
    transport.environment.insert(QStringLiteral("LD_LIBRARY_PATH"),
                                 QStringLiteral(VELMO_BINARY_DIR "/simulator"));
    return transport;
}

/// The Linux program with the real HID library, in a host program.
Transport umockdev()
{
    Transport transport = dropIn();
    transport.environment.clear();
    transport.command.prepend(QStringLiteral(VELMO_BINARY_DIR "/bin/velmo-sim-umockdev"));
    transport.secondCommand = transport.command;
    return transport;
}

Transport wine()
{
    const QString program = qEnvironmentVariable("VELMO_WINDOWS_PROGRAM");
    const QDir users(qEnvironmentVariable("WINEPREFIX") + QStringLiteral("/drive_c/users"));
    // Wine names one folder after the user. The other folder is common to all users.
    QStringList user = users.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    user.removeAll(QStringLiteral("Public"));
    if (program.isEmpty() || user.isEmpty())
        qFatal("scripts/test-windows runs the tests over wine");
    Transport transport{
        {QStringLiteral("wine"),
         QStringLiteral(VELMO_BINARY_DIR "/../windows/simulator/windows/velmo-sim-wine.exe"),
         program},
        // The second updater uses the bus of the current run.
        {QStringLiteral("wine"), program},
        {},
        users.filePath(user.first() + "/AppData/Roaming/CorvoUpgrade/Firmware_bin.txt"),
        "\r\n",
        // Wine lists devices in the order of their ids, not of their arrival. Its HID class driver
        // does not pass on short reports.
        {"devices=0065,0011", "short-reads"}};
    // Programs find wine's server through TMPDIR. Windows programs have no offscreen platform to
    // fall back on.
    transport.environment.insert(QStringLiteral("TMPDIR"), QDir::tempPath());
    transport.environment.insert(QStringLiteral("DISPLAY"), qEnvironmentVariable("DISPLAY"));
    return transport;
}

} // namespace

const Transport &Transport::chosen()
{
    static const Transport transport = [] {
        const QByteArray name = qgetenv("VELMO_TRANSPORT");
        if (name.isEmpty() || name == "drop-in")
            return dropIn();
        if (name == "umockdev")
            return umockdev();
        if (name == "wine")
            return wine();
        qFatal("VELMO_TRANSPORT: there is no transport '%s'", name.constData());
    }();
    return transport;
}
