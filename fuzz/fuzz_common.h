// What every fuzz target shares: the assertion hook that tells a documented fatal assertion
// from a finding, the per-input reset of the symbol registry, and the input layout (one format
// byte, then the file). It owns no reader; each target names the assertions its reader's owner
// documents for bad input.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <stdexcept>
#include <string>

namespace FUZZ {

// Thrown by the hook for a documented assertion; the target's run() catches it.
struct DOCUMENTED_FATAL {};

// Assertion texts that are an allowed outcome of the reader under test. An entry ending in
// '*' matches every text that starts with what precedes it, one starting with '*' every text
// that ends with what follows; an entry "@dir/file.cpp" matches every
// assertion of that source, for owners that document all their checks as the outcome of a bad
// file. Any other assertion is a finding.
void allow(std::initializer_list<const char*> texts);
// Whether the checked subscript's out-of-range error is a documented outcome of the reader.
void allow_out_of_range(bool allowed);
bool out_of_range_allowed();

// Deletes every symbol table and makes table 0 again, so that the 256 table ids of the
// registry are never used up by millions of inputs.
void reset_symbols();
// Sends standard output to /dev/null, where readers print their failure lines, and drops the
// protocol-buffer library's log of text-format errors.
void quiet_stdout();

// Input layout: the low bit of the first byte is the frame format, the rest is the file.
inline uint32_t format_of(const uint8_t* data, size_t size) {
    return size ? (data[0] & 1u) : 0u;
}
inline std::string file_of(const uint8_t* data, size_t size) {
    return size ? std::string(reinterpret_cast<const char*>(data) + 1, size - 1) : std::string();
}

// Runs one reader call: a documented assertion (and a documented out-of-range error) ends it
// quietly; the symbol registry is reset afterwards in every case.
template <class F>
void run(F&& f) {
    try {
        f();
    } catch (const DOCUMENTED_FATAL&) {
    } catch (const std::out_of_range&) {
        if (!out_of_range_allowed()) throw;
    }
    reset_symbols();
}

// Runs a reader target's call on the input's file and frame format.
template <class F>
void run_on_file(const uint8_t* data, size_t size, F&& f) {
    const uint32_t format = format_of(data, size);
    const std::string file = file_of(data, size);
    run([&] { f(file, format); });
}

}  // namespace FUZZ
