#pragma once

class SingleInstance;

/// To be called before the application object exists.  The standard streams can then neither
/// end the process nor make it wait, and the program runs without a display, too.
void prepareProcess();

/// From now on a debug line never waits for its reader: it goes through Output.
void installDebugOutput();

/// endProcess() gives this segment back.  Called once, at the start, by the main thread.
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
