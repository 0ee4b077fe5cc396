// Fatal assertion and warning output, and the out-of-range errors of checked subscripts.
#include "util/util_assert.h"

#include <unistd.h>

#ifdef FAB_FUZZ
// The fuzz build hands every assertion to the harness first: it leaves by throwing when the
// reader under test documents the assertion, and aborts (a finding) when it does not.
extern "C" void fab_fuzz_on_fatal(const char* file, int line, const char* text);
#endif

namespace UTIL {

void fatal(const char* file, int line, const char* text) {
#ifdef FAB_FUZZ
    fab_fuzz_on_fatal(file, line, text);
#endif
    fprintf(stderr, "IE %s:%d  %s \n", file, line, text);
    // Nothing is cleaned up: no destructors, no exit handlers. Output already written is kept.
    fflush(stdout);
    fflush(stderr);
    _exit(-1);
}

void warning(const char* file, int line, const char* text) {
    fprintf(stderr, "Warning %s:%d  %s \n", file, line, text);
}

void throw_vector_subscript() {
    throw std::out_of_range("invalid vector<T> subscript");
}

void throw_map_key() {
    throw std::out_of_range("invalid unordered_map<K, T> key");
}

}  // namespace UTIL
