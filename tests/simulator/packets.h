#pragma once

#include "simulator/model/ImagePlan.h"

#include <algorithm>
#include <cstdint>
#include <vector>

using Packet = std::vector<std::uint8_t>;

/// An image of records with these sizes, cut into output reports: 0x4B, then 64 bytes of one
/// record, filled with zeros.
inline std::vector<Packet> packetsOf(const std::vector<std::size_t> &recordSizes)
{
    const std::vector<std::uint8_t> image = sim::ImagePlan{{}, recordSizes, {}}.makeImage();
    std::vector<Packet> packets;
    for (std::size_t record = 0; record < image.size();) {
        const std::size_t size = image[record + 1] | std::size_t{image[record + 2]} << 8U;
        for (std::size_t done = 0; done < size; done += 64) {
            Packet &packet = packets.emplace_back(65);
            packet[0] = 0x4B;
            std::copy_n(&image[record + done], std::min<std::size_t>(64, size - done), &packet[1]);
        }
        record += size;
    }
    return packets;
}
