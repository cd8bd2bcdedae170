#pragma once

#include <QString>

/// Where the updater of this user writes its result.
QString resultFilePlace();

/// Makes sure that the updater will be able to write there; what it holds, perhaps
/// of an updater that is running, stays as it is.  Says what stands in the way;
/// empty: nothing.
QString obstacleToResultFile();
