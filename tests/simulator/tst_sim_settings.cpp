#include "simulator/Settings.h"

#include <QTest>

using namespace sim;
using namespace std::chrono_literals;

/// The grammar of VELMO_SIM.
class SettingsTest : public QObject
{
    Q_OBJECT

private slots:
    void accepts()
    {
        const auto parsed = Settings::parse(
            " devices = 46D:c31c , 0065 ;; packet-time= 0.125 ;enter-time=600000;"
            "verdict-delay=7;quiet=8.5;fail-writes=3,7-9,20-;fail-reads=1;short-reads=2;"
            "slow-writes=2;slow-time=600000");
        if (const auto *const fault = std::get_if<std::string>(&parsed))
            QFAIL(fault->c_str());
        const auto &settings = std::get<Settings>(parsed);
        QCOMPARE(settings.devices.size(), std::size_t{2});
        QCOMPARE(settings.devices[0].vendor, std::uint16_t{0x046D});
        QCOMPARE(settings.devices[0].product, std::uint16_t{0xC31C});
        QCOMPARE(settings.devices[1].vendor, std::uint16_t{0x3C9E});
        QVERIFY(settings.packetTime == 125us && settings.microphone.enterTime == 10min);
        QVERIFY(settings.writeTime(1) == 125us && settings.writeTime(2) == 10min);
        QVERIFY(settings.microphone.verdictDelay == 7ms && settings.microphone.quiet == 8500us);
        QByteArray calls;
        for (std::uint32_t call = 1; call <= 22; ++call)
            calls += settings.failingWrites.contains(call) ? 'x' : '-';
        QCOMPARE(calls, QByteArray("--x---xxx----------xxx"));
        QVERIFY(settings.failingReads.contains(1) && settings.shortReads.contains(2));
    }

    void rejects_data()
    {
        QTest::addColumn<QString>("named");
        const auto rows = [](const char *named, std::initializer_list<const char *> texts) {
            for (const char *text : texts)
                QTest::newRow(text) << QString::fromLatin1(named);
        };
        rows("vanish", {"vanish"});
        rows("anwser-delay", {"anwser-delay=1"});
        rows("quiet", {"quiet=1;quiet=2", "quiet=-1", "quiet=5ms", "quiet=1.", "quiet=600000.001"});
        rows("packet-time", {"packet-time=1.0001", "packet-time=600001"});
        rows("devices", {"devices=", "devices=000B,", "devices=none,000B", "devices=0000B"});
        rows("silent", {"silent=yes"});
        rows("verdict", {"verdict=success"});
        rows("unplug-at", {"unplug-at=100000001"});
        rows("fail-writes", {"fail-writes=0", "fail-writes=5-3", "fail-writes=-3"});
        rows("slow-time", {"slow-time=1", "slow-writes=1;slow-time=600001"});
        rows("unplug-after", {"unplug-at=1;unplug-after=1"});
        rows("replug-after", {"replug-after=1"});
        rows("replug-as", {"unplug-at=1;replug-as=10"});
        rows("replug-path", {"replug-path=new"});
        rows("return-as", {"vanish=no;return-as=0010"});
        rows("visitor", {"visitor=none", "visitor=1,2"});
        rows("visitor-stay", {"visitor-stay=1"});
        rows("verdict-at", {"verdict=none;verdict-at=3"});
        rows("verdict-repeat", {"verdict-repeat=0.999", "verdict=none;verdict-repeat=10"});
        rows("enter-time", {"vanish=yes;enter-time=102", "return-as=11;enter-time=102"});
    }

    void rejects()
    {
        QFETCH(QString, named);
        const auto parsed = Settings::parse(QTest::currentDataTag());
        const auto *const fault = std::get_if<std::string>(&parsed);
        QVERIFY(fault != nullptr);
        // In front, quoted or not: the setting; in one line.
        const QString line = QString::fromStdString(*fault);
        QVERIFY2(line.startsWith(named + ':') || line.startsWith('\'' + named + '\''),
                 fault->c_str());
        QVERIFY(!line.contains('\n'));
    }
};

QTEST_APPLESS_MAIN(SettingsTest)
#include "tst_sim_settings.moc"
