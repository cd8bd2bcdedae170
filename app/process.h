#pragma once

class SingleInstance;

/// What a platform needs before the application object exists: standard streams that
/// neither end the process nor make it wait, and a way to run without a display.
void prepareProcess();

/// From now on a debug line never waits for its reader: it goes through Output.
void installDebugOutput();

/// Names the segment that endProcess() gives back; main thread, at the start.
void setInstanceToRelease(SingleInstance *instance);

/// Ends the process with this exit code, from the main thread.
///
/// The operator thread and the worker thread never stop, so nothing is destroyed
/// under them: the standard streams are written out, the single-instance segment
/// is given back, and the process leaves without running destructors.  This is the
/// only way out once the threads run; it gives exactly this code every time.
[[noreturn]] void endProcess(int code);

/// Leaves at once: no destructor, no exit handler, no library clean-up runs.
[[noreturn]] void leaveProcess(int code);
