#include "tests/endtoend/Transport.h"

#include <QDir>
#include <QFile>

namespace {

/// The program of this machine, on the drop-in library or with a program around it.
Transport local()
{
    const QStringList updater{QStringLiteral(VELMO_BINARY_DIR "/bin/Velmo_KVX2_DFU")};
    return {updater, updater, {}, QStringLiteral("data/CorvoUpgrade/Firmware_bin.txt"), "\n", {}};
}

Transport dropIn()
{
    Transport transport = local();
    transport.environment[QStringLiteral("LD_LIBRARY_PATH")] =
        QStringLiteral(VELMO_BINARY_DIR "/simulator");
    return transport;
}

Transport umockdev()
{
    Transport transport = local();
    transport.command.prepend(QStringLiteral(VELMO_BINARY_DIR "/bin/velmo-sim-umockdev"));
    transport.secondCommand = transport.command;
    return transport;
}

Transport wine()
{
    const QString program = qEnvironmentVariable("VELMO_WINDOWS_PROGRAM");
    const QString simulator = QDir::cleanPath(
        QStringLiteral(VELMO_BINARY_DIR "/../windows/simulator/windows/velmo-sim-wine.exe"));
    const QString prefix = qEnvironmentVariable("WINEPREFIX");
    const QString users = prefix + QStringLiteral("/drive_c/users");
    // Wine names the user's folder after the user; the other one is everybody's.
    QStringList user = QDir(users).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    user.removeAll(QStringLiteral("Public"));
    if (!QFile::exists(program) || !QFile::exists(simulator) || user.isEmpty())
        qFatal("scripts/test-windows runs the tests over wine");
    return {{QStringLiteral("wine"), simulator, program},
            // On the bus of the run that is under way.
            {QStringLiteral("wine"), program},
            // Wine's server is found through TMPDIR; and Windows programs have no offscreen
            // platform that they would fall back on.
            {{QStringLiteral("TMPDIR"), qEnvironmentVariable("TMPDIR", QStringLiteral("/tmp"))},
             {QStringLiteral("DISPLAY"), qEnvironmentVariable("DISPLAY")}},
            users + QLatin1Char('/') + user.first() +
                QStringLiteral("/AppData/Roaming/CorvoUpgrade/Firmware_bin.txt"),
            "\r\n",
            // Wine lists devices in the order of their ids, not of their arrival.
            "devices=0065,0011"};
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
