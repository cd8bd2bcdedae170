#include "tests/support/binaryOutput.h"

#include <fcntl.h>
#include <io.h>

#include <cstdio>

void binaryOutput()
{
    _setmode(_fileno(stdout), _O_BINARY);
}
