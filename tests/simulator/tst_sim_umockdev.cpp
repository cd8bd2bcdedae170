#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

/// How velmo-sim-umockdev ends, and its program with it.
class tst_sim_umockdev : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir folder;

private slots:
    void initTestCase() { qputenv("TMPDIR", folder.path().toLocal8Bit()); }

    void endsAsItsProgramDoes()
    {
        const QString host = VELMO_SIM_HOST;
        QCOMPARE(QProcess::execute(host, {"sh", "-c", "exit 7"}), 7);
        QCOMPARE(QProcess::execute(host, {"sh", "-c", "kill -TERM $$"}), 128 + SIGTERM);
        QVERIFY(QDir(folder.path()).isEmpty());
    }

    void takesItsProgramAlong()
    {
        constexpr int endTimeoutMs = 30000;
        for (const int signal : {SIGTERM, SIGKILL}) {
            QProcess host;
            host.start(VELMO_SIM_HOST, {"sh", "-c", "echo $$; exec sleep 3600"});
            QTRY_VERIFY_WITH_TIMEOUT(host.canReadLine(), endTimeoutMs);
            const auto program = host.readLine().trimmed().toInt();
            QVERIFY(program > 0 && ::kill(program, 0) == 0);
            ::kill(static_cast<pid_t>(host.processId()), signal);
            QVERIFY(host.waitForFinished(endTimeoutMs));
            // Dead, though perhaps nobody has asked for its exit code.
            const auto isGone = [program] {
                QFile status(QString("/proc/%1/stat").arg(program));
                return !status.open(QIODevice::ReadOnly) || status.readAll().contains(") Z");
            };
            QTRY_VERIFY_WITH_TIMEOUT(isGone(), endTimeoutMs);
        }
    }
};

QTEST_GUILESS_MAIN(tst_sim_umockdev)
#include "tst_sim_umockdev.moc"
