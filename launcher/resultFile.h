#pragma once

#include "upgrade/InputReport.h"

#include <QString>

/// Where the updater writes its result for this user.
QString resultFilePath();

/// The verdict of the latest updater that wrote there.
InputReport::Verdict resultFileVerdict();
