#include "packets.h"
#include "simulator/Microphone.h"

#include <QTest>

#include <functional>

using namespace sim;
using namespace std::chrono_literals;
using Refusal = Microphone::Refusal;
using State = Microphone::State;
using Kind = Microphone::Event::Kind;

namespace {

constexpr std::uint16_t vendor = 0x3C9E;

/// A microphone with a host that sends a packet each millisecond.
struct Bench
{
    explicit Bench(const MicrophoneSettings &settings = {}, std::uint16_t product = 0x000B)
        : microphone(vendor, product, settings)
    {
    }

    Refusal send(const Packet &packet)
    {
        pass(1ms);
        const Refusal refusal = microphone.receive(packet.data(), packet.size(), now);
        pass(0ms);
        return refusal;
    }

    void pass(Time time)
    {
        now += time;
        for (const auto &event : microphone.advance(now))
            events.push_back(event);
    }

    /// Packet 0, and the time until the microphone is in upgrade mode.
    void enterUpgrade(const Packet &entry)
    {
        QCOMPARE(send(entry), Refusal::None);
        pass(500ms);
        QCOMPARE(microphone.state(), State::Upgrading);
    }

    void sendAll(const std::vector<Packet> &packets, std::size_t from)
    {
        for (std::size_t i = from; i < packets.size(); ++i)
            send(packets[i]);
    }

    std::vector<Microphone::Event> of(Kind kind) const
    {
        std::vector<Microphone::Event> some;
        for (const auto &event : events)
            if (event.kind == kind)
                some.push_back(event);
        return some;
    }

    /// Bytes 7 and 8 of the one verdict; -1 without one.
    int verdict() const
    {
        const auto verdicts = of(Kind::Verdict);
        if (verdicts.size() != 1 || verdicts[0].report[4] != 0x0B)
            return -1;
        return verdicts[0].report[7] | verdicts[0].report[8] << 8;
    }

    Microphone microphone;
    Time now{0};
    std::vector<Microphone::Event> events;
};

using Steps = std::function<Refusal(Bench &, const std::vector<Packet> &)>;
using Change = std::function<void(std::vector<Packet> &)>;
constexpr int success = 5;
constexpr int failure = 2;

} // namespace

Q_DECLARE_METATYPE(Steps)
Q_DECLARE_METATYPE(Change)
Q_DECLARE_METATYPE(Refusal)
Q_DECLARE_METATYPE(VerdictKind)
Q_DECLARE_METATYPE(Silence)

/// The simulated microphone as a state machine, on a clock of the test's own.
class MicrophoneTest : public QObject
{
    Q_OBJECT

private slots:
    void refuses_data();
    void refuses();
    void judgesTheImage_data();
    void judgesTheImage();
    void judgesAnUnsealedImageByItsFraming();
    void failsADamagedImageAtOnce();
    void answersOnceAfterTheLastPacket();
    void keepsSilent_data();
    void keepsSilent();
    void givesTheVerdictThatIsAsked_data();
    void givesTheVerdictThatIsAsked();
    void leavesTheBusForTheRestart();
    void aRepeatedEntryPacketStartsOver();
    void isUnpluggedAndPluggedInAgain();
    void startsInUpgradeModeUnderItsOwnProductId();
};

void MicrophoneTest::refuses_data()
{
    QTest::addColumn<Steps>("steps");
    QTest::addColumn<Refusal>("refusal");
    const auto row = [](const char *name, Refusal refusal, const Steps &steps) {
        QTest::newRow(name) << steps << refusal;
    };
    row("64 bytes", Refusal::WrongLength, [](Bench &bench, const std::vector<Packet> &packets) {
        return bench.microphone.receive(packets[0].data(), 64, bench.now);
    });
    row("first byte 00", Refusal::WrongReportId, [](Bench &bench, std::vector<Packet> packets) {
        packets[0][0] = 0;
        return bench.send(packets[0]);
    });
    row("data before packet 0", Refusal::NotUpgrading,
        [](Bench &bench, const std::vector<Packet> &packets) { return bench.send(packets[1]); });
    row("data before the restart", Refusal::Restarting,
        [](Bench &bench, const std::vector<Packet> &packets) {
            bench.send(packets[0]);
            return bench.send(packets[1]);
        });
    row("data in the restart", Refusal::Restarting,
        [](Bench &bench, const std::vector<Packet> &packets) {
            bench.send(packets[0]);
            bench.pass(498ms);
            return bench.send(packets[1]);
        });
    row("unplugged", Refusal::Absent, [](Bench &bench, const std::vector<Packet> &packets) {
        bench.microphone.unplug(bench.now);
        return bench.send(packets[0]);
    });
    row("after the verdict", Refusal::AfterVerdict,
        [](Bench &bench, const std::vector<Packet> &packets) {
            bench.enterUpgrade(packets[0]);
            bench.sendAll(packets, 1);
            bench.pass(10ms);
            return bench.send(packets[1]);
        });
    row("after the replug", Refusal::NotUpgrading,
        [](Bench &bench, const std::vector<Packet> &packets) {
            bench.enterUpgrade(packets[0]);
            bench.send(packets[1]);
            bench.microphone.unplug(bench.now);
            bench.microphone.plug(0x000B, false, bench.now);
            return bench.send(packets[2]);
        });
    row("foreign", Refusal::Foreign, [](Bench &bench, const std::vector<Packet> &packets) {
        bench.microphone = Microphone(0x046D, 0xC31C, MicrophoneSettings());
        return bench.send(packets[0]);
    });
}

void MicrophoneTest::refuses()
{
    QFETCH(Steps, steps);
    Bench bench;
    QTEST(steps(bench, packetsOf({200, 64})), "refusal");
    QCOMPARE(bench.microphone.violations().size(), std::size_t{1});
    QTEST(bench.microphone.violations()[0].refusal, "refusal");
}

void MicrophoneTest::judgesTheImage_data()
{
    QTest::addColumn<Change>("change");
    QTest::addColumn<int>("verdict");
    const auto row = [](const char *name, int verdict, const Change &change) {
        QTest::newRow(name) << change << verdict;
    };
    // Packets: 0 the entry; 1-4, 5-6 and 7 the records of 200, 65 and 64 bytes; 8
    // one of 64 bytes; 9 one of 11 bytes.
    row("as it is", success, [](auto &) {});
    row("middle packet lost", failure, [](auto &all) { all.erase(all.begin() + 3); });
    row("one-packet record lost", failure, [](auto &all) { all.erase(all.begin() + 7); });
    row("last packet lost", failure, [](auto &all) { all.pop_back(); });
    row("middle packet doubled", failure, [](auto &all) { all.insert(all.begin() + 3, all[3]); });
    row("record doubled", failure, [](auto &all) { all.insert(all.begin() + 7, all[7]); });
    row("last packet doubled", failure, [](auto &all) { all.push_back(all.back()); });
    row("first packet again", failure, [](auto &all) { all.push_back(all[1]); });
    row("two packets swapped", failure, [](auto &all) { std::swap(all[2], all[3]); });
    row("two records swapped", failure, [](auto &all) { std::swap(all[7], all[8]); });
    row("one bit wrong", failure, [](auto &all) { all[8][40] ^= 1; });
    row("padding not zero", failure, [](auto &all) { all[6][60] = 1; });
    row("record length 2", failure, [](auto &all) { all[7][2] = 2; });
    row("seal of another image", failure, [](auto &all) { all[0][8] ^= 1; });
}

void MicrophoneTest::judgesTheImage()
{
    QFETCH(Change, change);
    auto packets = packetsOf({200, 65, 64, 64, 11});
    QCOMPARE(packets.size(), std::size_t{10});
    change(packets);
    Bench bench;
    bench.enterUpgrade(packets[0]);
    bench.sendAll(packets, 1);
    bench.pass(10s);
    QTEST(bench.verdict(), "verdict");
    QCOMPARE(bench.microphone.state(), State::VerdictGiven);
}

void MicrophoneTest::judgesAnUnsealedImageByItsFraming()
{
    auto packets = packetsOf({200, 64});
    packets[0][4] = 0; // the mark
    // Packets 1 to 4 are the first record, 5 is the second.
    packets.push_back(Packet{0x4B}); // no record at all
    for (const std::size_t sent : {7U, 6U, 5U, 4U}) {
        Bench bench;
        bench.enterUpgrade(packets[0]);
        packets.resize(sent);
        bench.sendAll(packets, 1);
        if (sent < 7) {
            bench.pass(499ms);
            QCOMPARE(bench.verdict(), -1);
        }
        bench.pass(10ms);
        // That a whole record is missing cannot be seen.
        QCOMPARE(bench.verdict(), sent == 5 || sent == 6 ? success : failure);
    }
}

void MicrophoneTest::failsADamagedImageAtOnce()
{
    auto packets = packetsOf(std::vector<std::size_t>(10, 64));
    Bench bench;
    bench.enterUpgrade(packets[0]);
    // Each of these is damage: the first one's verdict is not put off by the rest.
    for (int i = 0; i < 6; ++i)
        bench.send(Packet{0x4B});
    QCOMPARE(bench.verdict(), failure);
}

void MicrophoneTest::answersOnceAfterTheLastPacket()
{
    const auto packets = packetsOf({64, 64, 64, 64});
    Bench bench;
    bench.enterUpgrade(packets[0]);
    auto answers = bench.of(Kind::Confirmation);
    QCOMPARE(answers.size(), std::size_t{1});
    QCOMPARE(answers[0].at, Time(3ms)); // sent at 1 ms
    QCOMPARE(answers[0].report[0], std::uint8_t{0x4B});
    QCOMPARE(answers[0].report[4], std::uint8_t{0x0B});
    QCOMPARE(answers[0].report[7], std::uint8_t{1});

    bench.events.clear();
    bench.send(packets[1]);
    bench.send(packets[2]);
    bench.send(packets[3]);
    const Time last = bench.now;
    bench.pass(100ms);
    answers = bench.of(Kind::Confirmation);
    QCOMPARE(answers.size(), std::size_t{1});
    QCOMPARE(answers[0].at, last + 2ms);
    QCOMPARE(answers[0].report[7], std::uint8_t{3});
}

void MicrophoneTest::keepsSilent_data()
{
    QTest::addColumn<Silence>("silence");
    QTest::addColumn<int>("confirmations");
    QTest::addColumn<int>("verdict");
    QTest::newRow("no") << Silence::None << 2 << success;
    QTest::newRow("entry") << Silence::Entry << 1 << success;
    QTest::newRow("data") << Silence::Data << 1 << success;
    QTest::newRow("all") << Silence::All << 0 << -1;
}

void MicrophoneTest::keepsSilent()
{
    QFETCH(int, confirmations);
    QFETCH(Silence, silence);
    MicrophoneSettings settings;
    settings.silence = silence;
    Bench bench(settings);
    const auto packets = packetsOf({64, 64});
    bench.enterUpgrade(packets[0]);
    bench.sendAll(packets, 1);
    bench.pass(1s);
    QCOMPARE(static_cast<int>(bench.of(Kind::Confirmation).size()), confirmations);
    QTEST(bench.verdict(), "verdict");
}

void MicrophoneTest::givesTheVerdictThatIsAsked_data()
{
    QTest::addColumn<VerdictKind>("kind");
    QTest::addColumn<int>("verdict");
    QTest::newRow("success5") << VerdictKind::Success5 << 5;
    QTest::newRow("success6") << VerdictKind::Success6 << 6;
    QTest::newRow("failure2") << VerdictKind::Failure2 << 2;
    QTest::newRow("failure4") << VerdictKind::Failure4 << 4;
    QTest::newRow("failure-flag") << VerdictKind::FailureFlag << 0x103;
    QTest::newRow("by-image, incomplete") << VerdictKind::ByImage << 2;
}

void MicrophoneTest::givesTheVerdictThatIsAsked()
{
    QFETCH(VerdictKind, kind);
    MicrophoneSettings settings;
    settings.verdict = kind;
    settings.verdictAt = 2;
    settings.answerDelay = 20ms;
    Bench bench(settings);
    const auto packets = packetsOf({64, 64, 64, 64});
    bench.enterUpgrade(packets[0]);
    bench.send(packets[1]);
    bench.pass(100ms);
    QCOMPARE(bench.microphone.state(), State::Upgrading);
    bench.send(packets[2]);
    const Time last = bench.now;
    bench.pass(100ms);
    QTEST(bench.verdict(), "verdict");
    QCOMPARE(bench.of(Kind::Verdict)[0].at, last + 5ms);
    QCOMPARE(bench.events.back().kind, Kind::Verdict); // no answer behind it
}

void MicrophoneTest::leavesTheBusForTheRestart()
{
    MicrophoneSettings settings;
    settings.vanish = true;
    settings.returnAs = 0x0011;
    Bench bench(settings);
    const auto packets = packetsOf({64});
    bench.send(packets[0]);
    bench.pass(101ms);
    QVERIFY(bench.microphone.isOnBus());
    QCOMPARE(bench.of(Kind::Confirmation).size(), std::size_t{1});
    bench.pass(1ms);
    QVERIFY(!bench.microphone.isOnBus());
    QCOMPARE(bench.send(packets[1]), Refusal::Absent);
    bench.pass(500ms);
    QCOMPARE(bench.of(Kind::Departure)[0].productId, std::uint16_t{0x000B});
    QCOMPARE(bench.of(Kind::Arrival)[0].productId, std::uint16_t{0x0011});
    QCOMPARE(bench.of(Kind::Arrival)[0].at, Time(501ms));
    QCOMPARE(bench.send(packets[1]), Refusal::None);
    bench.pass(10ms);
    QCOMPARE(bench.verdict(), success);
}

void MicrophoneTest::aRepeatedEntryPacketStartsOver()
{
    const auto packets = packetsOf({200, 64});
    Bench bench;
    bench.enterUpgrade(packets[0]);
    bench.send(packets[1]);
    bench.send(packets[2]);
    bench.pass(100ms);
    QCOMPARE(bench.send(packets[0]), Refusal::None);
    QCOMPARE(bench.microphone.state(), State::Upgrading);
    bench.sendAll(packets, 1);
    bench.pass(1s);
    QCOMPARE(bench.verdict(), success);
    QCOMPARE(bench.microphone.lastPacket(), std::optional<std::uint32_t>(8));
}

void MicrophoneTest::isUnpluggedAndPluggedInAgain()
{
    MicrophoneSettings settings;
    settings.unplugAt = 2;
    settings.replugAfter = 300ms;
    settings.replugAs = 0x0010;
    const auto packets = packetsOf({64, 64, 64});
    for (const bool upgrading : {false, true}) {
        settings.replugUpgrading = upgrading;
        Bench bench(settings);
        bench.enterUpgrade(packets[0]);
        QCOMPARE(bench.send(packets[1]), Refusal::None);
        QCOMPARE(bench.send(packets[2]), Refusal::None);
        QCOMPARE(bench.microphone.state(), State::Unplugged);
        const std::size_t answers = bench.of(Kind::Confirmation).size();
        bench.pass(299ms);
        QCOMPARE(bench.of(Kind::Confirmation).size(), answers); // the last one is lost
        QVERIFY(!bench.microphone.isOnBus());
        bench.pass(1ms);
        QVERIFY(bench.microphone.isOnBus());
        QCOMPARE(bench.microphone.productId(), std::uint16_t{0x0010});
        QCOMPARE(bench.microphone.state(), upgrading ? State::Upgrading : State::Idle);
        QCOMPARE(bench.of(Kind::Departure).size(), std::size_t{1});
        // Nothing is left of the upgrade that was under way.
        bench.pass(10s);
        QCOMPARE(bench.verdict(), -1);
        if (upgrading)
            bench.sendAll(packets, 1);
        bench.pass(10s);
        QCOMPARE(bench.verdict(), upgrading ? success : -1);
    }

    MicrophoneSettings timed;
    timed.unplugAfter = 50ms;
    Bench bench(timed);
    bench.pass(1s);
    bench.microphone.opened(bench.now);
    bench.pass(49ms);
    bench.microphone.opened(bench.now);
    QVERIFY(bench.microphone.isOnBus());
    bench.pass(1ms);
    QVERIFY(!bench.microphone.isOnBus());
}

void MicrophoneTest::startsInUpgradeModeUnderItsOwnProductId()
{
    const auto packets = packetsOf({200, 64});
    Bench bench({}, 0x0065);
    bench.sendAll(packets, 1);
    QCOMPARE(bench.microphone.lastPacket(), std::optional<std::uint32_t>(5));
    bench.pass(505ms);
    QCOMPARE(bench.verdict(), success);
}

QTEST_APPLESS_MAIN(MicrophoneTest)
#include "tst_microphone.moc"
