#include "tests/endtoend/Scenario.h"

namespace {

constexpr int anyNumber = -1;

const char *const plain = "TB210.bin";
const char *const r5 = "TQ736_R5.bin";
const char *const r5Otg = "TQ736_R5_otg.bin";

/// A microphone that tolerates pauses on a busy machine. Its verdict comes late, because another
/// thread reports the progress of the last packets, which the verdict must not overtake.
QByteArray patient(const char *settings)
{
    return QByteArray("quiet=3000;verdict-delay=300;") + settings;
}

QByteArray heard(const char *settings)
{
    return patient(Scenario::answering) + settings;
}

/// A microphone that does not answer the entry packet. The updater then makes no long pause for
/// its restart, so the run is short.
QByteArray quick(const char *settings)
{
    return patient("silent=entry;enter-time=20;") + settings;
}

/// A microphone that judges before the image is complete. It answers slowly, so that the verdict
/// comes before the progress reaches its end.
QByteArray hasty(const char *settings)
{
    return QByteArray("silent=entry;enter-time=20;answer-delay=100;") + settings;
}

} // namespace

QList<Scenario> scenarios()
{
    using Violations = Scenario::Violations;
    constexpr int none = Scenario::noPercent;
    constexpr int some = Scenario::belowHundred;
    constexpr int all = scenarioPackets;
    QList<Scenario> list = {
        // The microphone answers the entry packet, so the updater waits the full 7 s.
        {"success", plain, heard("")},
        {"success after leaving the bus", plain, heard("vanish=yes")},
        {"success under another product id", plain, heard("return-as=0065")},
        {"success on another path after leaving the bus", plain,
         heard("vanish=yes;replug-path=new")},

        {"a foreign device comes and goes", plain,
         quick("extra=046D:000B;extra-at=5;extra-stay=20")},
        {"a second microphone comes and goes", plain, quick("extra=0010;extra-at=5;extra-stay=20")},

        {"plain, the right one of two", plain, quick("devices=0010,000B")},
        {"plain, among foreign devices", plain, quick("devices=046D:000B,000B")},
        {"R5, the right one of two", r5, quick("devices=000B,0010")},
        {"R5 otg, 0011 listed first", r5Otg, quick("devices=0011,0065")},
        // No entry packet is sent, so there is no seal, and the microphone judges after `quiet`.
        {"R5 otg, 0065 listed first", r5Otg, "quiet=8000;devices=0065,0011", "success 1", 100,
         all - 1},
        {"R5 otg, 0065 alone", r5Otg, "quiet=8000;devices=0065", "success 1", 100, all - 1},
        {"R5 otg, no answer to the data", r5Otg, "quiet=8000;devices=0065;silent=data", "success 1",
         100, all - 1},
        // The verdict is the only report that the microphone sends.
        {"R5 otg, a verdict of 32 bytes", r5Otg,
         "quiet=8000;devices=0065;silent=data;short-reads=1", "success 1", 100, all - 1},

        {"no microphone", plain, "devices=none", "success -1", none, 0},
        {"foreign devices only", plain, "devices=046D:000B,046D:0010", "success -1", none, 0},
        {"the microphone of another image", r5, "devices=000B,0011,0065", "success -1", none, 0},

        {"success verdict of the other kind", plain, quick("verdict=success6")},
        {"a verdict that is repeated", plain, quick("verdict-repeat=1")},
        {"failure verdict at the end", plain, quick("verdict=failure4"), "success -1"},
        {"failure verdict midway", plain, hasty("verdict=failure2;verdict-at=20"), "success -1",
         some, anyNumber, Violations::DependOnTiming},
        {"failure flag midway", plain, hasty("verdict=failure-flag;verdict-at=20"), "success -1",
         some, anyNumber, Violations::DependOnTiming},
        // The microphone notices the lost packet when no more packets come.
        {"writes that fail", plain, hasty("quiet=1500;fail-writes=10"), "success -1", 100, all - 1},
        // On Windows, the HID library waits for a write for less than this.
        {"a write held up for 1.5 s", plain, quick("slow-writes=10;slow-time=1500")},
        {"silent microphone", plain, patient("silent=all;enter-time=20"), "100%"},
        {"unplugged midway", plain, quick("unplug-at=55"), "100%", 100, 56,
         Violations::DependOnTiming},
        // The microphone is idle when it comes back, so it refuses the rest.
        {"unplugged and replugged midway", plain, quick("unplug-at=40;replug-after=300"), "100%",
         100, 41, Violations::Some},
        {"unplugged and replugged midway, on another path", plain,
         quick("unplug-at=40;replug-after=300;replug-path=new"), "100%", 100, 41, Violations::Some},
        // The microphone takes the rest when it comes back, and reaches its verdict.
        {"unplugged and replugged in upgrade mode, under another product id", plain,
         hasty("unplug-at=10;replug-after=50;replug-as=0010;replug-state=upgrading;"
               "verdict=success6;verdict-at=15"),
         "success 1", some, anyNumber, Violations::DependOnTiming},
    };
    for (const char *kind : {"empty", "short-header", "header-length", "record-length-below-3",
                             "record-past-end", "trailing-bytes", "header-only"})
        list += {kind, plain, "", "", none, 0, Violations::None, kind};
    return list;
}
