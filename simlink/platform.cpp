#include "platform.h"

namespace platform {

namespace {
const MemoryOps *installed = nullptr;
const WindowOps *installedWindowOps = nullptr;
} // namespace

const MemoryOps &memoryOps()
{
    return installed ? *installed : systemMemoryOps();
}

void setMemoryOps(const MemoryOps *ops)
{
    installed = ops;
}

const WindowOps &windowOps()
{
    return installedWindowOps ? *installedWindowOps : systemWindowOps();
}

void setWindowOps(const WindowOps *ops)
{
    installedWindowOps = ops;
}

} // namespace platform
