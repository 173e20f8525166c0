// The simulator's memory object and event on Linux: POSIX shared memory objects, and a
// futex on a shared 32-bit counter standing in for the Windows event.
#include "platform.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <linux/futex.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace platform {

namespace {
const char *const mappingName = "/IRSDKMemMapFileName";
const char *const eventName = "/IRSDKDataValidEvent";

// A descriptor travels as a handle one above its value, so that descriptor 0 is not null.
Handle fromFd(int fd)
{
    return reinterpret_cast<Handle>(static_cast<std::intptr_t>(fd) + 1);
}

int toFd(Handle handle)
{
    return static_cast<int>(reinterpret_cast<std::intptr_t>(handle) - 1);
}

Handle openMapping()
{
    const int fd = shm_open(mappingName, O_RDONLY, 0);
    return fd < 0 ? nullptr : fromFd(fd);
}

const void *mapView(Handle mapping, std::size_t *size)
{
    struct stat info;
    if (fstat(toFd(mapping), &info) != 0 || info.st_size <= 0)
        return nullptr;
    void *view =
        mmap(nullptr, static_cast<std::size_t>(info.st_size), PROT_READ, MAP_SHARED, toFd(mapping), 0);
    if (view == MAP_FAILED)
        return nullptr;
    *size = static_cast<std::size_t>(info.st_size);
    return view;
}

void unmapView(const void *view, std::size_t size)
{
    munmap(const_cast<void *>(view), size);
}

void copyFromView(void *destination, const void *source, std::size_t size)
{
    std::memcpy(destination, source, size);
}

void closeHandle(Handle handle)
{
    close(toFd(handle));
}

// The event is the first four bytes of its object, mapped once and kept with the handle.
struct Event
{
    int fd;
    std::uint32_t *counter;
};

Handle openEvent()
{
    const int fd = shm_open(eventName, O_RDONLY, 0);
    if (fd < 0)
        return nullptr;
    struct stat info;
    void *counter = MAP_FAILED;
    if (fstat(fd, &info) == 0 && info.st_size >= 4)
        counter = mmap(nullptr, 4, PROT_READ, MAP_SHARED, fd, 0);
    if (counter == MAP_FAILED) {
        close(fd);
        return nullptr;
    }
    return new Event{fd, static_cast<std::uint32_t *>(counter)};
}

void waitEvent(Handle event, int milliseconds)
{
    if (milliseconds < 0)
        milliseconds = 0;
    auto *e = static_cast<Event *>(event);
    const std::uint32_t seen = __atomic_load_n(e->counter, __ATOMIC_ACQUIRE);
    timespec timeout{milliseconds / 1000, static_cast<long>(milliseconds % 1000) * 1000000L};
    // Not FUTEX_PRIVATE: the simulator wakes from another process. A wake that comes
    // before the wait starts changes the counter, and the wait returns at once.
    syscall(SYS_futex, e->counter, FUTEX_WAIT, seen, &timeout, nullptr, 0);
}

void closeEvent(Handle event)
{
    auto *e = static_cast<Event *>(event);
    munmap(e->counter, 4);
    close(e->fd);
    delete e;
}

void sleepMs(int milliseconds)
{
    timespec left{milliseconds / 1000, static_cast<long>(milliseconds % 1000) * 1000000L};
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

std::int64_t now()
{
    return static_cast<std::int64_t>(time(nullptr));
}

double secondsBetween(std::int64_t later, std::int64_t earlier)
{
    return difftime(static_cast<time_t>(later), static_cast<time_t>(earlier));
}

const MemoryOps posixOps = {openMapping, mapView,    unmapView, copyFromView, closeHandle,   openEvent,
                            waitEvent,   closeEvent, sleepMs,   now,          secondsBetween};
} // namespace

const MemoryOps &systemMemoryOps()
{
    return posixOps;
}

} // namespace platform
