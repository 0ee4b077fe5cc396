// What every fuzz target shares: the assertion hook that tells a documented fatal assertion
// from a finding, the per-input reset of the symbol registry, and the input layout (one format
// byte, then the file). It owns no reader; each target names the assertions its reader's owner
// documents for bad input.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
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

// Objects that every input reads against, made once with the symbol tables they need and kept
// across inputs: `make` runs now, and the tables that exist after it are kept by reset_symbols.
// Should an input grow one of them by more than `names_allowed` names, or the registry run
// short of table ids, `drop` runs, every table goes and `make` runs again. With no names
// allowed each input meets the kept objects exactly as they were made; a target allows names
// only where its reader merely interns the names of its file into a kept table, which changes
// the ids that later names get but nothing that a read does.
void keep_across_inputs(std::function<void()> make, std::function<void()> drop,
                        size_t names_allowed = 0);

// Deletes the symbol tables made since the kept objects were made (every table and then table 0
// again when nothing is kept), so that the 256 table ids of the registry are never used up by
// millions of inputs.
void reset_symbols();

// Lets go of what the library keeps for the life of the process after a read: the hierarchies
// of translation database reads.
void release_read_state();
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
// quietly; what the read left in the process is released afterwards in every case.
template <class F>
void run(F&& f) {
    try {
        f();
    } catch (const DOCUMENTED_FATAL&) {
    } catch (const std::out_of_range&) {
        if (!out_of_range_allowed()) throw;
    }
    release_read_state();
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
