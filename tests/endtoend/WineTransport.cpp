#include "tests/endtoend/WineTransport.h"

#include <QDir>
#include <QFile>

WineTransport::WineTransport()
    // The last setting: wine lists devices in the order of their ids, not of their arrival.
    : Transport("\r\n", {"fail-reads=", "short-reads=", "devices=0065,0011"})
    , program(qEnvironmentVariable("VELMO_WINDOWS_PROGRAM"))
    , prefix(qEnvironmentVariable("VELMO_WINE_PREFIX", qEnvironmentVariable("WINEPREFIX")))
{
    if (!QFile::exists(program))
        qFatal("VELMO_WINDOWS_PROGRAM: name the Velmo_KVX2_DFU.exe of a Windows build");
    if (prefix.isEmpty())
        qFatal("WINEPREFIX: name a folder for wine");
}

QStringList WineTransport::command() const
{
    return {QStringLiteral(VELMO_BINARY_DIR "/bin/velmo-sim-wine"), program};
}

QStringList WineTransport::secondCommand() const
{
    // On the bus of the run that is under way.
    return {QStringLiteral("wine"), program};
}

void WineTransport::prepare(QProcessEnvironment *environment) const
{
    environment->insert(QStringLiteral("WINEPREFIX"), prefix);
    environment->insert(QStringLiteral("WINEDEBUG"), QStringLiteral("-all"));
    // Wine's server is found through it; another one is another server on the same prefix.
    environment->remove(QStringLiteral("TMPDIR"));
    if (qEnvironmentVariableIsSet("TMPDIR"))
        environment->insert(QStringLiteral("TMPDIR"), qEnvironmentVariable("TMPDIR"));
    // Windows programs have no offscreen platform that they would fall back on.
    if (!environment->contains(QStringLiteral("DISPLAY")))
        environment->insert(QStringLiteral("DISPLAY"), qEnvironmentVariable("DISPLAY"));
}

QString WineTransport::resultFile(const QString & /*home*/) const
{
    // Wine names the user's folder after the user; the other one is everybody's.
    QStringList users = QDir(prefix + QStringLiteral("/drive_c/users"))
                            .entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    users.removeAll(QStringLiteral("Public"));
    return prefix + QStringLiteral("/drive_c/users/") + users.value(0) +
           QStringLiteral("/AppData/Roaming/CorvoUpgrade/Firmware_bin.txt");
}

void WineTransport::clean() const
{
    const QString earlier = resultFile(QString());
    if (QFile::exists(earlier) && !QFile::remove(earlier))
        qFatal("%s: cannot be removed", qPrintable(earlier));
}
