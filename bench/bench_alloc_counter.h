// Counting allocator for benchmarks: every allocation of the program goes through it, so a
// benchmark can report allocations per call and the bytes a structure keeps alive. Include it
// in exactly one source file of a benchmark program: it replaces the global operators.
#pragma once

#include <malloc.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

// The replaced operators pair malloc with free, which the compiler cannot see across them.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

static std::atomic<uint64_t> g_allocations{0};
static std::atomic<int64_t> g_live_bytes{0};

void* operator new(size_t size) {
    void* p = std::malloc(size == 0 ? 1 : size);
    if (p == nullptr) throw std::bad_alloc();
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    g_live_bytes.fetch_add(static_cast<int64_t>(malloc_usable_size(p)), std::memory_order_relaxed);
    return p;
}
void operator delete(void* p) noexcept {
    if (p == nullptr) return;
    g_live_bytes.fetch_sub(static_cast<int64_t>(malloc_usable_size(p)), std::memory_order_relaxed);
    std::free(p);
}
void operator delete(void* p, size_t) noexcept { operator delete(p); }
