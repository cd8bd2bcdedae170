#include "tests/endtoend/Scenario.h"
#include "tests/endtoend/Transport.h"
#include "tests/endtoend/UpdaterRun.h"

#include <QRegularExpression>
#include <QTest>

#include <algorithm>
#include <memory>

namespace {

/// On a busy machine, the answer to the entry packet may come after the 200 ms for which the
/// updater listens. Then the updater sends the data while the microphone restarts, and the run
/// does not test the scenario.
bool missedTheAnswer(const UpdaterRun &run)
{
    constexpr double restartPauseMs = 7000;
    QStringList writes;
    (void)QTest::qWaitFor([&] { return (writes = run.traceLines(" write ")).size() > 1; },
                          UpdaterRun::endTimeoutMs);
    const auto time = [&writes](int line) {
        return writes.value(line).section(' ', 0, 0).toDouble();
    };
    return time(1) - time(0) < restartPauseMs;
}

/// Attempts. It is very unlikely that load disturbs all of them.
constexpr int attempts = 3;

/// Whether the updater got a removal (1) or arrival (0) notice for any device.
bool wasTold(const UpdaterRun &run, int removal)
{
    const QString notice = QStringLiteral("testddddddd .+ %1 \\d+ \\d+ ").arg(removal);
    return QString::fromUtf8(run.debugOutput()).contains(QRegularExpression(notice));
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
        const QList<QByteArray> shard = qgetenv("VELMO_SHARD").split('/');
        const int of = shard.size() == 2 ? shard.at(1).toInt() : 1;
        QTest::addColumn<int>("index");
        const QList<Scenario> all = scenarios();
        for (int i = shard.first().toInt(); i < all.size(); i += of)
            QTest::newRow(all.at(i).name) << i;
    }

    void headless_run()
    {
        QFETCH(int, index);
        const Scenario scenario = scenarios().at(index);
        for (const QByteArray &refused : Transport::chosen().refused) {
            if (scenario.simulator.contains(refused))
                return QTest::qSkip("not offered by this transport", __FILE__, __LINE__);
        }
        QStringList image = {"--version", "1.2.3", "--records", "30", "--size", "100"};
        if (scenario.broken != nullptr)
            image += {"--broken", scenario.broken};
        const bool mustHear = scenario.simulator.contains(Scenario::answering);
        std::unique_ptr<UpdaterRun> runner;
        int attempt = 0;
        do {
            runner = std::make_unique<UpdaterRun>();
            runner->start({runner->makeFirmware(QString::fromLatin1(scenario.firmware), image)},
                          scenario.simulator);
        } while (++attempt < attempts && mustHear && missedTheAnswer(*runner));
        UpdaterRun &run = *runner;

        QByteArray lastLine = scenario.outcome;
        if (lastLine.endsWith('%')) {
            lastLine += '\n';
            QVERIFY(run.waitForResultEnd(lastLine));
            QCOMPARE(run.process.state(), QProcess::Running);
            run.kill();
        } else {
            QCOMPARE(run.exitCode(), 0);
        }

        const QList<int> percentages = run.percentages();
        const int highest = percentages.isEmpty() ? Scenario::noPercent : percentages.last();
        if (scenario.highestPercent == Scenario::belowHundred)
            QVERIFY(highest >= 0 && highest < 100);
        else
            QCOMPARE(highest, scenario.highestPercent);
        const QRegularExpression whole("^(\\d+%\n)*" + lastLine + "\\z");
        QVERIFY2(QString(run.result()).contains(whole), run.result().constData());
        QVERIFY(std::is_sorted(percentages.begin(), percentages.end()));
        // The first steps, of 0 %, may come before the window listens for them. A microphone that
        // is found in upgrade mode has one step less.
        if (highest == 100) {
            const QList<int> steps = UpdaterRun::progressOf(scenarioPackets);
            QVERIFY(percentages.size() >= steps.size() - steps.count(0));
            QCOMPARE(percentages, steps.mid(steps.size() - percentages.size()));
        }
        if (scenario.packetsTaken >= 0)
            QCOMPARE(run.packetsTaken(), scenario.packetsTaken);
        // The updater opened the microphone that came back, and the microphone was idle.
        const bool some = scenario.violations == Scenario::Violations::Some;
        QCOMPARE(!run.traceLines("data before the entry packet").isEmpty(), some);
        if (scenario.violations == Scenario::Violations::None)
            QCOMPARE(run.traceLines("violation"), QStringList());
        // The updater was told of each removal and arrival that the settings ask for. The result
        // alone does not show this.
        const auto asksFor = [&](const char *word) { return scenario.simulator.contains(word); };
        for (const char *leaving : {"vanish", "return-as", "unplug", "extra"})
            QVERIFY2(!asksFor(leaving) || wasTold(run, 1), leaving);
        for (const char *coming : {"vanish", "return-as", "replug", "extra"})
            QVERIFY2(!asksFor(coming) || wasTold(run, 0), coming);
        // A killed run's exit code does not show what a sanitizer has found.
        QVERIFY2(!run.debugOutput().contains("Sanitizer"), run.debugOutput().constData());
        // The updater explains each refused image, and refuses no other.
        QCOMPARE(run.debugOutput().contains("firmware refused: record "),
                 scenario.broken != nullptr);
    }
};

QTEST_GUILESS_MAIN(ScenariosTest)
#include "tst_scenarios.moc"
