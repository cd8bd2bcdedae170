#include "tests/endtoend/GadgetTransport.h"

#include "tests/endtoend/Scenario.h"

#include <algorithm>
#include <array>

QStringList GadgetTransport::command() const
{
    return {QStringLiteral(VELMO_BINARY_DIR "/bin/velmo-sim-gadget"),
            QStringLiteral(VELMO_BINARY_DIR "/bin/Velmo_KVX2_DFU")};
}

QString GadgetTransport::resultFile(const QString &home) const
{
    return home + QStringLiteral("/data/CorvoUpgrade/Firmware_bin.txt");
}

bool GadgetTransport::offers(const Scenario &scenario) const
{
    // What a true bus does by itself, or not at all.
    constexpr std::array refused = {"packet-time=", "fail-writes=", "fail-reads=", "short-reads="};
    return std::none_of(refused.begin(), refused.end(), [&scenario](const char *setting) {
        return scenario.simulator.contains(setting);
    });
}
