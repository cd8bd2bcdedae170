#pragma once

#include "upgrade/CFirmwareUpgradeProtocol.h"

/// Implements the protocol's notifications by counting them.
class PlainProtocol : public CFirmwareUpgradeProtocol
{
public:
    void onDeviceEvent(std::uint32_t /*word*/) override {}
    void onDeviceConnected(ICommDeviceMgmt * /*manager*/) override { ++connects; }
    void onDeviceDisconnected() override { ++disconnects; }
    int connects = 0;
    int disconnects = 0;
};
