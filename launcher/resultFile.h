#pragma once

#include "upgrade/InputReport.h"

#include <QString>

/// Where the updater of this user writes its result.
QString resultFilePlace();

/// What is written there, by whichever updater was the last.
InputReport::Verdict resultFileVerdict();
