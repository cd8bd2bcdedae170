#include "launcher/ExpectedDuration.h"
#include "launcher/InterruptQuestion.h"
#include "launcher/Terminal.h"
#include "launcher/TextDisplay.h"
#include "launcher/UpdaterLog.h"

#include <QTest>

/// What can be tested without an updater: the output parser, the bar, the schedule.
class LauncherTest : public QObject
{
    Q_OBJECT

    using Meaning = InterruptQuestion::Meaning;

private slots:
    void the_output_is_understood_piece_by_piece_data()
    {
        using Verdict = UpdaterLog::Verdict;
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<int>("sent");
        QTest::addColumn<int>("percent");
        QTest::addColumn<Verdict>("verdict");
        const QByteArray ready =
            "createUI----\nxxxxx 11 64\n" + QByteArray("jjjjjjjsend_message  4b 1\n").repeated(3);
        const QByteArray half = ready + QByteArray("dfuxxx------  4b 1\n").repeated(2);
        const QByteArray all = ready + QByteArray("dfuxxx------  4b 1\n").repeated(4);
        const auto status = [](const char *code, const char *flag) {
            return QByteArray("qqqq  4b 0 0 0 b 0 0 ") + code + ' ' + flag +
                   QByteArray(" 0").repeated(55) + " 1 2\n";
        };
        QTest::newRow("before anything is sent") << ready << 0 << 0 << Verdict::None;
        QTest::newRow("torn line") << half.chopped(1) << 1 << 25 << Verdict::None;
        QTest::newRow("torn status")
            << half + status("5", "0").chopped(1) << 2 << 50 << Verdict::None;
        QTest::newRow("all but the end") << all << 4 << 99 << Verdict::None;
        QTest::newRow("flashed") << all + "0 ggg 4\n" + status("3", "0") + status("5", "0") << 4
                                 << 100 << Verdict::Succeeded;
        QTest::newRow("failed, CR LF")
            << QByteArray(half + status("6", "1") + "0 ggg 2\n").replace("\n", "\r\n") << 2 << 50
            << Verdict::Failed;
        QTest::newRow("the first verdict stands")
            << half + status("4", "0") + status("6", "0") << 2 << 50 << Verdict::Failed;
        QTest::newRow("no first packet") << half + "0 ggg 4\n" << 2 << 100 << Verdict::None;
        QTest::newRow("another one's")
            << all.mid(13) + "0 ggg 4\n" + status("5", "0") << 0 << 0 << Verdict::None;
        QTest::newRow("noise") << QByteArray("createUI----\n\n0 ggg 0\nqqqq\nxdfuxxx------\n") << 0
                               << 0 << Verdict::None;
    }

    void the_output_is_understood_piece_by_piece()
    {
        QFETCH(QByteArray, text);
        for (const int piece : {1, text.size()}) {
            UpdaterLog log;
            for (int begin = 0; begin < text.size(); begin += piece)
                log.append(text.mid(begin, piece));
            QTEST(log.packetsSent(), "sent");
            QTEST(log.percent(), "percent");
            QTEST(log.verdict(), "verdict");
        }
    }

    void the_bar_fits_every_terminal()
    {
        for (const int columns : {0, 1, 20, 40, 51, 80, 200}) {
            for (const int percent : {0, 50, 100}) {
                const QString line = TextDisplay::barLine(
                    {Progress::Phase::Sending, percent, 9999000, 998001}, columns);
                QVERIFY(line.size() < std::max(1, columns));
                QCOMPARE(line.count(QLatin1Char('#')) > 0, percent > 0 && columns > 51);
                QCOMPARE(line.contains(QLatin1String(", 999 s left")), columns >= 40);
                // The word is there as a whole or not at all.
                QCOMPARE(line.contains(QLatin1Char('s')), line.contains(QLatin1String("sending")));
            }
        }
    }

    void long_lines_are_wrapped_between_words()
    {
        const QString text = QStringLiteral("one two\nthree  averylongword  four\n");
        QCOMPARE(Terminal::wrapped(text, 30, {}), text);
        QCOMPARE(Terminal::wrapped(text, 8, QStringLiteral("> ")),
                 QStringLiteral("one two\nthree\n> averylongword\n> four\n"));
        QCOMPARE(Terminal::wrapped(text, 7, {}),
                 QStringLiteral("one\ntwo\nthree\naverylongword\nfour\n"));
    }

    void the_time_left_follows_the_pace()
    {
        QCOMPARE(Progress::timeLeft(10, 30, 5000), 15000);
        QCOMPARE(Progress::timeLeft(10, 30, 1000), Progress::unknown); // too early
        QCOMPARE(Progress::timeLeft(0, 30, 5000), Progress::unknown);
    }

    void two_presses_at_once_ask_once()
    {
        InterruptQuestion question;
        for (const auto &[pressed, meaning] :
             std::initializer_list<std::pair<int, Meaning>>{{0, Meaning::Nothing},
                                                            {2, Meaning::Ask},
                                                            {2, Meaning::Nothing},
                                                            {3, Meaning::End}})
            QCOMPARE(question.take(pressed), meaning);
    }

    void the_duration_follows_the_schedule()
    {
        // 13 packets: waits after packets 0, 2 and 7. 14 packets: also after 12.
        QCOMPARE(ExpectedDuration::of(13, false).least, 7.0);
        QCOMPARE(ExpectedDuration::of(13, false).most, 7.6);
        QCOMPARE(ExpectedDuration::of(14, true).least, 10.0);
        QCOMPARE(ExpectedDuration::of(14, true).most, 17.8);
    }
};

Q_DECLARE_METATYPE(UpdaterLog::Verdict)
QTEST_GUILESS_MAIN(LauncherTest)
#include "tst_launcher.moc"
