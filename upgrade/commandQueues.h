#pragma once

#include <QVector>

#include <array>
#include <cstdint>

/// Queues of short control commands.  Nothing in the updater fills them: they
/// serve the companion application's code.  Operator thread only.
using ShortCommand = std::array<std::uint8_t, 11>;
using ReportCommand = std::array<std::uint8_t, 10>;
using ControlCommand = std::array<std::uint8_t, 12>;
static_assert(sizeof(ShortCommand) == 11 && sizeof(ReportCommand) == 10 &&
              sizeof(ControlCommand) == 12);

extern QVector<ShortCommand> shortCommandQueue;
extern QVector<ShortCommand> shortReplyList;
/// Only its count is looked at.
extern QVector<ShortCommand> expectedReplyList;
extern QVector<ReportCommand> reportCommandQueue;
extern QVector<ReportCommand> settingQueue;
extern QVector<ControlCommand> controlCommandQueue;
extern bool lastCommandNotWrite;
