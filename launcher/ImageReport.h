#pragma once

#include "launcher/ExpectedDuration.h"
#include "upgrade/FirmwareFile.h"

#include <QJsonObject>
#include <QString>

/// A firmware image file: whether the updater will accept it, and what is in it.
class ImageReport
{
public:
    /// Reads and checks the file. `sha256` is the checksum that it must have, in lower case;
    /// empty: any.
    static ImageReport of(const QString &path, const QString &sha256);

    bool isGood() const { return refusalText.isEmpty(); }
    /// Why the image is refused, a phrase for the user; empty if it is good.
    const QString &refusal() const { return refusalText; }
    int packets() const { return packetCount; }

    /// Version, records, packets, microphone and expected duration.
    QString summary() const;
    /// Version, size, checksum, and a row per record: index, offset, length, packets.
    QString table() const;
    /// Everything, for programs.
    QJsonObject json() const;

    /// The microphone ids that this path selects, for the user.
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
    QString refusalText;
};
