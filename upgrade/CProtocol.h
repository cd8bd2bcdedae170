#pragma once

#include "upgrade/ICommProtocol.h"

class IProtocolListener;

/// The rules for short control frames.  The upgrade traffic itself is sent
/// unchanged and calls none of them.
class CProtocol : public ICommProtocol
{
public:
    /// `frameLength`: bytes of a control frame, checksum included.
    explicit CProtocol(int frameLength)
        : frameBytes(frameLength)
    {
    }

    bool acceptFrame(std::uint8_t *frame, int length) override;
    /// An 8-bit table-driven checksum over all but the frame's last two bytes,
    /// complemented; stored in the last byte but one.  0 for a null frame; a
    /// frame shorter than two bytes has no place for it and stays as it is.
    std::uint8_t makeChecksum(std::uint8_t *frame) override;
    /// For a reply whose byte 5 is 4: bytes 10 and 11 hold, little-endian, what
    /// makes the 16-bit sum of bytes 1 to 9 zero.  Any other reply must have 0
    /// there.
    bool verifyReply(const std::uint8_t *reply) override;
    void forwardFirst(std::uintptr_t word) override;
    void forwardSecond(std::uintptr_t word) override;
    int frameLength() override { return frameBytes; }
    int setFrameLength(int length) override { return frameBytes = length; }

protected:
    int frameBytes;
    /// Not owned.
    IProtocolListener *listener = nullptr;
};
