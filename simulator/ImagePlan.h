#pragma once

#include "simulator/wire.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace sim {

/// What a firmware image is to be like, and the making of it.
struct ImagePlan
{
    /// Ways to break an image, each of which a reader of it has to notice.
    enum class Breakage
    {
        None,
        Empty,              ///< no bytes at all
        ShortHeader,        ///< ends inside record 0
        HeaderLength,       ///< record 0 is 12 bytes and says so
        RecordLengthBelow3, ///< the last record says 2
        RecordPastEnd,      ///< the last record's last byte is missing
        TrailingBytes,      ///< two bytes too many, fewer than a record's head
        HeaderOnly,         ///< no data records
    };

    static constexpr std::size_t minimumRecordSize = recordHeadSize;
    /// A first record that holds a version is at least this long.
    static constexpr std::size_t minimumVersionRecordSize = versionOffset + versionSize;

    std::optional<std::array<std::uint8_t, versionSize>> version;
    /// Of the data records, heads included.
    std::vector<std::size_t> recordSizes;
    /// The same seed makes the same contents.
    std::uint32_t seed = 0;
    Breakage breakage = Breakage::None;

    /// The names that the command line has for the breakages.
    static const std::vector<std::pair<std::string, Breakage>> &breakages();

    /// What is wrong with the plan; empty for nothing.
    std::string fault() const;
    /// The image's bytes, sealed and then broken as asked.  The plan has no fault.
    std::vector<std::uint8_t> makeImage() const;
};

} // namespace sim
