#include "dsp/dfu_0206_view.h"
#include "tests/support/FakeTool.h"

#include <QFile>
#include <QProcess>
#include <QTest>

#include <memory>

/// Runs a fake tool.
class DspTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<dfu_0206_view> runner;
    QStringList progress;
    QStringList results;
    QFile file{FakeTool::beside("arguments.txt")};

    void start(const QByteArray &plan)
    {
        QVERIFY(FakeTool::install(plan));
        runner->startDspUpgrade("C:/a b/x'y.bin");
    }

private slots:
    void init()
    {
        progress.clear();
        results.clear();
        runner = std::make_unique<dfu_0206_view>(nullptr);
        connect(runner.get(), &dfu_0206_view::dsp_progress_value, this,
                [this](int value) { progress += QString::number(value); });
        connect(runner.get(), &dfu_0206_view::dsp_finish_progress, this,
                [this](int result) { results += QString::number(result); });
    }

    void cleanupTestCase()
    {
        FakeTool::remove();
        file.remove();
    }

    void output_is_turned_into_progress()
    {
        // Last progress, total, result; then the tool's plan.
        for (const QByteArray row : {
                 // The third record from the end counts.
                 "6 20 1: print 5/200%\\r\\n6/200%\\r\\n7/200%\\r\\n",
                 // The total loses two characters: 100% becomes 10.
                 "6 10 -1: print 5/100%\\r\\n6/100%\\r\\n7/100%\\r\\n",
                 "6 11 1: print 5/11xx\\r\\n6/11xx\\r\\n7/11xx\\r\\n",
                 "299 30 1: count 300",
                 " 0 -1: print 5/200%\\r\\n6/200%\\r\\n", // too few records
                 " 0 -1: ",
                 " 0 -1: print a\\rb\\rc\\rd\\r",
                 "0 0 -1: print a/b\\rc/d\\re/f\\rg/h\\r",
                 "1 -1 -1: print x1/4294967295xx\\rx1/4294967295xx\\rx1/4294967295xx\\r\\r",
                 "6 20 1: print 5/200%\\r\\n6/200%\\r\\n7/200%\\r\\n\nexit 1",
                 "6 20 1: print 5/200%\\r\\n6/200%\\r\\n7/200%\\r\\n\ncrash",
             }) {
            init();
            start(row.mid(row.indexOf(": ") + 2));
            QTRY_COMPARE_WITH_TIMEOUT(results.size(), 1, 20000);
            const QString outcome = progress.isEmpty() ? QString() : progress.last();
            QCOMPARE(outcome + QString::asprintf(" %d ", runner->dspTotal) + results.first() +
                         row.mid(row.indexOf(": ")),
                     QString(row));
        }
    }

    void a_second_run_gets_ids_and_file_and_goes_by_the_last_total_seen()
    {
        runner->dspProductId = 0x0A2B;
        for (const QByteArray plan : {"count 300", "arguments arguments.txt"}) {
            const int before = results.size();
            start(plan);
            QTRY_COMPARE(results.size(), before + 1);
        }
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("0x3C9E\na2b\n-s\n-b\nC:/a b/x'y.bin\n"));
        file.remove(); // closes it, too
        QCOMPARE(results.last(), "1");
        QCOMPARE(runner->findChildren<QProcess *>().size(), 2);
    }

    void a_record_split_over_two_chunks_is_skipped()
    {
        // The tool writes the second chunk after the first was read.
        connect(runner.get(), &dfu_0206_view::dsp_progress_value, this,
                [this] { QVERIFY(file.isOpen() || file.open(QIODevice::WriteOnly)); });
        start("print 1/200%\\r\\n2/200%\\r\\n3/200%\\r\\n4/2\nawait arguments.txt\n"
              "print 00%\\r\\n5/200%\\r\\n6/200%\\r\\n");
        QTRY_COMPARE(results.size(), 1);
        QCOMPARE(progress.join(' '), "2 5");
    }

    void a_tool_that_does_not_start_raises_nothing()
    {
        QVERIFY(FakeTool::install(""));
        QVERIFY(QFile::resize(FakeTool::beside("ktTool.exe"), 1)); // not a program
        for (int time = 0; time < 2; ++time) {
            runner->startDspUpgrade("f.bin");
            QCOMPARE(runner->dspProcess->error(), QProcess::FailedToStart);
            QCoreApplication::processEvents();
            QVERIFY(results.isEmpty());
            FakeTool::remove(); // then it is missing
        }
    }
};

QTEST_MAIN(DspTest)
#include "tst_dsp.moc"
