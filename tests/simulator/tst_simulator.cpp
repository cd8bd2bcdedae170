#include "simulator/model/ImagePlan.h"
#include "simulator/model/Microphone.h"
#include "simulator/model/Settings.h"
#include "simulator/model/Trace.h"

#include <QTest>

using namespace sim;
using Packet = std::vector<std::uint8_t>;
using Packets = std::vector<Packet>;

namespace {

/// An image's packets: 0x4B, then 64 bytes of one record, filled with zeros. 0 is the entry packet.
/// 1-4, 5-6 and 7 are the records of 200, 65 and 64 bytes, 8 is another record of 64 bytes, and 9 a
/// record of 11 bytes.
Packets makePackets()
{
    const std::vector<std::uint8_t> image = ImagePlan{{}, {200, 65, 64, 64, 11}, {}}.makeImage();
    Packets packets;
    auto next = image.begin();
    for (const int size : {11, 64, 64, 64, 8, 64, 1, 64, 64, 11}) {
        Packet &packet = packets.emplace_back(Packet{0x4B});
        packet.insert(packet.end(), next, next + size);
        packet.resize(65);
        next += size;
    }
    return packets;
}

/// The upgrade with an image of ten packets, and its expected events.
struct Flash
{
    const char *settings = nullptr;
    /// The last events, each with its millisecond: state changes, departure (-) and arrival (+)
    /// with the product id, answers (a) and verdicts (v) with code and flag, and refused packets
    /// (!) with the last word of the reason.
    const char *events = nullptr;
    /// Changes the packets.
    void (*change)(Packets &packets) = [](Packets & /*packets*/) {};
};

/// The entry packet is sent at 1 ms, the others from 601 ms on, one each millisecond.
QString eventsOf(const Flash &flash)
{
    using Kind = Microphone::Event::Kind;
    Packets packets = makePackets();
    flash.change(packets);
    const auto settings = std::get<Settings>(Settings::parse(flash.settings));
    const DeviceId &id = settings.devices.front();
    Microphone microphone(id.vendor, id.product, settings.microphone);
    QString events;
    const auto note = [&events](const QString &what, Time at) {
        events += QString(" %1@%2").arg(what).arg(at / std::chrono::milliseconds(1));
    };
    const auto advance = [&](Time now) {
        for (const auto &event : microphone.advance(now)) {
            const QString codes = QString("%1.%2").arg(event.report[7]).arg(event.report[8]);
            const QString product = QString::fromStdString(Trace::hex(event.productId));
            if (event.kind == Kind::StateChange)
                note(Microphone::describe(event.state), event.at);
            else if (event.kind == Kind::Departure || event.kind == Kind::Arrival)
                note((event.kind == Kind::Departure ? '-' : '+') + product, event.at);
            else if (event.report[0] == 0x4B && event.report[4] == 0x0B)
                note((event.kind == Kind::Verdict ? 'v' : 'a') + codes, event.at);
        }
    };
    Time now(0);
    for (const Packet &packet : packets) {
        now += std::chrono::milliseconds(1);
        advance(now);
        const auto refusal = microphone.receive(packet.data(), packet.size(), now);
        if (refusal != Microphone::Refusal::None)
            note('!' + QString(Microphone::describe(refusal)).section(' ', -1), now);
        advance(now);
        if (now == std::chrono::milliseconds(1))
            now = std::chrono::milliseconds(600);
    }
    for (const Time end = now + std::chrono::seconds(10); now < end;)
        advance(now += std::chrono::seconds(3));
    return events;
}

const std::initializer_list<Flash> flashes = {
    {"",
     " entry-accepted@1 a1.0@3 restarting@401 upgrading@501 a3.0@611 verdict-given@614 v5.0@614"},
    {"silent=entry",
     " entry-accepted@1 restarting@401 upgrading@501 a3.0@611 verdict-given@614 v5.0@614"},
    {"silent=data", " a1.0@3 restarting@401 upgrading@501 verdict-given@614 v5.0@614"},
    {"silent=all", " entry-accepted@1 restarting@401 upgrading@501 verdict-given@614"},
    // The verdict replaces the answer to the last packet.
    {"answer-delay=20", " a1.0@21 restarting@401 upgrading@501 verdict-given@614 v5.0@614"},
    {"enter-time=700", " !restarting@608 !restarting@609 upgrading@701"},
    {"enter-time=1000", " !restarting@609 restarting@801 upgrading@1001"},
    {"return-as=0065",
     " restarting@401 -000B@401 upgrading@501 +0065@501 a3.0@611 verdict-given@614 v5.0@614"},
    {"verdict=success6", " v6.0@614"},
    {"verdict=failure-flag;verdict-delay=50", " verdict-given@659 v3.1@659"},
    // advance() runs every 3 s; missed repeats are not sent later.
    {"verdict-repeat=1000", " v5.0@614 v5.0@4609 v5.0@7609 v5.0@10609"},
    // Unplugging forgets the current upgrade and its seal.
    {"unplug-at=5;replug-after=2;replug-as=10",
     " upgrading@501 -000B@605 unplugged@605 !absent@606 idle@607 +0010@607 !packet@607 "
     "!packet@608 entry-accepted@609 a1.0@611 restarting@1009 upgrading@1109"},
    {"devices=046D:C31C", " !device@609"},
    {"", " upgrading@501 !65@601 a3.0@611 verdict-given@2614 v2.0@2614",
     [](Packets &all) { all[1].pop_back(); }},
    {"", " upgrading@501 !4B@601 a3.0@611 verdict-given@2614 v2.0@2614",
     [](Packets &all) { all[1][0] = 0; }},
    // A repeated entry packet starts over.
    {"", " upgrading@501 a3.0@614 verdict-given@617 v5.0@617",
     [](Packets &all) {
         all.insert(all.begin(), {all[0], all[1], all[2]});
     }},
    // The microphone notices a damaged image at once, and an image without its end after four
    // times `quiet`.
    {"", " upgrading@501 verdict-given@609 v2.0@609",
     [](Packets &all) { all.erase(all.begin() + 3); }},
    {"", " a3.0@610 verdict-given@2613 v2.0@2613", [](Packets &all) { all.pop_back(); }},
    {"", " a3.0@612 verdict-given@614 v2.0@614", [](Packets &all) { all.push_back(all[9]); }},
    {"", " a3.0@611 verdict-given@614 v2.0@614", [](Packets &all) { all[2][9] ^= 0x10; }},
    {"", " a3.0@611 verdict-given@611 v2.0@611", [](Packets &all) { all[6][60] = 1; }},
    // Without a seal only the framing counts.
    {"", " a3.0@611 verdict-given@1114 v5.0@1114", [](Packets &all) { all[0][4] = 0; }},
};

} // namespace

/// The simulated microphone as a state machine on a test clock, and its settings. The tests of the
/// device and of the updater use the simulated bus.
class SimulatorTest : public QObject
{
    Q_OBJECT

private slots:
    void flashesAsItIsTold()
    {
        for (const Flash &flash : flashes)
            QVERIFY2(eventsOf(flash).endsWith(flash.events),
                     qPrintable(flash.settings + eventsOf(flash) + ", not" + flash.events));
    }

    void whatIsNoSettingIsRefused()
    {
        for (const QByteArray text : {"vanish", "anwser-delay=1", "quiet=1;quiet=2", "quiet=5ms",
                                      "quiet=600001", "devices=none,000B", "verdict=success",
                                      "fail-writes=0", "verdict-repeat=0", "chatter=0"}) {
            const auto parsed = Settings::parse(text.toStdString());
            const auto *const fault = std::get_if<std::string>(&parsed);
            const std::string name = text.split('=').first().toStdString();
            QVERIFY2(fault != nullptr && fault->find(name + ": ") == 0, text);
        }
    }
};

QTEST_GUILESS_MAIN(SimulatorTest)
#include "tst_simulator.moc"
