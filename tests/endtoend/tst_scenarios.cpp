#include "tests/endtoend/UpdaterRun.h"

#include <QRegularExpression>
#include <QTest>

#include <memory>

namespace {

/// The packets of the image that the scenarios are made for: 30 data records of two packets
/// each, and the entry packet.
constexpr int all = 61;
/// Special values of a scenario's highest percentage. `some`: it is below 100 and depends on
/// timing, as the number of packets does.
constexpr int none = -1;
constexpr int some = -2;

/// Settings for scenarios in which the updater must receive the answer to the entry packet.
/// The updater listens for it for 200 ms after it has sent the packet. If the microphone
/// leaves the bus for its restart, it leaves long after that, and shortly before the updater
/// expects it back.
const char *const answering = "answer-delay=70;enter-time=3000;";

/// One run of the real program against a simulated microphone, and its expected result. All
/// transports run the same list.
struct Scenario
{
    const char *name;
    /// Name of the image. It decides which microphone the updater selects.
    const char *firmware;
    /// The microphones on the bus and their faults.
    QByteArray simulator;
    /// The result file's last line, or "" for an empty file. With "100%", the microphone never
    /// gives a verdict and the program never ends.
    QByteArray outcome = "success 1";
    /// The highest percentage before the outcome.
    int highestPercent = 100;
    /// Number of packets that the microphone took.
    int packetsTaken = all;
    /// How the image is broken (velmo-mkfirmware --broken), or null for an intact one.
    const char *broken = nullptr;
};

QList<Scenario> scenarios()
{
    const char *const plain = "TB210.bin";
    const char *const r5Otg = "TQ736_R5_otg.bin";
    // A microphone that tolerates pauses on a busy machine. Its verdict comes late, because
    // another thread reports the progress of the last packets, which the verdict must not
    // overtake.
    const QByteArray patient = "quiet=3000;verdict-delay=300;";
    const QByteArray heard = patient + answering;
    // A microphone that does not answer the entry packet. The updater then makes no long pause
    // for its restart, so the run is short.
    const QByteArray quick = patient + "silent=entry;enter-time=20;";
    // A microphone that judges before the image is complete. It answers slowly, so that the
    // verdict comes before the progress reaches its end.
    const QByteArray hasty = "silent=entry;enter-time=20;answer-delay=100;";
    QList<Scenario> list = {
        // The microphone answers the entry packet, so the updater waits the full 7 s.
        {"success", plain, heard},
        {"success on another path after leaving the bus", plain,
         heard + "vanish=yes;replug-path=new"},

        {"a second microphone comes and goes", plain,
         quick + "extra=0010;extra-at=5;extra-stay=20"},

        {"R5 otg, 0011 listed first", r5Otg, quick + "devices=0011,0065"},
        // No entry packet is sent, so there is no seal, and the microphone judges after `quiet`.
        {"R5 otg, 0065 alone", r5Otg, "quiet=8000;devices=0065", "success 1", 100, all - 1},

        {"the microphone of another image", "TQ736_R5.bin", "devices=046D:0010,000B,0011,0065",
         "success -1", none, 0},

        {"failure verdict midway", plain, hasty + "verdict=failure2;verdict-at=20", "success -1",
         some},
        // The microphone notices the lost packet when no more packets come.
        {"writes that fail", plain, hasty + "quiet=1500;fail-writes=10", "success -1", 100,
         all - 1},
        // On Windows, the HID library waits for a write for less than this.
        {"a write held up for 1.5 s", plain, quick + "slow-writes=10;slow-time=1500"},
        {"silent microphone", plain, patient + "silent=all;enter-time=20", "100%"},
        {"unplugged midway", plain, quick + "unplug-at=55", "100%", 100, 56},
        // The microphone is idle when it comes back, so it refuses the rest.
        {"unplugged and replugged midway, on another path", plain,
         quick + "unplug-at=40;replug-after=300;replug-path=new", "100%", 100, 41},
        // The microphone takes the rest when it comes back, and reaches its verdict.
        {"unplugged and replugged in upgrade mode, under another product id", plain,
         hasty + "unplug-at=10;replug-after=50;replug-as=0010;replug-state=upgrading;"
                 "verdict=success6;verdict-at=15",
         "success 1", some},
    };
    for (const char *kind : {"empty", "record-past-end", "header-only"})
        list += {kind, plain, "", "", none, 0, kind};
    return list;
}

} // namespace

/// Runs the real program headless, as a launching application starts it. VELMO_SHARD="0/4"
/// selects every fourth scenario, so that shards can run side by side.
class ScenariosTest : public QObject
{
    Q_OBJECT

private slots:
    void headless_run_data()
    {
        const QStringList shard = qEnvironmentVariable("VELMO_SHARD", "0/1").split('/');
        QTest::addColumn<int>("index");
        const QList<Scenario> list = scenarios();
        for (int i = shard.first().toInt(); i < list.size(); i += shard.last().toInt())
            QTest::newRow(list.at(i).name) << i;
    }

    void headless_run()
    {
        QFETCH(int, index);
        const Scenario scenario = scenarios().at(index);
        QStringList image = {"--version", "1.2.3", "--records", "30", "--size", "100"};
        if (scenario.broken != nullptr)
            image += {"--broken", scenario.broken};
        std::unique_ptr<UpdaterRun> runner;
        // On a busy machine, the answer to the entry packet may come after the 200 ms for which
        // the updater listens. Then the updater sends the data while the microphone restarts, and
        // the run does not test the scenario.
        const auto missedTheAnswer = [&runner] {
            QStringList writes;
            (void)QTest::qWaitFor(
                [&] { return (writes = runner->traceLines(" write ")).size() > 1; },
                UpdaterRun::endTimeoutMs);
            const auto time = [&](int i) { return writes.value(i).section(' ', 0, 0).toDouble(); };
            constexpr double restartPauseMs = 7000; // after the answer
            return time(1) - time(0) < restartPauseMs;
        };
        constexpr int attempts = 3; // it is very unlikely that load disturbs all of them
        bool missed = true;
        for (int i = 0; missed && i < attempts; ++i) {
            runner = std::make_unique<UpdaterRun>();
            runner->start({runner->makeFirmware(scenario.firmware, image)}, scenario.simulator);
            missed = scenario.simulator.contains(answering) && missedTheAnswer();
        }
        QVERIFY2(!missed, "each time the answer came too late, or the pause was too short");
        UpdaterRun &run = *runner;

        QByteArray lastLine = scenario.outcome;
        if (lastLine.endsWith('%')) {
            lastLine += '\n';
            QVERIFY(run.waitForResultEnd(lastLine));
            QCOMPARE(run.process.state(), QProcess::Running);
            run.kill();
        } else {
            QVERIFY2(run.exitCode() == 0, run.debugOutput().constData());
        }

        const QList<int> percentages = run.percentages();
        const int highest = percentages.isEmpty() ? none : percentages.last();
        if (scenario.highestPercent == some) {
            QVERIFY(highest >= 0 && highest < 100);
        } else {
            QCOMPARE(highest, scenario.highestPercent);
            QCOMPARE(run.packetsTaken(), scenario.packetsTaken);
        }
        const QRegularExpression whole("^(\\d+%\n)*" + lastLine + "\\z");
        QVERIFY2(QString(run.result()).contains(whole), run.result().constData());
        const auto asksFor = [&](const char *word) { return scenario.simulator.contains(word); };
        // The updater may send more packets before it learns of a verdict or an unplugging.
        if (!asksFor("unplug") && !asksFor("verdict-at"))
            QCOMPARE(run.traceLines("violation"), QStringList());
        // The updater opened the microphone that came back, and the microphone was idle.
        QCOMPARE(!run.traceLines("data before the entry packet").isEmpty(),
                 asksFor("replug-after") && !asksFor("replug-state"));
        // A killed run's exit code does not show what a sanitizer has found.
        QVERIFY2(!run.debugOutput().contains("Sanitizer"), run.debugOutput().constData());
        // The updater explains each refused image, and refuses no other.
        QCOMPARE(run.debugOutput().contains("firmware refused: record "),
                 scenario.broken != nullptr);
    }
};

QTEST_GUILESS_MAIN(ScenariosTest)
#include "tst_scenarios.moc"
