#pragma once

#include "upgrade/ICommProtocol.h"

class IProtocolListener;

/// The rules for short control frames. The upgrade itself does not use them: its packets are
/// sent unchanged.
class CProtocol : public ICommProtocol
{
public:
    /// `frameLength`: bytes of a control frame, including the checksum.
    explicit CProtocol(int frameLength)
        : frameBytes(frameLength)
    {
    }

    bool acceptFrame(std::uint8_t *frame, int length) override;
    /// The complemented 8-bit table checksum of all but the last two bytes. It is stored in
    /// the last byte but one. Returns 0 for a null frame; does not change a frame shorter than
    /// two bytes.
    std::uint8_t makeChecksum(std::uint8_t *frame) override;
    /// Checks bytes 10 and 11, a little-endian 16-bit number. In a reply whose byte 5 is 4,
    /// this number and bytes 1 to 9 must add up to 0. In any other reply it must be 0.
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
