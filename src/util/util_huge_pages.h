// Huge pages for big tables read at random (the run's node numbering, the node map's records
// and indexes, the symbol index): an allocator that asks the kernel for 2 MB pages on the whole
// 2 MB pages of each block it hands out, so that a table of hundreds of megabytes costs one
// address translation per 2 MB instead of one per 4 kB, which on a virtual machine is itself a
// walk of two page tables. Small blocks are left as they are; it owns no memory of its own.
#pragma once

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace UTIL {

// Done before the block is first written, so that its pages are huge from their first fault.
inline void advise_huge_pages(void* block, size_t bytes) {
    constexpr uintptr_t HUGE_PAGE = uintptr_t{1} << 21;
    if (bytes < 2 * HUGE_PAGE) return;
    const uintptr_t begin = (reinterpret_cast<uintptr_t>(block) + HUGE_PAGE - 1) & ~(HUGE_PAGE - 1);
    const uintptr_t end = (reinterpret_cast<uintptr_t>(block) + bytes) & ~(HUGE_PAGE - 1);
    if (end > begin) madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
}

template <class T>
struct HUGE_PAGE_ALLOCATOR {
    using value_type = T;
    HUGE_PAGE_ALLOCATOR() = default;
    template <class U>
    HUGE_PAGE_ALLOCATOR(const HUGE_PAGE_ALLOCATOR<U>&) {}
    T* allocate(size_t n) {
        T* block = std::allocator<T>().allocate(n);
        advise_huge_pages(block, n * sizeof(T));
        return block;
    }
    void deallocate(T* block, size_t n) { std::allocator<T>().deallocate(block, n); }
    template <class U>
    bool operator==(const HUGE_PAGE_ALLOCATOR<U>&) const {
        return true;
    }
    template <class U>
    bool operator!=(const HUGE_PAGE_ALLOCATOR<U>&) const {
        return false;
    }
};

// A vector whose big blocks are on huge pages.
template <class T>
using HUGE_PAGE_VECTOR = std::vector<T, HUGE_PAGE_ALLOCATOR<T>>;

}  // namespace UTIL
