#include "device/ICommDeviceMgmt.h"

ICommDeviceMgmt *deviceManager = nullptr;
