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
/// Packets 1 and 2 go out on their own, as this index is reached; batches follow.
constexpr int firstBatchIndex = 3;
constexpr int batchSize = 5;

} // namespace transferSchedule
