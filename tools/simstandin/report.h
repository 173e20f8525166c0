#pragma once

// Prints one line of what the stand-in does and flushes it, so that tests reading the
// output see it at once. Safe from any thread.
void report(const char *format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;

// From now on every line ends with " at=SECONDS", the system's monotonic clock when the line
// was made (the clock std::chrono::steady_clock reads), for benchmarks that time what reaches
// the stand-in.
void stampReports();
// The monotonic clock in seconds.
double monotonicSeconds();
