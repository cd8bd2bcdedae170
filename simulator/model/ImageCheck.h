#pragma once

#include "simulator/model/wire.h"

#include <optional>

namespace sim {

/// Assembles the image's records from the packets and judges them.
///
/// With a seal (the entry packet of an image that velmo-mkfirmware made) the
/// judgement is exact: the number of records and the checksum of their bytes. Without a
/// seal only the framing counts.
class ImageCheck
{
public:
    enum class Result
    {
        Incomplete, ///< more packets are needed or, without a seal, may come
        Complete,   ///< all records that the seal counts are there and right
        Damaged,    ///< cannot become right any more
    };

    /// Whether this payload has the form of an entry packet: a record of 11 bytes,
    /// the rest zero.
    static bool looksLikeEntry(const Payload &payload);
    /// Whether it also has the seal's mark.
    static bool looksSealed(const Payload &payload);

    /// Starts an image with this entry packet and keeps the seal that is in it.
    void begin(const Payload &entry);
    void take(const Payload &payload);

    Result result() const { return judgement; }
    bool isSealed() const { return seal.has_value(); }
    /// Whether the next packet begins a record.
    bool atRecordBoundary() const { return missing == 0; }
    /// Whether the image is right if no more packets come.
    bool isWhole() const;

private:
    struct Seal
    {
        std::uint32_t recordCount;
        std::uint32_t sum;
    };

    std::optional<Seal> seal;
    std::uint32_t sum = emptyChecksum;
    /// Bytes that the current record still needs.
    std::size_t missing = 0;
    std::uint32_t wholeRecords = 0;
    Result judgement = Result::Incomplete;
};

} // namespace sim
