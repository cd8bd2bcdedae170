#pragma once

#include "app/ResultFile.h"

#include <QByteArray>
#include <QList>
#include <QMainWindow>
#include <QString>

class DFU_thread;
class DevOperator;
class QLabel;
class QPushButton;
class QTextEdit;
class QThread;
class tb210_progress_view;

/// The updater's window and its controller.
///
/// Its constructor does the whole start of an upgrade, shown or not: it opens the
/// microphone, cuts the firmware file and hands the packets to the operator's
/// transfer loop; without a microphone, or without records, it ends the process.
/// Its slots follow the upgrade and end the process with the verdict.  Main
/// thread; it lives until the process ends.
class DFU_windows : public QMainWindow
{
    Q_OBJECT

public:
    /// `argumentCount` counts the program's name: above 1 the process ends with the
    /// upgrade, above 2 the outcome is shown in a box.
    DFU_windows(QString path, int argumentCount, QWidget *parent);

signals:
    /// Enters the operator's transfer loop.
    void sendMsgSignals();

public slots:
    // The order of the slots is fixed: it is their meta-object index.
    void OnConnectDevice();
    void OnDisConnectDevice();
    /// Loads the firmware file named on the command line.
    void dfu_click();
    /// Loads it again, builds the packets and arms the transfer.
    void update_click();
    void progress_value(int value);
    void sendMessage_fail_hand(int status);

private:
    enum UpgradeMode
    {
        McuUpgrade = 0,
        DspUpgrade = 1
    };

    void buildWidgets();
    void startOperator();
    void followDevice();
    void loadFirmware();
    void showConnected();
    /// Ends the process with code 0.
    [[noreturn]] void leave();

    QPushButton *mcuButton = nullptr;
    QLabel *stateLabel = nullptr;
    tb210_progress_view *progressView = nullptr;
    DevOperator *devOperator = nullptr;
    /// Hosts the operator; never stopped.
    QThread *workerThread = nullptr;
    /// Only when a microphone was opened at the start; never stopped.
    DFU_thread *upgradeThread = nullptr;
    int upgradeMode = McuUpgrade;
    QTextEdit *mcuPathEdit = nullptr;
    QLabel *mcuVersionLabel = nullptr;
    QList<QByteArray> firmwareRecords;
    QList<QByteArray> packetList;
    QString firmwarePath;
    int argCount;
    ResultFile resultFile;
    QPushButton *confirmButton = nullptr;
};

/// The MCU version shown last.  Main thread.
extern QString versionText;
