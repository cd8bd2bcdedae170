#pragma once

#include <atomic>

/// Set by the main thread when a microphone is opened, at the start or later. The operator
/// thread (transfer) reads both; the worker thread reads linkReadyFlag.
///
/// Quirk: the updater never clears them, not even when the microphone is unplugged. The
/// transfer depends on that: it goes on sending, and a microphone that comes back gets the rest.
extern std::atomic<bool> connectedFlag;
extern std::atomic<bool> linkReadyFlag;
