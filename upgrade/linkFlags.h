#pragma once

#include <atomic>

/// Set by the main thread when a microphone is opened, at the start or later.  Read by the
/// operator thread (transfer) and, linkReadyFlag, by the worker thread.
///
/// Quirk: the updater never clears them, not even when the microphone goes.  The transfer
/// depends on it: it goes on sending, and a microphone that comes back gets the rest.
extern std::atomic<bool> connectedFlag;
extern std::atomic<bool> linkReadyFlag;
