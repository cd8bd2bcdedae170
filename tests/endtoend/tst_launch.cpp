#include "tests/endtoend/UpdaterRun.h"

#include <QFile>
#include <QRegularExpression>
#include <QTest>

#include <algorithm>
#include <array>

/// What a launching application gives the updater, and what it gets. These tests run on Linux.
/// Output that nobody reads is tested on wine, too.
class LaunchTest : public QObject
{
    Q_OBJECT

private slots:
    void the_output_tells_what_happens()
    {
        UpdaterRun run;
        // The image has 13 packets. The microphone leaves after packet 5 and is back before the
        // last ones.
        run.start({run.makePlainImage()}, "silent=entry;enter-time=20;unplug-at=5;replug-after=50");
        QVERIFY(run.waitForResultEnd("100%\n"));
        const QByteArray printed = "  Usage:       0001\n"
                                   "--xxx---11----64"
                                   "vid:pid=3C9E:000B removal=1, path:/dev/velmo-sim0\n"
                                   "NOconnect-----new------\n"
                                   "vid:pid=3C9E:000B removal=0, path:/dev/velmo-sim0\n";
        QTRY_VERIFY2_WITH_TIMEOUT(run.standardOutput().endsWith(printed), run.standardOutput(),
                                  UpdaterRun::endTimeoutMs);
        QVERIFY(run.standardOutput().startsWith("Device Found\n  type: 3c9e 000b\n  path: /dev/v"));
        const QString debug = run.debugOutput();
        const QRegularExpression start("\\(\"[^\n]+\", \"./TB210.bin\"\\)\n"
                                       "createUI----\n"
                                       "kkkhhhhxxxxx 11091 106\n"
                                       "xxxxx 11 64\n"
                                       "USB连接成功\n"
                                       "file_name----------------- ./TB210.bin\n"
                                       "(100 kkkk 100 0\n){6}"
                                       "7 xxxllllll\n"
                                       "(jjjjjjjsend_message ( [0-9a-f]{1,2}){65}\n){12}"
                                       "发送进入升级模式的数据\n"
                                       "dfuxxx------ ( [0-9a-f]{1,2}){65}\n");
        QVERIFY2(debug.contains(start), qPrintable(debug));
        for (const char *line :
             {"qqqq  4b 0 0 0 b 0 0 3 0 ", "13 kkkk 8 8\n", "超时导致失败\n", "Send failed. cmd\n",
              "usb拔出------\n", "usb插入------\n", "0 ggg 13\n"})
            QVERIFY2(debug.contains(line), line);
    }

    void output_that_nobody_reads_does_not_stop_the_upgrade()
    {
        // The reader of the last one has ended.
        for (const char *output : {"1>&3", "2>&3", "1>&3 2>&3", "2>&1 | true"}) {
            UpdaterRun run;
            // A pipe that is full from the start. The debug lines are more than the updater
            // keeps for a slow reader.
            run.startInShell(QByteArray("mkfifo full && exec 3<>full && "
                                        "head -c 65536 /dev/zero >&3 && exec \"$0\" \"$@\" ") +
                                 output,
                             {run.makePlainImage("--records 400 --size 640")},
                             QByteArray("packet-time=0;") + UpdaterRun::quickMicrophone);
            QVERIFY2(run.exitCode() == 0 && run.outcome() == "success 1", output);
        }
    }

    void closed_descriptors_do_not_become_the_debug_output()
    {
        UpdaterRun run;
        run.startInShell("exec \"$0\" \"$@\" 0<&- 1>&- 2>&-", {run.makePlainImage()},
                         UpdaterRun::silentMicrophone);
        QVERIFY(run.waitForResultEnd("100%\n"));
        // If they stayed closed, the next opened file, perhaps a microphone, would get the debug
        // output.
        const QString descriptor = QString("/proc/%1/fd/").arg(run.process.processId());
        for (const char *number : {"0", "1", "2"})
            QCOMPARE(QFile::symLinkTarget(descriptor + number), QString("/dev/null"));
    }

    void without_a_display_nobody_is_waited_for()
    {
        for (const char *display : {"unset DISPLAY", "export DISPLAY=", "export DISPLAY=:65000"}) {
            UpdaterRun run;
            run.startInShell(QByteArray(display) + "; exec \"$0\" \"$@\"", {"missing.bin"}, "");
            QVERIFY2(run.exitCode() == 0 && run.result().isEmpty(), display);
            QVERIFY2(run.debugOutput().contains("Title: 打开错误+"), display);
        }
    }

    void of_many_started_at_once_one_runs()
    {
        UpdaterRun run;
        run.start({run.makePlainImage()}, UpdaterRun::silentMicrophone);
        QVERIFY(run.waitForResultEnd("100%\n"));
        // What it leaves behind must not prevent that exactly one runs.
        run.kill();
        QVERIFY(QFile::remove(run.resultFile()));

        std::array<QProcess, 30> starters;
        for (QProcess &starter : starters)
            run.startSecond(&starter, {"./TB210.bin"}, UpdaterRun::silentMicrophone);
        const auto running = [&starters] {
            return std::count_if(starters.begin(), starters.end(), [](const QProcess &starter) {
                return starter.state() != QProcess::NotRunning;
            });
        };
        QTRY_VERIFY_WITH_TIMEOUT(running() == 1 && run.result().endsWith("100%\n"),
                                 UpdaterRun::endTimeoutMs);
        for (QProcess &starter : starters) {
            starter.kill();
            starter.waitForFinished();
        }
    }
};

QTEST_GUILESS_MAIN(LaunchTest)
#include "tst_launch.moc"
