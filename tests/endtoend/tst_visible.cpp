#include "tests/endtoend/UpdaterRun.h"

#include <QTemporaryDir>
#include <QTest>

#include <algorithm>

namespace {

// Far above what a run takes, for machines under load.
constexpr int endTimeoutMs = 90000;
constexpr int repeatsHeard = 50;

QString text(const char *latin1)
{
    return QString::fromLatin1(latin1);
}

} // namespace

/// The real program on a screen, with a window manager and real key presses.
class VisibleTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir home;
    QString display;
    QProcess server;
    QProcess windowManager;

    /// What an X tool prints.
    QString ask(const char *tool, const QByteArray &arguments) const;
    QProcessEnvironment onDisplay() const;
    /// The window that has the keyboard; empty without one.
    QString activeWindow() const { return ask("xdotool", "getactivewindow getwindowname"); }
    void press(const char *key) const { ask("xdotool", key); }

private slots:
    void initTestCase()
    {
        // Without -noreset it starts anew, and drops its clients, when the first leaves.
        server.start(text("Xvfb"), text("-displayfd 1 -noreset -nolisten tcp -screen 0 800x600x24")
                                       .split(QLatin1Char(' ')));
        QVERIFY2(server.waitForStarted(), "Xvfb is needed; scripts/test installs it");
        QTRY_VERIFY_WITH_TIMEOUT(server.canReadLine(), endTimeoutMs);
        display = QLatin1Char(':') + QString::fromLatin1(server.readLine()).trimmed();

        // A home without settings, so that its own keys are in force.
        QProcessEnvironment environment = onDisplay();
        environment.insert(text("HOME"), home.path());
        environment.remove(text("XDG_CONFIG_HOME"));
        windowManager.setProcessEnvironment(environment);
        windowManager.start(text("openbox"), {text("--sm-disable")});
        QVERIFY2(windowManager.waitForStarted(), "openbox is needed; scripts/test installs it");
        QTRY_VERIFY_WITH_TIMEOUT(
            windowManager.state() != QProcess::Running ||
                ask("xprop", "-root _NET_SUPPORTING_WM_CHECK").contains(text("window id")),
            endTimeoutMs);
        QCOMPARE(windowManager.state(), QProcess::Running);
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
        QTest::newRow("success") << QByteArray("by-image") << QByteArray("key Return")
                                 << QByteArray("success 1");
        QTest::newRow("success, Escape")
            << QByteArray("by-image") << QByteArray("key Escape") << QByteArray("success 1");
        QTest::newRow("success, said again and again")
            << QByteArray("by-image;verdict-repeat=10") << QByteArray("key Return")
            << QByteArray("success 1");
        QTest::newRow("failure, said again and again")
            << QByteArray("failure2;verdict-repeat=10") << QByteArray("key Return")
            << QByteArray("success -1");
        QTest::newRow("failure") << QByteArray("failure2") << QByteArray("key Return")
                                 << QByteArray("success -1");
        QTest::newRow("failure, No")
            << QByteArray("failure2") << QByteArray("key alt+n") << QByteArray("success -1");
    }

    void a_key_closes_the_outcome_and_ends_the_program()
    {
        QFETCH(QByteArray, verdict);
        QFETCH(QByteArray, key);
        UpdaterRun run;
        run.display = display;
        const QString image = run.makeFirmware(text("TB210.bin"), {});
        run.start({image, text("any")}, "silent=entry;enter-time=20;verdict=" + verdict);
        QTRY_VERIFY_WITH_TIMEOUT(
            !ask("xdotool", "search --onlyvisible --name ^Velmo_KVX2.DFU$").isEmpty(),
            endTimeoutMs);
        QTRY_COMPARE_WITH_TIMEOUT(activeWindow(), text("Tips"), endTimeoutMs);
        QCOMPARE(run.process.state(), QProcess::Running);
        QVERIFY(!run.result().contains("success")); // that comes when the box is closed
        if (verdict.contains("verdict-repeat")) {
            const auto heard = [&] { return run.debugOutput().count("qqqq"); };
            const int before = heard();
            QTRY_VERIFY_WITH_TIMEOUT(heard() >= before + repeatsHeard, endTimeoutMs);
        }
        QCOMPARE(
            ask("xdotool", "search --onlyvisible --name ^Tips$").split(QLatin1Char('\n')).size(),
            1);
        press(key);
        QVERIFY(run.waitForExit(endTimeoutMs));
        QCOMPARE(run.process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(run.process.exitCode(), 0);
        QTEST(run.result().split('\n').last(), "outcome");
    }

    void a_window_closed_during_the_transfer_ends_the_program_data()
    {
        QTest::addColumn<int>("percent");
        for (const int percent : {0, 15, 30, 45, 60})
            QTest::addRow("at %d%%", percent) << percent;
    }

    void a_window_closed_during_the_transfer_ends_the_program()
    {
        QFETCH(int, percent);
        UpdaterRun run;
        run.display = display;
        const QString image = run.makeFirmware(
            text("TB210.bin"), {text("--records"), text("100"), text("--size"), text("100")});
        run.start({image, text("any")}, "silent=entry;enter-time=20;packet-time=20");
        QTRY_COMPARE_WITH_TIMEOUT(activeWindow(), text("Velmo_KVX2 DFU"), endTimeoutMs);
        const auto far = [&] {
            return run.percentages().isEmpty() ? -1 : run.percentages().last();
        };
        QTRY_VERIFY_WITH_TIMEOUT(far() >= percent, endTimeoutMs);
        press("key alt+F4");
        QVERIFY(run.waitForExit(endTimeoutMs));
        QCOMPARE(run.process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(run.process.exitCode(), 0);
        QVERIFY(far() < 100);
        QVERIFY(!run.result().contains("success"));
        QVERIFY2(!run.debugOutput().contains("Sanitizer"), run.debugOutput().constData());
    }

    void no_window_is_shown_data()
    {
        QTest::addColumn<QByteArray>("arguments");
        QTest::addColumn<QByteArray>("simulator");
        QTest::addColumn<QByteArray>("outcome");
        const QByteArray quick = "silent=entry;enter-time=20;verdict=";
        QTest::newRow("success, by a URL")
            << QByteArray("file:///TB210.bin") << quick + "by-image" << QByteArray("success 1");
        QTest::newRow("failure") << QByteArray("./TB210.bin") << quick + "failure2"
                                 << QByteArray("success -1");
        QTest::newRow("no microphone, although a window is asked for")
            << QByteArray("./TB210.bin any") << QByteArray("devices=none")
            << QByteArray("success -1");
    }

    void no_window_is_shown()
    {
        QFETCH(QByteArray, arguments);
        QFETCH(QByteArray, simulator);
        // Of each window that comes and goes it prints a line; the mark says that it has
        // told all that was before.
        const auto setMark = [this](const QByteArray &mark) {
            ask("xprop", "-root -format VELMO_MARK 8s -set VELMO_MARK " + mark);
        };
        setMark("begin"); // it hears of no property that nobody has set yet
        QTRY_VERIFY_WITH_TIMEOUT(!ask("xprop", "-root _NET_CLIENT_LIST").contains(text("0x")),
                                 endTimeoutMs);
        QProcess windows;
        windows.setProcessEnvironment(onDisplay());
        windows.start(text("xprop"), text("-root -spy _NET_CLIENT_LIST VELMO_MARK").split(' '));
        QByteArray told;
        const auto tells = [&](const QByteArray &what) {
            return (told += windows.readAll()).contains(what);
        };
        QTRY_VERIFY_WITH_TIMEOUT(tells("begin"), endTimeoutMs);

        UpdaterRun run;
        run.display = display;
        QCOMPARE(run.makePlainImage(), text("./TB210.bin"));
        run.start(text(arguments).split(' '), simulator);
        QTRY_VERIFY_WITH_TIMEOUT(run.waitForExit(0) || tells("0x"), endTimeoutMs);
        setMark("end");
        QTRY_VERIFY_WITH_TIMEOUT(tells("end"), endTimeoutMs);
        windows.kill();
        windows.waitForFinished();
        QVERIFY2(!told.contains("0x"), told.constData());
        QCOMPARE(run.process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(run.process.exitCode(), 0);
        QTEST(run.result().split('\n').last(), "outcome");
    }

    void keys_and_clicks_wait_for_the_end_of_the_transfer()
    {
        constexpr int packets = 201;
        constexpr int whole = 100;
        const char *const confirm = "key shift+Tab space";
        UpdaterRun run;
        run.display = display;
        const QString image = run.makeFirmware(
            text("TB210.bin"), {text("--records"), text("100"), text("--size"), text("100")});
        run.start({image, text("any")}, "silent=entry;enter-time=20;packet-time=20;verdict=none");
        QTRY_COMPARE_WITH_TIMEOUT(activeWindow(), text("Velmo_KVX2 DFU"), endTimeoutMs);
        QTRY_VERIFY_WITH_TIMEOUT(run.percentages().size() > 10, endTimeoutMs);
        press(confirm);
        press("key Tab space Tab space Tab space Tab space Down space Right space Return");
        press("getactivewindow mousemove --window %1 250 140 click 1");
        QVERIFY(run.percentages().last() < whole);
        QVERIFY(run.waitForResultEnd("\n100%\n", endTimeoutMs));
        const QList<int> first = run.percentages();
        QVERIFY(std::is_sorted(first.begin(), first.end()));
        QCOMPARE(run.packetsTaken(), packets);

        // Then they act again, and a second transfer counts from the begin.
        press(confirm);
        QTRY_COMPARE_WITH_TIMEOUT(run.packetsTaken(), 2 * packets, endTimeoutMs);
        QVERIFY(run.waitForResultEnd("\n100%\n", endTimeoutMs));
        const QList<int> second = run.percentages().mid(first.size());
        QCOMPARE(second.first(), 0);
        QCOMPARE(second.mid(second.size() - first.size()), first);
    }

    void a_missing_file_is_shown_and_ends_the_program_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("headless") << QStringList{text("missing.bin")};
        QTest::newRow("visible") << QStringList{text("missing.bin"), text("any")};
    }

    void a_missing_file_is_shown_and_ends_the_program()
    {
        QFETCH(QStringList, arguments);
        UpdaterRun run;
        run.display = display;
        run.start(arguments, "");
        QTRY_COMPARE_WITH_TIMEOUT(activeWindow(), text("Title"), endTimeoutMs);
        QCOMPARE(run.process.state(), QProcess::Running);
        press("key Return");
        QVERIFY(run.waitForExit(endTimeoutMs));
        QCOMPARE(run.process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(run.process.exitCode(), 0);
        QCOMPARE(run.result(), QByteArray());
        QCOMPARE(run.packetsTaken(), 0);
    }
};

QProcessEnvironment VisibleTest::onDisplay() const
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(text("DISPLAY"), display);
    return environment;
}

QString VisibleTest::ask(const char *tool, const QByteArray &arguments) const
{
    QProcess process;
    process.setProcessEnvironment(onDisplay());
    process.start(text(tool), text(arguments).split(QLatin1Char(' ')));
    if (!process.waitForFinished(endTimeoutMs))
        qWarning() << tool << process.errorString();
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

QTEST_GUILESS_MAIN(VisibleTest)
#include "tst_visible.moc"
