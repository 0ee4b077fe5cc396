// Test support: module descriptions built by name, for hierarchies without a netlist
// (MEM_MODULES), and MODULES_FIXTURE, a four-module description numbered by hand.
#pragma once

#include <memory>
#include <string>

#include "util/util_hierarchy.h"
#include "util/util_modules.h"
#include "util/util_symbol.h"

namespace TEST_HIER {

using NS_SYMBOL::SYM;

// One table for all descriptions of a test program: the registry holds at most 256 tables.
// Its fast names are on from the start, so that paths and names print.
UTIL::SYMBOL_TABLE* test_table();

// A module description whose names are interned in the test table and whose modules are
// addressed by index while it is built.
class MEM_MODULES : public UTIL::MMODULES {
  public:
    explicit MEM_MODULES(UTIL::SYMBOL_TABLE* table = test_table()) : MMODULES(table) {}

    uint32_t add_module(const std::string& name) {
        MMODULES::add_module(sym(name));
        return get_n_modules() - 1;
    }
    void add_instance(uint32_t module, const std::string& name, const std::string& module_name) {
        get_mutable_module(module).add_instance(sym(name), sym(module_name));
    }
    void add_port(uint32_t module, const std::string& name) {
        get_mutable_module(module).add_port(sym(name), 0);
    }
    SYM sym(const std::string& name) const { return test_table()->add(name); }
};

// Modules added by text in order, one per ';': "top: u0:mid clk >q; mid: a:leaf". A word
// "name:module" is an instance, any other a port: ">name" an output, "=name" an inout, "name"
// an input. Names are interned in the description's table, else in the test table.
void add_modules(UTIL::MMODULES& modules, const std::string& text);

}  // namespace TEST_HIER

// A small module description for table tests, built with the MMODULES value holders:
//
//   T (module 0): a0:A  a1:A  b0:B   port p        nodes: T=0
//   A (module 1): c0:C         ports x, y                 a0=1 {c0=2 {z=3}, x=4, y=5}
//   B (module 2):              port q                     a1=6 {c0=7 {z=8}, x=9, y=10}
//   C (module 3):              port z                     b0=11 {q=12}, p=13
struct MODULES_FIXTURE {
    UTIL::SYMBOL_TABLE* m_table = UTIL::symbol_tables().new_table();
    UTIL::MMODULES m_modules{m_table};
    std::unique_ptr<UTIL::HIERARCHY> m_hierarchy;

    MODULES_FIXTURE();
    NS_SYMBOL::SYM sym(const char* name) { return m_table->add(name); }
};
