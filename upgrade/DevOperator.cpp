#include "upgrade/DevOperator.h"

#include "device/CDeviceManager.h"
#include "device/CHidBase.h"
#include "device/Output.h"

#include <QDebug>

// The link to the device. The transfer, the commands and the reports have their own files.

DevOperator::DevOperator(QObject *parent)
    : QObject(parent)
    , confirmTimer(new QTimer(this))
{
    connect(confirmTimer, &QTimer::timeout, this, &DevOperator::timeOutAction);
}

DevOperator::~DevOperator()
{
    delete deviceManager;
}

bool DevOperator::initDeviceManager()
{
    auto *const created = new CDeviceManager<CHidBase>;
    // Quirk: an earlier manager is not deleted, because other threads may be using it.
    deviceManager = created;
    if (!created->init())
        return false;
    manager = created;
    created->setProtocol(this);
    created->setOpenOption(0);
    return created->connectFirst();
}

void DevOperator::onDeviceEvent(std::uint32_t /*word*/) {}

void DevOperator::onDeviceConnected(ICommDeviceMgmt *connected)
{
    connectedProductId = static_cast<std::uint32_t>(connected->getDevice()->getPid());
    emit connectDevice();
}

void DevOperator::onDeviceDisconnected()
{
    Output::print("NOconnect-----new------\n");
    emit disconnectDevice();
}

void DevOperator::timeOutAction()
{
    if (!awaitingConfirmation)
        return;
    qDebug().noquote() << QStringLiteral("确认超时导致失败");
    emit tb210_break_fail_mess(static_cast<int>(InputReport::Verdict::Failed));
    pendingPackets.clear();
}
