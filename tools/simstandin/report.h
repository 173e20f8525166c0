#pragma once

// Prints one line of what the stand-in does and flushes it, so that tests reading the
// output see it at once. Safe from any thread.
void report(const char *format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;
