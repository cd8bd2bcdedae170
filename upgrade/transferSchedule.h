#pragma once

/// The transfer schedule, as the microphone expects it (docs/protocol.md).
namespace transferSchedule {

constexpr int passPauseMs = 1;
constexpr int confirmationWindowMs = 200;
constexpr int packetTimeoutMs = 200;
/// Time given to the microphone to restart into its upgrade mode.
constexpr int restartPauseMs = 7000;
constexpr int otgEntryPauseMs = 10000;
constexpr int confirmTimerMs = 3000;
/// Packets 0 to 2 go out before the first batch: the upgrade-mode command, then two more.
constexpr int openingPackets = 3;
constexpr int batchSize = 5;

} // namespace transferSchedule
