// Failure forms shared by the whole library: the fatal assertion ("IE file:line  text"), its
// non-fatal warning companion, and the checked subscript that throws std::out_of_range.
// Nothing here throws an exception of the library's own; a failed assertion ends the process.
#pragma once

#include <cstdio>
#include <stdexcept>
#include <unordered_map>
#include <vector>

namespace UTIL {

// Prints "IE %s:%d  %s \n" on standard error and ends the process with exit code -1.
[[noreturn]] void fatal(const char* file, int line, const char* text);
// Prints "Warning %s:%d  %s \n" on standard error and returns.
void warning(const char* file, int line, const char* text);

// Size of the local buffer that formatted assertion messages are printed into.
constexpr int ASSERT_BUFFER_SIZE = 4096;

[[noreturn]] void throw_vector_subscript();
[[noreturn]] void throw_map_key();

// Checked subscripts: a bad index or an absent key throws std::out_of_range with the
// standard library's texts, "invalid vector<T> subscript" and "invalid unordered_map<K, T> key".
template <class V>
inline auto at(V& v, size_t i) -> decltype(v[i]) {
    if (i >= v.size()) throw_vector_subscript();
    return v[i];
}

template <class M, class K>
inline auto at_key(M& m, const K& key) -> decltype(m.find(key)->second) {
    auto it = m.find(key);
    if (it == m.end()) throw_map_key();
    return it->second;
}

}  // namespace UTIL

// Fatal check of a condition: the condition's text is what prints.
#define UTIL_ASSERT(cond)                                      \
    do {                                                       \
        if (!(cond)) ::UTIL::fatal(__FILE__, __LINE__, #cond); \
    } while (0)

// Fatal check with a formatted message: the message is printed into a local buffer first.
#define UTIL_ASSERT_MSG(cond, ...)                                             \
    do {                                                                       \
        if (!(cond)) {                                                         \
            char util_assert_buf_[::UTIL::ASSERT_BUFFER_SIZE];                 \
            snprintf(util_assert_buf_, sizeof(util_assert_buf_), __VA_ARGS__); \
            ::UTIL::fatal(__FILE__, __LINE__, util_assert_buf_);               \
        }                                                                      \
    } while (0)

// Unconditional failure with a formatted message.
#define UTIL_FAIL(...) UTIL_ASSERT_MSG(false, __VA_ARGS__)

#define UTIL_WARNING(cond)                                       \
    do {                                                         \
        if (!(cond)) ::UTIL::warning(__FILE__, __LINE__, #cond); \
    } while (0)

#define UTIL_WARNING_MSG(cond, ...)                                              \
    do {                                                                         \
        if (!(cond)) {                                                           \
            char util_warning_buf_[::UTIL::ASSERT_BUFFER_SIZE];                  \
            snprintf(util_warning_buf_, sizeof(util_warning_buf_), __VA_ARGS__); \
            ::UTIL::warning(__FILE__, __LINE__, util_warning_buf_);              \
        }                                                                        \
    } while (0)
