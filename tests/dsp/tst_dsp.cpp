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

    void output_is_turned_into_progress()
    {
        // Last progress, total, result; then the tool's plan.
        for (const QByteArray row : {
                 // The third record from the end counts.
                 "6 20 1: print x5/200%\\rx6/200%\\rx7/200%\\rx8/2",
                 // The total loses two characters: 100% becomes 10.
                 "6 10 -1: print x5/100%\\rx6/100%\\rx7/100%\\r",
                 "6 11 1: print x5/11xx\\rx6/11xx\\rx7/11xx\\r",
                 " 0 -1: print x5/200%\\rx6/200%\\r", // too few records
                 " 0 -1: ",
                 " 0 -1: print a\\rb\\rc\\rd\\r",
                 "0 0 -1: print a/b\\rc/d\\re/f\\rg/h\\r",
                 "1 -1 -1: print x1/4294967295xx\\rx1/4294967295xx\\rx1/4294967295xx\\r",
                 "6 20 1: print x5/200%\\rx6/200%\\rx7/200%\\r\ncrash",
             }) {
            init();
            QVERIFY(FakeTool::install(row.mid(row.indexOf(": ") + 2)));
            runner->startDspUpgrade("f.bin");
            QTRY_COMPARE_WITH_TIMEOUT(results.size(), 1, 20000);
            const QString outcome = progress.isEmpty() ? QString() : progress.last();
            QCOMPARE(outcome + QString::asprintf(" %d ", runner->dspTotal) + results.first() +
                         row.mid(row.indexOf(": ")),
                     QString(row));
        }
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
