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

/// The one object through which the updater talks to the microphone: it creates
/// the device manager, is its protocol and listener, streams the firmware, and
/// carries the state that the transfer and the worker thread share.
///
/// The main thread creates and connects it; the worker thread calls readDeviceReport().
/// There is no lock: what they share is atomic, one load or store at a time.
///
/// Quirk: it lives in a thread of its own, which tb210_startSendMsg() enters and never
/// leaves, so that thread processes no event after that.  The verdict therefore comes from
/// the microphone alone: confirmTimer never fires.
class DevOperator : public QObject, public CFirmwareUpgradeProtocol
{
    Q_OBJECT

public:
    explicit DevOperator(QObject *parent);
    /// Deletes the device manager.
    ~DevOperator() override;
    Q_DISABLE_COPY_MOVE(DevOperator)

    /// Creates the device manager and connects to a microphone that is already
    /// there.  False when there is none (a later arrival connects) or the HID
    /// library does not start.  Main thread.
    bool initDeviceManager();

    void onDeviceEvent(std::uint32_t word) override;
    /// On the thread of the manager call that opened the device.
    void onDeviceConnected(ICommDeviceMgmt *connected) override;
    void onDeviceDisconnected() override;

    /// One poll of the worker thread: reads an input report and acts on it.
    void readDeviceReport();

    /// One round of each endless loop below.
    void transferPass();
    void shortCommandPass();
    void reportRequestPass();

    /// For tests: another manager or clock than the real ones; not owned.
    void setManager(ICommDeviceMgmt *other) { manager = other; }
    void setClock(TransferClock *other) { clock = other; }

    /// Parameter reports; see there.
    ReportBuffer reportBuffer;
    /// Set by the operator thread before it waits for the microphone; cleared by
    /// the worker thread when a report arrives while packets remain.
    std::atomic<bool> awaitingConfirmation{false};
    /// The packets still to be sent, packet 0 first.  Filled by the main thread,
    /// walked by the operator thread; emptied by it when all are sent and by the
    /// worker thread on a verdict.
    PacketList pendingPackets;
    /// The batch being sent.  Filled and walked by the operator thread, emptied by
    /// the worker thread on a verdict.
    PacketList inFlightBatch;
    /// Packets accounted as sent.  Advanced by the operator thread, set to 0 by the
    /// main thread with a new list.
    std::atomic<std::uint32_t> sentCount{0};
    /// Product id of the open microphone.  Main thread.
    std::uint32_t connectedProductId = 0;
    /// Confirmation time-out; repeating, never stopped.  Its thread processes no
    /// events once the transfer loop runs, so it does not fire in the updater.
    QTimer *confirmTimer;

    /// Number of data records of the image; set by the main thread, informative.
    int recordCount = 0;
    /// The latest report, and the latest model-code report.  Worker thread.
    InputReport lastReport;
    InputReport modelReport;

signals:
    // The order of signals and slots is fixed: it is their meta-object index.
    void connectDevice();
    void disconnectDevice();
    void refresh_main_signal();
    void tb210_refresh_main_signal();
    void tb210_sysreceive_datasignal();
    /// Packets sent so far.
    void tb210_progress_current_value(int sent);
    /// 1: the upgrade failed; 2: it succeeded; negative: status of a failed command.
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
    void takeStep(int index);
    void sendEntryPacket();
    void waitForRestart();
    void sendOpeningPackets();
    void sendBatchBefore(int index);
    void sendTail();
    void sendOne(const QByteArray &packet, int indexInBatch);
    /// False when no report came within the window.
    bool waitForConfirmation();

    // The command queues.
    void serveQueues();
    /// Sends a queue's first command, 12 bytes of it, after a pause; its status.
    template <class Queue>
    int sendFirst(const Queue &queue, int pauseMs);
    /// Sends it, and tells of a failure.
    template <class Queue>
    void serveCommand(Queue &queue);
    void disconnectedPass();

    // The input reports.
    void giveVerdict(InputReport::Verdict verdict);
    void takeModelCode(const InputReport &report);
    void takeParameterReport(const InputReport &report);

    TransferClock realClock;
    TransferClock *clock = &realClock;
};

/// Bytes of the model-code reports, in order of arrival, and the number of status
/// reports.  Worker thread.
extern QVector<std::uint8_t> modelCodes;
extern int statusReportCount;
