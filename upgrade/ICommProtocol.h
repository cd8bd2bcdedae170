#pragma once

#include "upgrade/SupportedModel.h"

#include <QtGlobal>

#include <cstdint>

class ICommDeviceMgmt;

/// The protocol as the device manager uses it. The manager also notifies it of connection
/// changes.
///
/// The order of the functions is fixed: it is the layout of the vtable.
class ICommProtocol
{
public:
    ICommProtocol() = default;
    Q_DISABLE_COPY_MOVE(ICommProtocol)
    virtual ~ICommProtocol() = default;

    virtual bool isSupported(const void *ignored, int vid, int pid) = 0;
    /// The first entry of the supported-device list.
    virtual const SupportedModel *supportedModels() = 0;
    /// First step to complete a control frame of `length` bytes.
    virtual bool acceptFrame(std::uint8_t *frame, int length) = 0;
    /// Second step: stores the checksum in the frame and returns it.
    virtual std::uint8_t makeChecksum(std::uint8_t *frame) = 0;
    /// Whether an input report of 64 bytes is a valid reply.
    virtual bool verifyReply(const std::uint8_t *reply) = 0;
    virtual void forwardFirst(std::uintptr_t word) = 0;
    virtual void forwardSecond(std::uintptr_t word) = 0;
    virtual void onDeviceEvent(std::uint32_t word) = 0;
    /// The manager has opened its device.
    virtual void onDeviceConnected(ICommDeviceMgmt *manager) = 0;
    /// The manager has closed its device.
    virtual void onDeviceDisconnected() = 0;
    /// Length in bytes of a short control frame.
    virtual int frameLength() = 0;
    /// Sets the length and returns it.
    virtual int setFrameLength(int length) = 0;
};
