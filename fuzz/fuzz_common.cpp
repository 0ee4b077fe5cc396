// The assertion hook of the fuzz build and the per-input helpers of the targets.
#include "fuzz_common.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <google/protobuf/stubs/logging.h>

#include "util/util_symbol.h"

// Defined by the library in the fuzz build.
extern "C" void fab_fuzz_release_read_hierarchies();

namespace FUZZ {
namespace {
std::vector<std::string> s_allowed;
bool s_out_of_range = false;

bool ends_with(const char* s, const std::string& tail) {
    size_t n = strlen(s);
    return n >= tail.size() && tail.compare(0, std::string::npos, s + n - tail.size()) == 0;
}

// The kept objects' remaking, and the sizes of the symbol tables that existed once they were
// made, by table id.
std::function<void()> s_make, s_drop;
std::vector<size_t> s_kept_sizes;
size_t s_names_allowed = 0;

void mark() {
    s_kept_sizes.clear();
    for (const UTIL::SYMBOL_TABLE* table : UTIL::symbol_tables().get_tables())
        s_kept_sizes.push_back(table ? table->size() : 0);
}

// Whether the kept tables have grown by no more names than allowed since they were made, and
// enough table ids are left for an input: tables only grow, so an unchanged size is an
// unchanged table.
bool kept_intact() {
    const std::vector<UTIL::SYMBOL_TABLE*>& tables = UTIL::symbol_tables().get_tables();
    if (tables.size() > UTIL::SYMBOL_TABLES::MAX_TABLES / 2) return false;
    for (size_t id = 0; id < s_kept_sizes.size(); ++id) {
        const size_t size = tables[id] ? tables[id]->size() : 0;
        if (size - s_kept_sizes[id] > s_names_allowed) return false;
    }
    return true;
}

bool documented(const char* file, const char* text) {
    for (const std::string& a : s_allowed) {
        if (!a.empty() && a[0] == '@') {
            if (ends_with(file, a.substr(1))) return true;
        } else if (a.size() > 1 && a[0] == '*') {
            if (ends_with(text, a.substr(1))) return true;
        } else if (!a.empty() && a.back() == '*') {
            if (strncmp(text, a.c_str(), a.size() - 1) == 0) return true;
        } else if (a == text) {
            return true;
        }
    }
    return false;
}
}  // namespace

void allow(std::initializer_list<const char*> texts) {
    s_allowed.assign(texts.begin(), texts.end());
}

void allow_out_of_range(bool allowed) {
    s_out_of_range = allowed;
}
bool out_of_range_allowed() {
    return s_out_of_range;
}

void keep_across_inputs(std::function<void()> make, std::function<void()> drop,
                        size_t names_allowed) {
    s_make = std::move(make);
    s_drop = std::move(drop);
    s_names_allowed = names_allowed;
    s_make();
    mark();
}

void reset_symbols() {
    UTIL::SYMBOL_TABLES& registry = UTIL::symbol_tables();
    const std::vector<UTIL::SYMBOL_TABLE*>& tables = registry.get_tables();
    // A deleted table empties its own slot; the slots themselves stay until the next clear.
    for (size_t id = s_kept_sizes.size(); id < tables.size(); ++id) delete tables[id];
    if (!s_kept_sizes.empty() && kept_intact()) return;
    if (s_drop) s_drop();
    registry.clear();
    registry.new_table();
    if (s_make) {
        s_make();
        mark();
    }
}

void release_read_state() {
    fab_fuzz_release_read_hierarchies();
}

void quiet_stdout() {
    if (!freopen("/dev/null", "w", stdout)) perror("/dev/null");
    // The text parser logs every syntax error of a mutated input; the log would drown the
    // fuzzer's own lines and slow every text input down.
    google::protobuf::SetLogHandler(nullptr);
}

}  // namespace FUZZ

// Called by UTIL::fatal before it prints. A documented assertion leaves by exception, so the
// reader's objects are destroyed and the next input runs; any other one is reported in the
// system's own form and aborts, which libFuzzer records as a crash.
extern "C" void fab_fuzz_on_fatal(const char* file, int line, const char* text) {
    if (FUZZ::documented(file, text)) throw FUZZ::DOCUMENTED_FATAL();
    fprintf(stderr, "IE %s:%d  %s \n", file, line, text);
    fprintf(stderr, "FUZZ: undocumented fatal assertion\n");
    abort();
}
