#include "tests/endtoend/Transport.h"

#include "tests/endtoend/LocalTransport.h"
#include "tests/endtoend/Scenario.h"
#include "tests/endtoend/WineTransport.h"

#include <algorithm>
#include <memory>
#include <utility>

const Transport &Transport::chosen()
{
    static const std::unique_ptr<Transport> transport = []() -> std::unique_ptr<Transport> {
        const QByteArray name = qgetenv("VELMO_TRANSPORT");
        if (name.isEmpty() || name == "drop-in")
            return std::make_unique<LocalTransport>(QString(), QByteArrayList());
        if (name == "umockdev")
            return std::make_unique<LocalTransport>(QStringLiteral("velmo-sim-umockdev"),
                                                    QByteArrayList{"fail-reads="});
        if (name == "wine")
            return std::make_unique<WineTransport>();
        qFatal("VELMO_TRANSPORT: there is no transport '%s'", name.constData());
    }();
    return *transport;
}

Transport::Transport(QByteArray lineEnd, QByteArrayList refused)
    : resultLineEnd(std::move(lineEnd))
    , refusedSettings(std::move(refused))
{
}

bool Transport::offers(const Scenario &scenario) const
{
    return std::none_of(
        refusedSettings.begin(), refusedSettings.end(),
        [&scenario](const QByteArray &setting) { return scenario.simulator.contains(setting); });
}
