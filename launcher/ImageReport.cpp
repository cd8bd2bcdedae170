#include "launcher/ImageReport.h"

#include "device/deviceSelection.h"
#include "launcher/PluggedIn.h"
#include "launcher/Progress.h"
#include "upgrade/FirmwareFile.h"
#include "upgrade/transferSchedule.h"

#include <QCryptographicHash>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QRegularExpression>

#include <algorithm>

namespace {

/// More than any microphone holds. The updater and this program read the whole image into
/// memory.
constexpr qint64 largestImage = qint64{64} * 1024 * 1024;

} // namespace

ImageReport::ImageReport(const QString &path, const QString &sha256)
    : microphone(PluggedIn::idsFor(path).join(" or "))
{
    // The updater passes the path through a text field, which changes these characters.
    static const QRegularExpression changed(
        "[\\x{0}\\r\\n\\x{A0}\\x{2028}\\x{2029}\\x{FDD0}\\x{FDD1}]");
    QFile file(path);
    const QFileInfo info(path);
    if (path.contains(changed)) {
        refusal = "its path has a line break or a no-break space, which the updater would change; "
                  "rename it";
    } else if (info.exists() && !info.isFile()) {
        refusal = "it is not a file";
    } else if (info.size() > largestImage) {
        refusal = QStringLiteral("its %1 bytes are more than any microphone holds (at most %2)")
                      .arg(info.size())
                      .arg(largestImage);
    } else if (!file.open(QIODevice::ReadOnly)) {
        refusal = "it cannot be opened: " + file.errorString();
    }
    if (!refusal.isEmpty())
        return;
    const QByteArray image = file.readAll();
    const FirmwareFile firmware = FirmwareFile::parse(image);
    checksum = QCryptographicHash::hash(image, QCryptographicHash::Sha256).toHex();
    if (!sha256.isEmpty() && checksum != sha256)
        refusal = QStringLiteral("its SHA-256 is %1, not %2").arg(checksum, sha256);
    else if (!firmware.isValid())
        refusal = firmware.fault().text();
    size = image.size();
    version = FirmwareFile::versionText(firmware.records());
    int offset = 0;
    for (const QByteArray &record : firmware.records()) {
        records.append({offset, record.size(), FirmwareFile::cut({record}).size()});
        packets += records.last().packets;
        offset += record.size();
    }
    waits = waitsFor(packets, microphoneFor(path) == Microphone::R5Otg);
}

ImageReport::Waits ImageReport::waitsFor(int packets, bool otg)
{
    using namespace transferSchedule;
    // One wait after packet 0, one after packets 1 and 2 if more packets follow, and one after
    // each batch except the last packets.
    const int waits = 1 + (packets > openingPackets ? 1 : 0) +
                      std::max(0, packets - openingPackets - 1) / batchSize;
    constexpr double second = Progress::secondMs;
    const int entryMs = otg ? otgEntryPauseMs : 0;
    return {(otg ? entryMs : restartPauseMs) / second,
            (entryMs + restartPauseMs + waits * confirmationWindowMs) / second};
}

QString ImageReport::summary() const
{
    return QStringLiteral("Version:     %1\n"
                          "Records:     %2\n"
                          "Packets:     %3\n"
                          "Microphone:  %4\n"
                          "Duration:    %5 s to %6 s of waiting, plus the transfer itself; less "
                          "if the microphone is in upgrade mode already\n")
        .arg(version)
        .arg(records.size())
        .arg(packets)
        .arg(microphone)
        .arg(waits.least)
        .arg(waits.most, 0, 'f', 1);
}

QString ImageReport::table() const
{
    QString text = QStringLiteral("Version:  %1\n"
                                  "Size:     %2 bytes\n"
                                  "SHA-256:  %3\n\n"
                                  "   Record   Offset   Length  Packets\n")
                       .arg(version)
                       .arg(size)
                       .arg(checksum);
    int index = 0;
    for (const Record &each : records) {
        text +=
            QString::asprintf("%9d%9d%9d%9d\n", index++, each.offset, each.length, each.packets);
    }
    return text;
}

QJsonObject ImageReport::json() const
{
    QJsonArray list;
    for (const Record &each : records) {
        list += QJsonObject{
            {"offset", each.offset}, {"length", each.length}, {"packets", each.packets}};
    }
    return {{"version", version},         {"bytes", size},
            {"sha256", checksum},         {"packets", packets},
            {"microphone", microphone},   {"seconds_least", waits.least},
            {"seconds_most", waits.most}, {"records", list}};
}
