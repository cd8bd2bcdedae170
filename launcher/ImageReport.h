#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>

/// A firmware image file: whether the updater will accept it, and what is in it.
struct ImageReport
{
    /// Reads and checks the file. `sha256` is the checksum that it must have, in lower case;
    /// empty: any.
    ImageReport(const QString &path, const QString &sha256);

    /// Version, records, packets, microphone and expected duration.
    QString summary() const;
    /// Version, size, checksum, and a row per record.
    QString table() const;
    /// Everything, for programs.
    QJsonObject json() const;

    /// Why the image is refused, a phrase for the user; empty if it is good.
    QString refusal;
    int packets = 0;

private:
    /// How many seconds the transfer schedule waits. The time that the packets need on the bus and
    /// the microphone's verdict come on top.
    struct Waits
    {
        /// If the microphone answers at once. The answer of an R5 otg microphone is lost in its
        /// first 10 s, so the pause after an answer is skipped. It takes less only if the
        /// upgrade-mode command is not answered or not needed.
        double least = 0;
        /// If it answers the upgrade-mode command just in time and no batch.
        double most = 0;
    };
    /// `packets` includes packet 0. `otg`: the path selects the R5 otg microphone, which takes
    /// longer to restart.
    static Waits waitsFor(int packets, bool otg);

    struct Record
    {
        int offset;
        int length;
        int packets;
    };

    QString checksum;
    int size = 0;
    QString version;
    QList<Record> records;
    /// The ids of the microphones that the path selects.
    QString microphone;
    Waits waits;
};
