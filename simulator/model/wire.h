#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/// What crosses the USB link, as the microphone sees it. Nothing here is shared with the
/// updater, so that both sides cannot share a mistake.
namespace sim {

/// Output report: report identifier, then the payload.
constexpr std::size_t outputReportSize = 65;
constexpr std::size_t payloadSize = 64;
constexpr std::uint8_t outputReportId = 0x4B;
static_assert(outputReportSize == 1 + payloadSize);

constexpr std::size_t inputReportSize = 64;
/// Byte 0 of an input report.
constexpr std::uint8_t inputReportId = 0x4B;

using Payload = std::array<std::uint8_t, payloadSize>;
using InputReport = std::array<std::uint8_t, inputReportSize>;

/// Status report of the upgrade: class, code and flag. Other reports: group and kind.
constexpr std::size_t classOffset = 4;
constexpr std::uint8_t statusClass = 0x0B;
constexpr std::size_t groupOffset = 5;
constexpr std::uint8_t parameterGroup = 4;
constexpr std::size_t kindOffset = 6;
constexpr std::size_t codeOffset = 7;
constexpr std::size_t flagOffset = 8;
constexpr std::uint8_t codeEntryConfirmed = 1;
constexpr std::uint8_t codeFailure = 2;
constexpr std::uint8_t codeDataConfirmed = 3;
constexpr std::uint8_t codeFailureOther = 4;
constexpr std::uint8_t codeSuccess = 5;
constexpr std::uint8_t codeSuccessOther = 6;
constexpr std::uint8_t flagFailure = 1;

/// Records of a firmware image: byte 0 is opaque, bytes 1 and 2 the whole
/// record's length, little-endian.
constexpr std::size_t recordLengthOffset = 1;
constexpr std::size_t recordHeadSize = 3;
constexpr std::size_t maximumRecordSize = 0xFFFF;
constexpr std::size_t entryRecordSize = 11;

/// The seal in the entry record: a mark, the count of data records (24 bits) and
/// the checksum of all their bytes, little-endian both.
constexpr std::size_t sealMarkOffset = 3;
constexpr std::uint8_t sealMark = 0x56;
constexpr std::size_t sealCountOffset = 4;
constexpr std::size_t sealCountSize = 3;
constexpr std::size_t sealSumOffset = 7;
constexpr std::size_t sealSumSize = 4;
constexpr std::size_t maximumRecordCount = 0xFFFFFF;
static_assert(sealSumOffset + sealSumSize == entryRecordSize);

/// The checksum of no bytes.
constexpr std::uint32_t emptyChecksum = 2166136261;
/// FNV-1a. `before` is the checksum of the bytes before these.
constexpr std::uint32_t checksum(const std::uint8_t *bytes, std::size_t size,
                                 std::uint32_t before = emptyChecksum)
{
    constexpr std::uint32_t prime = 16777619;
    for (std::size_t i = 0; i < size; ++i)
        before = (before ^ bytes[i]) * prime;
    return before;
}

/// The version's three parts in the first data record.
constexpr std::size_t versionOffset = 77;
constexpr std::size_t versionSize = 3;

/// USB identities.
constexpr std::uint16_t microphoneVendor = 0x3C9E;
constexpr std::uint16_t plainProduct = 0x000B;
/// A microphone found under this id is in its upgrade mode already.
constexpr std::uint16_t upgradingProduct = 0x0065;

/// The `size` (at most 4) bytes at `bytes` as a little-endian number.
constexpr std::uint32_t littleEndian(const std::uint8_t *bytes, std::size_t size)
{
    constexpr unsigned bitsPerByte = 8;
    std::uint32_t value = 0;
    for (std::size_t i = size; i > 0; --i)
        value = value << bitsPerByte | bytes[i - 1];
    return value;
}

} // namespace sim
