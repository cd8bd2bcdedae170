#pragma once

#include <QByteArray>
#include <QList>

/// The packets of the image that the scenarios are made for: 30 data records of two packets
/// each, and the entry packet.
constexpr int scenarioPackets = 61;

/// One run of the real program against a simulated microphone, and what must come
/// of it.  Written once; whatever connects the microphone runs the same list.
struct Scenario
{
    /// Whether the microphone refused something as out of order.  By the time that
    /// the updater learns of a verdict or an unplugging, it may have sent more.
    enum class Violations
    {
        None,
        Some,
        DependOnTiming
    };
    /// Of highestPercent: there is no percentage at all; there are some, and which is the
    /// last depends on timing, but the transfer did not come to its end.
    static constexpr int noPercent = -1;
    static constexpr int belowHundred = -2;
    /// Of simulator: the answer to the entry packet is meant to be heard.  The updater begins to
    /// listen for it when the packet is out, and stops 200 ms later.  A microphone that leaves the
    /// bus for its restart does so long after that, and shortly before the updater expects it back.
    static constexpr const char *answering = "answer-delay=70;enter-time=3000;";

    const char *name;
    /// Name of the image; it decides which microphone is meant.
    const char *firmware;
    /// The microphones on the bus and their faults.
    QByteArray simulator;
    /// The result file's last line; "" is an empty file.  With "100%" the microphone never
    /// gives a verdict, and the program never ends.
    QByteArray outcome = "success 1";
    /// The highest percentage before the outcome, or one of the values above.
    int highestPercent = 100;
    /// Packets that the microphone took; -1 where it depends on timing.
    int packetsTaken = scenarioPackets;
    Violations violations = Violations::None;
    /// How the image is broken (velmo-mkfirmware --broken); null: it is not.
    const char *broken = nullptr;
};

QList<Scenario> scenarios();
