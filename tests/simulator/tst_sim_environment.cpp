#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

/// A program on the loaded simulator: what the environment tells it, and the trace.
class SimEnvironmentTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void tracesEveryCall();
    void aBadSettingEndsTheProcess();
    void anUnwritableTraceEndsTheProcess();

private:
    /// The exit code; standard error goes to `error`.
    int run();

    QTemporaryDir folder;
    QProcessEnvironment environment;
    QString error;
};

void SimEnvironmentTest::init()
{
    environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("LD_LIBRARY_PATH"), QStringLiteral(SIMULATOR_DIR));
    environment.remove(QStringLiteral("VELMO_SIM"));
    environment.remove(QStringLiteral("VELMO_SIM_TRACE"));
}

int SimEnvironmentTest::run()
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(QStringLiteral(PROGRAM), QStringList());
    process.waitForFinished();
    error = QString::fromLocal8Bit(process.readAllStandardError());
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

void SimEnvironmentTest::tracesEveryCall()
{
    const QString path = folder.filePath(QStringLiteral("trace"));
    environment.insert(QStringLiteral("VELMO_SIM_TRACE"), path);
    environment.insert(QStringLiteral("VELMO_SIM"), QStringLiteral("devices=0010"));
    QCOMPARE(run(), 0);
    QCOMPARE(run(), 0); // the file grows

    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QStringList lines = QString::fromLatin1(file.readAll()).split('\n');
    const QStringList expected = {
        "load settings=devices=0010",
        "init",
        "enumerate count=1",
        "open path=/dev/velmo-sim0 handle=1",
        "violation length is not 65",
        "write packet=none length=3 result=-1 why=refused data=4B0102",
        "close handle=1",
    };
    QCOMPARE(lines.size(), 2 * expected.size() + 1);
    double before = 0;
    for (int i = 0; i < expected.size(); ++i) {
        const auto match =
            QRegularExpression(QStringLiteral("^(\\d+\\.\\d{3}) (.*)$")).match(lines[i]);
        QCOMPARE(match.captured(2), expected[i]);
        QVERIFY(match.captured(1).toDouble() >= before);
        before = match.captured(1).toDouble();
    }
}

void SimEnvironmentTest::aBadSettingEndsTheProcess()
{
    environment.insert(QStringLiteral("VELMO_SIM"), QStringLiteral("device=0010"));
    QCOMPARE(run(), 78);
    QVERIFY2(error.startsWith(QStringLiteral("VELMO_SIM: 'device'")), qPrintable(error));
    QCOMPARE(error.count('\n'), 1);
}

void SimEnvironmentTest::anUnwritableTraceEndsTheProcess()
{
    environment.insert(QStringLiteral("VELMO_SIM_TRACE"), folder.filePath("none/trace"));
    QCOMPARE(run(), 78);
    QVERIFY(error.startsWith(QStringLiteral("VELMO_SIM_TRACE: ")));
}

QTEST_GUILESS_MAIN(SimEnvironmentTest)
#include "tst_sim_environment.moc"
