#include "upgrade/DevOperator.h"

#include "device/outputLines.h"
#include "upgrade/hexText.h"

#include <QDebug>

// The input reports. Worker thread.

QVector<std::uint8_t> modelCodes;
int statusReportCount = 0;

namespace {

constexpr int sysreceiveThreshold = 31;

} // namespace

void DevOperator::readDeviceReport()
{
    InputReport report;
    const bool got = readReport(report.data());

    if (report.isUpgradeStatus()) {
        ++statusReportCount;
        qDebug().noquote() << outputLine::status << hexText(report.raw()) << report.value()
                           << report.subKind();
        handleVerdict(report.verdict());
    }
    switch (report.kind()) {
    case InputReport::Kind::DfuState:
        emit blockDfuStatus(report.value());
        break;
    case InputReport::Kind::ModelCode:
        handleModelCode(report);
        break;
    case InputReport::Kind::Parameter:
        if (got)
            handleParameterReport(report);
        break;
    }
    // Any report is the confirmation that the transfer waits for.
    if (got && !pendingPackets.isEmpty()) {
        qDebug() << "OOOOOOOOOOO";
        awaitingConfirmation = false;
    }
}

void DevOperator::handleVerdict(InputReport::Verdict verdict)
{
    if (verdict == InputReport::Verdict::None)
        return;
    pendingPackets.clear();
    inFlightBatch.clear();
    emit tb210_break_fail_mess(static_cast<int>(verdict));
}

void DevOperator::handleModelCode(const InputReport &report)
{
    // Quirk: a code is collected only if both its bytes differ from the last report's. Nobody
    // is known to depend on it.
    if (report.value() != modelReport.value() &&
        report.secondValue() != modelReport.secondValue()) {
        modelCodes.append(report.value());
        modelCodes.append(report.secondValue());
    }
    modelReport = report;
    qDebug().noquote() << "send_message" << hexText(modelReport.raw());
    qDebug() << "xxxx11111111111modeleCodel------" << modelCodes;
    if (report.isLastModelCode())
        emit blockModelCodel();
}

void DevOperator::handleParameterReport(const InputReport &report)
{
    if (report.isStored()) {
        if (reportBuffer.size() < ReportBuffer::capacity && report.startsParameterSet())
            reportBuffer.clear();
        reportBuffer.append(report);
    }
    if (report.endsMainValues())
        emit tb210_refresh_main_signal();
    lastReport = report;
    if (report.replacesFirst() && reportBuffer.size() > 1)
        reportBuffer.replaceFirst(report);
    if (reportBuffer.size() >= sysreceiveThreshold)
        emit tb210_sysreceive_datasignal();
}
