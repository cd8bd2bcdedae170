#include "simulator/windows/BridgeLine.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using sim::BridgeLine;

namespace {

constexpr int endTimeoutMs = 30000;

} // namespace

/// velmo-sim-wine as far as it comes without wine.
class SimWineTest : public QObject
{
    Q_OBJECT

private slots:
    void a_line_says_the_same_at_the_other_end_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<bool>("understood");
        for (const char *text : {"PLUG 0 3C9E 000B velmo-sim0", "UNPLUG 15", "SEND 1 4B00FF",
                                 "READY", "REPORT 2 4B", "FAILED it is cold outside"})
            QTest::newRow(text) << QByteArray(text) << true;
        for (const char *text : {"", "PLUG 0 3C9E 000B", "PLUG 0 3C9E 000B a b", "UNPLUG 16",
                                 "UNPLUG -1", "UNPLUG 1x", "unplug 1", "READY 1"})
            QTest::newRow(text) << QByteArray(text) << false;
    }

    void a_line_says_the_same_at_the_other_end()
    {
        QFETCH(QByteArray, text);
        const auto line = BridgeLine::parse(text.toStdString());
        QTEST(line.has_value(), "understood");
        if (line)
            QCOMPARE(line->text(), (text + '\n').toStdString());
    }

    void bytes_and_ids_come_through()
    {
        const std::vector<std::uint8_t> bytes = {0x00, 0x4B, 0xFF};
        QCOMPARE(BridgeLine::bytesOf(BridgeLine::hexOf(bytes.data(), bytes.size())).value(), bytes);
        QCOMPARE(BridgeLine::idOf(BridgeLine::hexOf(0x3C9E)).value(), std::uint16_t{0x3C9E});
        for (const char *wrong : {"4", "4G", "-1", "4B 0"})
            QVERIFY(!BridgeLine::bytesOf(wrong));
        QVERIFY(!BridgeLine::idOf("3C9"));
    }

    void what_cannot_run_is_told_in_one_line_data()
    {
        QTest::addColumn<QString>("variable");
        QTest::addColumn<QString>("value");
        QTest::addColumn<int>("code");
        const auto row = [](const char *variable, const char *value, int code) {
            QTest::addRow("%s=%s", variable, value)
                << QString::fromLatin1(variable) << QString::fromLatin1(value) << code;
        };
        row("VELMO_SIM", "verdict=perhaps", 78);
        row("VELMO_SIM", "fail-reads=1", 78);
        row("VELMO_SIM", "short-reads=1", 78);
        row("VELMO_SIM", "devices=1,2,3,4,5,6,7,8,9,A,B,C,D,E,F,10", 78);
        row("VELMO_SIM_TRACE", "/nowhere/trace.txt", 78);
        row("WINEPREFIX", "", 78);
        row("WINEPREFIX", "relative", 78);
        row("WINEPREFIX", "/proc/velmo", 78);
        row("VELMO_SIM_BRIDGE", "/nowhere/velmo-simbridge.exe", 78);
        row("DISPLAY", "", 78);
        row("PATH", "/nowhere", 78); // no wine
        row("program", "/nowhere/updater.exe", 66);
    }

    void what_cannot_run_is_told_in_one_line()
    {
        QFETCH(QString, variable);
        QFETCH(QString, value);
        const QTemporaryDir folder;
        // All is well but for one of them.
        QProcessEnvironment environment;
        environment.insert(QStringLiteral("WINEPREFIX"), folder.filePath(QStringLiteral("wine")));
        environment.insert(QStringLiteral("VELMO_SIM_BRIDGE"), QStringLiteral("/bin/true"));
        environment.insert(QStringLiteral("DISPLAY"), QStringLiteral(":65000"));
        environment.insert(QStringLiteral("program"), QStringLiteral("/bin/true"));
        environment.insert(variable, value);
        QProcess process;
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral(VELMO_SIM_WINE),
                      {environment.value(QStringLiteral("program"))});
        QVERIFY(process.waitForFinished(endTimeoutMs));
        QTEST(process.exitCode(), "code");
        const QByteArray said = process.readAllStandardError();
        QVERIFY2(said.count('\n') == 1, said.constData());
        QVERIFY2(said.contains((variable == QLatin1String("program") ? value : variable).toUtf8()),
                 said.constData());
    }
};

QTEST_GUILESS_MAIN(SimWineTest)
#include "tst_sim_wine.moc"
