#include "dsp/dfu_0206_view.h"
#include "tests/support/FakeTool.h"

#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>

#include <memory>

/// Runs a fake tool.
class DspTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<dfu_0206_view> runner;

private slots:
    void init() { runner = std::make_unique<dfu_0206_view>(nullptr); }
    void cleanup()
    {
        runner.reset();
        FakeTool::remove();
        QFile::remove(FakeTool::beside("arguments.txt"));
    }

    void the_tool_gets_ids_and_file()
    {
        QVERIFY(FakeTool::install("arguments arguments.txt"));
        runner->dspProductId = 0x0A2B;
        const QSignalSpy finished(runner.get(), &dfu_0206_view::dsp_finish_progress);
        runner->startDspUpgrade(QStringLiteral("C:/a b/x'y.bin"));
        QTRY_COMPARE(finished.size(), 1);
        QFile arguments(FakeTool::beside("arguments.txt"));
        QVERIFY(arguments.open(QIODevice::ReadOnly));
        QCOMPARE(arguments.readAll(), QByteArray("0x3C9E\na2b\n-s\n-b\nC:/a b/x'y.bin\n"));
    }

    void output_is_turned_into_progress_data()
    {
        QTest::addColumn<QByteArray>("plan");
        QTest::addColumn<QString>("progress");
        QTest::addColumn<int>("total");
        QTest::addColumn<int>("result");

        const auto row = [](const char *name, const char *plan, const char *progress, int total,
                            int result) {
            QTest::newRow(name) << QByteArray(plan) << QString::fromLatin1(progress) << total
                                << result;
        };
        row("third from the end", "print 5/200%\\r\\n6/200%\\r\\n7/200%\\r\\n", "6", 20, 1);
        // The total loses two characters: 100% becomes 10.
        row("total cut to 10", "print 5/100%\\r\\n6/100%\\r\\n7/100%\\r\\n", "6", 10, -1);
        row("total cut to 11", "print 5/11xx\\r\\n6/11xx\\r\\n7/11xx\\r\\n", "6", 11, 1);
        row("one big chunk", "count 300", "299", 30, 1);
        row("too few records", "print 5/200%\\r\\n6/200%\\r\\n", "", 0, -1);
        row("nothing", "", "", 0, -1);
        row("no slash", "print a\\rb\\rc\\rd\\r", "", 0, -1);
        row("not numbers", "print a/b\\rc/d\\re/f\\rg/h\\r", "0", 0, -1);
        row("empty fields", "print /\\r/\\r/\\r/\\r", "0", 0, -1);
        row("negative total", "print x1/-50xx\\rx1/-50xx\\rx1/-50xx\\r\\r", "1", 0, -1);
        row("huge total", "print x1/4294967295xx\\rx1/4294967295xx\\rx1/4294967295xx\\r\\r", "1",
            -1, -1);
        row("rubbish without end", "noise 300000", "", 0, -1);
        row("exit code is ignored", "print 5/200%\\r\\n6/200%\\r\\n7/200%\\r\\n\nexit 1", "6", 20,
            1);
        row("crash", "print 5/200%\\r\\n6/200%\\r\\n7/200%\\r\\n\ncrash", "6", 20, 1);
        row("crash without a word", "crash", "", 0, -1);
    }

    void output_is_turned_into_progress()
    {
        QFETCH(QByteArray, plan);
        QVERIFY(FakeTool::install(plan));
        QStringList values;
        connect(runner.get(), &dfu_0206_view::dsp_progress_value, this,
                [&values](int value) { values += QString::number(value); });
        const QSignalSpy finished(runner.get(), &dfu_0206_view::dsp_finish_progress);
        runner->startDspUpgrade(QStringLiteral("f.bin"));
        QTRY_COMPARE_WITH_TIMEOUT(finished.size(), 1, 20000);
        QTEST(values.isEmpty() ? QString() : values.last(), "progress");
        QTEST(runner->dspTotal, "total");
        QTEST(finished.first().first().toInt(), "result");
    }

    void a_record_split_over_two_chunks_is_skipped()
    {
        // The tool writes the second chunk after the first was read.
        QVERIFY(FakeTool::install("print 1/200%\\r\\n2/200%\\r\\n3/200%\\r\\n4/2\n"
                                  "await arguments.txt\n"
                                  "print 00%\\r\\n5/200%\\r\\n6/200%\\r\\n"));
        QStringList values;
        connect(runner.get(), &dfu_0206_view::dsp_progress_value, this, [&values](int value) {
            values += QString::number(value);
            QFile go(FakeTool::beside("arguments.txt"));
            QVERIFY(go.open(QIODevice::WriteOnly));
        });
        const QSignalSpy finished(runner.get(), &dfu_0206_view::dsp_finish_progress);
        runner->startDspUpgrade(QStringLiteral("f.bin"));
        QTRY_COMPARE(finished.size(), 1);
        QCOMPARE(values, (QStringList{QStringLiteral("2"), QStringLiteral("5")}));
    }

    void a_finish_goes_by_the_last_total_seen()
    {
        QVERIFY(FakeTool::install("print 5/200%\\r\\n6/200%\\r\\n7/200%\\r\\n"));
        const QSignalSpy finished(runner.get(), &dfu_0206_view::dsp_finish_progress);
        runner->startDspUpgrade(QStringLiteral("f.bin"));
        QTRY_COMPARE(finished.size(), 1);
        QVERIFY(FakeTool::install(""));
        runner->startDspUpgrade(QStringLiteral("f.bin"));
        QTRY_COMPARE(finished.size(), 2);
        QCOMPARE(finished.last().first().toInt(), 1); // the earlier run's total counts
        QCOMPARE(runner->findChildren<QProcess *>().size(), 2);
    }

    void a_tool_that_does_not_start_raises_nothing_data()
    {
        QTest::addColumn<bool>("present");
        QTest::newRow("missing") << false;
        QTest::newRow("not a program") << true;
    }

    void a_tool_that_does_not_start_raises_nothing()
    {
        QFETCH(bool, present);
        if (present) {
            QVERIFY(FakeTool::install(""));
            QVERIFY(QFile::resize(FakeTool::beside("ktTool.exe"), 1));
        }
        const QSignalSpy finished(runner.get(), &dfu_0206_view::dsp_finish_progress);
        runner->startDspUpgrade(QStringLiteral("f.bin"));
        QCOMPARE(runner->dspProcess->error(), QProcess::FailedToStart);
        QCoreApplication::processEvents();
        QCOMPARE(finished.size(), 0);
    }
};

QTEST_MAIN(DspTest)
#include "tst_dsp.moc"
