#pragma once

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QStringList>

/// What one seed draws: an image, a microphone with its faults, and up to two other events. The
/// microphone's settings may unplug it, plug it back in and add a foreign device. All depends only
/// on the seed, and so is the same on every machine.
struct FaultPlan
{
    Q_GADGET

public:
    enum class Event
    {
        SecondUpdater,
        /// The updater is killed and, unless velmo-flash started it, restarted.
        UpdaterKilled,
        ResultRemoved,
        /// A folder takes its place.
        ResultUnwritable,
        DiskFull
    };
    Q_ENUM(Event)
    /// The event happens when the updater has written this number of reports.
    struct Incident
    {
        int writes;
        Event event;
    };

    explicit FaultPlan(quint64 seed);

    /// The image's packets. The drawn sizes decide where they are cut, not those in the image.
    QList<QByteArray> packetsOf(const QByteArray &image) const;

    bool byLauncher;
    QString imageName;
    /// The microphone is already in upgrade mode, so the entry packet is not sent.
    bool upgrading;
    /// No device that the image's name selects is plugged in.
    bool absent;
    /// The value of VELMO_SIM.
    QByteArray simulator;
    /// Number of packets, including the entry packet.
    int packets;
    /// Sizes of the data records.
    QStringList recordSizes;
    /// Events, in order.
    QList<Incident> incidents;
};
