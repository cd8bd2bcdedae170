#pragma once

class SingleInstance;

/// Call this before creating the application. It keeps closed or blocked standard streams from
/// stopping the process and, on Linux, selects a platform that also works when there is no
/// display.
void prepareProcess();

/// From now on a debug line never waits for its reader: it goes through Output.
void installDebugOutput();

/// endProcess() releases this segment. Called once, at the start, by the main thread.
void setInstanceToRelease(SingleInstance *instance);

/// Ends the process with this exit code, from the main thread.
///
/// The operator thread and the worker thread never stop, so nothing that they use may be
/// destroyed. Therefore this writes out the standard streams, releases the single-instance
/// segment and leaves without running destructors. Once the threads run, this is the only way
/// to end the process. The exit code is always `code`.
[[noreturn]] void endProcess(int code);

/// Leaves at once: no destructor, no exit handler, no library clean-up runs.
[[noreturn]] void leaveProcess(int code);
