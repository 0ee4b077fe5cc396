// Test support: builders of netlist graphs in memory. The free functions add one object to a
// graph with a serial that counts per process; BUILDER and TRACE_GRAPH count per graph, so that
// the ids of a built graph match those of its file. Also the pattern of a fatal assertion.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ann/annss.h"
#include "nlg/nlg_graph.h"
#include "util/util_symbol.h"

namespace NLG_TEST {

// The regular expression of the fatal assertion's line, "IE file:line  text \n".
std::string fatal(const std::string& text);

inline NS_SYMBOL::SYM sym(NLG_GRAPH& g, const std::string& name) {
    return g.get_symbol_table()->add(name);
}

// A module whose id serial is its index in the graph, as in a file.
NLG_MODULE* add_module(NLG_GRAPH& g, const std::string& name, uint32_t primitive_type,
                       NLG_FILELINE fileline, bool unused, uint32_t n_ports, uint32_t n_nets,
                       uint32_t n_instances);
NLG_PORT* add_port(NLG_GRAPH& g, NLG_MODULE* m, const std::string& name, uint32_t direction,
                   NLG_FILELINE fileline = NLG_FILELINE());
NLG_NET* add_net(NLG_GRAPH& g, NLG_MODULE* m, const std::string& name,
                 NLG_FILELINE fileline = NLG_FILELINE());
NLG_INSTANCE* add_instance(NLG_GRAPH& g, NLG_MODULE* m, const std::string& name,
                           NLG_MODULE* definition, uint32_t n_portrefs,
                           NLG_FILELINE fileline = NLG_FILELINE());

// Modules with room for exactly what is added later; instances with an unconnected reference on
// every port of their definition, whose ports must be complete.
class BUILDER {
  public:
    explicit BUILDER(UTIL::SYMBOL_TABLE* table = nullptr)
        : m_graph(new NLG_GRAPH(table, "root", 0)) {}

    // The caller owns the graph.
    NLG_GRAPH* graph() const { return m_graph; }
    NS_SYMBOL::SYM sym(const std::string& name) { return NLG_TEST::sym(*m_graph, name); }
    NLG_MODULE* module(const std::string& name, uint32_t n_ports, uint32_t n_instances);
    NLG_PORT* port(NLG_MODULE* m, const std::string& name, uint32_t direction);
    NLG_INSTANCE* instance(NLG_MODULE* parent, const std::string& name, NLG_MODULE* definition);
    // A module with room for `n_instances` and the ports given in order: ">name" an output,
    // "=name" an inout, "name" an input.
    NLG_MODULE* cell(const std::string& name, const std::string& ports, uint32_t n_instances = 0);
    // Instances "name:module ..." of modules found by name.
    void instances(NLG_MODULE* parent, const std::string& text);

  private:
    NLG_GRAPH* m_graph;
    uint32_t m_n_ports = 0, m_n_instances = 0, m_n_refs = 0;
};

// The netlists of the tracer tests: every vector is reserved ahead (ROOM) so that pointers stay
// put while the graph grows, and ICDB records are made once the graph is complete.
class TRACE_GRAPH {
  public:
    static constexpr uint32_t ROOM = 24;

    TRACE_GRAPH();
    NLG_GRAPH& graph() { return *m_graph; }
    NS_SYMBOL::SYM sym(const std::string& name) { return NLG_TEST::sym(*m_graph, name); }
    NLG_MODULE* module(const std::string& name, uint32_t primitive_type = 0);
    NLG_PORT* port(NLG_MODULE* m, const std::string& name, uint32_t direction);
    // A net of the module tying the given ports of the module.
    NLG_NET* net(NLG_MODULE* m, const std::string& name, std::vector<NLG_PORT*> ports = {});
    NLG_INSTANCE* instance(NLG_MODULE* parent, const std::string& name, NLG_MODULE* definition);
    // Ties the instance's port (by name) to a net of the parent; a null net leaves the pin
    // without a net.
    NLG_PORT_REF* pin(NLG_INSTANCE* inst, const std::string& port_name, NLG_NET* net);

    // Shorthands by text. A module with ports in order, ">name" an output, "=name" an inout,
    // "name" an input:
    // cell("INV", "a >y").
    NLG_MODULE* cell(const std::string& name, const std::string& ports, uint32_t primitive = 0);
    // Instances "name:module ..." of modules found by name.
    void instances(NLG_MODULE* parent, const std::string& text);
    // Nets of the module, one per ';': "net: port inst.pin ...", a bare name a port of the
    // module, inst.pin a pin of its instance; ports and pins are tied in the order given.
    void wire(NLG_MODULE* m, const std::string& text);
    NLG_INSTANCE* inst(NLG_MODULE* parent, const std::string& name);
    NLG_PORT* port(NLG_MODULE* m, const std::string& name);

    NLG_ANNSS& annotations();
    PB::ICDB_APORT& rec(NLG_IPORT* p) { return annotations().get_icdb().get_port(*p); }
    PB::ICDB_MODULE& rec(NLG_IMODULE* m) { return annotations().get_icdb().get_module(*m); }
    PB::ICDB_INSTANCE& rec(NLG_IINSTANCE* i) { return annotations().get_icdb().get_instance(*i); }
    // Mux description of a module (paths as input, output port indexes) or of an instance.
    void set_mux(NLG_MODULE* m, bool is_template, bool first_stage,
                 std::vector<std::pair<int, int>> paths);
    void set_instance_mux(NLG_INSTANCE* inst, bool first_stage);

  private:
    std::unique_ptr<NLG_GRAPH> m_graph;
    std::unique_ptr<NLG_ANNSS> m_annss;
    uint32_t m_ports = 0, m_nets = 0, m_instances = 0, m_refs = 0;
};

// The primitive cells that the walks step through: inverter (5) a->y, buffer (7) a->y,
// tri-state driver (6) d, en -> y, and a primitive of another type (9).
struct PRIMITIVES {
    NLG_MODULE *inv, *buf, *tri, *odd;
    explicit PRIMITIVES(TRACE_GRAPH& t);
};

}  // namespace NLG_TEST

#define EXPECT_FATAL(statement, text) \
    EXPECT_EXIT(statement, testing::ExitedWithCode(255), NLG_TEST::fatal(text))
