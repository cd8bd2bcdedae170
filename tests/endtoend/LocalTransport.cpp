#include "tests/endtoend/LocalTransport.h"

#include <utility>

LocalTransport::LocalTransport(QString host, const QByteArrayList &refused)
    : Transport("\n", refused)
    , hostName(std::move(host))
{
}

QStringList LocalTransport::command() const
{
    QStringList command{QStringLiteral(VELMO_BINARY_DIR "/bin/Velmo_KVX2_DFU")};
    if (!hostName.isEmpty())
        command.prepend(QStringLiteral(VELMO_BINARY_DIR "/bin/") + hostName);
    return command;
}

void LocalTransport::prepare(QProcessEnvironment *environment) const
{
    if (hostName.isEmpty())
        environment->insert(QStringLiteral("LD_LIBRARY_PATH"),
                            QStringLiteral(VELMO_BINARY_DIR "/simulator"));
}

QString LocalTransport::resultFile(const QString &home) const
{
    return home + QStringLiteral("/data/CorvoUpgrade/Firmware_bin.txt");
}
