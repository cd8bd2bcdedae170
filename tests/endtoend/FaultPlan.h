#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

/// What one seed draws: an image, a microphone with its faults, and what else happens. All of
/// it comes from the seed alone and is the same on every machine.
struct FaultPlan
{
    enum class Event
    {
        SecondUpdater,
        /// And started anew, but for one that velmo-flash has started.
        UpdaterKilled,
        ResultRemoved,
        /// A folder stands in its place.
        ResultUnwritable,
        DiskFull
    };
    /// It happens when the updater has written so many reports.
    struct Incident
    {
        int writes;
        Event event;
    };

    explicit FaultPlan(quint64 seed);

    /// One line.
    QString describe() const;
    /// The image's packets, cut by the sizes that were drawn, not by those in the image.
    QList<QByteArray> packetsOf(const QByteArray &image) const;

    bool byLauncher;
    QString imageName;
    /// The microphone is found in its upgrade mode, so the entry packet is not sent.
    bool upgrading;
    /// What the image's name selects is not plugged in.
    bool absent;
    QByteArray simulator;
    /// With the entry packet.
    int packets;
    /// Of the data records.
    QList<int> recordSizes;
    /// In their order.
    QList<Incident> incidents;
};
