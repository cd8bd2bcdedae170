#include "simulator/ImagePlan.h"

#include "simulator/Crc32.h"

#include <algorithm>
#include <numeric>
#include <random>

namespace sim {

namespace {

constexpr unsigned bitsPerByte = 8;
constexpr std::size_t lengthFieldSize = 2;
/// Byte 0 of every record; its meaning is the microphone's alone.
constexpr std::uint8_t recordType = 0x01;

void putLittleEndian(std::uint8_t *bytes, std::size_t width, std::size_t value)
{
    for (std::size_t i = 0; i < width; ++i, value >>= bitsPerByte)
        bytes[i] = static_cast<std::uint8_t>(value);
}

void putHead(std::uint8_t *record, std::size_t size)
{
    record[0] = recordType;
    putLittleEndian(record + recordLengthOffset, lengthFieldSize, size);
}

/// Fills everything behind the records' heads.
void fillRecords(std::uint8_t *data, const std::vector<std::size_t> &sizes, std::uint32_t seed)
{
    std::mt19937 random(seed);
    std::uint8_t *record = data;
    for (const std::size_t size : sizes) {
        putHead(record, size);
        for (std::size_t i = recordHeadSize; i < size; i += sizeof(std::uint32_t))
            putLittleEndian(record + i, std::min(sizeof(std::uint32_t), size - i), random());
        // A data record must not be taken for an entry packet.
        if (size == entryRecordSize && record[sealMarkOffset] == sealMark)
            record[sealMarkOffset] = 0;
        record += size;
    }
}

void breakImage(std::vector<std::uint8_t> &image, ImagePlan::Breakage breakage,
                std::size_t lastSize)
{
    using Breakage = ImagePlan::Breakage;
    constexpr std::size_t tooShortHeader = 5;
    constexpr std::size_t tooManyBytes = 2;
    static_assert(tooManyBytes < recordHeadSize);
    switch (breakage) {
    case Breakage::None:
        break;
    case Breakage::Empty:
        image.clear();
        break;
    case Breakage::ShortHeader:
        image.resize(tooShortHeader);
        break;
    case Breakage::HeaderLength:
        image.insert(image.begin() + entryRecordSize, 0);
        putHead(image.data(), entryRecordSize + 1);
        break;
    case Breakage::RecordLengthBelow3:
        putHead(image.data() + image.size() - lastSize, recordHeadSize - 1);
        break;
    case Breakage::RecordPastEnd:
        image.pop_back();
        break;
    case Breakage::TrailingBytes:
        image.insert(image.end(), tooManyBytes, recordType);
        break;
    case Breakage::HeaderOnly:
        image.resize(entryRecordSize);
        break;
    }
}

} // namespace

const std::vector<std::pair<std::string, ImagePlan::Breakage>> &ImagePlan::breakages()
{
    static const std::vector<std::pair<std::string, Breakage>> names = {
        {"empty", Breakage::Empty},
        {"short-header", Breakage::ShortHeader},
        {"header-length", Breakage::HeaderLength},
        {"record-length-below-3", Breakage::RecordLengthBelow3},
        {"record-past-end", Breakage::RecordPastEnd},
        {"trailing-bytes", Breakage::TrailingBytes},
        {"header-only", Breakage::HeaderOnly},
    };
    return names;
}

std::string ImagePlan::fault() const
{
    if (recordSizes.empty() || recordSizes.size() > maximumRecordCount)
        return "there can be 1 to " + std::to_string(maximumRecordCount) + " records";
    const auto [smallest, largest] = std::minmax_element(recordSizes.begin(), recordSizes.end());
    if (*smallest < minimumRecordSize || *largest > maximumRecordSize)
        return "a record has " + std::to_string(minimumRecordSize) + " to " +
               std::to_string(maximumRecordSize) + " bytes";
    if (version && recordSizes.front() < minimumVersionRecordSize)
        return "the first record needs " + std::to_string(minimumVersionRecordSize) +
               " bytes to hold a version";
    return {};
}

std::vector<std::uint8_t> ImagePlan::makeImage() const
{
    const std::size_t dataSize =
        std::accumulate(recordSizes.begin(), recordSizes.end(), std::size_t{0});
    std::vector<std::uint8_t> image(entryRecordSize + dataSize);
    std::uint8_t *const data = image.data() + entryRecordSize;
    fillRecords(data, recordSizes, seed);
    if (version)
        std::copy(version->begin(), version->end(), data + versionOffset);

    Crc32 crc;
    crc.add(data, dataSize);
    putHead(image.data(), entryRecordSize);
    image[sealMarkOffset] = sealMark;
    putLittleEndian(&image[sealCountOffset], sealCountSize, recordSizes.size());
    putLittleEndian(&image[sealCrcOffset], sealCrcSize, crc.value());

    breakImage(image, breakage, recordSizes.back());
    return image;
}

} // namespace sim
