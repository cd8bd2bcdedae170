#pragma once

#include <QList>
#include <QString>

#include <cstdint>

/// A microphone that is plugged in. Nothing is ever written to it.
struct PluggedIn
{
    /// All devices of the microphones' vendor, in the HID library's order. Opens each of them
    /// for a moment. Main thread.
    static QList<PluggedIn> all();

    /// Vendor and product id, such as "3C9E:000B".
    static QString idOf(std::uint16_t productId);
    QString id() const { return idOf(productId); }

    /// Whether the updater looks for this microphone when it gets this path.
    bool isSelectedBy(const QString &imagePath) const;
    /// Which paths select it, such as `without "R5"`; empty: none.
    QString pathRule() const;

    std::uint16_t productId = 0;
    /// The product's name, possibly empty.
    QString product;
    QString node;
    /// Why it does not open and what to do about that: sentences, but the first one starts in
    /// lower case. Empty: it opens.
    QString openError;
};
