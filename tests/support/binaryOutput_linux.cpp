#include "tests/support/binaryOutput.h"

void binaryOutput() {}
