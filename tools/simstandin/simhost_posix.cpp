#include "simhost.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <linux/futex.h>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace SimHost {

namespace {
const char *const mappingName = "/IRSDKMemMapFileName";
const char *const eventName = "/IRSDKDataValidEvent";
unsigned char *region = nullptr;
std::size_t regionSize = 0;
std::uint32_t *counter = nullptr;
std::size_t counterSize = 0;

void *createObject(const char *name, std::size_t *size)
{
    int fd = shm_open(name, O_CREAT | O_EXCL | O_RDWR, 0644);
    const bool created = fd >= 0;
    if (!created && errno == EEXIST)
        fd = shm_open(name, O_RDWR, 0);
    // A reader may still map an object of an earlier run, as a Windows handle keeps it alive
    // there: it is taken over at its size, since a reader that mapped that size would never see
    // bytes past it (and Windows cannot resize it either).
    struct stat info;
    if (fd < 0 || (created ? ftruncate(fd, static_cast<off_t>(*size)) : fstat(fd, &info)) != 0) {
        std::perror(name);
        if (fd >= 0)
            close(fd);
        return nullptr;
    }
    if (!created)
        *size = static_cast<std::size_t>(info.st_size);
    void *view = mmap(nullptr, *size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    return view == MAP_FAILED ? nullptr : view;
}
// True when another process maps the memory object, as kvBeacon does while attached.
bool mappedElsewhere()
{
    const std::string self = std::to_string(getpid());
    DIR *proc = opendir("/proc");
    if (!proc)
        return false;
    bool found = false;
    while (dirent *entry = readdir(proc)) {
        if (entry->d_name[0] < '0' || entry->d_name[0] > '9' || self == entry->d_name)
            continue;
        FILE *maps = std::fopen(("/proc/" + std::string(entry->d_name) + "/maps").c_str(), "r");
        if (!maps)
            continue;
        char line[512];
        while (!found && std::fgets(line, sizeof line, maps))
            found = std::strstr(line, "/dev/shm/IRSDKMemMapFileName") != nullptr;
        std::fclose(maps);
        if (found)
            break;
    }
    closedir(proc);
    return found;
}
} // namespace

unsigned char *createRegion(std::size_t *size)
{
    region = static_cast<unsigned char *>(createObject(mappingName, size));
    regionSize = region ? *size : 0;
    return region;
}

bool createEvent()
{
    counterSize = 4;
    counter = static_cast<std::uint32_t *>(createObject(eventName, &counterSize));
    return counter && counterSize >= 4;
}

void signalEvent()
{
    if (!counter)
        return;
    __atomic_add_fetch(counter, 1, __ATOMIC_RELEASE);
    syscall(SYS_futex, counter, FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
}

bool removeObjects()
{
    if (region)
        munmap(region, regionSize);
    if (counter)
        munmap(counter, counterSize);
    region = nullptr;
    counter = nullptr;
    // On Windows the objects live on while a reader holds them; here they stay in place for
    // a reader that still maps them, and the next run takes them over.
    if (mappedElsewhere())
        return false;
    shm_unlink(mappingName);
    shm_unlink(eventName);
    return true;
}

std::string programFolder()
{
    char path[4096];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    if (length <= 0 || length == ssize_t(sizeof path))
        return std::string();
    const std::string whole(path, std::size_t(length));
    return whole.substr(0, whole.rfind('/') + 1);
}

} // namespace SimHost
