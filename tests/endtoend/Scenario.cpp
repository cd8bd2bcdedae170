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

/// A microphone that does not answer the entry packet is not given the long pause
/// for its restart, so most runs need not wait for it.
QByteArray quick(const char *settings)
{
    return QByteArray("silent=entry;enter-time=20;") + settings;
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
        {"success", plain, good, "", Ending::Exits, "success 1", 100, all, Violations::None},
        {"success after leaving the bus", plain, good, "vanish=yes", Ending::Exits, "success 1",
         100, all, Violations::None},
        {"success under another product id", plain, good, "return-as=0065", Ending::Exits,
         "success 1", 100, all, Violations::None},

        {"plain, the right one of two", plain, good, quick("devices=0010,000B"), Ending::Exits,
         "success 1", 100, all, Violations::None},
        {"plain, among foreign devices", plain, good, quick("devices=046D:000B,000B"),
         Ending::Exits, "success 1", 100, all, Violations::None},
        {"R5, the right one of two", r5, good, quick("devices=000B,0010"), Ending::Exits,
         "success 1", 100, all, Violations::None},
        {"R5 otg, 0011 listed first", r5Otg, good, quick("devices=0011,0065;quiet=3000"),
         Ending::Exits, "success 1", 100, all, Violations::None},
        {"R5 otg, 0065 listed first", r5Otg, good, quick("devices=0065,0011;quiet=3000"),
         Ending::Exits, "success 1", 100, all - 1, Violations::None},

        {"no microphone", plain, good, "devices=none", Ending::Exits, "success -1", noPercent, 0,
         Violations::None},
        {"foreign devices only", plain, good, "devices=046D:000B,046D:0010", Ending::Exits,
         "success -1", noPercent, 0, Violations::None},
        {"the microphone of another image", r5, good, "devices=000B,0011,0065", Ending::Exits,
         "success -1", noPercent, 0, Violations::None},

        {"failure verdict at the end", plain, good, quick("verdict=failure4"), Ending::Exits,
         "success -1", 100, all, Violations::None},
        {"failure verdict midway", plain, good, quick("verdict=failure2;verdict-at=20"),
         Ending::Exits, "success -1", belowHundred, anyNumber, Violations::DependOnTiming},
        {"failure flag midway", plain, good, quick("verdict=failure-flag;verdict-at=20"),
         Ending::Exits, "success -1", belowHundred, anyNumber, Violations::DependOnTiming},
        {"writes that fail", plain, good, quick("fail-writes=10"), Ending::Exits, "success -1", 100,
         all - 1, Violations::None},
        {"silent microphone", plain, good, "silent=all;enter-time=20", Ending::Stays, "100%", 100,
         all, Violations::None},
        {"unplugged midway", plain, good, quick("unplug-at=55"), Ending::Stays, "100%", 100, 56,
         Violations::DependOnTiming},
        // What comes back is an idle microphone, and it refuses the rest.
        {"unplugged and replugged midway", plain, good, quick("unplug-at=40;replug-after=300"),
         Ending::Stays, "100%", 100, 41, Violations::Some},
    };
    for (const char *kind : {"empty", "short-header", "header-length", "record-length-below-3",
                             "record-past-end", "trailing-bytes", "header-only"})
        list += broken(kind);
    return list;
}
