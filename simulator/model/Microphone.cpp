#include "simulator/model/Microphone.h"

#include "simulator/model/earliest.h"

#include <algorithm>
#include <utility>

namespace sim {

namespace {

InputReport statusReport(std::uint8_t code, std::uint8_t flag)
{
    InputReport report{};
    report[0] = inputReportId;
    report[classOffset] = statusClass;
    report[codeOffset] = code;
    report[flagOffset] = flag;
    return report;
}

/// A report unrelated to the upgrade. 256 in a row are all different.
InputReport unrelatedReport(std::uint8_t number)
{
    constexpr unsigned kinds = 64;
    constexpr unsigned subKindStep = 16;
    InputReport report{};
    report[0] = inputReportId;
    report[groupOffset] = parameterGroup;
    report[kindOffset] = number % kinds;
    report[codeOffset] = static_cast<std::uint8_t>(number / kinds * subKindStep);
    report[flagOffset] = number;
    return report;
}

Payload payloadOf(const std::uint8_t *report)
{
    Payload payload{};
    std::copy_n(report + 1, payload.size(), payload.begin());
    return payload;
}

} // namespace

Microphone::Microphone(std::uint16_t vendorId, std::uint16_t productId,
                       const MicrophoneSettings &behaviour)
    : vendor(vendorId)
    , product(productId)
    , settings(behaviour)
    , currentState(productId == upgradingProduct ? State::Upgrading : State::Idle)
{
}

Microphone::Refusal Microphone::receive(const std::uint8_t *report, std::size_t length, Time now)
{
    const Refusal refusal = judge(report, length);
    if (refusal != Refusal::None)
        return refusal;
    const Payload payload = payloadOf(report);
    if (currentState == State::Idle || isRepeatedEntry(payload))
        takeEntry(payload, now);
    else
        takeData(payload, now);
    if (settings.unplugAt == packet)
        timer(Unplug) = now;
    if (settings.verdictAt == packet)
        scheduleVerdict(now);
    return refusal;
}

Microphone::Refusal Microphone::judge(const std::uint8_t *report, std::size_t length) const
{
    if (!onBus)
        return Refusal::Absent;
    if (isForeign())
        return Refusal::Foreign;
    if (length != outputReportSize)
        return Refusal::WrongLength;
    if (report[0] != outputReportId)
        return Refusal::WrongReportId;
    switch (currentState) {
    case State::Idle:
        return ImageCheck::looksLikeEntry(payloadOf(report)) ? Refusal::None
                                                             : Refusal::NotUpgrading;
    case State::EntryAccepted:
    case State::Restarting:
        return Refusal::Restarting;
    case State::VerdictGiven:
        return Refusal::AfterVerdict;
    case State::Upgrading:
    case State::Unplugged: // answered above, as not on the bus
        break;
    }
    return Refusal::None;
}

/// A data packet may look like an entry packet by chance. So a repeated entry packet must equal
/// the one that began this upgrade. If there was none, it must have the seal's mark and come where
/// a record begins.
bool Microphone::isRepeatedEntry(const Payload &payload) const
{
    if (entry)
        return payload == *entry;
    return check.atRecordBoundary() && ImageCheck::looksSealed(payload);
}

void Microphone::takeEntry(const Payload &payload, Time now)
{
    packet = packet ? *packet + 1 : 0;
    entry = payload;
    check.begin(payload);
    timer(Verdict).reset();
    timer(Quiet).reset();
    if (currentState == State::Idle) {
        enter(State::EntryAccepted, now);
        const Time upgradeMode = now + settings.enterTime;
        const Time restart =
            now + std::max(settings.answerDelay + restartPause,
                           settings.enterTime * restartPartNumerator / restartPartDenominator);
        timer(Restart) = std::min(restart, upgradeMode);
        timer(UpgradeMode) = upgradeMode;
    }
    answer(codeEntryConfirmed, now);
}

void Microphone::takeData(const Payload &payload, Time now)
{
    packet = packet ? *packet + 1 : 1;
    check.take(payload);
    answer(codeDataConfirmed, now);
    timer(Quiet) = now + settings.quiet * (check.isSealed() ? sealedPatience : 1);
    if (settings.chatter && !timer(Chatter))
        timer(Chatter) = now + *settings.chatter;
    if (check.result() != ImageCheck::Result::Incomplete)
        scheduleVerdict(now);
}

void Microphone::answer(std::uint8_t code, Time now)
{
    const bool entryAnswer = code == codeEntryConfirmed;
    if (settings.silence == Silence::All ||
        settings.silence == (entryAnswer ? Silence::Entry : Silence::Data)) {
        timer(Answer).reset();
        return;
    }
    pendingCode = code;
    timer(Answer) = now + settings.answerDelay;
}

void Microphone::scheduleVerdict(Time now)
{
    timer(Quiet).reset();
    if (settings.verdict != VerdictKind::None && !timer(Verdict))
        timer(Verdict) = now + settings.verdictDelay;
}

void Microphone::opened(Time now)
{
    if (!wasOpened && settings.unplugAfter)
        timer(Unplug) = now + *settings.unplugAfter;
    wasOpened = true;
}

void Microphone::unplug(Time now)
{
    if (currentState == State::Unplugged)
        return;
    if (onBus)
        depart(now);
    timers = {};
    check = ImageCheck();
    entry.reset();
    enter(State::Unplugged, now);
}

void Microphone::plug(std::uint16_t productId, bool upgrading, Time now)
{
    if (currentState != State::Unplugged)
        return;
    timer(Replug).reset();
    enter(upgrading || productId == upgradingProduct ? State::Upgrading : State::Idle, now);
    arrive(productId, now);
}

std::optional<Time> Microphone::nextDeadline() const
{
    std::optional<Time> next;
    for (const auto &due : timers)
        next = earliest(next, due);
    return next;
}

std::vector<Microphone::Event> Microphone::advance(Time now)
{
    for (auto next = nextDeadline(); next && *next <= now; next = nextDeadline()) {
        // If several timers are due at the same moment, the one listed first comes first.
        auto *const due = std::find(timers.begin(), timers.end(), next);
        due->reset();
        fire(static_cast<Timer>(due - timers.begin()), *next);
        // A bus that takes longer than an interval must not fall behind forever.
        for (const auto &[which, interval] :
             {std::pair(Repeat, settings.verdictRepeat), std::pair(Chatter, settings.chatter)}) {
            if (timer(which) && *timer(which) <= now)
                timer(which) = now + *interval;
        }
    }
    return std::exchange(events, {});
}

void Microphone::fire(Timer timerDue, Time at)
{
    switch (timerDue) {
    case Answer:
        if (onBus)
            events.push_back(
                {Event::Kind::Confirmation, at, statusReport(pendingCode, 0), product, {}});
        break;
    case Restart:
        enter(State::Restarting, at);
        if (settings.vanish)
            depart(at);
        break;
    case UpgradeMode:
        enter(State::Upgrading, at);
        if (!onBus)
            arrive(settings.returnAs.value_or(product), at);
        break;
    case Verdict:
        giveVerdict(at);
        break;
    case Repeat:
        sayVerdict(at);
        break;
    case Chatter:
        events.push_back({Event::Kind::Chatter, at, unrelatedReport(chatterSent++), product, {}});
        timer(Chatter) = at + *settings.chatter;
        break;
    case Quiet:
        scheduleVerdict(at);
        break;
    case Unplug:
        unplug(at);
        if (settings.replugAfter)
            timer(Replug) = at + *settings.replugAfter;
        break;
    case Replug:
        plug(settings.replugAs.value_or(product), settings.replugUpgrading, at);
        break;
    case timerCount:
        break;
    }
}

void Microphone::giveVerdict(Time at)
{
    // The verdict replaces the answer to the last packet.
    timers[Answer].reset();
    timers[Chatter].reset();
    timers[Quiet].reset();
    std::uint8_t code = codeDataConfirmed;
    std::uint8_t flag = 0;
    switch (settings.verdict) {
    case VerdictKind::ByImage:
        code = check.isWhole() ? codeSuccess : codeFailure;
        break;
    case VerdictKind::Success6:
        code = codeSuccessOther;
        break;
    case VerdictKind::Failure2:
        code = codeFailure;
        break;
    case VerdictKind::Failure4:
        code = codeFailureOther;
        break;
    case VerdictKind::FailureFlag:
        flag = flagFailure;
        break;
    case VerdictKind::None:
        return;
    }
    enter(State::VerdictGiven, at);
    verdictReport = statusReport(code, flag);
    if (settings.silence != Silence::All)
        sayVerdict(at);
}

void Microphone::sayVerdict(Time at)
{
    events.push_back({Event::Kind::Verdict, at, verdictReport, product, {}});
    if (settings.verdictRepeat)
        timer(Repeat) = at + *settings.verdictRepeat;
}

void Microphone::enter(State next, Time at)
{
    currentState = next;
    events.push_back({Event::Kind::StateChange, at, {}, product, next});
}

void Microphone::depart(Time at)
{
    onBus = false;
    events.push_back({Event::Kind::Departure, at, {}, product, {}});
}

void Microphone::arrive(std::uint16_t productId, Time at)
{
    onBus = true;
    product = productId;
    events.push_back({Event::Kind::Arrival, at, {}, product, {}});
}

// Both tables are in the order of their enumeration.

const char *Microphone::describe(Refusal refusal)
{
    constexpr std::array texts = {"none",
                                  "length is not 65",
                                  "first byte is not 4B",
                                  "data before the entry packet",
                                  "report while restarting",
                                  "report while absent",
                                  "report after the verdict",
                                  "report to a foreign device"};
    return texts.at(static_cast<std::size_t>(refusal));
}

const char *Microphone::describe(State state)
{
    constexpr std::array texts = {"idle",      "entry-accepted", "restarting",
                                  "upgrading", "verdict-given",  "unplugged"};
    return texts.at(static_cast<std::size_t>(state));
}

} // namespace sim
