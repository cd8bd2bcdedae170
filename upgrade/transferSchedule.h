#pragma once

/// The transfer schedule that the microphone expects (docs/protocol.md).
namespace transferSchedule {

constexpr int passPauseMs = 1;
constexpr int confirmationWindowMs = 200;
/// Goes along with each packet as an argument that sendPacket() ignores. Nothing waits for it.
constexpr int packetTimeoutMs = 200;
/// The time that the microphone gets to restart into upgrade mode.
constexpr int restartPauseMs = 7000;
constexpr int otgEntryPauseMs = 10000;
constexpr int confirmTimerMs = 3000;
/// The upgrade-mode command and two more packets are sent before the first batch.
constexpr int openingPackets = 3;
constexpr int batchSize = 5;

} // namespace transferSchedule
