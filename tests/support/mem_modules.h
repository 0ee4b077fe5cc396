// Test support: module descriptions held in plain vectors, for building hierarchies without a
// netlist (MEM_MODULES); a naive unfolding that walks every occurrence, the reference the folded
// numbering is checked against; and MODULES_FIXTURE, a four-module description numbered by hand.
#pragma once

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "util/util_hierarchy.h"
#include "util/util_modules.h"
#include "util/util_symbol.h"

namespace TEST_HIER {

using NS_SYMBOL::SYM;
using UTIL::IHIERARCHY;

// One table for all descriptions of a test program: the registry holds at most 256 tables.
// Its fast names are on from the start, so that paths and names print.
UTIL::SYMBOL_TABLE* test_table();

class MEM_PORT : public IHIERARCHY::IPORT {
  public:
    explicit MEM_PORT(SYM name) : m_name(name) {}
    SYM get_name() const override { return m_name; }
    int get_direction() const override { return 0; }

  private:
    SYM m_name;
};

class MEM_INSTANCE : public IHIERARCHY::IINSTANCE {
  public:
    MEM_INSTANCE(SYM name, SYM module_name) : m_name(name), m_module_name(module_name) {}
    SYM get_name() const override { return m_name; }
    SYM get_module_name() const override { return m_module_name; }

  private:
    SYM m_name, m_module_name;
};

class MEM_MODULE : public IHIERARCHY::IMODULE {
  public:
    explicit MEM_MODULE(SYM name) : m_name(name) {}
    SYM get_name() const override { return m_name; }
    uint32_t get_n_instances() const override { return static_cast<uint32_t>(m_instances.size()); }
    const IHIERARCHY::IINSTANCE* get_instance(uint32_t i) const override {
        return &m_instances.at(i);
    }
    uint32_t get_n_ports() const override { return static_cast<uint32_t>(m_ports.size()); }
    const IHIERARCHY::IPORT* get_port(uint32_t i) const override { return &m_ports.at(i); }

    std::vector<MEM_INSTANCE> m_instances;
    std::vector<MEM_PORT> m_ports;

  private:
    SYM m_name;
};

class MEM_MODULES : public IHIERARCHY::IMODULES {
  public:
    explicit MEM_MODULES(UTIL::SYMBOL_TABLE* table = test_table()) : m_table(table) {}

    UTIL::SYMBOL_TABLE* get_symbol_table() const override { return m_table; }
    uint32_t get_n_modules() const override { return static_cast<uint32_t>(m_modules.size()); }
    const IHIERARCHY::IMODULE* get_module(uint32_t i) const override { return &m_modules.at(i); }

    // Builder operations; names are interned in the test table.
    uint32_t add_module(const std::string& name);
    void add_instance(uint32_t module, const std::string& name, const std::string& module_name);
    void add_port(uint32_t module, const std::string& name);
    SYM sym(const std::string& name) const { return test_table()->add(name); }

    std::deque<MEM_MODULE> m_modules;
    UTIL::SYMBOL_TABLE* m_table;
};

// One occurrence of the unfolded tree: an instance occurrence, or a port when m_port is set.
struct OCCURRENCE {
    std::vector<uint32_t> m_instances;
    uint32_t m_port = IHIERARCHY::IMODULES::MODULE_INDEX_INVALID;
    uint32_t m_module = 0;  // module of the occurrence, or owner of the port
    uint64_t m_node = 0;
    uint64_t m_last = 0;         // last node of an instance occurrence's subtree
    size_t m_parent = SIZE_MAX;  // position of the enclosing instance occurrence
};

// Every occurrence under `root`, in node order, numbered by counting: the occurrence, then
// each instance's subtree, then the ports. Module names are resolved by a linear scan.
class NAIVE_UNFOLDING {
  public:
    NAIVE_UNFOLDING(const MEM_MODULES& modules, uint32_t root);
    const std::vector<OCCURRENCE>& get() const { return m_occurrences; }
    uint64_t size() const { return m_next; }

  private:
    void unfold(OCCURRENCE occurrence, size_t parent);

    const MEM_MODULES& m_modules;
    std::vector<OCCURRENCE> m_occurrences;
    uint64_t m_next = 0;
};

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
