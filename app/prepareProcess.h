#pragma once

/// What a platform needs before the application object exists: standard streams
/// that neither end the process nor make it wait, and a way to run without a
/// display.
void prepareProcess();
