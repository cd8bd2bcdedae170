#include "app/process.h"

#include "app/SingleInstance.h"
#include "device/Output.h"

#include <QLoggingCategory>

namespace {

SingleInstance *heldInstance = nullptr;

void writeDebugLine(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    Output::write(Output::Stream::Error,
                  qFormatLogMessage(type, context, text).toLocal8Bit() + '\n');
    if (type == QtFatalMsg)
        Output::finish(); // the toolkit aborts after this
}

} // namespace

void installDebugOutput()
{
    qInstallMessageHandler(&writeDebugLine);
}

void setInstanceToRelease(SingleInstance *instance)
{
    heldInstance = instance;
}

void endProcess(int code)
{
    // Finish the output before releasing the segment: this may take seconds, and no other
    // updater may start meanwhile.
    Output::finish();
    if (heldInstance != nullptr)
        heldInstance->release();
    leaveProcess(code);
}
