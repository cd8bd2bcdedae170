#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

/// How velmo-sim-umockdev ends, and its program with it.
class tst_sim_umockdev : public QObject
{
    Q_OBJECT

private slots:
    void itsProgramAndItEndTogether()
    {
        constexpr int endTimeoutMs = 30000;
        const QTemporaryDir folder;
        qputenv("TMPDIR", folder.path().toLocal8Bit());
        QCOMPARE(QProcess::execute(VELMO_SIM_HOST, {"sh", "-c", "exit 7"}), 7);
        for (const int signal : {SIGTERM, SIGKILL}) {
            QProcess host;
            host.start(VELMO_SIM_HOST, {"sh", "-c", "echo $$; exec sleep 3600"});
            QTRY_VERIFY_WITH_TIMEOUT(host.canReadLine(), endTimeoutMs);
            // A process that is dead has none, even if nobody has asked for its exit code.
            const QString link = QString("/proc/%1/exe").arg(host.readLine().trimmed().toInt());
            QVERIFY(!QFile::symLinkTarget(link).isEmpty());
            ::kill(static_cast<pid_t>(host.processId()), signal);
            QVERIFY(host.waitForFinished(endTimeoutMs));
            QTRY_VERIFY_WITH_TIMEOUT(QFile::symLinkTarget(link).isEmpty(), endTimeoutMs);
        }
    }
};

QTEST_GUILESS_MAIN(tst_sim_umockdev)
#include "tst_sim_umockdev.moc"
