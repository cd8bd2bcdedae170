#include "tests/endtoend/FaultPlan.h"

#include <algorithm>
#include <array>
#include <random>

namespace {

constexpr int payloadSize = 64;
constexpr int entryRecordSize = 11;
constexpr int recordHeadSize = 3;
constexpr int mostOfRecord = 8;
constexpr int leastPackets = 3;
constexpr int mostPackets = 400;
/// Limit for microphones that take up to 0.2 s for a packet or batch.
constexpr int mostSlowPackets = 50;
constexpr int manyPacketsEvery = 6;
constexpr int fullPacketEvery = 3;
constexpr int launcherEvery = 3;

struct Place
{
    const char *image;
    const char *devices;
};
/// In the places before firstAbsent, a device that the image's name selects is plugged in.
constexpr std::array<Place, 9> places = {{{"TB210.bin", "000B"},
                                          {"TB210.bin", "0010,000B"},
                                          {"TB210.bin", "046D:000B,000B"},
                                          {"TQ736_R5.bin", "0010"},
                                          {"TQ736_R5.bin", "000B,0010"},
                                          {"TQ736_R5_otg.bin", "0065"},
                                          {"TB210.bin", "000B"},
                                          {"TB210.bin", "none"},
                                          {"TQ736_R5.bin", "000B,0011"}}};
constexpr std::size_t firstAbsent = 7;
/// A run in this place takes 10 s longer than in the others.
constexpr Place slowPlace = {"TQ736_R5_otg.bin", "0011"};
constexpr int slowPlaceEvery = 32;

/// A setting of the simulator. One seed in `everyNth` sets it, to one of the words or to a number.
struct Knob
{
    const char *name = "";
    int everyNth = 1;
    int least = 0;
    int most = 0;
    const char *words = "";
};
constexpr std::array<Knob, 25> knobs = {{
    // When the updater receives the answer to the entry packet, it waits 7 s. So most microphones
    // do not answer it.
    {"silent", 1, 0, 0, "entry entry entry entry entry entry entry all all data"},
    {"answer-delay", 1, 0, 0, "0 2 2 2 70 250"},
    {"enter-time", 1, 0, 60},
    {"packet-time", 1, 0, 3},
    {"vanish", 8, 0, 0, "yes"},
    {"return-as", 12, 0, 0, "0065 000B"},
    {"quiet", 1, 100, 300},
    {"verdict", 3, 0, 0, "success6 failure2 failure4 failure-flag none"},
    {"verdict-at", 6, 1, 60},
    {"verdict-delay", 1, 0, 100},
    {"verdict-repeat", 6, 1, 50},
    {"chatter", 3, 1, 20},
    {"slow-writes", 5, 1, 60},
    {"slow-time", 1, 100, 1500},
    {"fail-writes", 3, 1, 30},
    {"short-reads", 5, 1, 30},
    {"fail-reads", 5, 1, 30},
    {"unplug-at", 6, 0, 60},
    {"unplug-after", 8, 0, 1500},
    {"replug-after", 2, 0, 1000},
    {"replug-state", 2, 0, 0, "upgrading"},
    {"replug-as", 8, 0, 0, "0065"},
    {"replug-path", 2, 0, 0, "new"},
    {"extra", 4, 0, 0, "046D:000B 0010 000B"},
    {"extra-at", 1, 0, 60},
}};
constexpr int mostIncidents = 2;
constexpr int latestIncident = 60;

/// Draws numbers by a modulo, because the distributions of C++ differ between libraries.
class Dice
{
public:
    explicit Dice(quint64 seed)
        : random(seed)
    {
    }
    int between(int least, int most)
    {
        return least + static_cast<int>(random() % static_cast<quint64>(most - least + 1));
    }
    bool oneIn(int count) { return between(1, count) == 1; }

private:
    std::mt19937_64 random;
};

} // namespace

FaultPlan::FaultPlan(quint64 seed)
{
    Dice dice(seed);
    byLauncher = dice.oneIn(launcherEvery);
    const auto index = static_cast<std::size_t>(dice.between(0, places.size() - 1));
    const bool takesLonger = dice.oneIn(slowPlaceEvery);
    const Place place = takesLonger ? slowPlace : places.at(index);
    imageName = place.image;
    absent = index >= firstAbsent && !takesLonger;
    simulator = QByteArray("devices=") + place.devices;
    upgrading = simulator.endsWith("0065");
    for (const Knob &knob : knobs) {
        const QList<QByteArray> words = QByteArray(knob.words).split(' ');
        const int number = dice.between(knob.least, knob.most);
        const QByteArray &word = words.at(dice.between(0, words.size() - 1));
        if (dice.oneIn(knob.everyNth))
            simulator += QByteArray(";") + knob.name + '=' +
                         (word.isEmpty() ? QByteArray::number(number) : word);
    }
    const bool slow = simulator.contains("unplug") || simulator.contains("silent=all");
    const int most = dice.oneIn(manyPacketsEvery) && !slow ? mostPackets : mostSlowPackets;
    packets = dice.between(leastPackets, most);
    for (int left = packets - 1; left > 0;) {
        const int some = dice.between(1, std::min(left, mostOfRecord));
        // Often the last packet is full or a byte short.
        const int lacking = dice.between(0, dice.oneIn(fullPacketEvery) ? 1 : payloadSize - 1);
        recordSizes += QString::number(std::max(some * payloadSize - lacking, recordHeadSize));
        left -= some;
    }
    for (int left = dice.between(0, mostIncidents); left > 0; --left) {
        const int writes = dice.between(1, latestIncident);
        const int last = static_cast<int>(Event::DiskFull);
        incidents += {writes, static_cast<Event>(dice.between(0, last))};
    }
    std::stable_sort(incidents.begin(), incidents.end(),
                     [](const Incident &a, const Incident &b) { return a.writes < b.writes; });
}

QList<QByteArray> FaultPlan::packetsOf(const QByteArray &image) const
{
    QList<QByteArray> list;
    const auto add = [&list](const QByteArray &payload) {
        list += 'K' + payload.leftJustified(payloadSize, '\0');
    };
    add(image.left(entryRecordSize));
    int begin = entryRecordSize;
    for (const QString &size : recordSizes) {
        const QByteArray record = image.mid(begin, size.toInt());
        for (int i = 0; i < record.size(); i += payloadSize)
            add(record.mid(i, payloadSize));
        begin += record.size();
    }
    return list;
}
