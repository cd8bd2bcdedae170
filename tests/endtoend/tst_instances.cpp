#include "tests/endtoend/Transport.h"
#include "tests/endtoend/UpdaterRun.h"

#include <QFile>
#include <QTest>

#include <algorithm>
#include <memory>
#include <vector>

namespace {

// Far above what a run takes, for machines under load.
constexpr int endTimeoutMs = 90000;
constexpr int atOnceMs = 5000;

const char *const silentMicrophone = "silent=all;enter-time=20";
const char *const quickMicrophone = "silent=entry;enter-time=20";

} // namespace

/// Who may run while another one does.
class InstancesTest : public QObject
{
    Q_OBJECT

private slots:
    void a_second_updater_ends_at_once()
    {
        UpdaterRun run;
        const QString image = run.makePlainImage();
        run.start({image}, silentMicrophone);
        QVERIFY(run.waitForResultEnd("100%\n", endTimeoutMs));
        const QByteArray result = run.result();

        QProcess second;
        run.startSecond(&second, {image}, quickMicrophone);
        QVERIFY(second.waitForFinished(atOnceMs));
        QCOMPARE(second.exitStatus(), QProcess::NormalExit);
        QCOMPARE(second.exitCode(), 0);
        QCOMPARE(second.readAllStandardOutput() + second.readAllStandardError(), QByteArray());
        QVERIFY(!QFile::exists(run.path("second-trace.txt")));
        QCOMPARE(run.result(), result);
        QCOMPARE(run.process.state(), QProcess::Running);
    }

    void a_killed_updater_does_not_lock_out_the_next()
    {
        UpdaterRun run;
        const QString image = run.makePlainImage();
        run.start({image}, silentMicrophone);
        QVERIFY(run.waitForResultEnd("100%\n", endTimeoutMs));
        run.kill();

        run.start({image}, quickMicrophone);
        QVERIFY(run.waitForExit(endTimeoutMs));
        QCOMPARE(run.process.exitCode(), 0);
        QVERIFY(run.result().endsWith("success 1"));
    }

    void of_many_started_at_once_one_runs()
    {
        if (Transport::chosen().command.size() > 1)
            // NOLINTNEXTLINE(clang-diagnostic-gnu-zero-variadic-macro-arguments)
            QSKIP("starts all of them on buses of their own, which only the drop-in has");
        constexpr int starters = 30;
        UpdaterRun run;
        const QString image = run.makePlainImage();
        run.start({image}, silentMicrophone);
        QVERIFY(run.waitForResultEnd("100%\n", endTimeoutMs));
        run.kill(); // what it leaves behind must not let two of them run, or none
        QVERIFY(QFile::remove(run.path("data/CorvoUpgrade/Firmware_bin.txt")));

        std::vector<std::unique_ptr<QProcess>> processes;
        for (int i = 0; i < starters; ++i) {
            processes.push_back(std::make_unique<QProcess>());
            run.startSecond(processes.back().get(), {image}, silentMicrophone);
        }
        const auto running = [&processes] {
            return std::count_if(processes.begin(), processes.end(), [](const auto &process) {
                return process->state() != QProcess::NotRunning;
            });
        };
        QTRY_VERIFY_WITH_TIMEOUT(running() <= 1, endTimeoutMs);
        QTRY_VERIFY_WITH_TIMEOUT(run.result().endsWith("100%\n"), endTimeoutMs);
        QCOMPARE(static_cast<int>(running()), 1);
        for (const auto &process : processes) {
            process->kill();
            process->waitForFinished(endTimeoutMs);
        }
    }
};

QTEST_GUILESS_MAIN(InstancesTest)
#include "tst_instances.moc"
