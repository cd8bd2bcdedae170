#pragma once

/// Standard output takes bytes as they are: no line end becomes another one.
void binaryOutput();
