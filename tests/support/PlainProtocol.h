#pragma once

#include "upgrade/CFirmwareUpgradeProtocol.h"

/// The protocol with its notices, which it leaves to others, counted.
class PlainProtocol : public CFirmwareUpgradeProtocol
{
public:
    void onDeviceEvent(std::uint32_t /*word*/) override {}
    void onDeviceConnected(ICommDeviceMgmt * /*manager*/) override { ++connects; }
    void onDeviceDisconnected() override { ++disconnects; }
    int connects = 0;
    int disconnects = 0;
};
