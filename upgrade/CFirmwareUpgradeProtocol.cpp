#include "upgrade/CFirmwareUpgradeProtocol.h"

#include "device/outputLines.h"

#include <QDebug>

#include <algorithm>

namespace {

constexpr int controlFrameLength = 11;
constexpr int retries = 3;
constexpr int receiveArgument = 3;
constexpr int receiveLength = 64;

// The makers' microphones in their normal state. The firmware path alone decides which
// microphone is updated and which product id it has (device/deviceSelection.h).
std::array<SupportedModel, 6> models = {{
    {{"Velmo LV-330"}, 0x2B53, 0x006A, 0, nullptr},
    {{"TQ736"}, 0x3C9E, 0x0101, 0, nullptr},
    {{"ZRX650"}, 0x31B2, 0x0011, 0, nullptr},
    {{"TB210"}, 0x3C9E, 0x0100, 0, nullptr},
    {{"LM217"}, 0x3C9E, 0x0102, 0, nullptr},
    {{"TQ905"}, 0x3C9E, 0x0103, 0, nullptr},
}};

} // namespace

CFirmwareUpgradeProtocol::CFirmwareUpgradeProtocol()
    : CProtocol(controlFrameLength)
{
}

bool CFirmwareUpgradeProtocol::isSupported(const void * /*ignored*/, int vid, int pid)
{
    return std::any_of(models.begin(), models.end(), [=](const SupportedModel &model) {
        return static_cast<int>(model.vid) == vid && static_cast<int>(model.pid) == pid;
    });
}

const SupportedModel *CFirmwareUpgradeProtocol::supportedModels()
{
    for (std::size_t i = 0; i + 1 < models.size(); ++i)
        models[i].next = &models[i + 1];
    qDebug() << outputLine::searching << models.front().vid << models.front().pid;
    return models.data();
}

int CFirmwareUpgradeProtocol::sendCommand(const std::uint8_t *tx, std::uint8_t *rx,
                                          std::size_t length)
{
    return manager != nullptr ? manager->sendAndWait(tx, rx, retries, length)
                              : ICommDeviceMgmt::statusNoDevice;
}

bool CFirmwareUpgradeProtocol::exchange(const ExchangeBuffer &tx, ExchangeReply &rx)
{
    return manager != nullptr && manager->sendAndReadOnce(tx.data(), rx.data(), retries, tx.size());
}

bool CFirmwareUpgradeProtocol::sendPacket(const std::uint8_t *tx, std::uint8_t *rx, int keepPending,
                                          int /*timeout*/)
{
    return manager != nullptr && manager->sendNoWait(tx, rx, keepPending);
}

bool CFirmwareUpgradeProtocol::readReport(std::uint8_t *buffer)
{
    return manager != nullptr && manager->receive(buffer, receiveArgument, receiveLength);
}
