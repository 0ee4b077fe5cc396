// Test support: files with a symbol section ahead of their body (see symbol_section.h).
#include "symbol_section.h"

#include <google/protobuf/io/zero_copy_stream_impl.h>

#include <sstream>

#include <gtest/gtest.h>

SECTIONED_FILE write_with_section(
    UTIL::SYMBOL_TABLE* table, uint32_t format,
    const std::function<bool(UTIL::SYMBOL_FILE&, std::ostream&)>& write_body) {
    UTIL::SYMBOL_FILE symbols;
    symbols.set_internal_const(table);
    std::ostringstream body, section;
    EXPECT_TRUE(write_body(symbols, body));
    EXPECT_TRUE(symbols.write(section, format));
    return {section.str(), body.str()};
}

bool read_with_section(const std::string& bytes, uint32_t format, UTIL::SYMBOL_FILE& symbols,
                       UTIL::ISERIALIZABLE& body, UTIL::SYMBOL_TABLE* target) {
    symbols.set_internal(target != nullptr ? target : UTIL::symbol_tables().new_table());
    std::istringstream in(bytes);
    google::protobuf::io::IstreamInputStream zero_copy(&in);
    return symbols.read(&zero_copy, format) && body.read(&zero_copy, format);
}
