// Test support: a table written as a whole file writes it, a symbol section ahead of the body.
// The body is written first so that its symbols are noted, then the section is put before it;
// a reader takes the section into a symbol file and the body from the same stream.
#pragma once

#include <cstdint>
#include <functional>
#include <ostream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "util/util_protobuf.h"
#include "util/util_symbol_file.h"

// The file form of `object` in `format`, whose write must succeed.
template <class T>
std::string written(T& object, uint32_t format) {
    std::ostringstream out;
    EXPECT_TRUE(object.write(out, format));
    return out.str();
}

struct SECTIONED_FILE {
    std::string m_section;
    std::string m_body;
    std::string all() const { return m_section + m_body; }
};

// `write_body` writes through the symbol file it is given, whose internal table is `table`.
SECTIONED_FILE write_with_section(
    UTIL::SYMBOL_TABLE* table, uint32_t format,
    const std::function<bool(UTIL::SYMBOL_FILE&, std::ostream&)>& write_body);

// Reads the section of `bytes` into `symbols` over `target` (a fresh table when null), then
// `body` from the rest; false when either read fails. `body` must already use `symbols`.
bool read_with_section(const std::string& bytes, uint32_t format, UTIL::SYMBOL_FILE& symbols,
                       UTIL::ISERIALIZABLE& body, UTIL::SYMBOL_TABLE* target = nullptr);
