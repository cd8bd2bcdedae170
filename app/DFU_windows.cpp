#include "app/DFU_windows.h"

#include "app/common_funtion.h"
#include "app/endProcess.h"
#include "app/tb210_progress_view.h"
#include "device/deviceSelection.h"
#include "upgrade/DFU_thread.h"
#include "upgrade/DevOperator.h"
#include "upgrade/FirmwareFile.h"
#include "upgrade/hexText.h"
#include "upgrade/linkFlags.h"

#include <QApplication>
#include <QDebug>
#include <QFile>
#include <QFontDatabase>
#include <QIcon>
#include <QLabel>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QTextEdit>
#include <QThread>

#include <utility>

QString versionText;

namespace {

constexpr QSize windowSize(500, 200);
constexpr QRect stateLabelPlace(20, 170, 200, 30);
constexpr QRect mcuButtonPlace(10, 60, 60, 25);
constexpr QPoint mcuPathEditPosition(80, 60);
constexpr QSize mcuPathEditSize(340, 25);
constexpr int versionLabelDistance = 350;
constexpr int versionLabelTop = 60;
constexpr QSize versionLabelSize(50, 30);
constexpr QSize confirmButtonSize(110, 40);
constexpr int confirmButtonRise = 80;

/// Above this many arguments the outcome is shown in a box.
constexpr int headlessArguments = 2;
/// Above this many arguments the process ends with the upgrade.
constexpr int lastingArguments = 1;

enum OutcomeStatus
{
    StatusFailed = 1,
    StatusSucceeded = 2
};

/// The integer part of value / total x 100.0, cut off, not rounded; 0 without a
/// total.
int percentOf(int value, int total)
{
    constexpr double hundred = 100.0;
    return total == 0 ? 0 : static_cast<int>(static_cast<double>(value) / total * hundred);
}

} // namespace

DFU_windows::DFU_windows(QString path, int argumentCount, QWidget *parent)
    : QMainWindow(parent)
    , firmwarePath(std::move(path))
    , argCount(argumentCount)
{
    selectMicrophoneFor(firmwarePath);
    // Neither file is part of the resources: both calls fail silently, the default
    // icon and font stay, by decision of this system.
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/image/images/logo.ico")));
    QFontDatabase::addApplicationFont(QStringLiteral(":/image/ZRX_650/SourceHanSansCN Medium.ttf"));
    setFixedSize(windowSize);
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
    stateLabel->setStyleSheet(QStringLiteral("color:red"));

    mcuButton = new QPushButton(tr("MCU固件"), this);
    mcuButton->setGeometry(mcuButtonPlace);
    connect(mcuButton, SIGNAL(clicked()), this, SLOT(dfu_click()));

    mcuPathEdit = new QTextEdit(this);
    mcuPathEdit->setGeometry(QRect(mcuPathEditPosition, mcuPathEditSize));
    mcuPathEdit->setPlaceholderText(tr("请输入MCU固件路径"));
    mcuPathEdit->setAlignment(Qt::AlignBottom);
    mcuPathEdit->setLineWrapMode(QTextEdit::NoWrap);
    mcuPathEdit->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    mcuPathEdit->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);

    mcuVersionLabel = new QLabel(QStringLiteral("V0.0.0"), this);
    mcuVersionLabel->setGeometry(
        QRect(QPoint(mcuPathEdit->x() + versionLabelDistance, versionLabelTop), versionLabelSize));
    mcuVersionLabel->hide();

    confirmButton = new QPushButton(tr("确认"), this);
    confirmButton->setGeometry(
        QRect(QPoint((width() - confirmButtonSize.width()) / 2, height() - confirmButtonRise),
              confirmButtonSize));
    connect(confirmButton, SIGNAL(clicked()), this, SLOT(update_click()));

    progressView = new tb210_progress_view(this);
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
    mcuPathEdit->setPlainText(firmwarePath);
    mcuVersionLabel->show();
    upgradeMode = McuUpgrade;
    firmwareRecords.clear();
    loadFirmware();
}

void DFU_windows::loadFirmware()
{
    const QString fileName = common_funtion::fileNameOf(mcuPathEdit->toPlainText());
    qDebug().noquote() << "file_name-----------------" << fileName;
    if (fileName.isEmpty())
        return;
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly)) {
        // Shown in hidden mode as well, by decision of this system.
        QMessageBox::information(this, QStringLiteral("Title"),
                                 QStringLiteral("打开错误+") + file.errorString(),
                                 QMessageBox::Yes | QMessageBox::No, QMessageBox::Yes);
        return;
    }
    const FirmwareFile firmware = FirmwareFile::parse(file.readAll());
    if (!firmware.isValid()) {
        qDebug().noquote() << "firmware refused:" << firmware.fault().text();
        return;
    }
    firmwareRecords = firmware.records();
    for (const QByteArray &record : firmwareRecords.mid(1)) {
        qDebug() << record.size() << "kkkk" << static_cast<unsigned char>(record.at(1))
                 << static_cast<unsigned char>(record.at(2));
    }
    versionText = FirmwareFile::versionText(firmwareRecords);
    mcuVersionLabel->setText(versionText);
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
        qDebug().noquote() << "jjjjjjjsend_message" << hexText(packet);
    devOperator->pendingPackets = packetList;
    progressView->bar()->setMaximum(packetList.size());
    progressView->bar()->setValue(0);
    progressView->show();
}

void DFU_windows::progress_value(int value)
{
    if (upgradeMode != McuUpgrade)
        return;
    const int total = progressView->bar()->maximum();
    progressView->bar()->setValue(value);
    const int percent = percentOf(value, total);
    progressView->setPercent(percent);
    resultFile.write(QString::number(percent) + QLatin1String("%\n"));
    if (value >= total)
        progressView->hide();
}

void DFU_windows::sendMessage_fail_hand(int status)
{
    progressView->hide();
    if (status != StatusFailed && status != StatusSucceeded) {
        // Shown in hidden mode as well; nothing is written and nothing ends.
        QMessageBox::information(this, tr("提示"), QString::number(status), QMessageBox::Yes);
        return;
    }
    const bool succeeded = status == StatusSucceeded;
    if (argCount > headlessArguments) {
        if (succeeded) {
            QMessageBox::information(this, tr("提示"), tr("升级成功"), QMessageBox::Yes);
        } else {
            QMessageBox::information(this, tr("提示"), tr("升级失败"),
                                     QMessageBox::Yes | QMessageBox::No);
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
    // The flags stay as they are, by decision of this system.
    qDebug().noquote() << QStringLiteral("usb拔出------");
    stateLabel->setText(tr("请连接设备"));
    stateLabel->setStyleSheet(QStringLiteral("color:red"));
}

void DFU_windows::showConnected()
{
    stateLabel->setStyleSheet(QStringLiteral("color:black"));
    stateLabel->setText(tr("已连接设备"));
}

void DFU_windows::leave()
{
    QApplication::quit();
    close();
    endProcess(0);
}
