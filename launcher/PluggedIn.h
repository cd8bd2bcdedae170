#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>

#include <cstdint>

/// A microphone that is plugged in. Nothing is ever written to it.
struct PluggedIn
{
    /// All devices of the microphones' vendor, in the HID library's order. Opens each of them
    /// for a moment. Main thread.
    static QList<PluggedIn> all();

    /// Vendor and product id of each microphone that this path selects, such as "3C9E:000B".
    static QStringList idsFor(const QString &imagePath);

    QString id() const;
    /// A line for the user, and everything for programs.
    QString text() const;
    QJsonObject json() const;

    std::uint16_t productId = 0;
    /// The product's name, possibly empty.
    QString product;
    QString node;
    /// Why it does not open and what to do about that: sentences, but the first one starts in
    /// lower case. Empty: it opens.
    QString openError;

private:
    /// An openError. Call it after hid_open_path() has failed for `node`, on the same thread. It
    /// does not open the device again.
    static QString openFailure(const char *node);
};
