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
#include <initializer_list>
#include <limits>
#include <utility>

QString versionText;
std::uint8_t englishSelected = 0;

namespace {

constexpr QSize windowSize(500, 200);
constexpr QRect stateLabelPlace(20, 170, 200, 30);
constexpr QRect mcuButtonPlace(10, 60, 60, 25);
constexpr QPoint mcuPathEditPosition(80, 60);
constexpr QRect dspButtonPlace(10, 70, 60, 25);
constexpr QPoint dspPathEditPosition(80, 70);
constexpr QSize pathEditSize(340, 25);
constexpr int versionLabelDistance = 350;
constexpr QSize versionLabelSize(50, 30);
constexpr QSize confirmButtonSize(110, 40);
constexpr int confirmButtonRise = 80;
constexpr int dspConfirmButtonLeft = 195;
constexpr int languageLabelFromRight = 200;
constexpr QSize languageLabelSize(80, 20);
constexpr int languageBoxWidth = 100;

/// Indices of the language box.
enum Language
{
    Chinese = 0,
    English = 1
};

// Quirk: the names are crossed over.  "zh" has the English texts; "en" has none, so the
// Chinese ones show.  Nobody is known to depend on it.
QString englishTranslation()
{
    return QStringLiteral(":/tb210_lang/tb210_zh.qm");
}

QString chineseTranslation()
{
    return QStringLiteral(":/tb210_lang/tb210_en.qm");
}

QString redText()
{
    return QStringLiteral("color:red");
}

QString blackText()
{
    return QStringLiteral("color:black");
}

QString noVersion()
{
    return QStringLiteral("V0.0.0");
}

/// The settings of both path edits: one line, however long.
void makeSingleLine(QTextEdit *edit)
{
    edit->setLineWrapMode(QTextEdit::NoWrap);
    edit->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    edit->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
}

/// A DSP firmware's version: the four characters of its file name that begin eight
/// before its end ("V1.0" of "...V1.0.bin").  In a shorter name they begin where the
/// name does ("a.bi" of "a.bin").
QString dspVersionOf(const QString &fileName)
{
    constexpr int fromEnd = 8;
    constexpr int length = 4;
    return fileName.right(fromEnd).left(length);
}

/// Above this many arguments the process ends with the upgrade.
constexpr int lastingArguments = 1;

/// The integer part of value / total x 100.0, truncated; 0 without a total.
int percentOf(int value, int total)
{
    if (total == 0)
        return 0;
    // The vendor's tool may print any numbers; what no int holds becomes the nearest.
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
    // Quirk: neither file is part of the resources, so both calls fail silently and the
    // default icon and font stay.  The styles name the font all the same.
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/image/images/logo.ico")));
    QFontDatabase::addApplicationFont(QStringLiteral(":/image/ZRX_650/SourceHanSansCN Medium.ttf"));
    setFixedSize(windowSize);
    loadTranslation(englishTranslation());
    resultFile.prepare();
    buildWidgets();
    startOperator();

    if (!devOperator->initDeviceManager()) {
        // Whatever the number of arguments: no window, no box.
        resultFile.write(QStringLiteral("success -1"));
        leave();
    }
    linkReadyFlag = true;
    connectedFlag = true;
    qDebug().noquote() << QStringLiteral("USB连接成功");
    devOperator->pendingPackets.clear();
    showConnected();
    update_click();
    followDevice();
}

void DFU_windows::buildWidgets()
{
    stateLabel = new QLabel(tr("请连接设备"), this);
    stateLabel->setGeometry(stateLabelPlace);
    stateLabel->setStyleSheet(redText());

    buildLanguageSection();
    buildMcuSection();
    buildDspSection();
    progressView = new tb210_progress_view(this);
}

void DFU_windows::buildLanguageSection()
{
    languageLabel = new QLabel(tr("语言切换："), this);
    languageLabel->setGeometry(
        QRect(QPoint(width() - languageLabelFromRight, 0), languageLabelSize));
    languageLabel->setStyleSheet(
        QStringLiteral("background-color:transparent;color:rgb(158,158,158);text-align:center;"
                       "font-size:15px;font-family:'Source Han Sans CN Medium'"));

    languageBox = new QComboBox(this);
    languageBox->setGeometry(languageLabel->x() + languageLabel->width(), 0, languageBoxWidth,
                             languageLabel->height());
    languageBox->addItem(tr("简体中文"));
    languageBox->addItem(tr("English"));
    languageBox->setCurrentIndex(English); // before it is connected: no switch at the start
    connect(languageBox, SIGNAL(currentIndexChanged(int)), this, SLOT(change_language(int)));
}

void DFU_windows::buildMcuSection()
{
    mcuButton = new QPushButton(tr("MCU固件"), this);
    mcuButton->setGeometry(mcuButtonPlace);
    connect(mcuButton, SIGNAL(clicked()), this, SLOT(dfu_click()));

    mcuPathEdit = new myEdit_view(this);
    mcuPathEdit->setGeometry(QRect(mcuPathEditPosition, pathEditSize));
    mcuPathEdit->setPlaceholderText(tr("请输入MCU固件路径"));
    mcuPathEdit->setAlignment(Qt::AlignBottom);
    makeSingleLine(mcuPathEdit);
    connect(mcuPathEdit, SIGNAL(drop_block(QString)), this, SLOT(mcudropClick(QString)));

    mcuVersionLabel = new QLabel(noVersion(), this);
    mcuVersionLabel->setGeometry(
        QRect(mcuPathEditPosition + QPoint(versionLabelDistance, 0), versionLabelSize));
    mcuVersionLabel->hide();

    confirmButton = new QPushButton(tr("确认"), this);
    confirmButton->setGeometry(
        QRect(QPoint((width() - confirmButtonSize.width()) / 2, height() - confirmButtonRise),
              confirmButtonSize));
    connect(confirmButton, SIGNAL(clicked()), this, SLOT(update_click()));
}

void DFU_windows::buildDspSection()
{
    // These texts are never translated.
    auto *const dspButton = new QPushButton(QStringLiteral("DSP固件"), this);
    dspButton->setGeometry(dspButtonPlace);
    connect(dspButton, SIGNAL(clicked()), this, SLOT(dsp_btn_click()));

    dspPathEdit = new QTextEdit(this);
    dspPathEdit->setGeometry(QRect(dspPathEditPosition, pathEditSize));
    dspPathEdit->setPlaceholderText(QStringLiteral("请输入DSP固件路径"));
    makeSingleLine(dspPathEdit);

    dspVersionLabel = new QLabel(noVersion(), this);
    dspVersionLabel->setGeometry(
        QRect(dspPathEditPosition + QPoint(versionLabelDistance, 0), versionLabelSize));

    auto *const dspConfirmButton = new QPushButton(QStringLiteral("确认DSP固件升级"), this);
    dspConfirmButton->setGeometry(
        QRect(QPoint(dspConfirmButtonLeft, height() - confirmButtonRise), confirmButtonSize));
    connect(dspConfirmButton, SIGNAL(clicked()), this, SLOT(updatedsp_click()));

    const std::initializer_list<QWidget *> hidden = {dspButton, dspPathEdit, dspVersionLabel,
                                                     dspConfirmButton};
    for (QWidget *const widget : hidden)
        widget->hide();
}

void DFU_windows::startOperator()
{
    devOperator = new DevOperator(nullptr);
    workerThread = new QThread;
    devOperator->moveToThread(workerThread);
    workerThread->start();
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
    loadFirmware();
}

void DFU_windows::loadFirmware()
{
    // A file that cannot be opened, is empty or is damaged leaves the version label as it is.
    // An image that is in order but makes too few packets shows no version.
    const QString fileName = common_funtion::fileNameOf(mcuPathEdit->toPlainText());
    qDebug().noquote() << "file_name-----------------" << fileName;
    if (fileName.isEmpty())
        return;
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly)) {
        // Quirk: shown in hidden mode as well.  A user who gave the companion application a
        // wrong path sees why nothing happens.
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
    if (upgradeMode == McuUpgrade) {
        const int total = progressView->bar()->maximum();
        progressView->bar()->setValue(value);
        const int percent = percentOf(value, total);
        progressView->setPercent(percent);
        resultFile.write(QString::number(percent) + QLatin1String("%\n"));
        if (value >= total)
            progressView->hide();
    } else if (upgradeMode == DspUpgrade) {
        progressView->bar()->setValue(value);
        const int percent = percentOf(value, dspRunner != nullptr ? dspRunner->dspTotal : 0);
        qDebug() << "dsp" << value << percent;
        progressView->setPercent(percent);
    }
}

void DFU_windows::sendMessage_fail_hand(int status)
{
    const auto verdict = static_cast<InputReport::Verdict>(status);
    const bool succeeded = verdict == InputReport::Verdict::Succeeded;
    const bool isVerdict = succeeded || verdict == InputReport::Verdict::Failed;
    // A microphone may repeat its last report, and each would open a box inside the
    // event loop of the one before.
    if (isVerdict && showingVerdict)
        return;
    progressView->hide();
    if (!isVerdict) {
        // Shown in hidden mode as well; nothing is written and nothing ends.
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
    showConnected();
}

void DFU_windows::OnDisConnectDevice()
{
    // Quirk: the flags stay as they are, so the transfer goes on (linkFlags.h).
    qDebug().noquote() << QStringLiteral("usb拔出------");
    stateLabel->setText(tr("请连接设备"));
    stateLabel->setStyleSheet(redText());
}

void DFU_windows::showConnected()
{
    stateLabel->setStyleSheet(blackText());
    stateLabel->setText(tr("已连接设备"));
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
    dspVersionLabel->setText(dspVersionOf(fileName));
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

bool DFU_windows::loadTranslation(const QString &file)
{
    return translator.load(file) && QApplication::installTranslator(&translator);
}

void DFU_windows::change_language(int index)
{
    if (index == English) {
        loadTranslation(englishTranslation());
        englishSelected = 1;
    } else if (index == Chinese) {
        loadTranslation(chineseTranslation());
        englishSelected = 0;
    }
    mcuButton->setText(tr("MCU固件"));
    mcuPathEdit->setPlaceholderText(tr("请输入MCU固件路径"));
    languageLabel->setText(tr("语言切换："));
    confirmButton->setText(tr("确认"));
    stateLabel->setText(connectedFlag ? tr("已连接设备") : tr("请连接设备"));
}
