#include "upgrade/linkFlags.h"

std::atomic<bool> connectedFlag{false};
std::atomic<bool> linkReadyFlag{false};
