#include "tests/endtoend/UpdaterRun.h"

#include <QTemporaryDir>
#include <QTest>

namespace {

constexpr int endTimeoutMs = UpdaterRun::endTimeoutMs;
const char *const mainWindow = "Velmo_KVX2 DFU";

/// What this tool for windows and keys prints.
QString xdotool(const QString &arguments)
{
    QProcess process;
    process.start("xdotool", arguments.split(' '));
    if (!process.waitForFinished(endTimeoutMs))
        qWarning() << "xdotool:" << process.errorString();
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

/// The name of the window that has the keyboard, or nothing.
QString activeWindow()
{
    return xdotool("getactivewindow getwindowname");
}

} // namespace

/// Runs the real program on a screen, with a window manager and real key presses.
class VisibleTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir home;
    QProcess server;
    QProcess windowManager;

    static void start(UpdaterRun *run, const QStringList &arguments, const QByteArray &simulator)
    {
        run->startInShell("export DISPLAY=" + qgetenv("DISPLAY") +
                              " QT_QPA_PLATFORM=xcb; exec \"$0\" \"$@\"",
                          arguments, "silent=entry;enter-time=20;" + simulator);
    }

    /// Starts the updater with 201 packets, and waits until its window is on the screen.
    static void startVisible(UpdaterRun *run, const QByteArray &simulator)
    {
        start(run, {run->makePlainImage("--records 100 --size 100"), "any"}, simulator);
        QTRY_VERIFY_WITH_TIMEOUT(!xdotool("search --onlyvisible --name ^Velmo_KVX2.DFU$").isEmpty(),
                                 endTimeoutMs);
    }

private slots:
    void initTestCase()
    {
        // Without -noreset the server restarts, and drops its clients, when the first one leaves.
        server.start(
            "Xvfb", QString("-displayfd 1 -noreset -nolisten tcp -screen 0 800x600x24").split(' '));
        QTRY_VERIFY2_WITH_TIMEOUT(server.canReadLine(), "Xvfb is needed; scripts/test installs it",
                                  endTimeoutMs);
        qputenv("DISPLAY", ':' + server.readLine().trimmed());

        // The window manager gets a home without settings, so that its default keys work.
        windowManager.start(
            "env", {"-u", "XDG_CONFIG_HOME", "HOME=" + home.path(), "openbox", "--sm-disable"});
        QTRY_VERIFY2_WITH_TIMEOUT(!xdotool("get_num_desktops").isEmpty(),
                                  "openbox is needed; scripts/test installs it", endTimeoutMs);
    }

    void cleanupTestCase()
    {
        server.terminate();
        server.waitForFinished();
        windowManager.waitForFinished(); // it ends with the server
    }

    void a_key_closes_the_outcome_and_ends_the_program_data()
    {
        QTest::addColumn<QStringList>("row");
        for (const char *row : {"by-image, key Escape, success 1",
                                "by-image;verdict-repeat=10, key Return, success 1",
                                "failure2, key alt+n, success -1",
                                "failure2;verdict-repeat=10, key Return, success -1"})
            QTest::newRow(row) << QString(row).split(", ");
    }

    void a_key_closes_the_outcome_and_ends_the_program()
    {
        constexpr int repeats = 50;
        QFETCH(QStringList, row);
        UpdaterRun run;
        startVisible(&run, "verdict=" + row.first().toLatin1());
        QTRY_COMPARE_WITH_TIMEOUT(activeWindow(), QString("Tips"), endTimeoutMs);
        // The outcome is written when the box is closed.
        QVERIFY(!run.result().contains("success"));
        const auto heard = [&run] { return run.debugOutput().count("qqqq"); };
        const int before = row.first().contains("repeat") ? heard() : -repeats;
        QTRY_VERIFY_WITH_TIMEOUT(heard() >= before + repeats, endTimeoutMs);
        QCOMPARE(xdotool("search --onlyvisible --name ^Tips$").count('\n'), 0);
        xdotool(row.at(1));
        QCOMPARE(run.exitCode(), 0);
        QCOMPARE(run.outcome(), row.at(2).toLatin1());
    }

    void a_window_closed_during_the_transfer_ends_the_program()
    {
        for (const int steps : {0, 30, 60, 90, 120}) {
            UpdaterRun run;
            startVisible(&run, "packet-time=20");
            QTRY_COMPARE_WITH_TIMEOUT(activeWindow(), QString(mainWindow), endTimeoutMs);
            QTRY_VERIFY_WITH_TIMEOUT(run.percentages().size() >= steps, endTimeoutMs);
            xdotool("key alt+F4");
            QCOMPARE(run.exitCode(), 0);
            QVERIFY(!run.percentages().contains(100));
            QVERIFY(!run.result().contains("success"));
            QVERIFY2(!run.debugOutput().contains("Sanitizer"), run.debugOutput().constData());
        }
    }

    void no_window_is_shown()
    {
        UpdaterRun run;
        start(&run, {run.makePlainImage()}, "verdict=failure2;verdict-delay=3000");
        QTRY_VERIFY_WITH_TIMEOUT(run.result().contains("100%\n"), endTimeoutMs);
        // A window is made before the first percentage, although the window manager may not have
        // shown it yet. The toolkit has a window of its own, with no blank in its name.
        QCOMPARE(xdotool("search --name ^Velmo_KVX2[^_]DFU$"), QString());
        // A message box would stop the program from exiting.
        QCOMPARE(run.exitCode(), 0);
        QCOMPARE(run.outcome(), QByteArray("success -1"));

        // No window appears even with a second argument.
        start(&run, {"./TB210.bin", "any"}, "devices=none");
        QCOMPARE(run.exitCode(), 0);
        QCOMPARE(run.result(), QByteArray("success -1"));
    }

    void keys_and_clicks_wait_for_the_end_of_the_transfer()
    {
        constexpr int packets = 201;
        const char *const confirm = "key shift+Tab space";
        UpdaterRun run;
        startVisible(&run, "packet-time=20;verdict=none");
        QTRY_COMPARE_WITH_TIMEOUT(activeWindow(), QString(mainWindow), endTimeoutMs);
        QTRY_VERIFY_WITH_TIMEOUT(run.percentages().size() > 10, endTimeoutMs);
        xdotool(confirm);
        xdotool("key Tab space Tab space Tab space Tab space Down space Right space Return");
        xdotool("getactivewindow mousemove --window %1 250 140 click 1");
        QVERIFY(!run.percentages().contains(100));
        QVERIFY(run.waitForResultEnd("\n100%\n"));
        QCOMPARE(run.packetsTaken(), packets);

        // Soon after the last percentage, keys work again.
        const auto startsAgain = [&] {
            xdotool(confirm);
            return run.packetsTaken() > packets;
        };
        QTRY_VERIFY_WITH_TIMEOUT(startsAgain(), endTimeoutMs);
        QTRY_COMPARE_WITH_TIMEOUT(run.packetsTaken(), 2 * packets, endTimeoutMs);
    }
};

QTEST_GUILESS_MAIN(VisibleTest)
#include "tst_visible.moc"
