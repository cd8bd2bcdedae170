#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

/// A firmware image: checked as a whole, cut into its records, and those cut into
/// the packets that go to the microphone.
///
/// An image is a plain sequence of records.  Each carries its own length, head
/// included, as a 16-bit little-endian number in its bytes 1 and 2; everything
/// else is the microphone's business and is passed on unchanged.  Record 0, 11
/// bytes, is the command that puts the microphone into its upgrade mode.
///
/// Pure: no file is touched, nothing is printed, any thread.  Time and memory
/// grow linearly with the image.
class FirmwareFile
{
public:
    /// Bytes of a packet: the report byte and the payload.
    static constexpr int packetSize = 65;
    static constexpr int payloadSize = 64;
    /// In front of every packet: the microphone's output report identifier.
    static constexpr char reportByte = 0x4B;
    /// Bytes of record 0.
    static constexpr int entryRecordSize = 11;
    /// Bytes of a record up to and including its length.
    static constexpr int recordHeadSize = 3;
    /// Fewer packets than this the transfer schedule never comes to the end of: it
    /// would send the upgrade-mode command over and over.
    static constexpr int leastPackets = 3;

    /// Why an image is refused.
    struct Fault
    {
        int record = 0;
        /// Of the record, in bytes from the image's begin.
        int offset = 0;
        QString reason;
        /// Each record is in order, but they make fewer packets than can be sent.
        bool isTooSmall = false;

        /// One line for a person.
        QString text() const;
    };

    /// Checks the whole image.  A refused image has a fault and no records.
    static FirmwareFile parse(const QByteArray &image);

    /// The packets of checked records, packet 0 first.  A data record is filled
    /// with zeros to a multiple of 64 bytes and never shares a packet.
    static QList<QByteArray> cut(const QList<QByteArray> &records);

    /// "V1.2.3" from bytes 77, 78 and 79 of record 1, or "V0.0.0" where there are
    /// none.
    ///
    /// Quirk: each byte is a signed 8-bit number, so 128 and above come out negative.  Image
    /// makers and the companion application show the same text.
    static QString versionText(const QList<QByteArray> &records);

    bool isValid() const { return !recordList.isEmpty(); }
    const QList<QByteArray> &records() const { return recordList; }
    /// Meaningful when not valid.
    const Fault &fault() const { return imageFault; }

private:
    static FirmwareFile refused(int record, int offset, const QString &reason);

    QList<QByteArray> recordList;
    Fault imageFault;
};
