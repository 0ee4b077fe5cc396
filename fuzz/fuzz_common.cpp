// The assertion hook of the fuzz build and the per-input helpers of the targets.
#include "fuzz_common.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <google/protobuf/stubs/logging.h>

#include "util/util_symbol.h"

namespace FUZZ {
namespace {
std::vector<std::string> s_allowed;
bool s_out_of_range = false;

bool ends_with(const char* s, const std::string& tail) {
    size_t n = strlen(s);
    return n >= tail.size() && tail.compare(0, std::string::npos, s + n - tail.size()) == 0;
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

void reset_symbols() {
    UTIL::symbol_tables().clear();
    UTIL::symbol_tables().new_table();
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
