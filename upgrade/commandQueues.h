#pragma once

#include <QVector>

#include <array>
#include <cstdint>

/// Queues of short control commands. The updater never fills them: they are for the companion
/// application's code. Operator thread only.
using ShortCommand = std::array<std::uint8_t, 11>;
using ReportCommand = std::array<std::uint8_t, 10>;
using ControlCommand = std::array<std::uint8_t, 12>;
static_assert(sizeof(ShortCommand) == 11 && sizeof(ReportCommand) == 10 &&
              sizeof(ControlCommand) == 12);

extern QVector<ShortCommand> shortCommandQueue;
extern QVector<ShortCommand> shortReplyList;
/// Only its size is used.
extern QVector<ShortCommand> expectedReplyList;
extern QVector<ReportCommand> reportCommandQueue;
extern QVector<ReportCommand> settingQueue;
extern QVector<ControlCommand> controlCommandQueue;
extern bool lastCommandNotWrite;
