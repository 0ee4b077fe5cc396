// The small in-memory device that the targets read against and the seed writer writes from:
// a four-module hierarchy (T holds a0:A a1:A b0:B; A holds c0:C) and a 3x2x1 GID grid. It is
// made afresh for every input, after the symbol registry was reset, or once and kept across
// inputs (FUZZ::keep_across_inputs).
#pragma once

#include <memory>
#include <sstream>
#include <string>

#include <google/protobuf/io/zero_copy_stream_impl_lite.h>

#include "util/util_gid.h"
#include "util/util_hierarchy.h"
#include "util/util_modules.h"
#include "util/util_symbol.h"
#include "util/util_symbol_file.h"

namespace FUZZ {

struct DEVICE {
    UTIL::SYMBOL_TABLE* m_table = UTIL::symbol_tables().new_table();
    UTIL::MMODULES m_modules{m_table};
    std::unique_ptr<UTIL::HIERARCHY> m_hierarchy;

    DEVICE() {
        for (const char* name : {"H", "V", "CLOCK_SPINE", "IOB"}) m_table->add(name);
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
        m_table->init_name_fast();
        m_hierarchy = std::make_unique<UTIL::HIERARCHY>(&m_modules);
    }
    NS_SYMBOL::SYM sym(const char* name) { return m_table->add(name); }
};

// A GID builder over a 3x2x1 grid with the global types H1..H5 and V2; for writing.
struct GRID {
    UTIL::SYMBOL_FILE m_file;
    std::unique_ptr<UTIL::GID64_BUILDER> m_builder{UTIL::create_gid64_builder()};

    explicit GRID(DEVICE& d) {
        m_file.set_internal_const(d.m_table);
        m_builder->set_symbol_file(&m_file);
        m_builder->set_dimensions(3, 2, 1);
        m_builder->add_global_types({{d.sym("H"), 1},
                                     {d.sym("H"), 2},
                                     {d.sym("H"), 3},
                                     {d.sym("H"), 4},
                                     {d.sym("H"), 5},
                                     {d.sym("V"), 2}});
    }
};

// One input stream over the fuzz bytes; the symbol section is read first, into a fresh table.
struct INPUT {
    google::protobuf::io::ArrayInputStream m_stream;
    UTIL::SYMBOL_FILE m_symbols;
    INPUT(const std::string& file) : m_stream(file.data(), static_cast<int>(file.size())) {}
    bool read_symbols(uint32_t format) {
        m_symbols.set_internal(UTIL::symbol_tables().new_table());
        return m_symbols.read(&m_stream, format);
    }
};

}  // namespace FUZZ
