#include "upgrade/commandQueues.h"

QVector<ShortCommand> shortCommandQueue;
QVector<ShortCommand> shortReplyList;
QVector<ShortCommand> expectedReplyList;
QVector<ReportCommand> reportCommandQueue;
QVector<ReportCommand> settingQueue;
QVector<ControlCommand> controlCommandQueue;
bool lastCommandNotWrite = false;
