// A small module description for table tests, built with the MMODULES value holders:
//
//   T (module 0): a0:A  a1:A  b0:B   port p        nodes: T=0
//   A (module 1): c0:C         ports x, y                 a0=1 {c0=2 {z=3}, x=4, y=5}
//   B (module 2):              port q                     a1=6 {c0=7 {z=8}, x=9, y=10}
//   C (module 3):              port z                     b0=11 {q=12}, p=13
#pragma once

#include <memory>

#include "util/util_hierarchy.h"
#include "util/util_modules.h"
#include "util/util_symbol.h"

struct MODULES_FIXTURE {
    UTIL::SYMBOL_TABLE* m_table = UTIL::symbol_tables().new_table();
    UTIL::MMODULES m_modules{m_table};
    std::unique_ptr<UTIL::HIERARCHY> m_hierarchy;

    MODULES_FIXTURE() {
        m_table->init_name_fast();
        UTIL::MMODULE& t = m_modules.add_module(sym("T"));
        t.add_instance(sym("a0"), sym("A"));
        t.add_instance(sym("a1"), sym("A"));
        t.add_instance(sym("b0"), sym("B"));
        t.add_port(sym("p"), 0);
        UTIL::MMODULE& a = m_modules.add_module(sym("A"));
        a.add_instance(sym("c0"), sym("C"));
        a.add_port(sym("x"), 0);
        a.add_port(sym("y"), 1);
        m_modules.add_module(sym("B")).add_port(sym("q"), 2);
        m_modules.add_module(sym("C")).add_port(sym("z"), 1);
        m_hierarchy = std::make_unique<UTIL::HIERARCHY>(&m_modules);
    }
    NS_SYMBOL::SYM sym(const char* name) { return m_table->add(name); }
};
