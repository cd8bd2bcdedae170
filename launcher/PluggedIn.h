#pragma once

#include <QList>
#include <QString>

#include <cstdint>

/// A microphone that is plugged in, as the HID library lists it: plain data.
///
/// It is looked at only, nothing is ever written to it.
struct PluggedIn
{
    /// Every device of the microphones' vendor, in the library's order.  Opens each for a
    /// moment.  Main thread.
    static QList<PluggedIn> all();

    /// The ids as people write them: "3C9E:000B".
    static QString idOf(std::uint16_t productId);
    QString id() const { return idOf(productId); }

    /// The updater looks for it when it gets an image of this path.
    bool isMeantBy(const QString &imagePath) const;
    /// The rule for paths that mean it: `without "R5"`; empty: none does.
    QString pathRule() const;

    std::uint16_t productId = 0;
    /// The product's name; devices need not have one.
    QString product;
    QString node;
    /// Why it does not open and what to do about it, whole sentences but for the first
    /// letter; empty: it opens.
    QString obstacle;
};
