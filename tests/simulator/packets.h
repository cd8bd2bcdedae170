#pragma once

#include "simulator/model/ImagePlan.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

using Packet = std::array<std::uint8_t, 65>;

/// Cuts an image into output reports: 0x4B, then 64 bytes of one record, filled
/// with zeros.
inline std::vector<Packet> cut(const std::vector<std::uint8_t> &image)
{
    std::vector<Packet> packets;
    for (std::size_t record = 0; record < image.size();) {
        const std::size_t size = image[record + 1] | std::size_t{image[record + 2]} << 8U;
        for (std::size_t done = 0; done < size; done += 64) {
            Packet packet{0x4B};
            std::copy_n(image.data() + record + done, std::min<std::size_t>(64, size - done),
                        packet.begin() + 1);
            packets.push_back(packet);
        }
        record += size;
    }
    return packets;
}

/// An image of records with these sizes.
inline std::vector<Packet> packetsOf(const std::vector<std::size_t> &recordSizes)
{
    sim::ImagePlan plan;
    plan.recordSizes = recordSizes;
    return cut(plan.makeImage());
}
