#pragma once

#include "launcher/ExpectedDuration.h"
#include "upgrade/FirmwareFile.h"

#include <QJsonObject>
#include <QString>

/// A firmware image as it lies on the disk: whether the updater will take it, and
/// what it holds.
class ImageReport
{
public:
    /// Reads and checks; never throws, a fault is in refusal().  `sha256`: the checksum that
    /// it must have, in small letters; empty: any.
    static ImageReport of(const QString &path, const QString &sha256);

    bool isGood() const { return why.isEmpty(); }
    /// Why it is refused, a phrase for a person.
    const QString &refusal() const { return why; }
    int packets() const { return packetCount; }

    /// Version, records, packets, the microphone that is meant, expected duration.
    QString summary() const;
    /// Version, size, checksum and one row a record: index, offset, length, packets.
    QString table() const;
    /// All of it for a program.
    QJsonObject json() const;

    /// The product ids that the updater looks for with this path, for a person.
    static QString microphoneIds(const QString &path);

private:
    struct Record
    {
        int offset;
        int length;
        int packets;
    };

    void read(const QString &sha256);

    QString imagePath;
    QString checksum;
    int size = 0;
    QString version;
    QList<Record> records;
    int packetCount = 0;
    ExpectedDuration duration;
    QString why;
};
