#pragma once

#include "device/ICommDeviceMgmt.h"

#include <QByteArray>
#include <QList>

#include <algorithm>
#include <deque>
#include <functional>

/// A device manager that records what is sent. Everything fails unless the test says
/// otherwise: there are no reports and no replies.
class RecordingManager : public ICommDeviceMgmt
{
public:
    bool init() override { return false; }
    void setProtocol(ICommProtocol * /*protocol*/) override {}
    void setOpenOption(int /*option*/) override {}
    bool isConnected() override { return false; }
    bool connect(const char * /*path*/, std::uint32_t /*vid*/, std::uint32_t /*pid*/) override
    {
        return false;
    }
    bool connectFirst() override { return false; }
    bool connectByPid(std::uint32_t /*pid*/) override { return false; }
    QList<int> listDevicePids() override { return {}; }
    void disconnect() override {}

    bool sendAndReadOnce(const std::uint8_t *packet, int *result, int /*retries*/,
                         std::size_t length) override
    {
        std::copy_n(exchangeReply.constData(), exchangeReply.size(),
                    reinterpret_cast<char *>(result));
        commands.append(copyOf(packet, length));
        return false;
    }

    int sendAndWait(const std::uint8_t *packet, std::uint8_t * /*reply*/, int /*retries*/,
                    std::size_t length) override
    {
        commands.append(copyOf(packet, length));
        if (onCommand)
            onCommand();
        return commandResult;
    }

    bool sendNoWait(const std::uint8_t *packet, std::uint8_t * /*reply*/, int keepPending) override
    {
        if (onPacket)
            onPacket(copyOf(packet, 65), keepPending);
        return false;
    }

    bool receive(std::uint8_t *buffer, int /*ignored*/, int /*ignoredToo*/) override
    {
        std::fill_n(buffer, 64, std::uint8_t{0});
        if (reports.empty())
            return false;
        std::copy_n(reports.front().constData(), std::min(reports.front().size(), 64),
                    reinterpret_cast<char *>(buffer));
        reports.pop_front();
        return true;
    }

    bool sendWithRetries(std::uint8_t * /*packet*/) override { return false; }
    ICommunicateDevice *getDevice() override { return nullptr; }

    int commandResult = statusNoReply;
    QByteArray exchangeReply;
    std::deque<QByteArray> reports;
    QList<QByteArray> commands;
    std::function<void()> onCommand;
    std::function<void(const QByteArray &, int)> onPacket;

private:
    static QByteArray copyOf(const std::uint8_t *bytes, std::size_t length)
    {
        return {reinterpret_cast<const char *>(bytes), static_cast<int>(length)};
    }
};
