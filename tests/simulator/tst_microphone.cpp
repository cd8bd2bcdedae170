#include "packets.h"
#include "simulator/Microphone.h"
#include "simulator/Settings.h"

#include <QTest>

#include <functional>
#include <iterator>

using namespace sim;
using namespace std::chrono_literals;
using Refusal = Microphone::Refusal;
using State = Microphone::State;
using Kind = Microphone::Event::Kind;
using Packets = std::vector<Packet>;

namespace {

/// A microphone with a host that sends a packet each millisecond.
struct Bench
{
    explicit Bench(const char *settings = "", std::uint16_t product = 0x000B)
        : microphone(microphoneVendor, product,
                     std::get<Settings>(Settings::parse(settings)).microphone)
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

    /// The first packet, the time until the microphone is in upgrade mode, the others.
    void flash(const Packets &packets)
    {
        send(packets.front());
        pass(500ms);
        sendFrom(1, packets);
    }

    void sendFrom(std::size_t first, const Packets &packets)
    {
        for (std::size_t i = first; i < packets.size(); ++i)
            send(packets[i]);
    }

    std::vector<Microphone::Event> of(Kind kind) const
    {
        std::vector<Microphone::Event> some;
        std::copy_if(events.begin(), events.end(), std::back_inserter(some),
                     [kind](const auto &event) { return event.kind == kind; });
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

using Change = std::function<void(Packets &)>;
constexpr int success = 5;
constexpr int failure = 2;

} // namespace

Q_DECLARE_METATYPE(Change)

/// The simulated microphone as a state machine, on a clock of the test's own.
class MicrophoneTest : public QObject
{
    Q_OBJECT

private slots:
    void refuses()
    {
        Bench bench;
        const Packets packets = packetsOf({200, 64});
        QCOMPARE(bench.microphone.receive(packets[0].data(), 64, bench.now), Refusal::WrongLength);
        QCOMPARE(bench.send(Packet{}), Refusal::WrongReportId);
        QCOMPARE(bench.send(packets[1]), Refusal::NotUpgrading);
        QCOMPARE(bench.send(packets[0]), Refusal::None);
        QCOMPARE(bench.send(packets[1]), Refusal::Restarting); // still confirming the entry
        bench.pass(497ms);
        QCOMPARE(bench.send(packets[1]), Refusal::Restarting);
        bench.pass(2ms);
        bench.sendFrom(1, packets);
        bench.pass(10ms);
        QCOMPARE(bench.send(packets[1]), Refusal::AfterVerdict);
        bench.microphone.unplug(bench.now);
        QCOMPARE(bench.send(packets[0]), Refusal::Absent);
        bench.microphone.plug(0x000B, false, bench.now);
        QCOMPARE(bench.send(packets[1]), Refusal::NotUpgrading);
        QCOMPARE(bench.microphone.violations().size(), std::size_t{8});
        QCOMPARE(bench.microphone.violations()[2].refusal, Refusal::NotUpgrading);

        bench.microphone = Microphone(0x046D, 0xC31C, MicrophoneSettings());
        QCOMPARE(bench.send(packets[0]), Refusal::Foreign);
    }

    void judgesASealedImage_data()
    {
        QTest::addColumn<int>("verdict");
        QTest::addColumn<Change>("change");
        const auto row = [](const char *name, int verdict, const Change &change) {
            QTest::newRow(name) << verdict << change;
        };
        // Packets: 0 the entry; 1-4, 5-6 and 7 the records of 200, 65 and 64 bytes; 8
        // one of 64 bytes; 9 one of 11 bytes.
        row("as it is", success, [](auto &) {});
        row("middle packet lost", failure, [](auto &all) { all.erase(all.begin() + 3); });
        row("record lost", failure, [](auto &all) { all.erase(all.begin() + 7); });
        row("last packet lost", failure, [](auto &all) { all.pop_back(); });
        row("record doubled", failure, [](auto &all) { all.insert(all.begin() + 7, all[7]); });
        row("last packet doubled", failure, [](auto &all) { all.push_back(all.back()); });
        row("two records swapped", failure, [](auto &all) { std::swap(all[7], all[8]); });
        row("padding not zero", failure, [](auto &all) { all[6][60] = 1; });
        row("record length 2", failure, [](auto &all) { all[7][2] = 2; });
        row("seal of another image", failure, [](auto &all) { all[0][8] ^= 1; });
    }

    void judgesASealedImage()
    {
        QFETCH(Change, change);
        auto packets = packetsOf({200, 65, 64, 64, 11});
        QCOMPARE(packets.size(), std::size_t{10});
        change(packets);
        Bench bench;
        bench.flash(packets);
        bench.pass(10s);
        QTEST(bench.verdict(), "verdict");
        QCOMPARE(bench.microphone.state(), State::VerdictGiven);
    }

    void judgesAnUnsealedImageByItsFraming()
    {
        auto packets = packetsOf({200, 64}); // packets 1 to 4, and 5
        packets[0][4] = 0;                   // the mark
        for (const std::size_t sent : {6U, 5U, 4U}) {
            Bench bench;
            packets.resize(sent);
            bench.flash(packets);
            bench.pass(499ms);
            QCOMPARE(bench.verdict(), -1);
            bench.pass(10ms);
            // That a whole record is missing cannot be seen.
            QCOMPARE(bench.verdict(), sent == 4 ? failure : success);
        }
    }

    void failsADamagedImageAtOnce()
    {
        // Each of these is damage: the first one's verdict is not put off by the rest.
        Packets packets(7, Packet{0x4B});
        packets[0] = packetsOf({64, 64, 64, 64, 64, 64, 64})[0];
        Bench bench;
        bench.flash(packets);
        QCOMPARE(bench.verdict(), failure);
    }

    void answersOnceAfterTheLastPacket()
    {
        Bench bench;
        bench.flash(packetsOf({64, 64, 64}));
        const Time last = bench.now;
        bench.pass(100ms);
        const auto answers = bench.of(Kind::Confirmation);
        QCOMPARE(answers.size(), std::size_t{2});
        QCOMPARE(answers[0].at, Time(3ms)); // sent at 1 ms
        QCOMPARE(answers[1].at, last + 2ms);
        QCOMPARE(bench.of(Kind::Verdict)[0].at, last + 5ms);
        QCOMPARE(int{answers[0].report[0]}, 0x4B);
        QCOMPARE(int{answers[0].report[4]}, 0x0B);
        QCOMPARE(int{answers[0].report[7]}, 1);
        QCOMPARE(int{answers[1].report[7]}, 3);
    }

    void answersAsAsked_data()
    {
        QTest::addColumn<int>("confirmations");
        QTest::addColumn<int>("verdict");
        QTest::newRow("silent=no") << 3 << success;
        QTest::newRow("silent=entry") << 2 << success;
        QTest::newRow("silent=data") << 1 << success;
        QTest::newRow("silent=all") << 0 << -1;
        QTest::newRow("verdict=none") << 3 << -1;
        // Given at packet 1 it is the last answer; before an answer, it replaces that.
        QTest::newRow("verdict=by-image;verdict-at=1") << 2 << failure;
        QTest::newRow("verdict=success5;verdict-at=1;answer-delay=20") << 1 << 5;
        QTest::newRow("verdict=success6;answer-delay=20") << 2 << 6;
        QTest::newRow("verdict=failure2") << 3 << 2;
        QTest::newRow("verdict=failure4") << 3 << 4;
        QTest::newRow("verdict=failure-flag") << 3 << 0x103;
    }

    void answersAsAsked()
    {
        Bench bench(QTest::currentDataTag());
        const auto packets = packetsOf({64, 64});
        bench.flash({packets[0], packets[1]});
        bench.pass(100ms);
        bench.send(packets[2]);
        bench.pass(1s);
        QTEST(static_cast<int>(bench.of(Kind::Confirmation).size()), "confirmations");
        QTEST(bench.verdict(), "verdict");
    }

    void repeatsItsVerdictUntilItIsUnplugged()
    {
        Bench bench("verdict-repeat=10");
        bench.flash(packetsOf({64, 64}));
        bench.pass(100ms);
        auto verdicts = bench.of(Kind::Verdict);
        QCOMPARE(verdicts.size(), std::size_t{10}); // from 5 ms on
        QVERIFY(verdicts.front().report == verdicts.back().report);
        QCOMPARE(verdicts.back().at - verdicts.front().at, Time(90ms));
        bench.microphone.unplug(bench.now);
        bench.microphone.plug(0x000B, false, bench.now);
        bench.pass(100ms);
        QCOMPARE(bench.of(Kind::Verdict).size(), verdicts.size());
    }

    void aRepeatedEntryPacketStartsOver()
    {
        const auto packets = packetsOf({200, 64});
        // 0065 is in upgrade mode from the start.
        for (const int product : {0x000B, 0x0065}) {
            Bench bench("", static_cast<std::uint16_t>(product));
            bench.flash({packets[0], packets[1], packets[2]});
            bench.sendFrom(0, packets);
            bench.pass(10ms);
            QCOMPARE(bench.verdict(), success);
            QCOMPARE(bench.microphone.lastPacket(), std::optional<std::uint32_t>(8));
        }
    }

    void isUnpluggedAndPluggedInAgain()
    {
        const auto packets = packetsOf({64, 64, 64});
        for (const bool upgrading : {false, true}) {
            Bench bench(upgrading
                            ? "unplug-at=2;replug-after=300;replug-as=10;replug-state=upgrading"
                            : "unplug-at=2;replug-after=300;replug-as=10");
            bench.flash({packets[0], packets[1], packets[2]});
            QCOMPARE(bench.microphone.state(), State::Unplugged);
            bench.pass(299ms);
            QVERIFY(!bench.microphone.isOnBus());
            QCOMPARE(bench.of(Kind::Confirmation).size(), std::size_t{1}); // the last one is lost
            bench.pass(1ms);
            QVERIFY(bench.microphone.isOnBus());
            QCOMPARE(bench.microphone.productId(), std::uint16_t{0x0010});
            // Nothing is left of the upgrade that was under way.
            bench.pass(10s);
            QCOMPARE(bench.verdict(), -1);
            bench.sendFrom(1, packets);
            bench.pass(10s);
            QCOMPARE(bench.verdict(), upgrading ? success : -1);
        }
    }
};

QTEST_APPLESS_MAIN(MicrophoneTest)
#include "tst_microphone.moc"
