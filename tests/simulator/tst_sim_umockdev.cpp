#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <memory>

/// What stands around a program on simulated hidraw nodes.
class tst_sim_umockdev : public QObject
{
    Q_OBJECT

private:
    // Far above what a run takes, for machines under load.
    static constexpr int endTimeoutMs = 30000;
    std::unique_ptr<QTemporaryDir> folder;
    std::unique_ptr<QProcess> host;

    void start(const QString &script, const QString &settings)
    {
        folder = std::make_unique<QTemporaryDir>();
        host = std::make_unique<QProcess>();
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("TMPDIR"), folder->path());
        environment.insert(QStringLiteral("VELMO_SIM"), settings);
        host->setProcessEnvironment(environment);
        host->start(QStringLiteral(VELMO_SIM_HOST),
                    {QStringLiteral("sh"), QStringLiteral("-c"), script});
    }

    /// Dead, though perhaps nobody has asked for its exit code.
    static bool isGone(pid_t process)
    {
        QFile status(QStringLiteral("/proc/%1/stat").arg(process));
        return !status.open(QIODevice::ReadOnly) || status.readAll().contains(") Z");
    }

private slots:
    void endsWithItsProgram_data()
    {
        QTest::addColumn<QString>("script");
        QTest::addColumn<QString>("settings");
        QTest::addColumn<int>("code");
        QTest::addColumn<QByteArray>("says");
        QTest::newRow("exit code") << "exit 7"
                                   << "" << 7 << QByteArray();
        QTest::newRow("signal") << "kill -TERM $$"
                                << "" << 128 + SIGTERM << QByteArray();
        QTest::newRow("mistake") << "exit 7"
                                 << "device=1" << 78 << QByteArray("VELMO_SIM:");
    }

    void endsWithItsProgram()
    {
        QFETCH(QString, script);
        QFETCH(QString, settings);
        QFETCH(QByteArray, says);
        start(script, settings);
        QVERIFY(host->waitForFinished(endTimeoutMs));
        QTEST(host->exitCode(), "code");
        const QByteArray errors = host->readAllStandardError();
        QVERIFY2(errors.startsWith(says) && errors.count('\n') == (says.isEmpty() ? 0 : 1), errors);
        QVERIFY(QDir(folder->path()).isEmpty());
    }

    void takesItsProgramAlong()
    {
        for (const int signal : {SIGTERM, SIGKILL}) {
            start(QStringLiteral("echo $$; exec sleep 3600"), {});
            QTRY_VERIFY_WITH_TIMEOUT(host->canReadLine(), endTimeoutMs);
            const auto program = static_cast<pid_t>(host->readLine().trimmed().toInt());
            QVERIFY(program > 0 && ::kill(program, 0) == 0);
            ::kill(static_cast<pid_t>(host->processId()), signal);
            QVERIFY(host->waitForFinished(endTimeoutMs));
            QTRY_VERIFY_WITH_TIMEOUT(isGone(program), endTimeoutMs);
        }
    }
};

QTEST_GUILESS_MAIN(tst_sim_umockdev)
#include "tst_sim_umockdev.moc"
