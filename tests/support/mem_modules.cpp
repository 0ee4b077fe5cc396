// Test support: the test table, the naive unfolding and the hand-numbered fixture
// declared in mem_modules.h.
#include "mem_modules.h"

namespace TEST_HIER {

UTIL::SYMBOL_TABLE* test_table() {
    static UTIL::SYMBOL_TABLE* s_table = [] {
        UTIL::SYMBOL_TABLE* table = UTIL::symbol_tables().new_table();
        table->init_name_fast();
        return table;
    }();
    return s_table;
}

NAIVE_UNFOLDING::NAIVE_UNFOLDING(const MEM_MODULES& modules, uint32_t root) : m_modules(modules) {
    OCCURRENCE top;
    top.m_module = root;
    unfold(top, SIZE_MAX);
}

void NAIVE_UNFOLDING::unfold(OCCURRENCE occurrence, size_t parent) {
    auto module_of = [this](SYM name) {
        for (uint32_t i = 0; i < m_modules.get_n_modules(); ++i) {
            if (m_modules.get_module(i)->get_name() == name) return i;
        }
        return IHIERARCHY::IMODULES::MODULE_INDEX_INVALID;
    };
    occurrence.m_node = m_next++;
    occurrence.m_parent = parent;
    const size_t self = m_occurrences.size();
    m_occurrences.push_back(occurrence);
    const IHIERARCHY::IMODULE& module = *m_modules.get_module(occurrence.m_module);
    for (uint32_t i = 0; i < module.get_n_instances(); ++i) {
        OCCURRENCE child;
        child.m_instances = occurrence.m_instances;
        child.m_instances.push_back(i);
        child.m_module = module_of(module.get_instance(i)->get_module_name());
        unfold(child, self);
    }
    for (uint32_t p = 0; p < module.get_n_ports(); ++p) {
        OCCURRENCE port;
        port.m_instances = occurrence.m_instances;
        port.m_port = p;
        port.m_module = occurrence.m_module;
        port.m_node = m_next++;
        port.m_parent = self;
        m_occurrences.push_back(port);
    }
}

}  // namespace TEST_HIER

MODULES_FIXTURE::MODULES_FIXTURE() {
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
