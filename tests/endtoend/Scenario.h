#pragma once

#include <QByteArray>
#include <QList>

/// The packets of the image that the scenarios are made for: 30 data records of two packets
/// each, and the entry packet.
constexpr int scenarioPackets = 61;

/// One run of the real program against a simulated microphone, and its expected result. All
/// transports run the same list.
struct Scenario
{
    /// Whether the microphone refused reports as out of order. This may depend on timing: the
    /// updater may send more packets before it learns of a verdict or an unplugging.
    enum class Violations
    {
        None,
        Some,
        DependOnTiming
    };
    /// Special values of highestPercent. noPercent: the result file has no percentage.
    /// belowHundred: the last one depends on timing but is below 100.
    static constexpr int noPercent = -1;
    static constexpr int belowHundred = -2;
    /// Settings for scenarios in which the updater must receive the answer to the entry packet.
    /// The updater listens for it for 200 ms after it has sent the packet. If the microphone
    /// leaves the bus for its restart, it leaves long after that, and shortly before the updater
    /// expects it back.
    static constexpr const char *answering = "answer-delay=70;enter-time=3000;";

    const char *name;
    /// Name of the image. It decides which microphone the updater selects.
    const char *firmware;
    /// The microphones on the bus and their faults.
    QByteArray simulator;
    /// The result file's last line, or "" for an empty file. With "100%", the microphone never
    /// gives a verdict and the program never ends.
    QByteArray outcome = "success 1";
    /// The highest percentage before the outcome, or one of the values above.
    int highestPercent = 100;
    /// Number of packets that the microphone took, or -1 if it depends on timing.
    int packetsTaken = scenarioPackets;
    Violations violations = Violations::None;
    /// How the image is broken (velmo-mkfirmware --broken), or null for an intact one.
    const char *broken = nullptr;
};

QList<Scenario> scenarios();
