#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

/// A firmware image. parse() checks it and splits it into records; cut() splits records into
/// the packets that go to the microphone. docs/protocol.md has the format.
///
/// Bytes 1 and 2 of each record are its length, a 16-bit little-endian number that includes
/// the head. All other bytes are passed on unchanged. Record 0 has 11 bytes and is the
/// command that puts the microphone into upgrade mode.
///
/// These functions access no files, print nothing and may run on any thread. Time and memory
/// grow linearly with the image.
class FirmwareFile
{
public:
    /// Bytes of a packet: the report byte and the payload.
    static constexpr int packetSize = 65;
    static constexpr int payloadSize = 64;
    /// The first byte of every packet: the microphone's output report identifier.
    static constexpr char reportByte = 0x4B;
    /// Bytes of record 0.
    static constexpr int entryRecordSize = 11;
    /// Bytes of a record's head, which ends with its length.
    static constexpr int recordHeadSize = 3;
    /// With fewer packets the transfer never finishes: it would repeat the upgrade-mode
    /// command for ever.
    static constexpr int leastPackets = 3;

    /// Why an image is refused.
    struct Fault
    {
        int record = 0;
        /// Where the record starts, in bytes.
        int offset = 0;
        QString reason;
        /// Each record is in order, but they make fewer packets than can be sent.
        bool isTooSmall = false;

        /// One line for the user.
        QString text() const;
    };

    /// Checks the whole image. A bad image has a fault and no records.
    static FirmwareFile parse(const QByteArray &image);

    /// The packets of the records, packet 0 first. Each record is padded with zeros to a
    /// multiple of 64 bytes, so no packet holds bytes of two records.
    static QList<QByteArray> cut(const QList<QByteArray> &records);

    /// The version, such as "V1.2.3", from bytes 77, 78 and 79 of record 1. "V0.0.0" if record
    /// 1 is too short.
    ///
    /// Quirk: the bytes are signed, so 128 and above are shown as negative numbers. Nobody
    /// is known to depend on it.
    static QString versionText(const QList<QByteArray> &records);

    bool isValid() const { return !recordList.isEmpty(); }
    const QList<QByteArray> &records() const { return recordList; }
    /// Only meaningful if isValid() is false.
    const Fault &fault() const { return imageFault; }

private:
    static FirmwareFile refused(int record, int offset, const QString &reason);

    QList<QByteArray> recordList;
    Fault imageFault;
};
