#include "app/prepareProcess.h"

void prepareProcess() {}
