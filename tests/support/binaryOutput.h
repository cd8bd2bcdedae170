#pragma once

/// Makes standard output binary: line ends are not converted.
void binaryOutput();
