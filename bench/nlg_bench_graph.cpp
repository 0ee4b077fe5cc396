// Synthetic device netlist, built straight into an NLG_GRAPH with every vector reserved.
//  1. Module 0 is the top; the first fifth of the modules have bodies, the rest are leaf
//     cells with a dozen ports and no body.
//  2. A module with a body instantiates only modules of higher index (so the hierarchy has no
//     cycle): mostly leaf cells, one instance in a hundred a module with a body.
//  3. Each instance connects a few ports of its definition to random nets of its parent; one
//     instance in eight leaves one connected port on no net. Every module port is on a net.
//  4. Names repeat across modules (p<k>, n<k>, u<k>) as they do in a real netlist; file-lines
//     carry a line and a file number.
#include "nlg_bench_graph.h"

#include <random>
#include <string>

#include "nlg/nlg_graph.h"
#include "util/util_symbol.h"

namespace NLG_BENCH {

GRAPH_SHAPE::GRAPH_SHAPE(uint32_t divisor) {
    m_modules = 20000 / divisor;
    m_hier_modules = m_modules / 5;
    m_leaf_ports = 12;
    m_refs_per_instance = 4;
    m_instances_per_module = 2000000 / divisor / m_hier_modules;
    uint64_t instances = uint64_t(m_instances_per_module) * m_hier_modules;
    uint64_t refs = instances * m_refs_per_instance;
    uint64_t leaf_ports = uint64_t(m_leaf_ports) * (m_modules - m_hier_modules);
    m_hier_ports = static_cast<uint32_t>((10000000 / divisor - refs - leaf_ports) / m_hier_modules);
    m_nets_per_module = m_instances_per_module / 2;
}

namespace {

class BUILDER {
  public:
    BUILDER(const GRAPH_SHAPE& shape, UTIL::SYMBOL_TABLE* table) : m_shape(shape), m_table(table) {}

    NLG_GRAPH* build() {
        NLG_GRAPH* g = new NLG_GRAPH(m_table, "device", m_shape.m_modules);
        m_table = g->get_symbol_table();
        for (uint32_t i = 0; i < m_shape.m_modules; ++i) add_module(*g, i);
        for (uint32_t i = 0; i < m_shape.m_modules; ++i) add_ports(*g->module(int32_t(i)));
        for (uint32_t i = 0; i < m_shape.m_hier_modules; ++i) add_body(*g, i);
        return g;
    }

  private:
    NS_SYMBOL::SYM name(const char* prefix, uint32_t k) {
        return m_table->add(prefix + std::to_string(k));
    }
    bool is_hier(uint32_t module) const { return module < m_shape.m_hier_modules; }

    void add_module(NLG_GRAPH& g, uint32_t i) {
        bool hier = is_hier(i);
        uint32_t n_ports = hier ? m_shape.m_hier_ports : m_shape.m_leaf_ports;
        NLG_MODULE* m = new NLG_MODULE(
            name(hier ? "block_" : "cell_", i), hier ? 0 : 1 + i % 5, NLG_ID(NLG_ID::MODULE, i),
            NLG_FILELINE(i % 64, 1 + i % 1000), false, n_ports,
            hier ? m_shape.m_nets_per_module : 0, hier ? m_shape.m_instances_per_module : 0);
        g.add_module(m);
    }

    void add_ports(NLG_MODULE& m) {
        uint32_t n_ports =
            is_hier(uint32_t(m.get_index())) ? m_shape.m_hier_ports : m_shape.m_leaf_ports;
        for (uint32_t k = 0; k < n_ports; ++k) {
            NLG_PORT p(NLG_ID(NLG_ID::PORT, m_port_serial++), name("p", k), k % 3 == 0 ? 1 : 0,
                       NLG_FILELINE(0, 10 + k));
            m.add_port(p);
        }
    }

    uint32_t pick_definition(uint32_t parent) {
        uint32_t first_leaf = m_shape.m_hier_modules;
        if (parent + 1 < first_leaf && m_random() % 100 == 0)
            return parent + 1 + m_random() % (first_leaf - parent - 1);
        return first_leaf + m_random() % (m_shape.m_modules - first_leaf);
    }

    void add_body(NLG_GRAPH& g, uint32_t i) {
        NLG_MODULE& m = *g.module(int32_t(i));
        uint32_t n_nets = m_shape.m_nets_per_module;
        for (uint32_t k = 0; k < n_nets; ++k) {
            NLG_NET n(NLG_ID(NLG_ID::NET, m_net_serial++), name("n", k), NLG_FILELINE(1, 20 + k));
            m.add_net(n);
        }
        uint32_t n_ports = m.get_num_ports();
        std::vector<uint32_t> ports_per_net(n_nets, 0);
        for (uint32_t p = 0; p < n_ports; ++p) ++ports_per_net[p % n_nets];
        for (uint32_t k = 0; k < n_nets; ++k) m.net(int32_t(k))->reserve_ports(ports_per_net[k]);
        for (uint32_t p = 0; p < n_ports; ++p) m.net(int32_t(p % n_nets))->connect_port(int32_t(p));

        for (uint32_t k = 0; k < m_shape.m_instances_per_module; ++k) {
            NLG_MODULE* definition = g.module(int32_t(pick_definition(i)));
            NLG_INSTANCE inst(name("u", k), definition, NLG_ID(NLG_ID::INSTANCE, m_inst_serial++),
                              NLG_FILELINE(2, 100 + k), m_shape.m_refs_per_instance);
            m.add_instance(inst);
        }
        // References go onto nets only once all instances stand, as a reader does.
        for (uint32_t k = 0; k < m_shape.m_instances_per_module; ++k) {
            NLG_INSTANCE* inst = m.instance(int32_t(k));
            uint32_t n_def_ports = inst->get_definition()->get_num_ports();
            bool open = m_random() % 8 == 0;
            for (uint32_t r = 0; r < m_shape.m_refs_per_instance; ++r) {
                int32_t port = int32_t((r * 3 + k) % n_def_ports);
                if (inst->portref_of_port(port)) port = int32_t(r);
                int32_t net = open && r == 0 ? -1 : int32_t(m_random() % n_nets);
                inst->add_portref(port, net, NLG_ID(NLG_ID::PORT_REF, m_ref_serial++));
            }
        }
    }

    const GRAPH_SHAPE& m_shape;
    UTIL::SYMBOL_TABLE* m_table;
    std::mt19937 m_random{20261123};
    uint32_t m_port_serial = 0;
    uint32_t m_net_serial = 0;
    uint32_t m_inst_serial = 0;
    uint32_t m_ref_serial = 0;
};

}  // namespace

NLG_GRAPH* make_graph(const GRAPH_SHAPE& shape, UTIL::SYMBOL_TABLE* table) {
    return BUILDER(shape, table).build();
}

GRAPH_COUNTS count(const NLG_GRAPH& graph) {
    GRAPH_COUNTS counts;
    counts.m_modules = graph.get_num_modules();
    for (uint32_t i = 0; i < graph.get_num_modules(); ++i) {
        const NLG_MODULE* m = graph.module(int32_t(i));
        counts.m_ports += m->get_num_ports();
        counts.m_nets += m->get_num_nets();
        counts.m_instances += m->get_num_instances();
        for (uint32_t k = 0; k < m->get_num_instances(); ++k)
            counts.m_portrefs += m->instance(int32_t(k))->get_num_portrefs();
    }
    return counts;
}

}  // namespace NLG_BENCH
