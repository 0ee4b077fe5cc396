// Test support: a 64-bit GID builder over an nx by ny by nz grid, with its symbol table and a
// writer's symbol file. Global types H1..H5 take indexes 0..4 and V2 index 5; the names
// CLOCK_SPINE and IOB are interned for RE and port types, which the builder adds on first use.
#pragma once

#include <memory>

#include "util/util_gid.h"
#include "util/util_symbol.h"
#include "util/util_symbol_file.h"

struct GID_GRID {
    UTIL::SYMBOL_TABLE* m_table;
    UTIL::SYMBOL_FILE m_file;
    std::unique_ptr<UTIL::GID64_BUILDER> m_builder;
    std::unique_ptr<UTIL::IGID_CONVERTER> m_conv;

    // Over `table` when given (its fast names must be on), else over a fresh table.
    GID_GRID(uint32_t nx, uint32_t ny, uint32_t nz, UTIL::SYMBOL_TABLE* table = nullptr);
    NS_SYMBOL::SYM sym(const char* name) const { return m_table->find(name); }
    // A GID of the global type H5.
    uint64_t h5(uint32_t x, uint32_t y, uint32_t z, uint32_t i) const;
};
