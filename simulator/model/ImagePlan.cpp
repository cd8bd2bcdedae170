#include "simulator/model/ImagePlan.h"

#include <algorithm>
#include <map>
#include <numeric>
#include <random>

namespace sim {

namespace {

using Image = std::vector<std::uint8_t>;

constexpr unsigned bitsPerByte = 8;
constexpr std::size_t lengthFieldSize = 2;
/// Byte 0 of every record. Only a real microphone knows what it means.
constexpr std::uint8_t recordType = 0x01;
/// A first record that holds a version is at least this long.
constexpr std::size_t minimumVersionRecordSize = versionOffset + versionSize;

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
void fillRecords(std::uint8_t *data, const std::vector<std::size_t> &sizes)
{
    std::mt19937 random; // NOLINT: the contents must be the same each time
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

/// The ways to break an image, by name. Each gets the image and the last record's size.
using Breakage = void (*)(Image &image, std::size_t lastSize);
const std::map<std::string, Breakage> &breakagesByName()
{
    static const std::map<std::string, Breakage> breakages = {
        {"empty", [](Image &image, std::size_t) { image.clear(); }},
        // Ends inside record 0.
        {"short-header", [](Image &image, std::size_t) { image.resize(entryRecordSize / 2); }},
        // Record 0 is one byte longer, and its length field has the new length.
        {"header-length",
         [](Image &image, std::size_t) {
             image.insert(image.begin() + entryRecordSize, 0);
             putHead(image.data(), entryRecordSize + 1);
         }},
        {"record-length-below-3",
         [](Image &image, std::size_t lastSize) {
             putHead(image.data() + image.size() - lastSize, recordHeadSize - 1);
         }},
        {"record-past-end", [](Image &image, std::size_t) { image.pop_back(); }},
        {"trailing-bytes",
         [](Image &image, std::size_t) {
             image.insert(image.end(), recordHeadSize - 1, recordType);
         }},
        {"header-only", [](Image &image, std::size_t) { image.resize(entryRecordSize); }},
    };
    return breakages;
}

} // namespace

std::vector<std::string> ImagePlan::breakages()
{
    std::vector<std::string> names;
    for (const auto &breakage : breakagesByName())
        names.push_back(breakage.first);
    return names;
}

std::string ImagePlan::fault() const
{
    const auto isNoRecord = [](std::size_t size) {
        return size < recordHeadSize || size > maximumRecordSize;
    };
    if (recordSizes.empty() || recordSizes.size() > maximumRecordCount)
        return "there can be 1 to " + std::to_string(maximumRecordCount) + " records";
    if (std::any_of(recordSizes.begin(), recordSizes.end(), isNoRecord))
        return "a record has " + std::to_string(recordHeadSize) + " to " +
               std::to_string(maximumRecordSize) + " bytes";
    if (version && recordSizes.front() < minimumVersionRecordSize)
        return "the first record needs " + std::to_string(minimumVersionRecordSize) +
               " bytes to hold a version";
    if (!breakage.empty() && breakagesByName().count(breakage) == 0)
        return "unknown --broken kind: " + breakage;
    return {};
}

std::vector<std::uint8_t> ImagePlan::makeImage() const
{
    const std::size_t dataSize =
        std::accumulate(recordSizes.begin(), recordSizes.end(), std::size_t{0});
    Image image(entryRecordSize + dataSize);
    std::uint8_t *const data = image.data() + entryRecordSize;
    fillRecords(data, recordSizes);
    if (version)
        std::copy(version->begin(), version->end(), data + versionOffset);

    putHead(image.data(), entryRecordSize);
    image[sealMarkOffset] = sealMark;
    putLittleEndian(&image[sealCountOffset], sealCountSize, recordSizes.size());
    putLittleEndian(&image[sealSumOffset], sealSumSize, checksum(data, dataSize));

    if (!breakage.empty())
        breakagesByName().at(breakage)(image, recordSizes.back());
    return image;
}

} // namespace sim
