#include "report.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>

void report(const char *format, ...)
{
    static std::mutex mutex;
    std::lock_guard<std::mutex> lock(mutex);
    va_list args;
    va_start(args, format);
    std::vprintf(format, args);
    va_end(args);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}
