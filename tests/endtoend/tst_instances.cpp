#include "tests/endtoend/Transport.h"
#include "tests/endtoend/UpdaterRun.h"

#include <QFile>
#include <QTest>

#include <algorithm>
#include <array>

/// Only one updater runs at a time.
class InstancesTest : public QObject
{
    Q_OBJECT

private:
    /// Starts an updater that never gets a verdict and keeps running.
    static void startLasting(UpdaterRun *run)
    {
        run->start({run->makePlainImage()}, UpdaterRun::silentMicrophone);
        QVERIFY(run->waitForResultEnd("100%\n"));
    }

private slots:
    void a_second_updater_ends_at_once()
    {
        constexpr int atOnceMs = 5000;
        UpdaterRun run;
        startLasting(&run);
        const QByteArray result = run.result();
        const QStringList writes = run.traceLines(" write ");

        QProcess second;
        run.startSecond(&second, {"./TB210.bin"}, UpdaterRun::quickMicrophone);
        QVERIFY(second.waitForFinished(atOnceMs));
        QCOMPARE(second.exitStatus(), QProcess::NormalExit);
        QCOMPARE(second.exitCode(), 0);
        QCOMPARE(second.readAllStandardOutput() + second.readAllStandardError(), QByteArray());
        QCOMPARE(run.result(), result);
        QCOMPARE(run.process.state(), QProcess::Running);
        // The second updater wrote to no microphone. On wine it shares the first one's bus.
        QCOMPARE(run.traceLines(" write "), writes);
        QVERIFY(!QFile::exists(run.path("second-trace.txt")));
    }

    void a_killed_updater_does_not_lock_out_the_next()
    {
        UpdaterRun run;
        startLasting(&run);
        run.kill();
        run.start({"./TB210.bin"}, UpdaterRun::quickMicrophone);
        QCOMPARE(run.exitCode(), 0);
        QCOMPARE(run.outcome(), QByteArray("success 1"));
    }

    void of_many_started_at_once_one_runs()
    {
        if (Transport::chosen().command.size() > 1)
            // NOLINTNEXTLINE(clang-diagnostic-gnu-zero-variadic-macro-arguments)
            QSKIP("only with the drop-in does each updater have its own bus");
        UpdaterRun run;
        startLasting(&run);
        // What it leaves behind must not prevent that exactly one runs.
        run.kill();
        QVERIFY(QFile::remove(run.path("data/CorvoUpgrade/Firmware_bin.txt")));

        std::array<QProcess, 30> starters;
        for (QProcess &starter : starters)
            run.startSecond(&starter, {"./TB210.bin"}, UpdaterRun::silentMicrophone);
        const auto running = [&starters] {
            return std::count_if(starters.begin(), starters.end(), [](const QProcess &starter) {
                return starter.state() != QProcess::NotRunning;
            });
        };
        QTRY_VERIFY_WITH_TIMEOUT(running() <= 1 && run.result().endsWith("100%\n"),
                                 UpdaterRun::endTimeoutMs);
        QCOMPARE(static_cast<int>(running()), 1);
        for (QProcess &starter : starters) {
            starter.kill();
            starter.waitForFinished();
        }
    }
};

QTEST_GUILESS_MAIN(InstancesTest)
#include "tst_instances.moc"
