#include "tests/endtoend/UpdaterRun.h"

#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <array>

namespace {

constexpr int endTimeoutMs = UpdaterRun::endTimeoutMs;
const char *const mainWindow = "Velmo_KVX2 DFU";

/// The output of an X tool.
QString ask(const char *tool, const QByteArray &arguments)
{
    QProcess process;
    process.start(tool, QString(arguments).split(' '));
    if (!process.waitForFinished(endTimeoutMs))
        qWarning() << tool << process.errorString();
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

void press(const char *keys)
{
    ask("xdotool", keys);
}

/// The name of the window that has the keyboard, or nothing.
QString activeWindow()
{
    return ask("xdotool", "getactivewindow getwindowname");
}

/// The visible windows with a matching name, one on each line.
QString windows(const char *name)
{
    return ask("xdotool", QByteArray("search --onlyvisible --name ") + name);
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

    /// Starts the updater with 201 packets, and waits until its window is on the screen.
    static void startVisible(UpdaterRun *run, const QByteArray &simulator)
    {
        run->display = qEnvironmentVariable("DISPLAY");
        run->start({run->makePlainImage("--records 100 --size 100"), "any"},
                   "silent=entry;enter-time=20;" + simulator);
        QTRY_VERIFY_WITH_TIMEOUT(!windows("^Velmo_KVX2.DFU$").isEmpty(), endTimeoutMs);
    }

    static int percent(const UpdaterRun &run)
    {
        const QList<int> all = run.percentages();
        return all.isEmpty() ? -1 : all.last();
    }

private slots:
    void initTestCase()
    {
        // Without -noreset the server restarts, and drops its clients, when the first one leaves.
        server.start(
            "Xvfb", QString("-displayfd 1 -noreset -nolisten tcp -screen 0 800x600x24").split(' '));
        QVERIFY2(server.waitForStarted(), "Xvfb is needed; scripts/test installs it");
        QTRY_VERIFY_WITH_TIMEOUT(server.canReadLine(), endTimeoutMs);
        qputenv("DISPLAY", ':' + server.readLine().trimmed());

        // The window manager gets a home without settings, so that its default keys work.
        windowManager.start(
            "env", {"-u", "XDG_CONFIG_HOME", "HOME=" + home.path(), "openbox", "--sm-disable"});
        QTRY_VERIFY_WITH_TIMEOUT(
            windowManager.state() == QProcess::NotRunning ||
                ask("xprop", "-root _NET_SUPPORTING_WM_CHECK").contains("window id"),
            endTimeoutMs);
        QVERIFY2(windowManager.state() == QProcess::Running,
                 "openbox is needed; scripts/test installs it");
    }

    void cleanupTestCase()
    {
        for (QProcess *const process : {&windowManager, &server}) {
            process->terminate();
            process->waitForFinished();
        }
    }

    void a_key_closes_the_outcome_and_ends_the_program_data()
    {
        QTest::addColumn<QByteArray>("verdict");
        QTest::addColumn<QByteArray>("key");
        QTest::addColumn<QByteArray>("outcome");
        const auto row = [](const char *verdict, const char *key, const char *outcome) {
            QTest::addRow("%s, %s", verdict, key)
                << QByteArray(verdict) << QByteArray(key) << QByteArray(outcome);
        };
        row("by-image", "key Return", "success 1");
        row("by-image", "key Escape", "success 1");
        row("by-image;verdict-repeat=10", "key Return", "success 1");
        row("failure2", "key Return", "success -1");
        row("failure2", "key alt+n", "success -1");
        row("failure2;verdict-repeat=10", "key Return", "success -1");
    }

    void a_key_closes_the_outcome_and_ends_the_program()
    {
        constexpr int repeats = 50;
        QFETCH(QByteArray, verdict);
        QFETCH(QByteArray, key);
        UpdaterRun run;
        startVisible(&run, "verdict=" + verdict);
        QTRY_COMPARE_WITH_TIMEOUT(activeWindow(), QString("Tips"), endTimeoutMs);
        QCOMPARE(run.process.state(), QProcess::Running);
        // The outcome is written when the box is closed.
        QVERIFY(!run.result().contains("success"));
        const auto heard = [&run] { return run.debugOutput().count("qqqq"); };
        const int before = verdict.contains("repeat") ? heard() : -repeats;
        QTRY_VERIFY_WITH_TIMEOUT(heard() >= before + repeats, endTimeoutMs);
        QCOMPARE(windows("^Tips$").count('\n'), 0);
        press(key);
        QCOMPARE(run.exitCode(), 0);
        QTEST(run.outcome(), "outcome");
    }

    void a_window_closed_during_the_transfer_ends_the_program()
    {
        for (const int far : {0, 15, 30, 45, 60}) {
            UpdaterRun run;
            startVisible(&run, "packet-time=20");
            QTRY_COMPARE_WITH_TIMEOUT(activeWindow(), QString(mainWindow), endTimeoutMs);
            QTRY_VERIFY_WITH_TIMEOUT(percent(run) >= far, endTimeoutMs);
            press("key alt+F4");
            QCOMPARE(run.exitCode(), 0);
            QVERIFY(percent(run) < 100);
            QVERIFY(!run.result().contains("success"));
            QVERIFY2(!run.debugOutput().contains("Sanitizer"), run.debugOutput().constData());
        }
    }

    void no_window_is_shown()
    {
        // A message box would stop the program from exiting.
        const std::initializer_list<std::array<const char *, 3>> ends = {
            {"file:///TB210.bin", UpdaterRun::quickMicrophone, "success 1"},
            {"./TB210.bin", "silent=entry;enter-time=20;verdict=failure2", "success -1"},
            // No window appears even with a second argument.
            {"./TB210.bin any", "devices=none", "success -1"},
        };
        for (const auto &[arguments, simulator, outcome] : ends) {
            UpdaterRun run;
            run.display = qEnvironmentVariable("DISPLAY");
            run.makePlainImage();
            run.start(QString(arguments).split(' '), simulator);
            QVERIFY2(run.exitCode() == 0 && run.outcome() == outcome, simulator);
        }
        UpdaterRun run;
        run.display = qEnvironmentVariable("DISPLAY");
        run.start({run.makePlainImage()}, UpdaterRun::silentMicrophone);
        QVERIFY(run.waitForResultEnd("100%\n"));
        // A window is made before the first percentage, although the window manager may not have
        // shown it yet. The toolkit has a window of its own, with no blank in its name.
        QCOMPARE(ask("xdotool", "search --name ^Velmo_KVX2[^_]DFU$"), QString());
    }

    void keys_and_clicks_wait_for_the_end_of_the_transfer()
    {
        constexpr int packets = 201;
        const char *const confirm = "key shift+Tab space";
        UpdaterRun run;
        startVisible(&run, "packet-time=20;verdict=none");
        QTRY_COMPARE_WITH_TIMEOUT(activeWindow(), QString(mainWindow), endTimeoutMs);
        QTRY_VERIFY_WITH_TIMEOUT(run.percentages().size() > 10, endTimeoutMs);
        press(confirm);
        press("key Tab space Tab space Tab space Tab space Down space Right space Return");
        press("getactivewindow mousemove --window %1 250 140 click 1");
        QVERIFY(percent(run) < 100);
        QVERIFY(run.waitForResultEnd("\n100%\n"));
        const QList<int> first = run.percentages();
        QVERIFY(std::is_sorted(first.begin(), first.end()));
        QCOMPARE(run.packetsTaken(), packets);

        // Now keys work again, and a second transfer counts from 0.
        press(confirm);
        QTRY_COMPARE_WITH_TIMEOUT(run.packetsTaken(), 2 * packets, endTimeoutMs);
        QVERIFY(run.waitForResultEnd("\n100%\n"));
        const QList<int> second = run.percentages().mid(first.size());
        QCOMPARE(second.first(), 0);
        QCOMPARE(second.mid(second.size() - first.size()), first);
    }

    void a_missing_file_is_shown_and_ends_the_program()
    {
        for (const QStringList &arguments :
             {QStringList{"missing.bin"}, QStringList{"missing.bin", "any"}}) {
            UpdaterRun run;
            run.display = qEnvironmentVariable("DISPLAY");
            run.start(arguments, "");
            QTRY_COMPARE_WITH_TIMEOUT(activeWindow(), QString("Title"), endTimeoutMs);
            QCOMPARE(run.process.state(), QProcess::Running);
            press("key Return");
            QCOMPARE(run.exitCode(), 0);
            QCOMPARE(run.result(), QByteArray());
            QCOMPARE(run.packetsTaken(), 0);
        }
    }
};

QTEST_GUILESS_MAIN(VisibleTest)
#include "tst_visible.moc"
