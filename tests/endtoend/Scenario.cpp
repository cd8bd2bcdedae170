#include "tests/endtoend/Scenario.h"

namespace {

constexpr int anyNumber = -1;

const char *const plain = "TB210.bin";
const char *const r5 = "TQ736_R5.bin";
const char *const r5Otg = "TQ736_R5_otg.bin";

QStringList goodImage()
{
    // 30 data records of two packets each, and the entry packet.
    return QStringLiteral("--version 1.2.3 --records 30 --size 100").split(QLatin1Char(' '));
}

/// A microphone that bears the pauses of a machine under load.  Its verdict must not overtake
/// the progress of the last packets, which another thread reports.
QByteArray patient(const char *settings)
{
    return QByteArray("quiet=3000;verdict-delay=300;") + settings;
}

/// One whose answer to the entry packet is surely heard.  The updater begins to listen for
/// it when the packet is out, and stops 200 ms later; and what leaves the bus for its
/// restart does so long after that, and shortly before the updater expects it back.
QByteArray heard(const char *settings)
{
    return patient("answer-delay=70;enter-time=3000;") + settings;
}

/// A microphone that does not answer the entry packet is not given the long pause
/// for its restart, so most runs need not wait for it.
QByteArray quick(const char *settings)
{
    return patient("silent=entry;enter-time=20;") + settings;
}

Scenario broken(const char *kind)
{
    return {kind,
            plain,
            goodImage() << QStringLiteral("--broken") << QString::fromLatin1(kind),
            "",
            Scenario::Ending::Exits,
            "",
            noPercent,
            0,
            Scenario::Violations::None};
}

} // namespace

QList<Scenario> scenarios()
{
    using Ending = Scenario::Ending;
    using Violations = Scenario::Violations;
    const QStringList good = goodImage();
    const int all = scenarioPackets;
    QList<Scenario> list = {
        // With the answer to the entry packet, and so the whole pause behind it.
        {"success", plain, good, heard(""), Ending::Exits, "success 1", 100, all, Violations::None},
        {"success after leaving the bus", plain, good, heard("vanish=yes"), Ending::Exits,
         "success 1", 100, all, Violations::None},
        {"success under another product id", plain, good, heard("return-as=0065"), Ending::Exits,
         "success 1", 100, all, Violations::None},
        {"success on another path after leaving the bus", plain, good,
         heard("vanish=yes;replug-path=new"), Ending::Exits, "success 1", 100, all,
         Violations::None},

        {"a foreign device comes and goes", plain, good,
         quick("extra=046D:000B;extra-at=5;extra-stay=20"), Ending::Exits, "success 1", 100, all,
         Violations::None},
        {"a second microphone comes and goes", plain, good,
         quick("extra=0010;extra-at=5;extra-stay=20"), Ending::Exits, "success 1", 100, all,
         Violations::None},

        {"plain, the right one of two", plain, good, quick("devices=0010,000B"), Ending::Exits,
         "success 1", 100, all, Violations::None},
        {"plain, among foreign devices", plain, good, quick("devices=046D:000B,000B"),
         Ending::Exits, "success 1", 100, all, Violations::None},
        {"R5, the right one of two", r5, good, quick("devices=000B,0010"), Ending::Exits,
         "success 1", 100, all, Violations::None},
        {"R5 otg, 0011 listed first", r5Otg, good, quick("devices=0011,0065"), Ending::Exits,
         "success 1", 100, all, Violations::None},
        // Nobody seals this upgrade: its verdict is the quiet, once and not four times.
        {"R5 otg, 0065 listed first", r5Otg, good, "quiet=8000;devices=0065,0011", Ending::Exits,
         "success 1", 100, all - 1, Violations::None},

        {"R5 otg, 0065 alone", r5Otg, good, "quiet=8000;devices=0065", Ending::Exits, "success 1",
         100, all - 1, Violations::None},

        {"no microphone", plain, good, "devices=none", Ending::Exits, "success -1", noPercent, 0,
         Violations::None},
        {"foreign devices only", plain, good, "devices=046D:000B,046D:0010", Ending::Exits,
         "success -1", noPercent, 0, Violations::None},
        {"the microphone of another image", r5, good, "devices=000B,0011,0065", Ending::Exits,
         "success -1", noPercent, 0, Violations::None},

        {"success verdict of the other kind", plain, good, quick("verdict=success6"), Ending::Exits,
         "success 1", 100, all, Violations::None},
        {"failure verdict at the end", plain, good, quick("verdict=failure4"), Ending::Exits,
         "success -1", 100, all, Violations::None},
        {"failure verdict midway", plain, good,
         "silent=entry;enter-time=20;verdict=failure2;verdict-at=20", Ending::Exits, "success -1",
         belowHundred, anyNumber, Violations::DependOnTiming},
        {"a verdict that is repeated", plain, good, quick("verdict-repeat=1"), Ending::Exits,
         "success 1", 100, all, Violations::None},
        {"failure flag midway", plain, good,
         "silent=entry;enter-time=20;verdict=failure-flag;verdict-at=20", Ending::Exits,
         "success -1", belowHundred, anyNumber, Violations::DependOnTiming},
        // The packet that is missing is noticed by the quiet behind the last one.
        {"writes that fail", plain, good, "quiet=1500;silent=entry;enter-time=20;fail-writes=10",
         Ending::Exits, "success -1", 100, all - 1, Violations::None},
        // Longer than the HID library waits for a write on Windows.
        {"a write held up for 1.5 s", plain, good, quick("slow-writes=10;slow-time=1500"),
         Ending::Exits, "success 1", 100, all, Violations::None},
        {"silent microphone", plain, good, patient("silent=all;enter-time=20"), Ending::Stays,
         "100%", 100, all, Violations::None},
        {"unplugged midway", plain, good, quick("unplug-at=55"), Ending::Stays, "100%", 100, 56,
         Violations::DependOnTiming},
        // What comes back is an idle microphone, and it refuses the rest.
        {"unplugged and replugged midway", plain, good, quick("unplug-at=40;replug-after=300"),
         Ending::Stays, "100%", 100, 41, Violations::Some},
        {"unplugged and replugged midway, on another path", plain, good,
         quick("unplug-at=40;replug-after=300;replug-path=new"), Ending::Stays, "100%", 100, 41,
         Violations::Some},
    };
    for (const char *kind : {"empty", "short-header", "header-length", "record-length-below-3",
                             "record-past-end", "trailing-bytes", "header-only"})
        list += broken(kind);
    return list;
}
