#include "platform.h"

namespace platform {

namespace {
const MemoryOps *installed = nullptr;
} // namespace

const MemoryOps &memoryOps()
{
    return installed ? *installed : systemMemoryOps();
}

void setMemoryOps(const MemoryOps *ops)
{
    installed = ops;
}

} // namespace platform
