#include "tests/endtoend/Transport.h"

#include <QDir>

namespace {

/// The program of this machine, on the drop-in library.
Transport dropIn()
{
    const QStringList updater{QStringLiteral(VELMO_BINARY_DIR "/bin/Velmo_KVX2_DFU")};
    Transport transport{updater, updater, {}, QStringLiteral("data/CorvoUpgrade/Firmware_bin.txt"),
                        "\n",    {}};
    transport.environment.insert(QStringLiteral("LD_LIBRARY_PATH"),
                                 QStringLiteral(VELMO_BINARY_DIR "/simulator"));
    return transport;
}

/// The same program on the real HID library, with a program around it.
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
    // Wine names the user's folder after the user; the other one is everybody's.
    QStringList user = users.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    user.removeAll(QStringLiteral("Public"));
    if (program.isEmpty() || user.isEmpty())
        qFatal("scripts/test-windows runs the tests over wine");
    Transport transport{
        {QStringLiteral("wine"),
         QStringLiteral(VELMO_BINARY_DIR "/../windows/simulator/windows/velmo-sim-wine.exe"),
         program},
        // On the bus of the run that is under way.
        {QStringLiteral("wine"), program},
        {},
        users.filePath(user.first() + "/AppData/Roaming/CorvoUpgrade/Firmware_bin.txt"),
        "\r\n",
        // Wine lists devices in the order of their ids, not of their arrival, and its HID class
        // driver passes on no short report.
        {"devices=0065,0011", "short-reads"}};
    // Wine's server is found through TMPDIR; and Windows programs have no offscreen platform
    // that they would fall back on.
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
