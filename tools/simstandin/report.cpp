#include "report.h"

#include <atomic>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace {
std::atomic<bool> stamped{false};
}

void stampReports()
{
    stamped = true;
}

double monotonicSeconds()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

void report(const char *format, ...)
{
    // Read before the lock, so that waiting for another thread's line is not counted.
    const double at = monotonicSeconds();
    static std::mutex mutex;
    std::lock_guard<std::mutex> lock(mutex);
    va_list args;
    va_start(args, format);
    std::vprintf(format, args);
    va_end(args);
    if (stamped)
        std::printf(" at=%.6f", at);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}
