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
        QTest::addColumn<int>("code");
        for (const char *wrong :
             {"VELMO_SIM=verdict=perhaps", "VELMO_SIM=fail-reads=1", "VELMO_SIM=short-reads=1",
              "VELMO_SIM=devices=1,2,3,4,5,6,7,8,9,A,B,C,D,E,F,10",
              "VELMO_SIM_TRACE=/nowhere/trace.txt", "WINEPREFIX=", "WINEPREFIX=relative",
              "WINEPREFIX=/proc/velmo", "VELMO_SIM_BRIDGE=/nowhere/velmo-simbridge.exe",
              "DISPLAY=", "PATH=/nowhere"})
            QTest::newRow(wrong) << 78;
        QTest::newRow("/nowhere/updater.exe") << 66;
    }

    void what_cannot_run_is_told_in_one_line()
    {
        const QString wrong = QString::fromLatin1(QTest::currentDataTag());
        const QString variable = wrong.section(QLatin1Char('='), 0, 0);
        const bool isProgram = variable == wrong;
        const QTemporaryDir folder;
        // All is well but for one of them.
        QProcessEnvironment environment;
        environment.insert(QStringLiteral("WINEPREFIX"), folder.filePath(QStringLiteral("wine")));
        environment.insert(QStringLiteral("VELMO_SIM_BRIDGE"), QStringLiteral("/bin/true"));
        environment.insert(QStringLiteral("DISPLAY"), QStringLiteral(":65000"));
        if (!isProgram)
            environment.insert(variable, wrong.section(QLatin1Char('='), 1));
        QProcess process;
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral(VELMO_SIM_WINE),
                      {isProgram ? wrong : QStringLiteral("/bin/true")});
        QVERIFY(process.waitForFinished(endTimeoutMs));
        QTEST(process.exitCode(), "code");
        const QByteArray said = process.readAllStandardError();
        QVERIFY2(said.count('\n') == 1 && said.contains(variable.toUtf8()), said.constData());
    }
};

QTEST_GUILESS_MAIN(SimWineTest)
#include "tst_sim_wine.moc"
