#include "tests/endtoend/UpdaterRun.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QTest>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Far above what a run takes, for machines under load.
constexpr int endTimeoutMs = 90000;

const char *const silentMicrophone = "silent=all;enter-time=20";
const char *const quickMicrophone = "silent=entry;enter-time=20";

} // namespace

/// What a launching application gives the updater, and what it gets.  On Linux; output that
/// nobody reads is tested on wine, too.
class LaunchTest : public QObject
{
    Q_OBJECT

private slots:
    void the_output_tells_what_happens()
    {
        UpdaterRun run;
        // 13 packets; it goes after packet 5 and comes back for the last of them.
        run.start({run.makePlainImage()}, "silent=entry;enter-time=20;unplug-at=5;replug-after=50");
        QVERIFY(run.waitForResultEnd("100%\n", endTimeoutMs));
        const QByteArray printed = "Device Found\n"
                                   "  type: 3c9e 000b\n"
                                   "  path: /dev/velmo-sim0\n"
                                   "  serial_number: VS0001\n"
                                   "  Manufacturer: Velmo\n"
                                   "  Product:      Velmo microphone (simulated)\n"
                                   "  Release:      100\n"
                                   "  Interface:    0\n"
                                   "  Usage Page:   ff00\n"
                                   "  Usage:       0001\n"
                                   "--xxx---11----64"
                                   "vid:pid=3C9E:000B removal=1, path:/dev/velmo-sim0\n"
                                   "NOconnect-----new------\n"
                                   "vid:pid=3C9E:000B removal=0, path:/dev/velmo-sim0\n";
        QTRY_COMPARE_WITH_TIMEOUT(run.standardOutput(), printed, endTimeoutMs);
        const QString debug = QString::fromUtf8(run.debugOutput());
        const QString start = QStringLiteral("\\(\"[^\n]+\", \"./TB210.bin\"\\)\n"
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
        QVERIFY2(QRegularExpression(start).match(debug).hasMatch(), qPrintable(debug));
        for (const char *line :
             {"qqqq  4b 0 0 0 b 0 0 3 0 ", "13 kkkk 8 8\n", "超时导致失败\n", "Send failed. cmd\n",
              "usb拔出------\n", "usb插入------\n", "0 ggg 13\n"})
            QVERIFY2(debug.contains(QString::fromUtf8(line)), line);
    }

    void output_that_nobody_reads_does_not_stop_the_upgrade_data()
    {
        QTest::addColumn<QByteArray>("redirection");
        QTest::newRow("standard output") << QByteArray("1>full");
        QTest::newRow("standard error") << QByteArray("2>full");
        QTest::newRow("both") << QByteArray("1>full 2>&1");
    }

    void output_that_nobody_reads_does_not_stop_the_upgrade()
    {
        QFETCH(QByteArray, redirection);
        UpdaterRun run;
        // Its debug lines are more than the updater keeps for a slow reader.
        const QString image =
            run.makeFirmware(QStringLiteral("TB210.bin"),
                             QStringLiteral("--records 400 --size 640").split(QLatin1Char(' ')));
        // A pipe that is full from the start.
        const QByteArray pipe = QFile::encodeName(run.path("full"));
        QCOMPARE(mkfifo(pipe.constData(), S_IRWXU), 0);
        const int end = open(pipe.constData(), O_RDWR | O_NONBLOCK);
        const auto closing = qScopeGuard([end] { close(end); });
        while (write(end, "x", 1) == 1) {
        }
        QCOMPARE(errno, EAGAIN);
        run.startInShell("exec \"$0\" \"$@\" " + redirection, {image},
                         "silent=entry;enter-time=20;packet-time=0");
        QVERIFY(run.waitForExit(endTimeoutMs));
        QCOMPARE(run.process.exitCode(), 0);
        QVERIFY(run.result().endsWith("success 1"));
    }

    void closed_descriptors_do_not_become_the_debug_output()
    {
        UpdaterRun run;
        const QString image = run.makePlainImage();
        run.startInShell("exec \"$0\" \"$@\" 0<&- 1>&- 2>&-", {image}, silentMicrophone);
        QVERIFY(run.waitForResultEnd("100%\n", endTimeoutMs));
        // The next thing opened would have been the debug output: a microphone, perhaps.
        for (int descriptor = 0; descriptor < 3; ++descriptor) {
            QCOMPARE(
                QFile::symLinkTarget(
                    QStringLiteral("/proc/%1/fd/%2").arg(run.process.processId()).arg(descriptor)),
                QStringLiteral("/dev/null"));
        }
    }

    void a_display_that_does_not_answer_is_done_without()
    {
        for (const char *display : {"DISPLAY=", "DISPLAY=:65000"}) {
            UpdaterRun run;
            run.startInShell(QByteArray("export ") + display + "; exec \"$0\" \"$@\"",
                             {run.makePlainImage()}, quickMicrophone);
            QVERIFY(run.waitForExit(endTimeoutMs));
            QCOMPARE(run.process.exitStatus(), QProcess::NormalExit);
            QCOMPARE(run.process.exitCode(), 0);
            QVERIFY(run.result().endsWith("success 1"));
        }
    }

    void a_missing_file_does_not_wait_for_a_person_without_a_screen()
    {
        UpdaterRun run;
        run.start({QStringLiteral("missing.bin")}, quickMicrophone);
        QVERIFY(run.waitForExit(endTimeoutMs));
        QCOMPARE(run.process.exitCode(), 0);
        QCOMPARE(run.result(), QByteArray());
        QCOMPARE(run.packetsTaken(), 0);
        QVERIFY(run.debugOutput().contains("Title: 打开错误+"));
    }
};

QTEST_GUILESS_MAIN(LaunchTest)
#include "tst_launch.moc"
