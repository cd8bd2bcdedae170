#include "tests/fuzz/fuzzTarget.h"
#include "upgrade/FirmwareFile.h"

/// The input is an image.
int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray image = bytesOf(data, size);
    const FirmwareFile file = FirmwareFile::parse(image);
    QByteArray version = file.records().value(1).mid(77, 3);
    version = version.size() < 3 ? QByteArray(3, '\0') : version;
    require(FirmwareFile::versionText(file.records()) ==
                QString::asprintf("V%hhd.%hhd.%hhd", version.at(0), version.at(1), version.at(2)),
            "the version, in signed bytes");
    if (!file.isValid()) {
        const int offset = file.fault().offset;
        require(offset <= image.size() && !file.fault().reason.isEmpty(), "a fault in the image");
        const QByteArray before = offset > 0 ? image.left(offset) : "x\x0B" + QByteArray(9, '\0');
        require(FirmwareFile::parse(before + QByteArray("x\3\0x\3\0", 6)).isValid(),
                "the records before the fault are good");
        return 0;
    }
    QList<QByteArray> packets = FirmwareFile::cut(file.records());
    require(packets.size() >= 3, "enough packets");
    require(file.records().first().size() == 11, "an upgrade-mode command first");
    for (const QByteArray &record : file.records()) {
        require(record.size() >= 3, "a record with its head");
        QByteArray payload;
        for (; payload.size() < record.size(); packets.removeFirst()) {
            require(packets.value(0).size() == 65 && packets.first().at(0) == 'K', "a packet");
            payload += packets.first().mid(1);
        }
        require(payload == record.leftJustified(payload.size(), '\0'), "a record, then zeros");
    }
    require(packets.isEmpty(), "no other packets");
    require(QByteArrayList(file.records()).join() == image, "each byte is in one record");
    require(!FirmwareFile::parse(image.chopped(1)).isValid(), "a truncated image is refused");
    return 0;
}
