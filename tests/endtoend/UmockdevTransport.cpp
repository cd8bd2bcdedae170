#include "tests/endtoend/UmockdevTransport.h"

#include "tests/endtoend/Scenario.h"

QStringList UmockdevTransport::command() const
{
    return {QStringLiteral(VELMO_BINARY_DIR "/bin/velmo-sim-umockdev"),
            QStringLiteral(VELMO_BINARY_DIR "/bin/Velmo_KVX2_DFU")};
}

QString UmockdevTransport::resultFile(const QString &home) const
{
    return home + QStringLiteral("/data/CorvoUpgrade/Firmware_bin.txt");
}

bool UmockdevTransport::offers(const Scenario &scenario) const
{
    return !scenario.simulator.contains("fail-reads");
}
