// The port map visitor on a small netlist: three parents (a block whose mux ports reach its
// ports, a block with no mux, a second block), one request, and what enters the map.
#include <gtest/gtest.h>

#include <memory>

#include "fab/fab_portmap_visitor.h"
#include "nlg_builders.h"
#include "print_form.h"
#include "util/util_hierarchy.h"

namespace {

//   MUX: a, b, c (in), y (out), paths a->y, b->y      MUX2: a (in), y (out), no request
//   BLK: i0, i1 (in), o (out); m0:MUX with a on the net of i1 and i0, b without a pin, c on a
//        net that reaches no port, y on the net of o; m1:MUX2 with a on the net of i0
//   EMPTY: port e, no mux          BLK2: j (in); n0:MUX with a on the net of j
//   TOP: b:BLK e:EMPTY c:BLK2
struct PORTMAP_GRAPH {
    NLG_TEST::TRACE_GRAPH t;
    NLG_MODULE *mux, *mux2, *blk, *empty, *blk2, *top;

    PORTMAP_GRAPH() {
        mux = t.cell("MUX", "a b c >y");
        mux2 = t.cell("MUX2", "a >y");
        blk = t.cell("BLK", "i0 i1 >o");
        t.instances(blk, "m0:MUX m1:MUX2");
        t.wire(blk, "n_in: i1 i0 m0.a m1.a; n_c: m0.c; n_o: o m0.y");
        empty = t.cell("EMPTY", "e");
        blk2 = t.cell("BLK2", "j");
        t.instances(blk2, "n0:MUX");
        t.wire(blk2, "n_j: j n0.a");
        top = t.module("TOP");
        t.instances(top, "b:BLK e:EMPTY c:BLK2");

        for (NLG_MODULE* m : {mux, mux2}) {
            t.rec(m).set_level(PB::ICDB::MODULE::PRIM_MUX);
            t.set_mux(m, true, false, {{0, 3}, {1, 3}});
        }
        for (NLG_MODULE* m : {blk, empty, blk2}) t.rec(m).set_level(PB::ICDB::MODULE::TOP_LEVEL_IP);
    }
};

}  // namespace

TEST(PortmapVisitor, MuxPortsMapToTheBlockPortsTheyReach) {
    PORTMAP_GRAPH g;
    std::unique_ptr<UTIL::IHIERARCHY::IMODULES> modules(g.t.graph().create_hmodules());
    UTIL::HIERARCHY hierarchy(modules.get());
    std::unique_ptr<NLG_IGRAPH::IHPATH> path(g.t.graph().create_hpath());
    path->set_hierarchy(&hierarchy);

    // Request "blocks" walks the three parents (BLK 2, EMPTY 3, BLK2 4), request "none" has no
    // parents; both ask for the ports of MUX (0).
    PB::PORTMAPS::SPECIFICATIONS specs;
    merge_text(specs,
               "parents { parent_module_indexes: 2 parent_module_indexes: 3 "
               "parent_module_indexes: 4 } parents { }"
               "children { mports { module_index: 0 port_index: 0 port_index: 1 port_index: 2 "
               "port_index: 3 } }"
               "specs { name: 'blocks' parents_index: 0 children_index: 0 }"
               "specs { name: 'none' parents_index: 1 children_index: 0 }");
    for (const char* name : {"blocks", "none"}) g.t.sym(name);

    UTIL::PORTMAPS_BUILDER portmaps;
    portmaps.set_hierarchy(&hierarchy);
    portmaps.set_specifications(specs);
    FAB::generate_portmaps(&g.t.graph(), &g.t.annotations(), path.get(), portmaps);

    // "blocks": BLK's m0:a reaches i0 and i1 and m0:y reaches o (m0:b has no pin, m0:c reaches
    // no port, MUX2 is not asked for); EMPTY has no mux; BLK2's n0:a reaches j. "none": nothing.
    auto subnode = [&](const char* text, NLG_MODULE* base) {
        UTIL::HPATH_SETTABLE p(&hierarchy);
        EXPECT_TRUE(p.set_from_string(text, static_cast<uint32_t>(base->get_index())));
        return std::to_string(hierarchy.get_node(p));
    };
    auto entry = [&](const char* text, NLG_MODULE* base, const char* ports) {
        return " subnode_to_ports { child_subnode: " + subnode(text, base) + " parent_ports { " +
               ports + " } }";
    };
    PB::PORTMAPS expected;
    merge_text(expected, "portmaps { module_to_subnode_to_ports { parent_module_index: " +
                             std::to_string(g.blk->get_index()) +
                             entry("m0:a", g.blk, "ports: 0 ports: 1") +
                             entry("m0:y", g.blk, "ports: 2") +
                             " } module_to_subnode_to_ports { parent_module_index: " +
                             std::to_string(g.blk2->get_index()) +
                             entry("n0:a", g.blk2, "ports: 0") + " } } portmaps { }");
    PB::PORTMAPS made = portmaps.get_pb();
    made.clear_specifications();
    EXPECT_EQ(made.DebugString(), expected.DebugString());
}
