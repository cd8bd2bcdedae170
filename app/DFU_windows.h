#pragma once

#include "app/ResultFile.h"

#include <QByteArray>
#include <QList>
#include <QMainWindow>
#include <QString>
#include <QTranslator>

#include <cstdint>

class DFU_thread;
class DevOperator;
class QComboBox;
class QLabel;
class QPushButton;
class QTextEdit;
class QThread;
class dfu_0206_view;
class myEdit_view;
class tb210_progress_view;

/// The updater's window and its controller.
///
/// Its constructor does the whole start of an upgrade, shown or not: it opens the
/// microphone, cuts the firmware file and hands the packets to the operator's
/// transfer loop. Without a microphone, or without records, it ends the process.
/// Its slots show the progress and end the process when the verdict is there. Main
/// thread; it lives until the process ends.
///
/// The texts are written in Chinese and translated; the window starts in English. The
/// section for the DSP firmware is built and connected, but nothing shows it.
class DFU_windows : public QMainWindow
{
    Q_OBJECT

public:
    /// With more arguments than this, program name included, the window is shown and the
    /// outcome comes in a box.
    static constexpr int headlessArguments = 2;

    /// `argumentCount` counts the program's name: above 1 the process ends with the upgrade.
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
    /// Loads the file again, builds the packets and hands them to the operator.
    void update_click();
    /// Starts a DSP upgrade with the file of the DSP path edit.
    void updatedsp_click();
    void dsp_btn_click();
    void progress_value(int value);
    void sendMessage_fail_hand(int status);
    void dsp_kt0206_progress_val(int value);
    void dsp_kt0206_finish(int result);
    /// Shows the version of a dropped file.
    ///
    /// Quirk: the upgrade always uses the file of the command line, which the companion
    /// application has chosen.
    void mcudropClick(const QString &path);
    /// 0: Chinese, 1: English.
    void change_language(int index);

private:
    enum UpgradeMode
    {
        McuUpgrade = 0,
        DspUpgrade = 1
    };

    void buildWidgets();
    QPushButton *addButton(const QRect &place, const char *slot);
    QLabel *addVersionLabel(const QRect &place);
    void loadTranslation(int language);
    /// Sets the texts that follow the language, except the state.
    void showTexts();
    void showState(bool connected);
    void startOperator();
    void followDevice();
    void inspectFirmware(const QString &path);
    void showVersion(const QString &version);
    /// Ends the process with code 0.
    [[noreturn]] void leave();

    QPushButton *mcuButton = nullptr;
    QLabel *stateLabel = nullptr;
    tb210_progress_view *progressView = nullptr;
    DevOperator *devOperator = nullptr;
    /// The operator lives in it. Never stopped.
    QThread *operatorThread = nullptr;
    /// Exists only if a microphone was opened at the start. Never stopped.
    DFU_thread *upgradeThread = nullptr;
    /// Null until the first DSP upgrade.
    dfu_0206_view *dspRunner = nullptr;
    int upgradeMode = McuUpgrade;
    myEdit_view *mcuPathEdit = nullptr;
    QTextEdit *dspPathEdit = nullptr;
    QLabel *mcuVersionLabel = nullptr;
    QLabel *dspVersionLabel = nullptr;
    QList<QByteArray> firmwareRecords;
    QList<QByteArray> packetList;
    QString firmwarePath;
    int argCount;
    ResultFile resultFile;
    QLabel *languageLabel = nullptr;
    QComboBox *languageBox = nullptr;
    /// The same one for both languages.
    QTranslator translator;
    QPushButton *confirmButton = nullptr;
    /// While a verdict's box is open, further verdicts are ignored.
    bool showingVerdict = false;
};

/// The MCU version shown last. Main thread.
extern QString versionText;

/// 1 after English was chosen, 0 after Chinese; nothing reads it. Main thread.
extern std::uint8_t englishSelected;
