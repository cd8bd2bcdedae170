#include "tests/endtoend/Scenario.h"
#include "tests/endtoend/Transport.h"
#include "tests/endtoend/UpdaterRun.h"

#include <QRegularExpression>
#include <QTest>

#include <algorithm>

namespace {

// Far above what a run takes, for machines under load.
constexpr int endTimeoutMs = 90000;

/// One line a step: each index of the walk, at which the packets before its batch of five
/// count, and each packet of the tail.
QList<int> wholeProgress()
{
    constexpr int first = 3;
    constexpr int batch = 5;
    QList<int> progress;
    const auto add = [&progress](int sent) { progress += sent * 100 / scenarioPackets; };
    for (int i = 0; i < scenarioPackets; ++i)
        add(i < first ? 0 : i - (i - first) % batch);
    for (int i = scenarioPackets - scenarioTail; i < scenarioPackets; ++i)
        add(i + 1);
    return progress;
}

/// Of a microphone of ours, or of another maker, that went (1) or came (0).
bool wasTold(const UpdaterRun &run, int removal)
{
    const QString notice = QStringLiteral("testddddddd .+ %1 \\d+ \\d+ ").arg(removal);
    return QRegularExpression(notice).match(QString::fromUtf8(run.debugOutput())).hasMatch();
}

} // namespace

/// The real program, headless, as a launching application starts it: the whole list
/// of scenarios, or every nth of it (VELMO_SHARD="0/4"), so that they run side by
/// side.
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
        const QByteArray &refused = Transport::chosen().refused;
        if (!refused.isEmpty() && scenario.simulator.contains(refused)) {
            QTest::qSkip("not offered by this transport", __FILE__, __LINE__);
            return;
        }
        UpdaterRun run;
        const QString image =
            run.makeFirmware(QString::fromLatin1(scenario.firmware), scenario.image);
        run.start({image}, scenario.simulator);

        if (scenario.ending == Scenario::Ending::Exits) {
            QVERIFY(run.waitForExit(endTimeoutMs));
            QCOMPARE(run.process.exitStatus(), QProcess::NormalExit);
            QCOMPARE(run.process.exitCode(), 0);
        } else {
            QVERIFY(run.waitForResultEnd(scenario.outcome + '\n', endTimeoutMs));
            QCOMPARE(run.process.state(), QProcess::Running);
            run.kill();
        }

        const QList<int> percentages = run.percentages();
        const int highest = percentages.isEmpty() ? noPercent : percentages.last();
        if (scenario.highestPercent == belowHundred)
            QVERIFY(highest >= 0 && highest < 100);
        else
            QCOMPARE(highest, scenario.highestPercent);
        const QString whole = QStringLiteral("(\\d+%\n)*") + QString::fromLatin1(scenario.outcome) +
                              (scenario.ending == Scenario::Ending::Exits ? "" : "\n");
        QVERIFY2(QRegularExpression(QRegularExpression::anchoredPattern(whole))
                     .match(QString::fromLatin1(run.result()))
                     .hasMatch(),
                 run.result().constData());
        QVERIFY(std::is_sorted(percentages.begin(), percentages.end()));
        // The very first step may come before the window listens, and a microphone that is in
        // its upgrade mode has one less.
        if (highest == 100) {
            const QList<int> steps = wholeProgress();
            QVERIFY(percentages.size() >= steps.size() - 2);
            QCOMPARE(percentages, steps.mid(steps.size() - percentages.size()));
        }
        if (scenario.packetsTaken >= 0)
            QCOMPARE(run.packetsTaken(), scenario.packetsTaken);
        if (scenario.violations != Scenario::Violations::DependOnTiming) {
            QCOMPARE(!run.traceLines(QStringLiteral("violation")).isEmpty(),
                     scenario.violations == Scenario::Violations::Some);
        }
        // The scripted unplug must have happened.
        for (const char *setting : {"vanish", "return-as", "unplug", "extra"}) {
            if (scenario.simulator.contains(setting))
                QVERIFY2(!run.traceLines(QStringLiteral(" departure ")).isEmpty(), setting);
        }
        // The updater must have been notified: without a notice the result is the same.
        const bool unplugs = scenario.simulator.contains("unplug-at");
        const bool returns = scenario.simulator.contains("replug-after");
        if (unplugs || scenario.simulator.contains("extra"))
            QVERIFY(wasTold(run, 1));
        if (returns || scenario.simulator.contains("extra"))
            QVERIFY(wasTold(run, 0));
        // And it opened what came back.
        if (returns)
            QVERIFY(!run.traceLines(QStringLiteral("data before the entry packet")).isEmpty());
        // What a sanitizer has to say does not show in the exit code of a killed run.
        QVERIFY2(!run.debugOutput().contains("Sanitizer"), run.debugOutput().constData());
        // Every refused image is explained; no other run says so.
        QCOMPARE(run.debugOutput().contains("firmware refused: record "),
                 scenario.packetsTaken == 0 && scenario.outcome.isEmpty());
    }
};

QTEST_GUILESS_MAIN(ScenariosTest)
#include "tst_scenarios.moc"
