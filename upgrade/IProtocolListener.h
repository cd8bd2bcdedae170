#pragma once

#include <cstdint>

/// Receives what CProtocol forwards.  No part of this system attaches one.
class IProtocolListener
{
public:
    IProtocolListener() = default;
    IProtocolListener(const IProtocolListener &) = delete;
    IProtocolListener &operator=(const IProtocolListener &) = delete;
    IProtocolListener(IProtocolListener &&) = delete;
    IProtocolListener &operator=(IProtocolListener &&) = delete;
    virtual ~IProtocolListener() = default;

    virtual void first(std::uintptr_t word) = 0;
    virtual void second(std::uintptr_t word) = 0;
};
