// The helpers shared by the graph tests: small hand-built netlist graphs (every kind of object,
// a hand-numbered instance tree, a netlist/block-level pair with a module match), a builder
// whose serials count per graph, and the regular expression of a fatal assertion.
#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "nlg/nlg_graph.h"
#include "nlg_imodule_match.h"
#include "util/util_symbol.h"

namespace NLG_TEST {

inline std::string fatal(const std::string& text) {
    std::string escaped;
    for (char ch : text) {
        if (std::string(".[]{}()\\*+?^$|").find(ch) != std::string::npos) escaped += '\\';
        escaped += ch;
    }
    return "IE [^ ]+:[0-9]+  " + escaped + " \n";
}

inline NS_SYMBOL::SYM sym(NLG_GRAPH& g, const std::string& name) {
    return g.get_symbol_table()->add(name);
}

// Adds a module whose id serial is its index in the graph, as in a file.
inline NLG_MODULE* add_module(NLG_GRAPH& g, const std::string& name, uint32_t primitive_type,
                              NLG_FILELINE fileline, bool unused, uint32_t n_ports, uint32_t n_nets,
                              uint32_t n_instances) {
    NLG_MODULE* m =
        new NLG_MODULE(sym(g, name), primitive_type, NLG_ID(NLG_ID::MODULE, g.get_num_modules()),
                       fileline, unused, n_ports, n_nets, n_instances);
    g.add_module(m);
    return m;
}

inline NLG_PORT* add_port(NLG_GRAPH& g, NLG_MODULE* m, const std::string& name, uint32_t direction,
                          NLG_FILELINE fileline = NLG_FILELINE()) {
    static uint32_t s_serial = 0;
    NLG_PORT p(NLG_ID(NLG_ID::PORT, s_serial++), sym(g, name), direction, fileline);
    m->add_port(p);
    return m->port(static_cast<int32_t>(m->get_num_ports()) - 1);
}

inline NLG_NET* add_net(NLG_GRAPH& g, NLG_MODULE* m, const std::string& name,
                        NLG_FILELINE fileline = NLG_FILELINE()) {
    static uint32_t s_serial = 0;
    NLG_NET n(NLG_ID(NLG_ID::NET, s_serial++), sym(g, name), fileline);
    m->add_net(n);
    return m->net(static_cast<int32_t>(m->get_num_nets()) - 1);
}

inline NLG_INSTANCE* add_instance(NLG_GRAPH& g, NLG_MODULE* m, const std::string& name,
                                  NLG_MODULE* definition, uint32_t n_portrefs,
                                  NLG_FILELINE fileline = NLG_FILELINE()) {
    static uint32_t s_serial = 0;
    NLG_INSTANCE inst(sym(g, name), definition, NLG_ID(NLG_ID::INSTANCE, s_serial++), fileline,
                      n_portrefs);
    m->add_instance(inst);
    return m->instance(static_cast<int32_t>(m->get_num_instances()) - 1);
}

// Every kind of object:
//   top (0): ports a in, b out, c inout, d in (d on no net); nets na{a}, nb{b}, nmid{}, nc{c};
//            u0: leaf  i->na, o->nmid, y unconnected reference, x no reference
//            u1: leaf  i->nmid, o->nb
//            u2: mid   p->nc
//   leaf (1): primitive 7, ports i in, o out, x inout, y in; no body
//   mid (2): unused non-primitive, ports p in, q out; net np{p, q}; v0: leaf i->np
// Fan lists in top: a -> b (port to port, then a -> c), a -> u0.i, u1.o -> b, u0.o -> u1.i.
// File-lines: top (2, 10), a (1, 5), na (0, 7), u0 (3, 12); filenames f0..f3.
inline NLG_GRAPH* make_small_graph(UTIL::SYMBOL_TABLE* table = nullptr) {
    NLG_GRAPH* g = new NLG_GRAPH(table, "root", 3);
    NLG_MODULE* top = add_module(*g, "top", 0, NLG_FILELINE(2, 10), false, 4, 4, 3);
    NLG_MODULE* leaf = add_module(*g, "leaf", 7, NLG_FILELINE(), false, 4, 0, 0);
    NLG_MODULE* mid = add_module(*g, "mid", 0, NLG_FILELINE(), true, 2, 1, 1);

    NLG_PORT* a = add_port(*g, top, "a", NLG_IPORT::INPUT, NLG_FILELINE(1, 5));
    NLG_PORT* b = add_port(*g, top, "b", NLG_IPORT::OUTPUT);
    NLG_PORT* c = add_port(*g, top, "c", NLG_IPORT::INOUT);
    add_port(*g, top, "d", NLG_IPORT::INPUT);
    add_port(*g, leaf, "i", NLG_IPORT::INPUT);
    add_port(*g, leaf, "o", NLG_IPORT::OUTPUT);
    add_port(*g, leaf, "x", NLG_IPORT::INOUT);
    add_port(*g, leaf, "y", NLG_IPORT::INPUT);
    add_port(*g, mid, "p", NLG_IPORT::INPUT);
    add_port(*g, mid, "q", NLG_IPORT::OUTPUT);

    add_net(*g, top, "na", NLG_FILELINE(0, 7))->connect_port(a);
    add_net(*g, top, "nb")->connect_port(b);
    add_net(*g, top, "nmid");
    add_net(*g, top, "nc")->connect_port(c);
    NLG_NET* np = add_net(*g, mid, "np");
    np->connect_port(0);
    np->connect_port(1);

    NLG_INSTANCE* u0 = add_instance(*g, top, "u0", leaf, 3, NLG_FILELINE(3, 12));
    u0->add_portref(0, 0, NLG_ID(NLG_ID::PORT_REF, 0));
    u0->add_portref(1, 2, NLG_ID(NLG_ID::PORT_REF, 1));
    u0->add_portref(3, -1, NLG_ID(NLG_ID::PORT_REF, 2));
    NLG_INSTANCE* u1 = add_instance(*g, top, "u1", leaf, 2);
    u1->add_portref(0, 2, NLG_ID(NLG_ID::PORT_REF, 3));
    u1->add_portref(1, 1, NLG_ID(NLG_ID::PORT_REF, 4));
    NLG_INSTANCE* u2 = add_instance(*g, top, "u2", mid, 1);
    u2->add_portref(mid->port(0), top->net(3), NLG_ID(NLG_ID::PORT_REF, 5));
    NLG_INSTANCE* v0 = add_instance(*g, mid, "v0", leaf, 1);
    v0->add_portref(leaf->port(0), np, NLG_ID(NLG_ID::PORT_REF, 6));

    a->add_fanout_port(b);
    b->add_fanin_port(a);
    a->add_fanout_port(c);
    c->add_fanin_port(a);
    NLG_PORT_REF* u0_i = u0->portref_of_port(0);
    NLG_PORT_REF* u0_o = u0->portref_of_port(1);
    NLG_PORT_REF* u1_i = u1->portref_of_port(0);
    NLG_PORT_REF* u1_o = u1->portref_of_port(1);
    a->add_fanout_ref(u0_i);
    u0_i->add_fanin_port(a);
    b->add_fanin_ref(u1_o);
    u1_o->add_fanout_port(b);
    u0_o->add_fanout_ref(u1_i);
    u1_i->add_fanin_ref(u0_o);

    g->set_filenames({sym(*g, "f0"), sym(*g, "f1"), sym(*g, "f2"), sym(*g, "f3")});
    return g;
}

// top (0): u0:m0, u1:m1, ports a in, b out, c inout
// m0 (1):  u1:m1, port p in
// m1 (2):  ports x in, y out
// Nodes with ports (port tree, hierarchy): top 0, u0 1, u0/u1 2, u0/u1/x 3, u0/u1/y 4, u0/p 5,
// u1 6, u1/x 7, u1/y 8, a 9, b 10, c 11. Instances only: top 0, u0 1, u0/u1 2, u1 3.
inline NLG_GRAPH* make_tree_graph(UTIL::SYMBOL_TABLE* table = nullptr) {
    NLG_GRAPH* g = new NLG_GRAPH(table, "root", 3);
    NLG_MODULE* top = add_module(*g, "top", 0, NLG_FILELINE(), false, 3, 0, 2);
    NLG_MODULE* m0 = add_module(*g, "m0", 0, NLG_FILELINE(), false, 1, 0, 1);
    NLG_MODULE* m1 = add_module(*g, "m1", 0, NLG_FILELINE(), false, 2, 0, 0);
    add_port(*g, top, "a", NLG_IPORT::INPUT);
    add_port(*g, top, "b", NLG_IPORT::OUTPUT);
    add_port(*g, top, "c", NLG_IPORT::INOUT);
    add_port(*g, m0, "p", NLG_IPORT::INPUT);
    add_port(*g, m1, "x", NLG_IPORT::INPUT);
    add_port(*g, m1, "y", NLG_IPORT::OUTPUT);
    add_instance(*g, top, "u0", m0, 0);
    add_instance(*g, top, "u1", m1, 0);
    add_instance(*g, m0, "u1", m1, 0);
    return g;
}

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

// Twins by netlist module.
class TEST_MATCH : public NLG_IMODULE_MATCH {
  public:
    void add(const NLG_IMODULE* rtl, NLG_IMODULE* blc) { m_twins[rtl] = blc; }
    NLG_IMODULE* get_match(const NLG_IMODULE* module) const override {
        auto it = m_twins.find(module);
        return it == m_twins.end() ? nullptr : it->second;
    }
    void get_port_symbols(const NLG_IMODULE* module,
                          std::vector<NS_SYMBOL::SYM>& symbols) const override {
        for (uint32_t i = 0; i < module->get_num_ports(); ++i)
            symbols.push_back(module->get_port(static_cast<int32_t>(i))->get_name());
    }

  private:
    std::unordered_map<const NLG_IMODULE*, NLG_IMODULE*> m_twins;
};

// Netlist, 5 modules: top: t0:r1, t1:r2, port q; r1: port i; r2: r0:r3, ports i, o; r3; r4.
// Block level, 3 modules, own table: b0: k0:b2, k1:b2, port z; b1: k0:b2; b2: port w.
struct UNION_GRAPHS {
    std::unique_ptr<NLG_GRAPH> rtl{new NLG_GRAPH(nullptr, "rtl", 5)};
    std::unique_ptr<NLG_GRAPH> blc{new NLG_GRAPH(nullptr, "blc", 3)};
    NLG_MODULE* r[5];
    NLG_MODULE* b[3];

    UNION_GRAPHS() {
        r[0] = add_module(*rtl, "top", 0, NLG_FILELINE(), false, 1, 0, 2);
        r[1] = add_module(*rtl, "r1", 0, NLG_FILELINE(), false, 1, 0, 0);
        r[2] = add_module(*rtl, "r2", 0, NLG_FILELINE(), false, 2, 0, 1);
        r[3] = add_module(*rtl, "r3", 0, NLG_FILELINE(), false, 0, 0, 0);
        r[4] = add_module(*rtl, "r4", 0, NLG_FILELINE(), false, 0, 0, 0);
        add_port(*rtl, r[0], "q", NLG_IPORT::INPUT);
        add_port(*rtl, r[1], "i", NLG_IPORT::INPUT);
        add_port(*rtl, r[2], "i", NLG_IPORT::INPUT);
        add_port(*rtl, r[2], "o", NLG_IPORT::OUTPUT);
        add_instance(*rtl, r[0], "t0", r[1], 0);
        add_instance(*rtl, r[0], "t1", r[2], 0);
        add_instance(*rtl, r[2], "r0", r[3], 0);
        b[0] = add_module(*blc, "b0", 0, NLG_FILELINE(), false, 1, 0, 2);
        b[1] = add_module(*blc, "b1", 0, NLG_FILELINE(), false, 0, 0, 1);
        b[2] = add_module(*blc, "b2", 0, NLG_FILELINE(), false, 1, 0, 0);
        add_port(*blc, b[0], "z", NLG_IPORT::INPUT);
        add_port(*blc, b[2], "w", NLG_IPORT::OUTPUT);
        add_instance(*blc, b[0], "k0", b[2], 0);
        add_instance(*blc, b[0], "k1", b[2], 0);
        add_instance(*blc, b[1], "k0", b[2], 0);
    }
};

}  // namespace NLG_TEST

#define EXPECT_FATAL(statement, text) \
    EXPECT_EXIT(statement, testing::ExitedWithCode(255), NLG_TEST::fatal(text))
