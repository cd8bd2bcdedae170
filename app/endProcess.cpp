#include "app/endProcess.h"

#include "app/SingleInstance.h"
#include "app/leaveProcess.h"

namespace {

SingleInstance *heldInstance = nullptr;

} // namespace

void setInstanceToRelease(SingleInstance *instance)
{
    heldInstance = instance;
}

void endProcess(int code)
{
    if (heldInstance != nullptr)
        heldInstance->release();
    leaveProcess(code);
}
