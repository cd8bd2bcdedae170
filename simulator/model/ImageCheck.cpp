#include "simulator/model/ImageCheck.h"

#include <algorithm>

namespace sim {

namespace {

bool isZero(std::uint8_t byte)
{
    return byte == 0;
}

} // namespace

bool ImageCheck::looksLikeEntry(const Payload &payload)
{
    return littleEndian(&payload[recordLengthOffset], 2) == entryRecordSize &&
           std::all_of(payload.begin() + entryRecordSize, payload.end(), isZero);
}

bool ImageCheck::looksSealed(const Payload &payload)
{
    return looksLikeEntry(payload) && payload[sealMarkOffset] == sealMark;
}

void ImageCheck::begin(const Payload &entry)
{
    *this = ImageCheck();
    if (looksSealed(entry))
        seal = Seal{littleEndian(&entry[sealCountOffset], sealCountSize),
                    littleEndian(&entry[sealSumOffset], sealSumSize)};
}

void ImageCheck::take(const Payload &payload)
{
    if (judgement != Result::Incomplete) {
        // A packet behind the last one: something was sent twice.
        judgement = Result::Damaged;
        return;
    }
    if (missing == 0) {
        missing = littleEndian(&payload[recordLengthOffset], 2);
        if (missing < recordHeadSize) {
            judgement = Result::Damaged;
            return;
        }
    }
    const std::size_t used = std::min(missing, payload.size());
    sum = checksum(payload.data(), used, sum);
    missing -= used;
    if (!std::all_of(payload.data() + used, payload.data() + payload.size(), isZero)) {
        judgement = Result::Damaged;
        return;
    }
    if (missing > 0)
        return;
    ++wholeRecords;
    if (seal && wholeRecords >= seal->recordCount)
        judgement = wholeRecords == seal->recordCount && sum == seal->sum ? Result::Complete
                                                                          : Result::Damaged;
}

bool ImageCheck::isWhole() const
{
    return judgement == Result::Complete ||
           (!seal && judgement == Result::Incomplete && missing == 0 && wholeRecords > 0);
}

} // namespace sim
