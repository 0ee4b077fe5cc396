// Test support: the sample graphs of nlg_sample_graphs.h. Their shapes, numbers and file-lines
// are what the tests check by hand; change a sketch and its graph together.
#include "nlg_sample_graphs.h"

namespace NLG_TEST {

// top (0): ports a in, b out, c inout, d in (d on no net); nets na{a}, nb{b}, nmid{}, nc{c};
//          u0: leaf  i->na, o->nmid, y unconnected reference, x no reference
//          u1: leaf  i->nmid, o->nb
//          u2: mid   p->nc
// leaf (1): primitive 7, ports i in, o out, x inout, y in; no body
// mid (2): unused non-primitive, ports p in, q out; net np{p, q}; v0: leaf i->np
// Fan lists in top: a -> b (port to port, then a -> c), a -> u0.i, u1.o -> b, u0.o -> u1.i.
// File-lines: top (2, 10), a (1, 5), na (0, 7), u0 (3, 12).
NLG_GRAPH* make_small_graph(UTIL::SYMBOL_TABLE* table) {
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
NLG_GRAPH* make_tree_graph(UTIL::SYMBOL_TABLE* table) {
    BUILDER b(table);
    NLG_MODULE* top = b.cell("top", "a >b =c", 2);
    NLG_MODULE* m0 = b.cell("m0", "p", 1);
    b.cell("m1", "x >y");
    b.instances(top, "u0:m0 u1:m1");
    b.instances(m0, "u1:m1");
    return b.graph();
}

NLG_IMODULE* TEST_MATCH::get_match(const NLG_IMODULE* module) const {
    auto it = m_twins.find(module);
    return it == m_twins.end() ? nullptr : it->second;
}

void TEST_MATCH::get_port_symbols(const NLG_IMODULE* module,
                                  std::vector<NS_SYMBOL::SYM>& symbols) const {
    for (uint32_t i = 0; i < module->get_num_ports(); ++i)
        symbols.push_back(module->get_port(static_cast<int32_t>(i))->get_name());
}

UNION_GRAPHS::UNION_GRAPHS() {
    BUILDER n, k;
    r[0] = n.cell("top", "q", 2);
    r[1] = n.cell("r1", "i");
    r[2] = n.cell("r2", "i >o", 1);
    r[3] = n.cell("r3", "");
    r[4] = n.cell("r4", "");
    n.instances(r[0], "t0:r1 t1:r2");
    n.instances(r[2], "r0:r3");
    b[0] = k.cell("b0", "z", 2);
    b[1] = k.cell("b1", "", 1);
    b[2] = k.cell("b2", ">w");
    k.instances(b[0], "k0:b2 k1:b2");
    k.instances(b[1], "k0:b2");
    rtl.reset(n.graph());
    blc.reset(k.graph());
}

}  // namespace NLG_TEST
