// A small builder of in-memory netlist graphs whose object serials count per graph, so that
// annotation records (found by serial) line up with the graph's bounds.
#pragma once

#include <string>

#include "nlg/nlg_graph.h"
#include "util/util_symbol.h"

namespace NLG_TEST {

class BUILDER {
  public:
    explicit BUILDER(UTIL::SYMBOL_TABLE* table = nullptr)
        : m_graph(new NLG_GRAPH(table, "root", 0)) {}

    // The caller owns the graph.
    NLG_GRAPH* graph() const { return m_graph; }
    NS_SYMBOL::SYM sym(const std::string& name) { return m_graph->get_symbol_table()->add(name); }

    // Room is reserved for exactly the ports and instances that are added later.
    NLG_MODULE* module(const std::string& name, uint32_t n_ports, uint32_t n_instances) {
        NLG_MODULE* m =
            new NLG_MODULE(sym(name), 0, NLG_ID(NLG_ID::MODULE, m_graph->get_num_modules()),
                           NLG_FILELINE(), false, n_ports, 0, n_instances);
        m_graph->add_module(m);
        return m;
    }

    NLG_PORT* port(NLG_MODULE* m, const std::string& name, uint32_t direction) {
        NLG_PORT p(NLG_ID(NLG_ID::PORT, m_n_ports++), sym(name), direction, NLG_FILELINE());
        m->add_port(p);
        return m->port(static_cast<int32_t>(m->get_num_ports()) - 1);
    }

    // An instance with an unconnected reference on every port of its definition; the
    // definition's ports must be complete.
    NLG_INSTANCE* instance(NLG_MODULE* parent, const std::string& name, NLG_MODULE* definition) {
        NLG_INSTANCE inst(sym(name), definition, NLG_ID(NLG_ID::INSTANCE, m_n_instances++),
                          NLG_FILELINE(), definition->get_num_ports());
        parent->add_instance(inst);
        NLG_INSTANCE* added =
            parent->instance(static_cast<int32_t>(parent->get_num_instances()) - 1);
        for (uint32_t p = 0; p < definition->get_num_ports(); ++p)
            added->add_portref(static_cast<int32_t>(p), -1, NLG_ID(NLG_ID::PORT_REF, m_n_refs++));
        return added;
    }

  private:
    NLG_GRAPH* m_graph;
    uint32_t m_n_ports = 0;
    uint32_t m_n_instances = 0;
    uint32_t m_n_refs = 0;
};

}  // namespace NLG_TEST
