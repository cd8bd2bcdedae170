#pragma once

#include "simulator/model/ImageCheck.h"
#include "simulator/model/MicrophoneSettings.h"
#include "simulator/model/wire.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace sim {

/// One microphone, or another HID device that does nothing.
///
/// It has no threads and no clock. Each call passes the time, which never goes back.
/// nextDeadline() says when advance() must be called again. Only one thread at a time may use it.
class Microphone
{
public:
    enum class State
    {
        Idle,          ///< takes an entry packet only
        EntryAccepted, ///< about to restart
        Restarting,    ///< off the bus meanwhile if it vanishes
        Upgrading,     ///< takes data packets, or an entry packet that starts over
        VerdictGiven,  ///< takes nothing until it is plugged back in
        Unplugged,
    };

    /// Why a report was not taken. Each is a fault of the host.
    enum class Refusal
    {
        None,
        WrongLength,
        WrongReportId,
        NotUpgrading, ///< data before the entry packet
        Restarting,   ///< anything between the entry packet and upgrade mode
        Absent,
        AfterVerdict,
        Foreign, ///< not one of our microphones
    };

    struct Event
    {
        enum class Kind
        {
            Confirmation,
            Verdict,
            Chatter,
            Departure,
            Arrival,
            StateChange
        };
        Kind kind;
        /// When it was due. advance() may have been called later.
        Time at;
        /// For Confirmation, Verdict and Chatter.
        InputReport report;
        /// For Departure and Arrival.
        std::uint16_t productId;
        /// For StateChange.
        State state;
    };

    /// A sealed image that stays incomplete fails after the `quiet` time times this, because
    /// the host may pause between two batches for longer than `quiet`.
    static constexpr int sealedPatience = 4;

    Microphone(std::uint16_t vendorId, std::uint16_t productId,
               const MicrophoneSettings &behaviour);

    /// An output report arrives. Call advance() afterwards, because its consequences may be due at
    /// once.
    Refusal receive(const std::uint8_t *report, std::size_t length, Time now);
    /// A host opens it; the first time starts the clock of `unplugAfter`.
    void opened(Time now);
    /// Unplugs it, or plugs it in under this product id. Does nothing if it is already unplugged or
    /// plugged in.
    void unplug(Time now);
    void plug(std::uint16_t productId, bool upgrading, Time now);

    /// When the next event is due, if there is one.
    std::optional<Time> nextDeadline() const;
    /// The events since the last call, in order.
    std::vector<Event> advance(Time now);

    State state() const { return currentState; }
    bool isOnBus() const { return onBus; }
    bool isForeign() const { return vendor != microphoneVendor; }
    std::uint16_t vendorId() const { return vendor; }
    /// While unplugged: the last id.
    std::uint16_t productId() const { return product; }
    /// The number of the packet taken last. The entry packet is 0, data packets count from 1. A
    /// repeated entry packet counts as the next number.
    std::optional<std::uint32_t> lastPacket() const { return packet; }

    /// One line of text, without line end.
    static const char *describe(Refusal refusal);
    static const char *describe(State state);

private:
    enum Timer
    {
        Answer,
        Restart,
        UpgradeMode,
        Verdict,
        Repeat,
        Chatter,
        Quiet,
        Unplug,
        Replug,
        timerCount
    };

    Refusal judge(const std::uint8_t *report, std::size_t length) const;
    void takeEntry(const Payload &payload, Time now);
    void takeData(const Payload &payload, Time now);
    bool isRepeatedEntry(const Payload &payload) const;
    void answer(std::uint8_t code, Time now);
    void scheduleVerdict(Time now);
    void fire(Timer timer, Time at);
    void giveVerdict(Time at);
    void sayVerdict(Time at);
    void enter(State next, Time at);
    void depart(Time at);
    void arrive(std::uint16_t productId, Time at);
    std::optional<Time> &timer(Timer which) { return timers[which]; }

    std::uint16_t vendor;
    std::uint16_t product;
    MicrophoneSettings settings;
    State currentState;
    bool onBus = true;
    bool wasOpened = false;
    std::array<std::optional<Time>, timerCount> timers;
    ImageCheck check;
    /// The entry packet of the current upgrade. None if the microphone was found in upgrade mode.
    std::optional<Payload> entry;
    std::optional<std::uint32_t> packet;
    std::uint8_t pendingCode = 0;
    InputReport verdictReport{};
    std::uint8_t chatterSent = 0;
    std::vector<Event> events;
};

} // namespace sim
