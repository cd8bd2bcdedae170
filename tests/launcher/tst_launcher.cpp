#include "launcher/BarDisplay.h"
#include "launcher/ExpectedDuration.h"
#include "launcher/InterruptQuestion.h"
#include "launcher/ResultFollower.h"
#include "launcher/Terminal.h"

#include <QTest>

/// What needs no updater: the result file's grammar, the bar, the schedule.
class LauncherTest : public QObject
{
    Q_OBJECT

    using Meaning = InterruptQuestion::Meaning;

private slots:
    void the_result_file_is_understood_piece_by_piece_data()
    {
        using Verdict = ResultFollower::Verdict;
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<int>("percent");
        QTest::addColumn<int>("steps");
        QTest::addColumn<Verdict>("verdict");
        QTest::newRow("success") << QByteArray("0%\n42%\nsuccess 1") << 42 << 2 << Verdict::Success;
        QTest::newRow("failure, CR LF")
            << QByteArray("0%\r\n7%\r\nsuccess -1") << 7 << 2 << Verdict::Failure;
        QTest::newRow("torn outcome") << QByteArray("9%\nsuccess -") << 9 << 1 << Verdict::None;
        QTest::newRow("torn line") << QByteArray("9%\n10%") << 9 << 1 << Verdict::None;
        QTest::newRow("neither down nor above the whole")
            << QByteArray("90%\n3%\n104%\n2%\n") << 100 << 4 << Verdict::None;
        QTest::newRow("noise") << QByteArray("x%\n\n12\n-5%\n99999999999%\nsuccess 2") << 0 << 1
                               << Verdict::None;
    }

    void the_result_file_is_understood_piece_by_piece()
    {
        QFETCH(QByteArray, text);
        for (const int piece : {1, text.size()}) {
            ResultFollower follower;
            for (int begin = 0; begin < text.size(); begin += piece)
                follower.take(text.mid(begin, piece));
            QTEST(follower.percent(), "percent");
            QTEST(follower.steps(), "steps");
            QTEST(follower.verdict(), "verdict");
        }
    }

    void the_bar_fits_every_terminal()
    {
        for (const int columns : {0, 1, 20, 40, 51, 80, 200}) {
            for (const int percent : {0, 50, 100}) {
                const QString line =
                    BarDisplay::line({Progress::Phase::Sending, percent, 9999000, 998001}, columns);
                QVERIFY(line.size() < std::max(1, columns));
                QCOMPARE(line.count(QLatin1Char('#')) > 0, percent > 0 && columns > 51);
                QCOMPARE(line.contains(QLatin1String(", 999 s left")), columns >= 40);
            }
        }
    }

    void long_lines_are_broken_between_words()
    {
        const QString text = QStringLiteral("one two\nthree  averylongword  four\n");
        QCOMPARE(Terminal::broken(text, 30, {}), text);
        QCOMPARE(Terminal::broken(text, 8, QStringLiteral("> ")),
                 QStringLiteral("one two\nthree\n> averylongword\n> four\n"));
        QCOMPARE(Terminal::broken(text, 7, {}),
                 QStringLiteral("one\ntwo\nthree\naverylongword\nfour\n"));
    }

    void the_time_left_follows_the_pace()
    {
        QCOMPARE(Progress::timeLeft(10, 30, 5000), 15000);
        QCOMPARE(Progress::timeLeft(10, 30, 1000), Progress::unknown); // too early to say
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
        // 13 packets: waits behind packets 0, 2 and 7; 14: behind 12 as well.
        QCOMPARE(ExpectedDuration::of(13, false).least, 7.0);
        QCOMPARE(ExpectedDuration::of(13, false).most, 7.6);
        QCOMPARE(ExpectedDuration::of(14, true).least, 10.0);
        QCOMPARE(ExpectedDuration::of(14, true).most, 17.8);
    }
};

Q_DECLARE_METATYPE(ResultFollower::Verdict)
QTEST_GUILESS_MAIN(LauncherTest)
#include "tst_launcher.moc"
