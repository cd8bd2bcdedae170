#pragma once

class SingleInstance;

/// Names the segment that endProcess() gives back; main thread, at the start.
void setInstanceToRelease(SingleInstance *instance);

/// Ends the process with this exit code, from the main thread.
///
/// The operator thread and the worker thread never stop, so nothing is destroyed
/// under them: the single-instance segment is given back, the standard streams
/// are flushed, and the process leaves without running destructors.  This is the
/// only way out once the threads run; it gives exactly this code every time.
[[noreturn]] void endProcess(int code);
