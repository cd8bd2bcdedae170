#include "device/hidapi/hidapi_additions.h"
#include "simulator/dropin/Simulator.h"
#include "simulator/model/ImagePlan.h"
#include "simulator/model/Microphone.h"
#include "simulator/model/Settings.h"
#include "simulator/model/Trace.h"

#include <QCoreApplication>
#include <QProcess>
#include <QTest>

#include <algorithm>
#include <array>
#include <future>

using namespace sim;
using namespace std::chrono_literals;
using Packet = std::vector<std::uint8_t>;
using Packets = std::vector<Packet>;

namespace {

/// An image of records with these sizes, cut into output reports: 0x4B, then 64 bytes of one
/// record, filled with zeros.
Packets packetsOf(const std::vector<std::size_t> &recordSizes)
{
    const std::vector<std::uint8_t> image = sim::ImagePlan{{}, recordSizes, {}}.makeImage();
    Packets packets;
    for (std::size_t record = 0; record < image.size();) {
        const std::size_t size = image[record + 1] | std::size_t{image[record + 2]} << 8U;
        for (std::size_t done = 0; done < size; done += 64) {
            Packet &packet = packets.emplace_back(65);
            packet[0] = 0x4B;
            std::copy_n(&image[record + done], std::min<std::size_t>(64, size - done), &packet[1]);
        }
        record += size;
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
    /// Changes the packets. 0 is the entry packet. 1-4, 5-6 and 7 are the records of 200, 65 and
    /// 64 bytes, 8 is another record of 64 bytes, and 9 a record of 11 bytes.
    void (*change)(Packets &packets) = [](Packets & /*packets*/) {};
};

/// The entry packet is sent at 1 ms, the others from 601 ms on, one each millisecond.
QString eventsOf(const Flash &flash)
{
    using Kind = Microphone::Event::Kind;
    Packets packets = packetsOf({200, 65, 64, 64, 11});
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
    {"verdict=failure2;verdict-at=4", " upgrading@501 verdict-given@609 v2.0@609 !verdict@609"},
    // advance() runs every 3 s; missed repeats are not sent later.
    {"verdict-repeat=1000", " v5.0@614 v5.0@4609 v5.0@7609 v5.0@10609"},
    // Unplugging forgets the current upgrade and its seal.
    {"unplug-at=5", " !absent@608 !absent@609"},
    {"unplug-at=5;replug-after=2;replug-as=10",
     " upgrading@501 -000B@605 unplugged@605 !absent@606 idle@607 +0010@607 !packet@607 "
     "!packet@608 entry-accepted@609 a1.0@611 restarting@1009 upgrading@1109"},
    {"unplug-at=5;replug-after=2;replug-state=upgrading",
     " upgrading@607 +000B@607 a3.0@611 verdict-given@1114 v5.0@1114"},
    {"devices=0065", " a1.0@3 a3.0@611 verdict-given@614 v5.0@614"},
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

Simulator &simulator()
{
    return Simulator::instance();
}

/// Null when something is wrong with the settings.
hid_device *openFirst(const char *settings)
{
    return simulator().configure(settings).empty() ? hid_open_path("/dev/velmo-sim0") : nullptr;
}

int send(hid_device *device, const Packet &packet)
{
    return hid_write(device, packet.data(), packet.size());
}

int read(hid_device *device, int timeoutMs)
{
    std::array<unsigned char, 64> report{};
    return hid_read_timeout(device, report.data(), report.size(), timeoutMs);
}

} // namespace

/// The simulated microphone as a state machine on a test clock, its settings, and the HID
/// library's functions over the simulated bus, on the real clock.
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

    void aBadEnvironmentEndsTheProcess()
    {
        for (const char *variable : {"VELMO_SIM", "VELMO_SIM_TRACE"}) {
            qputenv(variable, "/nowhere/trace");
            QCOMPARE(
                QProcess::execute(QCoreApplication::applicationFilePath(), {"aLossWakesTheReader"}),
                78);
            qunsetenv(variable);
        }
    }

    void aLossWakesTheReader()
    {
        hid_device *device = openFirst("unplug-after=100");
        QCOMPARE(read(device, 3600000), -1); // or the test's time is over
        QVERIFY(hid_open_path("/dev/velmo-sim0") == nullptr);

        device = openFirst("");
        auto reading = std::async(std::launch::async, read, device, -1);
        QVERIFY(reading.wait_for(50ms) == std::future_status::timeout);
        hid_close(device);
        QCOMPARE(reading.get(), -1);
    }

    void failsTheCallsThatAreAsked()
    {
        hid_device *const device = openFirst("devices=0065,046D:c31c;packet-time=20;fail-writes=2;"
                                             "slow-writes=3,4;slow-time=200;short-reads=2;"
                                             "answer-delay=0");
        Packet packet(65); // a record of 64 bytes
        packet[0] = 0x4B;
        packet[2] = 64;
        const auto start = std::chrono::steady_clock::now();
        QCOMPARE(send(device, packet), 65);
        QVERIFY(std::chrono::steady_clock::now() - start >= 20ms);
        QCOMPARE(read(device, 5000), 64);
        QCOMPARE(send(device, packet), -1);
        QCOMPARE(send(device, packet), 65);
        QVERIFY(std::chrono::steady_clock::now() - start >= 220ms);
        QCOMPARE(read(device, 5000), 32);
        QVERIFY(simulator().violations().empty());

        // What is on its way does not arrive at a device that comes back meanwhile.
        auto writing = std::async(std::launch::async, send, device, packet);
        QVERIFY(writing.wait_for(50ms) == std::future_status::timeout);
        simulator().unplug();
        simulator().plug();
        QCOMPARE(writing.get(), -1);
        QCOMPARE(send(device, packet), -1);
        QCOMPARE(simulator().packets().size(), std::size_t{2});
        QCOMPARE(simulator().violations().size(), std::size_t{2});
    }
};

QTEST_GUILESS_MAIN(SimulatorTest)
#include "tst_simulator.moc"
