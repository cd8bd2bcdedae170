#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

namespace {

// Far above what a run takes, for machines under load.
constexpr int endTimeoutMs = 30000;

void start(QProcess *host, const QStringList &command)
{
    host->start(QStringLiteral(VELMO_SIM_HOST), command);
}

} // namespace

/// What stands around a program on simulated hidraw nodes.
class tst_sim_umockdev : public QObject
{
    Q_OBJECT

private slots:
    void endsWithItsProgram_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("variable");
        QTest::addColumn<QString>("value");
        QTest::addColumn<int>("code");
        QTest::addColumn<QByteArray>("says");
        const QString sim = QStringLiteral("VELMO_SIM");
        QTest::newRow("exit code") << "exit 7" << sim << "" << 7 << QByteArray();
        QTest::newRow("signal") << "kill -TERM $$" << sim << "" << 128 + SIGTERM << QByteArray();
        QTest::newRow("mistake") << "exit 7" << sim << "device=1" << 78 << QByteArray("VELMO_SIM:");
        QTest::newRow("not offered")
            << "exit 7" << sim << "fail-reads=1" << 78 << QByteArray("VELMO_SIM: fail-reads:");
        QTest::newRow("temporary folder") << "exit 7"
                                          << "TMPDIR"
                                          << "/nonexistent" << 71 << QByteArray("TMPDIR:");
    }

    void endsWithItsProgram()
    {
        QFETCH(QString, variable);
        QFETCH(QString, value);
        QFETCH(QString, command);
        QTemporaryDir folder;
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("TMPDIR"), folder.path());
        environment.insert(variable, value);
        QProcess host;
        host.setProcessEnvironment(environment);
        start(&host, {QStringLiteral("sh"), QStringLiteral("-c"), command});
        QVERIFY(host.waitForFinished(endTimeoutMs));
        QTEST(host.exitCode(), "code");
        QFETCH(QByteArray, says);
        const QByteArray errors = host.readAllStandardError();
        QVERIFY2(errors.startsWith(says) && errors.count('\n') == (says.isEmpty() ? 0 : 1), errors);
        QVERIFY(QDir(folder.path()).isEmpty());
    }

    void takesItsProgramAlong_data()
    {
        QTest::addColumn<int>("signal");
        QTest::newRow("terminated") << SIGTERM;
        QTest::newRow("killed") << SIGKILL;
    }

    void takesItsProgramAlong()
    {
        QFETCH(int, signal);
        QTemporaryDir folder;
        QProcess host;
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("TMPDIR"), folder.path());
        host.setProcessEnvironment(environment);
        start(&host, {QStringLiteral("sh"), QStringLiteral("-c"),
                      QStringLiteral("echo $$; exec sleep 3600")});
        QTRY_VERIFY_WITH_TIMEOUT(host.canReadLine(), endTimeoutMs);
        const auto program = static_cast<pid_t>(host.readLine().trimmed().toInt());
        QVERIFY(program > 0 && ::kill(program, 0) == 0);
        ::kill(static_cast<pid_t>(host.processId()), signal);
        QVERIFY(host.waitForFinished(endTimeoutMs));
        QTRY_VERIFY_WITH_TIMEOUT(isGone(program), endTimeoutMs);
    }

private:
    /// Dead, though perhaps nobody has asked for its exit code.
    static bool isGone(pid_t process)
    {
        QFile status(QStringLiteral("/proc/%1/stat").arg(process));
        return !status.open(QIODevice::ReadOnly) || status.readAll().contains(") Z");
    }
};

QTEST_GUILESS_MAIN(tst_sim_umockdev)
#include "tst_sim_umockdev.moc"
