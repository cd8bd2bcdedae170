#include "launcher/PluggedIn.h"

#include "device/deviceSelection.h"
#include "device/hidapi/hidapi_additions.h"
#include "launcher/Terminal.h"
#include "launcher/openFailure.h"

#include <algorithm>
#include <memory>

namespace {

QString openErrorOf(const char *node)
{
    hid_device *const device = hid_open_path(node);
    if (device == nullptr)
        return openFailure(node);
    hid_close(device);
    return {};
}

} // namespace

QList<PluggedIn> PluggedIn::all()
{
    const std::unique_ptr<hid_device_info, decltype(&hid_free_enumeration)> first(
        hid_enumerate(microphoneVendorId, 0), &hid_free_enumeration);
    QList<PluggedIn> found;
    for (const hid_device_info *record = first.get(); record != nullptr; record = record->next) {
        // A device that is being unplugged has no path.
        if (record->path == nullptr)
            continue;
        const QString node = QString::fromLocal8Bit(record->path);
        // On Linux there is a record for each usage of a device.
        if (std::any_of(found.begin(), found.end(),
                        [&node](const PluggedIn &each) { return each.node == node; }))
            continue;
        found.append({record->product_id,
                      Terminal::printable(QString::fromWCharArray(record->product_string)), node,
                      openErrorOf(record->path)});
    }
    return found;
}

QString PluggedIn::idOf(std::uint16_t productId)
{
    return QString::asprintf("%04X:%04X", microphoneVendorId, productId);
}

bool PluggedIn::isSelectedBy(const QString &imagePath) const
{
    return productIdsOf(microphoneFor(imagePath)).contains(productId);
}

QString PluggedIn::pathRule() const
{
    if (productIdsOf(Microphone::Plain).contains(productId))
        return QStringLiteral("without \"R5\"");
    if (productIdsOf(Microphone::R5).contains(productId))
        return QStringLiteral("with \"R5\" but not \"otg\"");
    if (productIdsOf(Microphone::R5Otg).contains(productId))
        return QStringLiteral("with \"R5\" and \"otg\"");
    return {};
}
