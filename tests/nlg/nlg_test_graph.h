// Small hand-built netlist graphs shared by the graph tests.
#pragma once

#include <string>

#include "nlg/nlg_graph.h"
#include "util/util_symbol.h"

namespace NLG_TEST {

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

}  // namespace NLG_TEST
