#pragma once

#include <QString>
#include <QWidget>

#include <cstdint>

class QProcess;

/// Flashes the microphone's DSP chip by running the chip vendor's command-line
/// tool and reading its console output.  Never shown; main thread.
///
/// There is no cancel and no time limit but the one on starting.  A tool that does
/// not start raises no signal at all, by decision of this system.
class dfu_0206_view : public QWidget
{
    Q_OBJECT

public:
    explicit dfu_0206_view(QWidget *parent)
        : QWidget(parent)
    {
    }

    /// Starts one run of the tool for this firmware file.  Blocks until the tool
    /// has started, 30 s at most.
    void startDspUpgrade(const QString &filePath);

    /// The current run's process; earlier ones stay children until the end.
    QProcess *dspProcess = nullptr;
    /// The last total that the tool told; never reset, not even by a new run.
    int dspTotal = 0;
    /// USB product id of the connected microphone, set before each run.
    std::uint32_t dspProductId = 0;

signals:
    // The order of signals and slots is fixed: it is their meta-object index.
    /// The tool's progress, in the units of dspTotal.
    void dsp_progress_value(int value);
    /// 1: a total above 10 was told in this run or an earlier one; -1: none.  The
    /// tool's exit code plays no part.
    void dsp_finish_progress(int result);

public slots:
    void readResult(int exitCode);
    void onReadData();
};
