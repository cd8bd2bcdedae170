#pragma once

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

namespace sim {

/// Which calls of a kind a fault concerns, counted from 1.
class CallRanges
{
public:
    /// Adds the calls `first` to `last`, both included.
    void add(std::uint32_t first, std::uint32_t last) { ranges.emplace_back(first, last); }

    bool isEmpty() const { return ranges.empty(); }

    bool contains(std::uint32_t call) const
    {
        return std::any_of(ranges.begin(), ranges.end(), [call](const auto &range) {
            return call >= range.first && call <= range.second;
        });
    }

private:
    std::vector<std::pair<std::uint32_t, std::uint32_t>> ranges;
};

} // namespace sim
