// generate on a two-tile device built in memory, against a hand-checked list of its nodes and
// edges; the call sequence a builder sees; the estimate; what contradicting records get.
//
//   top: tile0, tile1 : tile; net tile0.h_out -> tile1.h_in
//   tile: ports h_in, h_out; rt : rtb (routing block), lg : logic_blk (LOGIC block)
//         nets h_in -> rt.h_in, rt.h_out -> h_out, rt.to_blk -> lg.din, lg.dout -> rt.blk_in
//   rtb: m0 : mux_h (H, RIGHT, length 1) drives h_out; m1 : mux_l (LEIM) drives to_blk;
//        both take h_in and blk_in
//   LOGIC (block level): din -> c0.a, c0.q -> dout; c0 : CELL at offset (0,0,0)
// Placements: tile k at column k, row 0; the grid is 2 x 1.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "fab/fab_position.h"
#include "fab/fab_routing_graph.h"
#include "fab/tsl_fab.h"
#include "icdb/icdb_instance_tree.h"
#include "nlg_builders.h"
#include "fab/fab_test_builder.h"
#include "fab/fab_test_device.h"

namespace {

using NLG_TEST::TRACE_GRAPH;
using PB::MUX_DESCRIPTION;

void set_pair(PB::ICDB::MODULE& r, TRACE_GRAPH& g, const char* name, const char* impl) {
    r.mutable_logical_name()->set_value(g.sym(name).get_value());
    r.mutable_logical_impl()->set_value(g.sym(impl).get_value());
}

// The connected pins of an instance; open ones have no reference.
void pins(TRACE_GRAPH& g, NLG_INSTANCE* inst, std::vector<std::pair<std::string, NLG_NET*>> nets) {
    for (auto& n : nets) g.pin(inst, n.first, n.second);
}

struct ROUTING_DEVICE {
    TRACE_GRAPH rtl;
    TRACE_GRAPH blc;
    std::unique_ptr<ICDB::INSTANCE_TREE> tree;
    std::unique_ptr<FAB_IPOSITION> position;
    RTL_TO_BLC_MATCH match;

    ROUTING_DEVICE() {
        build_rtl();
        build_blc();
        tree.reset(new ICDB::INSTANCE_TREE(&rtl.graph()));
        for (const char* path : {"tile0/rt", "tile0/lg", "tile1/rt", "tile1/lg"}) {
            PB::ICDB::FLAT_INSTANCE r;
            r.mutable_bposition()->set_col(path[4] - '0');  // tile k at column k
            r.mutable_bposition()->set_row(0);
            tree->add_flat_instance(FAB_TEST::node_of(*tree, path), r);
        }
        position.reset(fab_create_position(tree.get(), &rtl.annotations().get_icdb(),
                                           &blc.annotations().get_icdb()));
        match.init(&rtl.graph(), &blc.graph(), &rtl.annotations(), &blc.annotations());
        blc.graph().populate_fanin_fanout(&blc.annotations());
        g_min_x = g_min_y = 0;
        g_max_x = 1;
        g_max_y = 0;
    }

    NLG_MODULE* mux(const std::string& name) {
        NLG_MODULE* m = rtl.module(name);
        rtl.port(m, "muxin[0]", NLG_IPORT::INPUT);
        rtl.port(m, "muxin[1]", NLG_IPORT::INPUT);
        rtl.port(m, "muxout", NLG_IPORT::OUTPUT);
        return m;
    }

    // Records exist once the graph is complete.
    void annotate_mux(NLG_MODULE* m, MUX_DESCRIPTION::MUXTYPE type, int dir, int length,
                      uint32_t index) {
        rtl.set_mux(m, true, false, {{0, 2}, {1, 2}});
        PB::ICDB::MODULE& r = rtl.rec(m);
        r.set_level(PB::ICDB::MODULE::PRIM_MUX);
        r.mutable_mux_desc()->set_mux_type(type);
        r.mutable_mux_desc()->set_dir(static_cast<PB::ICDB::NET::DIRECTION>(dir));
        r.mutable_mux_desc()->set_length(length);
        r.set_mux_index(index);
        rtl.rec(m->get_port(2)).set_is_primary_port(true);
    }

    void build_rtl() {
        NLG_MODULE* top = rtl.module("top");
        NLG_MODULE* tile = rtl.module("tile");
        NLG_MODULE* rtb = rtl.module("rtb");
        NLG_MODULE* logic = rtl.module("logic_blk");
        NLG_MODULE* mux_h = mux("mux_h");
        NLG_MODULE* mux_l = mux("mux_l");

        NLG_PORT* din = rtl.port(logic, "din", NLG_IPORT::INPUT);
        NLG_PORT* dout = rtl.port(logic, "dout", NLG_IPORT::OUTPUT);
        NLG_PORT* rh_in = rtl.port(rtb, "h_in", NLG_IPORT::INPUT);
        NLG_PORT* rblk_in = rtl.port(rtb, "blk_in", NLG_IPORT::INPUT);
        NLG_PORT* rh_out = rtl.port(rtb, "h_out", NLG_IPORT::OUTPUT);
        NLG_PORT* rto_blk = rtl.port(rtb, "to_blk", NLG_IPORT::OUTPUT);
        NLG_PORT* th_in = rtl.port(tile, "h_in", NLG_IPORT::INPUT);
        NLG_PORT* th_out = rtl.port(tile, "h_out", NLG_IPORT::OUTPUT);

        NLG_NET* n_hin = rtl.net(rtb, "n_hin", {rh_in});
        NLG_NET* n_blk = rtl.net(rtb, "n_blk", {rblk_in});
        NLG_NET* n_hout = rtl.net(rtb, "n_hout", {rh_out});
        NLG_NET* n_toblk = rtl.net(rtb, "n_toblk", {rto_blk});
        pins(rtl, rtl.instance(rtb, "m0", mux_h),
             {{"muxin[0]", n_hin}, {"muxin[1]", n_blk}, {"muxout", n_hout}});
        pins(rtl, rtl.instance(rtb, "m1", mux_l),
             {{"muxin[0]", n_hin}, {"muxin[1]", n_blk}, {"muxout", n_toblk}});

        NLG_NET* t_hin = rtl.net(tile, "t_hin", {th_in});
        NLG_NET* t_hout = rtl.net(tile, "t_hout", {th_out});
        NLG_NET* t_to = rtl.net(tile, "t_to");
        NLG_NET* t_from = rtl.net(tile, "t_from");
        pins(rtl, rtl.instance(tile, "rt", rtb),
             {{"h_in", t_hin}, {"h_out", t_hout}, {"to_blk", t_to}, {"blk_in", t_from}});
        pins(rtl, rtl.instance(tile, "lg", logic), {{"din", t_to}, {"dout", t_from}});

        NLG_NET* wire = rtl.net(top, "wire");
        pins(rtl, rtl.instance(top, "tile0", tile), {{"h_out", wire}});
        pins(rtl, rtl.instance(top, "tile1", tile), {{"h_in", wire}});

        annotate_mux(mux_h, MUX_DESCRIPTION::H, PB::ICDB::NET::RIGHT, 1, 0);
        annotate_mux(mux_l, MUX_DESCRIPTION::LEIM, PB::ICDB::NET::NO_DIR, 0, 1);
        PB::ICDB::MODULE& r = rtl.rec(rtb);
        r.set_level(PB::ICDB::MODULE::TOP_LEVEL_IP);
        r.set_is_routing(true);
        PB::ICDB::MODULE& l = rtl.rec(logic);
        l.set_level(PB::ICDB::MODULE::TOP_LEVEL_IP);
        l.set_is_routing(false);
        set_pair(l, rtl, "LOGIC", "DEFAULT");
        for (NLG_PORT* p : {din, dout}) {
            rtl.rec(p).set_re_name(MUX_DESCRIPTION::BLOCK_PORT);
            rtl.rec(p).set_re_index(p == din ? 0 : 1);
        }
    }

    void build_blc() {
        NLG_MODULE* logic = blc.module("LOGIC");
        NLG_MODULE* cell = blc.module("CELL");
        NLG_PORT* din = blc.port(logic, "din", NLG_IPORT::INPUT);
        NLG_PORT* dout = blc.port(logic, "dout", NLG_IPORT::OUTPUT);
        NLG_PORT* a = blc.port(cell, "a", NLG_IPORT::INPUT);
        NLG_PORT* q = blc.port(cell, "q", NLG_IPORT::OUTPUT);
        NLG_NET* n_in = blc.net(logic, "n_in", {din});
        NLG_NET* n_out = blc.net(logic, "n_out", {dout});
        NLG_INSTANCE* c0 = blc.instance(logic, "c0", cell);
        pins(blc, c0, {{"a", n_in}, {"q", n_out}});

        set_pair(blc.rec(logic), blc, "LOGIC", "DEFAULT");
        set_pair(blc.rec(cell), blc, "CELL", "DEFAULT");
        int index = 0;
        for (NLG_PORT* p : {din, dout, a, q}) {
            PB::ICDB::APORT& r = blc.rec(p);
            r.set_re_name(p == din || p == dout ? MUX_DESCRIPTION::BLOCK_PORT
                                                : MUX_DESCRIPTION::BLC_INTERNAL_RE);
            r.set_re_index(index++ % 2);
            r.set_is_route_type_normal(true);
        }
        FAB_TEST::set_offset(blc.rec(c0), 0, 0, 0);
    }

    FAB_ROUTING_GRAPH_IMPL* routing_graph() {
        return new FAB_ROUTING_GRAPH_IMPL(&rtl.graph(), &rtl.annotations(), &blc.graph(),
                                          &blc.annotations(), tree.get(), position.get(), nullptr,
                                          &match, false);
    }
};

TEST(Generate, TwoTilesHandChecked) {
    ROUTING_DEVICE device;
    std::unique_ptr<FAB_ROUTING_GRAPH_IMPL> graph(device.routing_graph());
    FAB_TEST::RECORDING_BUILDER builder;
    graph->generate(builder);

    EXPECT_EQ(builder.m_calls, "GNnE0E2E1E3eg");
    const std::vector<std::string> nodes = {
        "logic_blk.din class 1 block LOGIC at 0,0,0 index 0 length -1/-1",
        "logic_blk.dout class 1 block LOGIC at 0,0,0 index 1 length -1/-1",
        "CELL.a class 2 block CELL at 0,0,0 index 0 length -1/-1",
        "CELL.q class 2 block CELL at 0,0,0 index 1 length -1/-1",
        "logic_blk.din class 1 block LOGIC at 1,0,0 index 0 length -1/-1",
        "logic_blk.dout class 1 block LOGIC at 1,0,0 index 1 length -1/-1",
        "CELL.a class 2 block CELL at 1,0,0 index 0 length -1/-1",
        "CELL.q class 2 block CELL at 1,0,0 index 1 length -1/-1",
        // m1 of each tile merged into the LOGIC input it drives: no node.
        "mux_h.muxout class 3 type H at 0,0,0 index 0 length 1/1",
        "mux_h.muxout class 3 type H at 1,0,0 index 0 length 1/0",
    };
    EXPECT_EQ(builder.m_nodes, nodes);
    const FAB_TEST::RECORDING_BUILDER::EDGES edges = {
        // CRF: the LOGIC output into both muxes of its tile (m1's edge lands on din), the
        // wire of tile 0 into both muxes of tile 1.
        {0, 1, 8, true},
        {0, 1, 0, true},
        {0, 5, 9, true},
        {0, 5, 4, true},
        {0, 8, 9, true},
        {0, 8, 4, true},
        // BLC: block input into the cell, cell output to the block output.
        {1, 0, 2, true},
        {1, 3, 1, true},
        {1, 4, 6, true},
        {1, 7, 5, true}};
    EXPECT_EQ(builder.m_edges, edges);
}

// Mux outputs that are not first stages (2 + 2), the BLC roots' ports by block placements
// (2 x 2) and the ports of instantiated BLC modules by their parents' places (2 x 1).
TEST(Generate, EstimatedNodes) {
    ROUTING_DEVICE device;
    std::unique_ptr<FAB_ROUTING_GRAPH_IMPL> graph(device.routing_graph());
    EXPECT_EQ(graph->estimate_n_nodes(), 10u);
    EXPECT_EQ(FAB_ROUTING_GRAPH_IMPL::get_num_occurrences(
                  device.rtl.graph().get_module(device.rtl.sym("mux_h"))),
              2u);
    EXPECT_EQ(graph->get_num_hipi_places(), 0u);
}

// Annotations that contradict the netlist end with their texts.
TEST(GenerateDeathTest, ContradictingAnnotations) {
    auto run = [](const std::function<void(ROUTING_DEVICE&)>& spoil) {
        ROUTING_DEVICE device;
        spoil(device);
        std::unique_ptr<FAB_ROUTING_GRAPH_IMPL> graph(device.routing_graph());
        FAB_TEST::RECORDING_BUILDER builder;
        graph->generate(builder);
    };
    auto port = [](TRACE_GRAPH& g, const char* module, const char* name) {
        return g.graph().get_module(g.sym(module))->get_port(g.sym(name));
    };
    EXPECT_FATAL(
        run([&](ROUTING_DEVICE& d) {
            d.rtl.rec(port(d.rtl, "mux_h", "muxout")).set_merge_type(PB::ICDB::APORT::MERGE);
        }),
        "blc_node_iter != m_mux_to_blc_node_map->end()");
    EXPECT_FATAL(
        run([&](ROUTING_DEVICE& d) { d.blc.rec(port(d.blc, "LOGIC", "din")).clear_re_name(); }),
        "port din on module LOGIC doesn't have valid RE name!");
    EXPECT_FATAL(
        run([&](ROUTING_DEVICE& d) { d.blc.rec(port(d.blc, "CELL", "q")).clear_re_name(); }),
        "port q on module CELL in BLC doesn't have valid RE name!");
}

}  // namespace
