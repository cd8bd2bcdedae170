#include "launcher/PluggedIn.h"

#include "device/deviceSelection.h"
#include "device/hidapi/hidapi_additions.h"
#include "launcher/Terminal.h"

#include <algorithm>
#include <memory>

namespace {

QString idOf(std::uint16_t productId)
{
    return QString::asprintf("%04X:%04X", microphoneVendorId, productId);
}

} // namespace

QList<PluggedIn> PluggedIn::all()
{
    const std::unique_ptr<hid_device_info, decltype(&hid_free_enumeration)> first(
        hid_enumerate(microphoneVendorId, 0), &hid_free_enumeration);
    QList<PluggedIn> found;
    for (const hid_device_info *record = first.get(); record != nullptr; record = record->next) {
        const QString node = QString::fromLocal8Bit(record->path);
        // On Linux there is a record for each usage of a device. One that is being unplugged has
        // no path.
        if (node.isEmpty() || std::any_of(found.begin(), found.end(),
                                          [&node](const auto &each) { return each.node == node; }))
            continue;
        hid_device *const device = hid_open_path(record->path);
        found.append({record->product_id,
                      Terminal::printable(QString::fromWCharArray(record->product_string)), node,
                      device == nullptr ? openFailure(record->path) : QString()});
        hid_close(device);
    }
    return found;
}

QStringList PluggedIn::idsFor(const QString &imagePath)
{
    QStringList ids;
    for (const std::uint16_t each : productIdsOf(microphoneFor(imagePath)))
        ids += idOf(each);
    return ids;
}

QString PluggedIn::id() const
{
    return idOf(productId);
}

QString PluggedIn::text() const
{
    const QString rule = pathRuleOf(productId);
    return QStringLiteral("%1  %2  %3  %4  %5\n")
        .arg(id(), product.isEmpty() ? "(no name)" : product, node,
             rule.isEmpty() ? "selected by no path" : "selected by a path " + rule,
             openError.isEmpty() ? "opens" : "does not open: " + openError);
}

QJsonObject PluggedIn::json() const
{
    return {{"id", id()},
            {"product", product},
            {"node", node},
            {"path_rule", pathRuleOf(productId)},
            {"opens", openError.isEmpty()},
            {"why", openError}};
}
