#pragma once

#include "simulator/model/wire.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace sim {

/// Describes a firmware image and makes it. The same plan makes the same bytes.
struct ImagePlan
{
    std::optional<std::array<std::uint8_t, versionSize>> version;
    /// Sizes of the data records, including their heads.
    std::vector<std::size_t> recordSizes;
    /// How the image is broken: one of breakages(), or empty.
    std::string breakage;

    static std::vector<std::string> breakages();

    /// What is wrong with the plan. Empty if nothing is.
    std::string fault() const;
    /// The image's bytes, sealed and then broken as asked. The plan has no fault.
    std::vector<std::uint8_t> makeImage() const;
};

} // namespace sim
