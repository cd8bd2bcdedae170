#pragma once

/// What a platform needs before the application object exists.
void prepareProcess();
