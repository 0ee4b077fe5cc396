// Test support: the GID grid of gid_grid.h.
#include "gid_grid.h"

GID_GRID::GID_GRID(uint32_t nx, uint32_t ny, uint32_t nz, UTIL::SYMBOL_TABLE* table)
    : m_table(table), m_builder(UTIL::create_gid64_builder()) {
    if (m_table == nullptr) {
        m_table = UTIL::symbol_tables().new_table();
        m_table->init_name_fast();
    }
    for (const char* name : {"H", "V", "CLOCK_SPINE", "IOB"}) m_table->add(name);
    m_file.set_internal_const(m_table);
    m_builder->set_symbol_file(&m_file);
    m_builder->set_dimensions(nx, ny, nz);
    m_builder->add_global_types(
        {{sym("H"), 1}, {sym("H"), 2}, {sym("H"), 3}, {sym("H"), 4}, {sym("H"), 5}, {sym("V"), 2}});
    m_conv.reset(m_builder->create_converter());
}

uint64_t GID_GRID::h5(uint32_t x, uint32_t y, uint32_t z, uint32_t i) const {
    return m_builder->make_gid64(x, y, z, i, PB::GID_TYPE::GLOBAL, sym("H"), 5);
}
