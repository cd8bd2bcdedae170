#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

/// One run of the real program against a simulated microphone, and what must come
/// of it.  Written once; whatever connects the microphone runs the same list.
struct Scenario
{
    enum class Ending
    {
        /// By itself, with code 0.
        Exits,
        /// Not at all: the microphone never gives a verdict.  The run is over for
        /// the test when the result file has the expected end.
        Stays
    };

    /// Whether the microphone refused something as out of order.  By the time that
    /// the updater learns of a verdict or an unplugging, it may have sent more.
    enum class Violations
    {
        None,
        Some,
        DependOnTiming
    };

    const char *name;
    /// Name of the image; it decides which microphone is meant.
    const char *firmware;
    /// What velmo-mkfirmware is asked for.
    QStringList image;
    /// The microphones on the bus and their faults.
    QByteArray simulator;
    Ending ending;
    /// The result file's last line; "" is an empty file.
    QByteArray outcome;
    /// The highest percentage before the outcome, or one of the values below.
    int highestPercent;
    /// Packets that the microphone took; -1 where it depends on timing.
    int packetsTaken;
    Violations violations;
};

/// The packets of the image that the scenarios are made for: 30 data records.
constexpr int scenarioPackets = 61;
/// How many of them go out behind the last batch.
constexpr int scenarioTail = 3;

/// Of Scenario::highestPercent: there is no percentage at all; there are some, and
/// which is the last depends on timing, but the transfer did not come to its end.
constexpr int noPercent = -1;
constexpr int belowHundred = -2;

QList<Scenario> scenarios();
