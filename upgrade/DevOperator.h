#pragma once

#include "upgrade/CFirmwareUpgradeProtocol.h"
#include "upgrade/InputReport.h"
#include "upgrade/PacketList.h"
#include "upgrade/ReportBuffer.h"
#include "upgrade/TransferClock.h"

#include <QObject>
#include <QTimer>
#include <QVector>

#include <atomic>

/// The object through which the updater talks to the microphone. It creates the device
/// manager, is its protocol, sends the firmware, and holds the state that the operator and
/// worker threads share.
///
/// The main thread creates and connects it; the worker thread calls readDeviceReport(). There
/// is no lock: shared variables are atomic, one load or store at a time.
///
/// Quirk: it lives in its own thread, the operator thread, which calls tb210_startSendMsg() and
/// never returns from there. That thread therefore handles no events and confirmTimer never
/// fires. The window depends on that: only the microphone decides whether the upgrade failed.
class DevOperator : public QObject, public CFirmwareUpgradeProtocol
{
    Q_OBJECT

public:
    explicit DevOperator(QObject *parent);
    /// Deletes the device manager.
    ~DevOperator() override;
    Q_DISABLE_COPY_MOVE(DevOperator)

    /// Creates the device manager and connects to a microphone that is plugged in. Returns
    /// false if there is none (a later arrival connects) or the HID library does not start.
    /// Main thread.
    bool initDeviceManager();

    void onDeviceEvent(std::uint32_t word) override;
    /// Called on the thread that opened the device.
    void onDeviceConnected(ICommDeviceMgmt *connected) override;
    void onDeviceDisconnected() override;

    /// Reads an input report and acts on it. Worker thread.
    void readDeviceReport();

    /// One round of each endless loop below.
    void transferPass();
    void shortCommandPass();
    void reportRequestPass();

    /// For tests: replace the real manager or clock. Not owned.
    void setManager(ICommDeviceMgmt *other) { manager = other; }
    void setClock(TransferClock *other) { clock = other; }

    ReportBuffer reportBuffer;
    /// Set by the operator thread before it waits for the microphone. Cleared by the worker
    /// thread when a report arrives while packets remain.
    std::atomic<bool> awaitingConfirmation{false};
    /// The packets of the transfer, packet 0 first. Filled by the main thread, read by the
    /// operator thread. Emptied by the operator thread when all are sent, and by the worker
    /// thread on a verdict.
    PacketList pendingPackets;
    /// The current batch. Filled and read by the operator thread, emptied by the worker
    /// thread on a verdict.
    PacketList inFlightBatch;
    /// Packets counted as sent. Incremented by the operator thread, set to 0 by the main
    /// thread with a new list.
    std::atomic<std::uint32_t> sentCount{0};
    /// Product id of the open microphone. Main thread.
    std::uint32_t connectedProductId = 0;
    /// Confirmation time-out. It repeats and is never stopped, but it does not fire in the
    /// updater (see above).
    QTimer *confirmTimer;

    /// Number of data records of the image. Set by the main thread, for information only.
    int recordCount = 0;
    /// The latest report, and the latest model-code report. Worker thread.
    InputReport lastReport;
    InputReport modelReport;

signals:
    // The order of signals and slots is fixed: it determines their meta-object index.
    void connectDevice();
    void disconnectDevice();
    void refresh_main_signal();
    void tb210_refresh_main_signal();
    void tb210_sysreceive_datasignal();
    /// Packets sent so far.
    void tb210_progress_current_value(int sent);
    /// 1: the upgrade failed; 2: it succeeded; negative: the status of a failed command.
    void tb210_break_fail_mess(int status);
    void blockDfuStatus(int state);
    void blockModelCodel();

public slots:
    void startSendMsg();
    void tb210_startSendMsg();
    void tb210_startReceiveMsg();
    void timeOutAction();

private:
    // The transfer, step by step (docs/protocol.md has the schedule).
    void walkPackets();
    void runStep(int index);
    void sendEntryPacket();
    void waitForRestart();
    void sendOpeningPackets();
    void sendBatchBefore(int index);
    void sendTail();
    void sendOne(const QByteArray &packet, int indexInBatch);
    /// Returns false if no report came in time.
    bool waitForConfirmation();

    // The command queues.
    void serveQueues();
    /// Pauses, then sends the queue's first command, padded to 12 bytes. Returns its status.
    template <class Queue>
    int sendFirst(const Queue &queue, int pauseMs);
    /// Sends the first command and emits a signal if that fails.
    template <class Queue>
    void serveCommand(Queue &queue);
    void disconnectedPass();

    // The input reports.
    void handleVerdict(InputReport::Verdict verdict);
    void handleModelCode(const InputReport &report);
    void handleParameterReport(const InputReport &report);

    TransferClock realClock;
    TransferClock *clock = &realClock;
};

/// The bytes of the model-code reports in order of arrival, and the number of status reports.
/// Worker thread.
extern QVector<std::uint8_t> modelCodes;
extern int statusReportCount;
