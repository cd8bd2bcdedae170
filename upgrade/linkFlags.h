#pragma once

#include "device/Unguarded.h"

/// Set by the main thread when a microphone is opened, at the start or later.
/// Never cleared by the updater, not even when the microphone goes, by decision
/// of this system.  Read by the operator thread (transfer) and, linkReadyFlag, by
/// the worker thread.
extern Unguarded<bool> connectedFlag;
extern Unguarded<bool> linkReadyFlag;
