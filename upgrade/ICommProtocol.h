#pragma once

#include "upgrade/SupportedModel.h"

#include <QtGlobal>

#include <cstdint>

class ICommDeviceMgmt;

/// What the device manager knows of the protocol, and whom it tells of
/// connection changes.
///
/// The order of the operations is fixed: it is the order of their slots.
class ICommProtocol
{
public:
    ICommProtocol() = default;
    Q_DISABLE_COPY_MOVE(ICommProtocol)
    virtual ~ICommProtocol() = default;

    virtual bool isSupported(const void *ignored, int vid, int pid) = 0;
    /// The first entry of the supported-device list.
    virtual const SupportedModel *supportedModels() = 0;
    /// First completion step of a control frame of `length` bytes.
    virtual bool acceptFrame(std::uint8_t *frame, int length) = 0;
    /// Second completion step: stores the checksum in the frame and returns it.
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
    /// Sets that length and returns it.
    virtual int setFrameLength(int length) = 0;
};
