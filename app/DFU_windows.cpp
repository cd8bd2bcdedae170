#include "app/DFU_windows.h"

#include "app/common_funtion.h"
#include "app/inform.h"
#include "app/myEdit_view.h"
#include "app/process.h"
#include "app/tb210_progress_view.h"
#include "device/deviceSelection.h"
#include "device/outputLines.h"
#include "dsp/dfu_0206_view.h"
#include "upgrade/DFU_thread.h"
#include "upgrade/DevOperator.h"
#include "upgrade/FirmwareFile.h"
#include "upgrade/hexText.h"
#include "upgrade/linkFlags.h"

#include <QApplication>
#include <QComboBox>
#include <QDebug>
#include <QFile>
#include <QFileDialog>
#include <QFontDatabase>
#include <QIcon>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QScopedValueRollback>
#include <QSettings>
#include <QTextEdit>
#include <QThread>

#include <algorithm>
#include <limits>
#include <utility>

QString versionText;
std::uint8_t englishSelected = 0;

namespace {

constexpr QSize windowSize(500, 200);
constexpr QRect stateLabelPlace(20, 170, 200, 30);
constexpr QRect languageLabelPlace(300, 0, 80, 20);
constexpr QRect languageBoxPlace(380, 0, 100, 20);
constexpr QRect mcuButtonPlace(10, 60, 60, 25);
constexpr QRect mcuPathEditPlace(80, 60, 340, 25);
constexpr QRect mcuVersionLabelPlace(430, 60, 50, 30);
constexpr QRect dspButtonPlace(10, 70, 60, 25);
constexpr QRect dspPathEditPlace(80, 70, 340, 25);
constexpr QRect dspVersionLabelPlace(430, 70, 50, 30);
/// The hidden DSP confirm button lies in the same place.
constexpr QRect confirmButtonPlace(195, 120, 110, 40);
constexpr int dspVersionFromEnd = 8;
constexpr int dspVersionLength = 4;

/// Indices of the language box.
enum Language
{
    Chinese = 0,
    English = 1
};

/// Above this many arguments, program name included, the process ends with the upgrade.
constexpr int lastingArguments = 1;

QString noVersion()
{
    return QStringLiteral("V0.0.0");
}

/// A path edit is one line, however long the path.
void placePathEdit(QTextEdit *edit, const QRect &place)
{
    edit->setGeometry(place);
    edit->setLineWrapMode(QTextEdit::NoWrap);
    edit->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    edit->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
}

/// The integer part of value / total x 100.0; 0 if the total is 0.
int percentOf(int value, int total)
{
    if (total == 0)
        return 0;
    // The vendor's tool may print any numbers. A percentage that is too large for an int
    // becomes the largest int.
    const double percent = static_cast<double>(value) / total * 100.0;
    return static_cast<int>(std::clamp<double>(percent, std::numeric_limits<int>::min(),
                                               std::numeric_limits<int>::max()));
}

} // namespace

DFU_windows::DFU_windows(QString path, int argumentCount, QWidget *parent)
    : QMainWindow(parent)
    , firmwarePath(std::move(path))
    , argCount(argumentCount)
{
    selectMicrophoneFor(firmwarePath);
    // Quirk: neither file is part of the resources, so the default icon and font stay. The styles
    // name the font nevertheless. For a missing icon the toolkit would load all its picture
    // plugins.
    const QString icon = QStringLiteral(":/image/images/logo.ico");
    if (QFile::exists(icon))
        QApplication::setWindowIcon(QIcon(icon));
    QFontDatabase::addApplicationFont(QStringLiteral(":/image/ZRX_650/SourceHanSansCN Medium.ttf"));
    setFixedSize(windowSize);
    loadTranslation(English);
    resultFile.prepare();
    buildWidgets();
    startOperator();

    if (!devOperator->initDeviceManager()) {
        // Show no window and no box, even with a second argument.
        resultFile.write(QStringLiteral("success -1"));
        leave();
    }
    linkReadyFlag = true;
    connectedFlag = true;
    qDebug().noquote() << QStringLiteral("USB连接成功");
    devOperator->pendingPackets.clear();
    showState(true);
    update_click();
    followDevice();
}

void DFU_windows::buildWidgets()
{
    stateLabel = new QLabel(this);
    stateLabel->setGeometry(stateLabelPlace);

    languageLabel = new QLabel(this);
    languageLabel->setGeometry(languageLabelPlace);
    languageLabel->setStyleSheet(
        QStringLiteral("background-color:transparent;color:rgb(158,158,158);text-align:center;"
                       "font-size:15px;font-family:'Source Han Sans CN Medium'"));

    languageBox = new QComboBox(this);
    languageBox->setGeometry(languageBoxPlace);
    languageBox->addItem(tr("简体中文"));
    languageBox->addItem(tr("English"));
    // Set before connect(), so that this does not switch the language.
    languageBox->setCurrentIndex(English);
    connect(languageBox, SIGNAL(currentIndexChanged(int)), this, SLOT(change_language(int)));

    mcuButton = addButton(mcuButtonPlace, SLOT(dfu_click()));
    mcuPathEdit = new myEdit_view(this);
    placePathEdit(mcuPathEdit, mcuPathEditPlace);
    mcuPathEdit->setAlignment(Qt::AlignBottom);
    connect(mcuPathEdit, SIGNAL(drop_block(QString)), this, SLOT(mcudropClick(QString)));
    mcuVersionLabel = addVersionLabel(mcuVersionLabelPlace);
    confirmButton = addButton(confirmButtonPlace, SLOT(update_click()));

    // The DSP section is hidden, and its texts are never translated.
    auto *const dspButton = addButton(dspButtonPlace, SLOT(dsp_btn_click()));
    dspButton->setText(QStringLiteral("DSP固件"));
    dspPathEdit = new QTextEdit(this);
    placePathEdit(dspPathEdit, dspPathEditPlace);
    dspPathEdit->setPlaceholderText(QStringLiteral("请输入DSP固件路径"));
    dspVersionLabel = addVersionLabel(dspVersionLabelPlace);
    auto *const dspConfirmButton = addButton(confirmButtonPlace, SLOT(updatedsp_click()));
    dspConfirmButton->setText(QStringLiteral("确认DSP固件升级"));
    dspButton->hide();
    dspPathEdit->hide();
    dspConfirmButton->hide();

    showTexts();
    showState(false);
    progressView = new tb210_progress_view(this);
}

QPushButton *DFU_windows::addButton(const QRect &place, const char *slot)
{
    auto *const button = new QPushButton(this);
    button->setGeometry(place);
    connect(button, SIGNAL(clicked()), this, slot);
    return button;
}

QLabel *DFU_windows::addVersionLabel(const QRect &place)
{
    auto *const label = new QLabel(noVersion(), this);
    label->setGeometry(place);
    label->hide();
    return label;
}

void DFU_windows::startOperator()
{
    devOperator = new DevOperator(nullptr);
    operatorThread = new QThread;
    devOperator->moveToThread(operatorThread);
    operatorThread->start();
    connect(this, SIGNAL(sendMsgSignals()), devOperator, SLOT(tb210_startSendMsg()));
    // The loop starts before there is a device or a packet, and waits for them.
    emit sendMsgSignals();
}

void DFU_windows::followDevice()
{
    connect(devOperator, SIGNAL(connectDevice()), this, SLOT(OnConnectDevice()));
    connect(devOperator, SIGNAL(disconnectDevice()), this, SLOT(OnDisConnectDevice()));
    connect(devOperator, SIGNAL(tb210_progress_current_value(int)), this,
            SLOT(progress_value(int)));
    connect(devOperator, SIGNAL(tb210_break_fail_mess(int)), this,
            SLOT(sendMessage_fail_hand(int)));
    upgradeThread = new DFU_thread(nullptr);
    upgradeThread->devOperator = devOperator;
    upgradeThread->start();
}

void DFU_windows::dfu_click()
{
    inspectFirmware(firmwarePath);
}

void DFU_windows::mcudropClick(const QString &path)
{
    qDebug().noquote() << "xxkkk99999999999999" << path;
    inspectFirmware(path);
}

void DFU_windows::inspectFirmware(const QString &path)
{
    mcuPathEdit->setPlainText(path);
    mcuVersionLabel->show();
    upgradeMode = McuUpgrade;
    firmwareRecords.clear();
    // If the file cannot be opened, is empty or is damaged, the label keeps its version. For a
    // valid image of too few packets it shows V0.0.0.
    const QString fileName = common_funtion::fileNameOf(mcuPathEdit->toPlainText());
    qDebug().noquote() << "file_name-----------------" << fileName;
    if (fileName.isEmpty())
        return;
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly)) {
        // Quirk: the box is shown without the window, too. A user who gave the companion
        // application a wrong path sees why nothing happens.
        inform(this, QString::fromLatin1(outputLine::box),
               QStringLiteral("打开错误+") + file.errorString(), QMessageBox::Yes | QMessageBox::No,
               QMessageBox::Yes);
        return;
    }
    const FirmwareFile firmware = FirmwareFile::parse(file.readAll());
    if (!firmware.isValid()) {
        qDebug().noquote() << outputLine::refused << firmware.fault().text();
        if (firmware.fault().isTooSmall)
            showVersion(noVersion());
        return;
    }
    firmwareRecords = firmware.records();
    for (const QByteArray &record : firmwareRecords.mid(1)) {
        qDebug() << record.size() << "kkkk" << static_cast<unsigned char>(record.at(1))
                 << static_cast<unsigned char>(record.at(2));
    }
    showVersion(FirmwareFile::versionText(firmwareRecords));
}

void DFU_windows::showVersion(const QString &version)
{
    versionText = version;
    mcuVersionLabel->setText(version);
}

void DFU_windows::update_click()
{
    dfu_click();
    if (firmwareRecords.isEmpty())
        leave(); // no result is written
    devOperator->recordCount = firmwareRecords.size() - 1;
    devOperator->sentCount = 0;
    qDebug() << firmwareRecords.size() << "xxxllllll";
    packetList = FirmwareFile::cut(firmwareRecords);
    for (const QByteArray &packet : packetList.mid(1))
        qDebug().noquote() << outputLine::packetReady << hexText(packet);
    devOperator->pendingPackets = packetList;
    progressView->bar()->setMaximum(packetList.size());
    progressView->bar()->setValue(0);
    progressView->show();
}

void DFU_windows::progress_value(int value)
{
    QProgressBar *const bar = progressView->bar();
    const bool mcu = upgradeMode == McuUpgrade;
    const int dspTotal = dspRunner != nullptr ? dspRunner->dspTotal : 0;
    const int total = mcu ? bar->maximum() : dspTotal;
    const int percent = percentOf(value, total);
    bar->setValue(value);
    progressView->setPercent(percent);
    if (!mcu) {
        qDebug() << "dsp" << value << percent;
        return;
    }
    resultFile.write(QString::number(percent) + QLatin1String("%\n"));
    if (value >= total)
        progressView->hide();
}

void DFU_windows::sendMessage_fail_hand(int status)
{
    const auto verdict = static_cast<InputReport::Verdict>(status);
    const bool succeeded = verdict == InputReport::Verdict::Succeeded;
    const bool isVerdict = succeeded || verdict == InputReport::Verdict::Failed;
    // A microphone may repeat its verdict. Each would open another box on top of the first.
    if (isVerdict && showingVerdict)
        return;
    progressView->hide();
    if (!isVerdict) {
        // The box is shown without the window, too. Nothing is written, and the run goes on.
        inform(this, tr("提示"), QString::number(status), QMessageBox::Yes);
        return;
    }
    if (argCount > headlessArguments) {
        const QScopedValueRollback showing(showingVerdict, true);
        if (succeeded) {
            inform(this, tr("提示"), tr("升级成功"), QMessageBox::Yes);
        } else {
            inform(this, tr("提示"), tr("升级失败"), QMessageBox::Yes | QMessageBox::No);
        }
    }
    resultFile.write(succeeded ? QStringLiteral("success 1") : QStringLiteral("success -1"));
    if (argCount > lastingArguments)
        leave();
}

void DFU_windows::OnConnectDevice()
{
    linkReadyFlag = true;
    connectedFlag = true;
    qDebug().noquote() << QStringLiteral("usb插入------");
    showState(true);
}

void DFU_windows::OnDisConnectDevice()
{
    // Quirk: the flags stay as they are, so the transfer goes on (linkFlags.h).
    qDebug().noquote() << QStringLiteral("usb拔出------");
    showState(false);
}

void DFU_windows::showState(bool connected)
{
    stateLabel->setText(connected ? tr("已连接设备") : tr("请连接设备"));
    stateLabel->setStyleSheet(connected ? QStringLiteral("color:black")
                                        : QStringLiteral("color:red"));
}

void DFU_windows::leave()
{
    QApplication::quit();
    close();
    endProcess(0);
}

// ---- The DSP section ---------------------------------------------------------

void DFU_windows::dsp_btn_click()
{
    const QSettings settings(QStringLiteral("./Setting.ini"), QSettings::IniFormat);
    const QString folder = settings.value(QStringLiteral("LastFilePath")).toString();
    const QString file = QFileDialog::getOpenFileName(this, QStringLiteral("选择升级文件"), folder,
                                                      QStringLiteral("Document files (*.bin)"));
    if (!file.isEmpty())
        dspPathEdit->setPlainText(file);
}

void DFU_windows::updatedsp_click()
{
    upgradeMode = DspUpgrade;
    const QString fileName = common_funtion::fileNameOf(dspPathEdit->toPlainText());
    qDebug().noquote() << "file_name-----------------" << fileName;
    if (fileName.isEmpty())
        return;
    // The four characters that begin eight before the end: "V1.0" of "...V1.0.bin". A shorter
    // name gives its first four: "a.bi" of "a.bin".
    dspVersionLabel->setText(fileName.right(dspVersionFromEnd).left(dspVersionLength));
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly)) {
        inform(this, QStringLiteral("Title"), tr("打开错误") + file.errorString(),
               QMessageBox::Yes | QMessageBox::No, QMessageBox::Yes);
        return;
    }
    if (dspRunner == nullptr) {
        dspRunner = new dfu_0206_view(nullptr);
        connect(dspRunner, SIGNAL(dsp_progress_value(int)), this,
                SLOT(dsp_kt0206_progress_val(int)));
        connect(dspRunner, SIGNAL(dsp_finish_progress(int)), this, SLOT(dsp_kt0206_finish(int)));
    }
    progressView->bar()->setValue(0);
    progressView->setPercent(0);
    progressView->show();
    dspRunner->dspProductId = devOperator->connectedProductId;
    dspRunner->startDspUpgrade(fileName);
}

void DFU_windows::dsp_kt0206_progress_val(int value)
{
    progressView->bar()->setMaximum(std::max(0, dspRunner->dspTotal));
    progress_value(value);
}

void DFU_windows::dsp_kt0206_finish(int result)
{
    progressView->hide();
    inform(this, tr("提示"), result == 1 ? tr("DSP 升级成功,请重新连接设备") : tr("DSP 升级失败"),
           QMessageBox::Yes);
}

// ---- Languages -----------------------------------------------------------------

void DFU_windows::loadTranslation(int language)
{
    // Quirk: the names are swapped. "zh" has the English texts; "en" has none, so the
    // Chinese ones show. Nobody is known to depend on it.
    if (translator.load(language == English ? QStringLiteral(":/tb210_lang/tb210_zh.qm")
                                            : QStringLiteral(":/tb210_lang/tb210_en.qm")))
        QApplication::installTranslator(&translator);
}

void DFU_windows::change_language(int index)
{
    if (index == English || index == Chinese) {
        loadTranslation(index);
        englishSelected = index == English ? 1 : 0;
    }
    showTexts();
    // Only the text changes, not the colour.
    stateLabel->setText(connectedFlag ? tr("已连接设备") : tr("请连接设备"));
}

void DFU_windows::showTexts()
{
    mcuButton->setText(tr("MCU固件"));
    mcuPathEdit->setPlaceholderText(tr("请输入MCU固件路径"));
    languageLabel->setText(tr("语言切换："));
    confirmButton->setText(tr("确认"));
}
