#include <QProcess>
#include <QTest>

/// Two threads on one handle: the plain backend crashes, our library does not. Each try is a
/// separate process because of the crashes.
class tst_hid_stress : public QObject
{
    Q_OBJECT

private:
    const QString host = QStringLiteral(VELMO_SIM_HOST);

private slots:
    void twoThreads_data()
    {
        QTest::addColumn<QStringList>("command");
        QTest::addColumn<bool>("survives");
        const QString ours = QStringLiteral(VELMO_STRESS);
        const QString plain = QStringLiteral(VELMO_STRESS_PLAIN);
        const QString file = QStringLiteral("/dev/full");
        const QString close = QStringLiteral("--close");
        QTest::newRow("ours, unplugged") << QStringList{host, ours, close} << true;
        QTest::newRow("ours, failing file") << QStringList{ours, close, file} << true;
        QTest::newRow("plain, unplugged") << QStringList{host, plain} << false;
        QTest::newRow("plain, failing file") << QStringList{plain, file} << false;
    }

    void twoThreads()
    {
        QFETCH(QStringList, command);
        QFETCH(bool, survives);
        // On umockdev, whose writes are slow, the plain backend crashes in about half of the runs.
        const int tries = survives ? 10 : 40;
        bool died = false;
        for (int i = 0; i < tries && !died; ++i) {
            QProcess process;
            QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
            environment.insert(QStringLiteral("VELMO_SIM"),
                               QStringLiteral("packet-time=0;unplug-after=20"));
            process.setProcessEnvironment(environment);
            process.start(command.first(), command.mid(1));
            QVERIFY(process.waitForFinished(endTimeoutMs));
            const QByteArray errors = process.readAllStandardError();
            // The host reports a signal as a shell does: 128 + its number.
            const bool crashed = process.exitStatus() == QProcess::CrashExit;
            QVERIFY2(!crashed || command.first() != host, "the host itself crashed");
            died = crashed || process.exitCode() > 128 || errors.contains("Sanitizer");
            QVERIFY2(died || process.exitCode() == 0, errors.constData());
            if (survives)
                QVERIFY2(!died, errors.constData());
        }
        QCOMPARE(died, !survives);
    }

private:
    // Far more than a run needs, for machines under load.
    static constexpr int endTimeoutMs = 60000;
};

QTEST_GUILESS_MAIN(tst_hid_stress)
#include "tst_hid_stress.moc"
