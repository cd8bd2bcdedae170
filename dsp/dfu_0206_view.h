#pragma once

#include <QString>
#include <QWidget>

#include <cstdint>

class QProcess;

/// Flashes the microphone's DSP chip: runs the chip vendor's command-line tool and reads its
/// console output. This widget is never shown. Main thread.
///
/// A run cannot be cancelled, and only its start has a time limit.
///
/// Quirk: if the tool does not start, no signal is emitted, so the window keeps showing its
/// progress overlay. Nobody is known to depend on it.
class dfu_0206_view : public QWidget
{
    Q_OBJECT

public:
    explicit dfu_0206_view(QWidget *parent)
        : QWidget(parent)
    {
    }

    /// Starts the tool for this firmware file. Blocks until it has started, at most 30 s.
    void startDspUpgrade(const QString &filePath);

    /// The process of the current run. Earlier ones stay child objects until the end.
    QProcess *dspProcess = nullptr;
    /// The last total that the tool reported. Never reset, not even by a new run.
    int dspTotal = 0;
    /// USB product id of the connected microphone, set before each run.
    std::uint32_t dspProductId = 0;

signals:
    // The order of signals and slots is fixed: it determines their meta-object index.
    /// The tool's progress, out of dspTotal.
    void dsp_progress_value(int value);
    /// 1 if this run or an earlier one reported a total above 10, else -1. The tool's exit
    /// code is ignored.
    void dsp_finish_progress(int result);

public slots:
    void readResult(int exitCode);
    void onReadData();
};
