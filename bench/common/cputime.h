#pragma once

#include <sys/resource.h>

// Processor time (user and system) this process has used so far, in milliseconds.
inline double processCpuMs()
{
    struct rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1000.0 +
           (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1000.0;
}
