#pragma once

#include <QtGlobal>

#include <cstdint>

/// Receives what CProtocol forwards. The updater has no such listener.
class IProtocolListener
{
public:
    IProtocolListener() = default;
    Q_DISABLE_COPY_MOVE(IProtocolListener)
    virtual ~IProtocolListener() = default;

    virtual void first(std::uintptr_t word) = 0;
    virtual void second(std::uintptr_t word) = 0;
};
