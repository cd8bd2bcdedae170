#pragma once

#include "upgrade/InputReport.h"

#include <array>
#include <atomic>
#include <cstddef>

/// The parameter reports collected so far.
///
/// The worker thread appends and reads; the operator thread may empty it at any time, without
/// a lock. The storage is fixed and only the count is shared, so neither thread frees or moves
/// memory that the other uses.
class ReportBuffer
{
public:
    /// A report is appended while at most 32 are held.
    static constexpr int capacity = 33;

    int size() const { return count; }
    void clear() { count = 0; }

    /// False when full.
    bool append(const InputReport &report)
    {
        const int at = count;
        if (at >= capacity)
            return false;
        reports[static_cast<std::size_t>(at)] = report;
        count = at + 1;
        return true;
    }

    void replaceFirst(const InputReport &report) { reports.front() = report; }

    /// The report at `index`, 0 to size() - 1. Worker thread only.
    const InputReport &at(int index) const { return reports[static_cast<std::size_t>(index)]; }

private:
    std::array<InputReport, capacity> reports{};
    /// Written by the worker thread (append) and the operator thread (clear).
    std::atomic<int> count{0};
};
