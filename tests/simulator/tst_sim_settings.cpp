#include "simulator/Settings.h"

#include <QTest>

#include <functional>

using namespace sim;
using namespace std::chrono_literals;

using Check = std::function<bool(const Settings &)>;
Q_DECLARE_METATYPE(Check)

/// The grammar of VELMO_SIM.
class SettingsTest : public QObject
{
    Q_OBJECT

private slots:
    void accepts_data();
    void accepts();
    void rejects_data();
    void rejects();
};

void SettingsTest::accepts_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<Check>("check");
    const auto row = [](const char *text, const Check &check) {
        QTest::newRow(*text != '\0' ? text : "nothing") << QString::fromLatin1(text) << check;
    };
    row("", [](const Settings &s) {
        return s.devices.size() == 1 && s.devices[0].product == 0x000B &&
               s.devices[0].vendor == 0x3C9E && s.packetTime == 1ms &&
               s.microphone.answerDelay == 2ms && s.microphone.enterTime == 500ms &&
               s.microphone.verdictDelay == 5ms && s.microphone.quiet == 500ms &&
               s.microphone.verdict == VerdictKind::ByImage && !s.microphone.vanish &&
               !s.microphone.unplugAt && !s.failingWrites.contains(1);
    });
    row(" devices = 46D:c31c , 0065 ;; packet-time= 0.125 ;", [](const Settings &s) {
        return s.devices.size() == 2 && s.devices[0].vendor == 0x046D &&
               s.devices[0].product == 0xC31C && s.devices[1].vendor == 0x3C9E &&
               s.devices[1].product == 0x0065 && s.packetTime == 125us;
    });
    row("devices=none", [](const Settings &s) { return s.devices.empty(); });
    row("answer-delay=3;enter-time=600000;verdict-delay=7;quiet=8.5", [](const Settings &s) {
        return s.microphone.answerDelay == 3ms && s.microphone.enterTime == 10min &&
               s.microphone.verdictDelay == 7ms && s.microphone.quiet == 8500us;
    });
    row("silent=data;verdict=failure-flag;verdict-at=0", [](const Settings &s) {
        return s.microphone.silence == Silence::Data &&
               s.microphone.verdict == VerdictKind::FailureFlag && s.microphone.verdictAt == 0U;
    });
    row("unplug-at=5;replug-after=10;replug-as=10;replug-state=upgrading;replug-path=new",
        [](const Settings &s) {
            return s.microphone.unplugAt == 5U && s.microphone.replugAfter == Time(10ms) &&
                   s.microphone.replugAs == std::uint16_t{0x10} && s.microphone.replugUpgrading &&
                   s.newPath;
        });
    row("unplug-after=9", [](const Settings &s) { return s.microphone.unplugAfter == Time(9ms); });
    row("return-as=0011", [](const Settings &s) {
        return s.microphone.vanish && s.microphone.returnAs == std::uint16_t{0x11};
    });
    row("vanish=yes", [](const Settings &s) { return s.microphone.vanish; });
    row("fail-writes=3,7-9,20-;fail-reads=1;short-reads=2", [](const Settings &s) {
        std::string calls;
        for (std::uint32_t call = 1; call <= 22; ++call)
            if (s.failingWrites.contains(call))
                calls += std::to_string(call) + " ";
        return calls == "3 7 8 9 20 21 22 " && s.failingReads.contains(1) &&
               !s.failingReads.contains(2) && s.shortReads.contains(2) && !s.shortReads.contains(1);
    });
}

void SettingsTest::accepts()
{
    QFETCH(QString, text);
    QFETCH(Check, check);
    const auto parsed = Settings::parse(text.toStdString());
    if (const auto *const fault = std::get_if<std::string>(&parsed))
        QFAIL(fault->c_str());
    QVERIFY(check(std::get<Settings>(parsed)));
}

void SettingsTest::rejects_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("named");
    const auto row = [](const char *text, const char *named) {
        QTest::newRow(text) << QString::fromLatin1(text) << QString::fromLatin1(named);
    };
    row("vanish", "vanish");
    row("anwser-delay=1", "anwser-delay");
    row("quiet=1;quiet=2", "quiet");
    row("quiet=-1", "quiet");
    row("quiet=1e3", "quiet");
    row("quiet=5ms", "quiet");
    row("quiet=600000.001", "quiet");
    row("quiet=600001", "quiet");
    row("packet-time=1.0001", "packet-time");
    row("devices=", "devices");
    row("devices=000B,", "devices");
    row("devices=none,000B", "devices");
    row("devices=0000B", "devices");
    row("devices=0x0B", "devices");
    row("silent=yes", "silent");
    row("verdict=success", "verdict");
    row("unplug-at=100000001", "unplug-at");
    row("fail-writes=0", "fail-writes");
    row("fail-writes=5-3", "fail-writes");
    row("fail-reads=-3", "fail-reads");
    row("short-reads=1,", "short-reads");
    row("unplug-at=1;unplug-after=1", "unplug-after");
    row("replug-after=1", "replug-after");
    row("unplug-at=1;replug-as=10", "replug-as");
    row("replug-path=new", "replug-path");
    row("vanish=no;return-as=0010", "return-as");
    row("verdict=none;verdict-at=3", "verdict-at");
    row("vanish=yes;enter-time=12", "enter-time");
}

void SettingsTest::rejects()
{
    QFETCH(QString, text);
    QFETCH(QString, named);
    const auto parsed = Settings::parse(text.toStdString());
    const auto *const fault = std::get_if<std::string>(&parsed);
    QVERIFY(fault != nullptr);
    // In front, quoted or not: the setting; in one line.
    const QString line = QString::fromStdString(*fault);
    QVERIFY2(line.startsWith(named) || line.startsWith(QLatin1Char('\'') + named), fault->c_str());
    QVERIFY(!line.contains(QLatin1Char('\n')));
}

QTEST_APPLESS_MAIN(SettingsTest)
#include "tst_sim_settings.moc"
