#include "launcher/ImageReport.h"

#include "device/deviceSelection.h"
#include "launcher/PluggedIn.h"

#include <QCryptographicHash>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>

#include <algorithm>
#include <array>

namespace {

/// More than any microphone holds. The updater and this program read the whole image into
/// memory.
constexpr qint64 largestImage = qint64{64} * 1024 * 1024;
/// Of the table.
constexpr int columnWidth = 9;

/// The updater passes the path through a text field, which changes these characters.
bool isChangedByUpdater(QChar character)
{
    constexpr std::array<char16_t, 8> changed = {u'\0',     u'\r',     u'\n',     u'\u00A0',
                                                 u'\u2028', u'\u2029', u'\uFDD0', u'\uFDD1'};
    return std::find(changed.begin(), changed.end(), character.unicode()) != changed.end();
}

} // namespace

ImageReport ImageReport::of(const QString &path, const QString &sha256)
{
    ImageReport report;
    report.imagePath = path;
    report.read(sha256);
    return report;
}

void ImageReport::read(const QString &sha256)
{
    if (std::any_of(imagePath.begin(), imagePath.end(), isChangedByUpdater)) {
        refusalText =
            QStringLiteral("its path has a line break or a no-break space, which the updater "
                           "would change; rename it");
        return;
    }
    const QFileInfo info(imagePath);
    if (info.exists() && !info.isFile()) {
        refusalText = QStringLiteral("it is not a file");
        return;
    }
    if (info.size() > largestImage) {
        refusalText = QStringLiteral("its %1 bytes are more than any microphone holds (at most %2)")
                          .arg(info.size())
                          .arg(largestImage);
        return;
    }
    QFile file(imagePath);
    if (!file.open(QIODevice::ReadOnly)) {
        refusalText = QStringLiteral("it cannot be opened: ") + file.errorString();
        return;
    }
    const QByteArray image = file.readAll();
    checksum =
        QString::fromLatin1(QCryptographicHash::hash(image, QCryptographicHash::Sha256).toHex());
    if (!sha256.isEmpty() && checksum != sha256) {
        refusalText = QStringLiteral("its SHA-256 is %1, not %2").arg(checksum, sha256);
        return;
    }
    size = image.size();
    const FirmwareFile firmware = FirmwareFile::parse(image);
    if (!firmware.isValid()) {
        refusalText = firmware.fault().text();
        return;
    }
    version = FirmwareFile::versionText(firmware.records());
    int offset = 0;
    for (const QByteArray &record : firmware.records()) {
        const int count = FirmwareFile::cut({record}).size();
        records.append({offset, record.size(), count});
        packetCount += count;
        offset += record.size();
    }
    duration = ExpectedDuration::of(packetCount, microphoneFor(imagePath) == Microphone::R5Otg);
}

QString ImageReport::microphoneIds(const QString &path)
{
    QStringList ids;
    for (const std::uint16_t productId : productIdsOf(microphoneFor(path)))
        ids += PluggedIn::idOf(productId);
    return ids.join(QLatin1String(" or "));
}

QString ImageReport::summary() const
{
    return QStringLiteral("Version:     %1\n"
                          "Records:     %2\n"
                          "Packets:     %3\n"
                          "Microphone:  %4\n"
                          "Duration:    %5\n")
        .arg(version)
        .arg(records.size())
        .arg(packetCount)
        .arg(microphoneIds(imagePath), duration.text());
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
    for (int i = 0; i < records.size(); ++i) {
        const Record &record = records.at(i);
        text += QStringLiteral("%1%2%3%4\n")
                    .arg(i, columnWidth)
                    .arg(record.offset, columnWidth)
                    .arg(record.length, columnWidth)
                    .arg(record.packets, columnWidth);
    }
    return text;
}

QJsonObject ImageReport::json() const
{
    QJsonArray list;
    for (const Record &record : records) {
        list.append(QJsonObject{{QStringLiteral("offset"), record.offset},
                                {QStringLiteral("length"), record.length},
                                {QStringLiteral("packets"), record.packets}});
    }
    return {{QStringLiteral("version"), version},
            {QStringLiteral("bytes"), size},
            {QStringLiteral("sha256"), checksum},
            {QStringLiteral("packets"), packetCount},
            {QStringLiteral("microphone"), microphoneIds(imagePath)},
            {QStringLiteral("seconds_least"), duration.least},
            {QStringLiteral("seconds_most"), duration.most},
            {QStringLiteral("records"), list}};
}
