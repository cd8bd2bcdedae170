#pragma once

#include <algorithm>
#include <optional>

namespace sim {

/// The earlier of two moments, either of which may never come.
template <typename Moment>
std::optional<Moment> earliest(const std::optional<Moment> &one, const std::optional<Moment> &other)
{
    if (one && other)
        return std::min(*one, *other);
    return one ? one : other;
}

} // namespace sim
