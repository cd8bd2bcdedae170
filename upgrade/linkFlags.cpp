#include "upgrade/linkFlags.h"

Unguarded<bool> connectedFlag{false};
Unguarded<bool> linkReadyFlag{false};
