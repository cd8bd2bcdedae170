#include "packets.h"
#include "simulator/model/Microphone.h"
#include "simulator/model/Settings.h"

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

/// The simulated microphone as a state machine, on a clock of the test's own, and what sets
/// it up.
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
        row("byte damaged", failure, [](auto &all) { all[2][9] ^= 0x10; });
        row("two packets of a record swapped", failure,
            [](auto &all) { std::swap(all[2], all[3]); });
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

    void whatIsNoSettingIsRefused_data()
    {
        QTest::addColumn<QString>("named");
        const auto rows = [](const char *named, std::initializer_list<const char *> texts) {
            for (const char *text : texts)
                QTest::newRow(text) << QString::fromLatin1(named);
        };
        rows("vanish", {"vanish"});
        rows("anwser-delay", {"anwser-delay=1", " quiet=1 ;; anwser-delay=1"});
        rows("quiet", {"quiet=1;quiet=2", "quiet=-1", "quiet=5ms", "quiet=1.5", "quiet=600001"});
        rows("devices", {"devices=", "devices=000B,", "devices=none,000B", "devices=10000"});
        rows("verdict", {"verdict=success"});
        rows("fail-writes", {"fail-writes=0", "fail-writes=1-3"});
        rows("extra", {"extra=none", "extra=1,2"});
        rows("verdict-repeat", {"verdict-repeat=0"});
    }

    void whatIsNoSettingIsRefused()
    {
        QFETCH(QString, named);
        const auto parsed = Settings::parse(QTest::currentDataTag());
        const auto *const fault = std::get_if<std::string>(&parsed);
        QVERIFY(fault != nullptr);
        const QString line = QString::fromStdString(*fault);
        QVERIFY2(line.startsWith(named + ':') && !line.contains('\n'), fault->c_str());
    }
};

QTEST_APPLESS_MAIN(MicrophoneTest)
#include "tst_microphone.moc"
