#include "upgrade/FirmwareFile.h"

#include <algorithm>

namespace {

constexpr int lengthLowOffset = 1;
constexpr int lengthHighOffset = 2;
constexpr int byteValues = 256;
constexpr int versionOffset = 77;
constexpr int versionParts = 3;

int recordLength(const QByteArray &image, int offset)
{
    const auto low = static_cast<unsigned char>(image.at(offset + lengthLowOffset));
    const auto high = static_cast<unsigned char>(image.at(offset + lengthHighOffset));
    return low + byteValues * high;
}

QByteArray packetOf(const QByteArray &record, int begin)
{
    const int size = std::min(record.size() - begin, FirmwareFile::payloadSize);
    QByteArray packet(FirmwareFile::packetSize, '\0');
    packet[0] = FirmwareFile::reportByte;
    std::copy_n(record.constBegin() + begin, size, packet.begin() + 1);
    return packet;
}

int packetCount(const QByteArray &record)
{
    return (record.size() + FirmwareFile::payloadSize - 1) / FirmwareFile::payloadSize;
}

} // namespace

QString FirmwareFile::Fault::text() const
{
    return QStringLiteral("record %1 at offset %2: %3").arg(record).arg(offset).arg(reason);
}

FirmwareFile FirmwareFile::refused(int record, int offset, const QString &reason)
{
    FirmwareFile file;
    file.imageFault = Fault{record, offset, reason, false};
    return file;
}

FirmwareFile FirmwareFile::parse(const QByteArray &image)
{
    if (image.isEmpty())
        return refused(0, 0, QStringLiteral("the image is empty"));

    FirmwareFile file;
    int packets = 0;
    for (int offset = 0; offset < image.size();) {
        const int index = file.recordList.size();
        const int left = image.size() - offset;
        if (left < recordHeadSize) {
            return refused(index, offset,
                           QStringLiteral("%1 bytes left, too few for a record's head").arg(left));
        }
        const int length = recordLength(image, offset);
        if (length < recordHeadSize) {
            return refused(index, offset,
                           QStringLiteral("length %1 is less than the record's own head of %2")
                               .arg(length)
                               .arg(recordHeadSize));
        }
        if (index == 0 && length != entryRecordSize) {
            return refused(index, offset,
                           QStringLiteral("length %1, but the upgrade-mode command has %2 bytes")
                               .arg(length)
                               .arg(entryRecordSize));
        }
        if (length > left) {
            return refused(
                index, offset,
                QStringLiteral("length %1, but only %2 bytes are left").arg(length).arg(left));
        }
        file.recordList.append(image.mid(offset, length));
        packets += packetCount(file.recordList.last());
        offset += length;
    }
    if (packets < leastPackets) {
        FirmwareFile small =
            refused(1, entryRecordSize,
                    QStringLiteral("the image makes %1 packets, at least %2 are needed")
                        .arg(packets)
                        .arg(leastPackets));
        small.imageFault.isTooSmall = true;
        return small;
    }
    return file;
}

QList<QByteArray> FirmwareFile::cut(const QList<QByteArray> &records)
{
    QList<QByteArray> packets;
    for (const QByteArray &record : records) {
        for (int begin = 0; begin < record.size(); begin += payloadSize)
            packets.append(packetOf(record, begin));
    }
    return packets;
}

QString FirmwareFile::versionText(const QList<QByteArray> &records)
{
    const QByteArray record = records.value(1);
    if (record.size() < versionOffset + versionParts)
        return QStringLiteral("V0.0.0");
    const auto part = [&record](int index) {
        return QString::number(static_cast<signed char>(record.at(versionOffset + index)));
    };
    return QLatin1Char('V') + part(0) + QLatin1Char('.') + part(1) + QLatin1Char('.') + part(2);
}
