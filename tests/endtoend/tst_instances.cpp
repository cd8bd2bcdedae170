#include "tests/endtoend/Transport.h"
#include "tests/endtoend/UpdaterRun.h"

#include <QFile>
#include <QScopeGuard>
#include <QTest>

#include <sys/shm.h>
#include <sys/stat.h>

#include <algorithm>
#include <map>
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

private:
    /// `met` becomes whether one of the segments had the key that the updater's file gets.
    static void runAmongNamelessSegments(bool *met)
    {
        UpdaterRun run;
        const QString image = run.makePlainImage();
        // Segments for the inodes that the updater's files will get.
        constexpr int inodes = 16;
        std::map<key_t, int> segments;
        for (int i = 0; i < inodes; ++i) {
            QFile file(run.path("tmp/") + QString::number(i));
            QVERIFY(file.open(QIODevice::WriteOnly));
            const key_t key = UpdaterRun::keyOf(file.fileName());
            segments[key] = shmget(key, 1, IPC_CREAT | IPC_EXCL | S_IRUSR | S_IWUSR);
        }
        const auto cleaning = qScopeGuard([&segments] {
            for (const auto &segment : segments)
                shmctl(segment.second, IPC_RMID, nullptr);
        });
        for (int i = 0; i < inodes; ++i)
            QVERIFY(QFile::remove(run.path("tmp/") + QString::number(i)));

        run.start({image}, silentMicrophone);
        QVERIFY(run.waitForResultEnd("100%\n", endTimeoutMs));
        const key_t key = run.segmentKey();
        QVERIFY(key != -1);
        *met = segments.count(key) > 0;
        if (!*met)
            return;
        QProcess second;
        run.startSecond(&second, {image}, quickMicrophone);
        QVERIFY(second.waitForFinished(endTimeoutMs));
        QVERIFY(!QFile::exists(run.path("second-trace.txt")));
        QCOMPARE(run.process.state(), QProcess::Running);
    }

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

    void what_a_cleaned_temporary_folder_left_of_a_killed_one_does_not_matter()
    {
        if (Transport::chosen().command().size() > 1)
            // NOLINTNEXTLINE(clang-diagnostic-gnu-zero-variadic-macro-arguments)
            QSKIP("the segment is Linux' own, whatever the bus");
        // Not every time does a file system give an inode to the next file.
        constexpr int tries = 20;
        bool met = false;
        for (int i = 0; i < tries && !met; ++i)
            runAmongNamelessSegments(&met);
        if (!met)
            // NOLINTNEXTLINE(clang-diagnostic-gnu-zero-variadic-macro-arguments)
            QSKIP("this file system gives no inode a second time");
    }

    void of_many_started_at_once_one_runs()
    {
        if (Transport::chosen().command().size() > 1)
            // NOLINTNEXTLINE(clang-diagnostic-gnu-zero-variadic-macro-arguments)
            QSKIP("starts all of them on buses of their own, which only the drop-in has");
        constexpr int starters = 8;
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
