// What a benchmark reads of its own process: resident memory, after the freed heap is handed
// back to the system, so that "bytes per object" figures count only what a structure keeps.
#pragma once

#include <malloc.h>
#include <unistd.h>

#include <cstdio>

inline double resident_bytes() {
    malloc_trim(0);
    long pages = 0, resident = 0;
    FILE* statm = fopen("/proc/self/statm", "r");
    if (statm) {
        if (fscanf(statm, "%ld %ld", &pages, &resident) != 2) resident = 0;
        fclose(statm);
    }
    return double(resident) * double(sysconf(_SC_PAGESIZE));
}
