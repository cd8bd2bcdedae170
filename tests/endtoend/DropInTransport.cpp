#include "tests/endtoend/DropInTransport.h"

QStringList DropInTransport::command() const
{
    return {QStringLiteral(VELMO_BINARY_DIR "/bin/Velmo_KVX2_DFU")};
}

void DropInTransport::prepare(QProcessEnvironment *environment) const
{
    environment->insert(QStringLiteral("LD_LIBRARY_PATH"),
                        QStringLiteral(VELMO_BINARY_DIR "/simulator"));
}

QString DropInTransport::resultFile(const QString &home) const
{
    return home + QStringLiteral("/data/CorvoUpgrade/Firmware_bin.txt");
}
