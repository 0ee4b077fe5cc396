// The routing graph model: clipping and location of wires at the grid's edges, the path
// adapter, and the fatal texts of the node views and the numbering.
#include <gtest/gtest.h>

#include "fab/fab_graph_traverse.h"
#include "fab/fab_routing_graph.h"
#include "nlg_builders.h"

namespace {

using PB::ICDB_NET;
using PB::MUX_DESCRIPTION;

void set_grid(int32_t max_x, int32_t max_y) {
    g_min_x = 0;
    g_min_y = 0;
    g_max_x = max_x;
    g_max_y = max_y;
}

struct CLIP_CASE {
    const char* m_what;
    uint32_t m_type;
    uint32_t m_direction;
    int32_t m_length;
    int32_t m_x, m_y;
    int32_t m_clipped;
    int32_t m_loc_x, m_loc_y;
};

// Grid of 6 columns and 6 rows (0..5).
const CLIP_CASE CLIP_CASES[] = {
    {"RIGHT past the edge", MUX_DESCRIPTION::H, ICDB_NET::RIGHT, 6, 3, 2, 2, 3, 2},
    {"RIGHT inside", MUX_DESCRIPTION::H, ICDB_NET::RIGHT, 2, 3, 2, 2, 3, 2},
    {"RIGHT at the last column", MUX_DESCRIPTION::H, ICDB_NET::RIGHT, 2, 5, 2, 0, 5, 2},
    {"LEFT past the edge", MUX_DESCRIPTION::H, ICDB_NET::LEFT, 6, 4, 1, 4, 0, 1},
    {"LEFT inside, located at its far end", MUX_DESCRIPTION::H, ICDB_NET::LEFT, 2, 4, 1, 2, 2, 1},
    {"LEFT at column 0", MUX_DESCRIPTION::H, ICDB_NET::LEFT, 2, 0, 1, 0, 0, 1},
    {"UP past the edge", MUX_DESCRIPTION::V, ICDB_NET::UP, 2, 1, 4, 1, 1, 4},
    {"UP at the last row", MUX_DESCRIPTION::V, ICDB_NET::UP, 2, 1, 5, 0, 1, 5},
    {"DOWN past the edge", MUX_DESCRIPTION::V, ICDB_NET::DOWN, 2, 1, 1, 1, 1, 0},
    {"DOWN inside", MUX_DESCRIPTION::V, ICDB_NET::DOWN, 2, 1, 3, 2, 1, 1},
    {"no direction", MUX_DESCRIPTION::WM, ICDB_NET::NO_DIR, 3, 5, 5, 3, 5, 5},
    {"length 0", MUX_DESCRIPTION::H, ICDB_NET::RIGHT, 0, 5, 5, 0, 5, 5},
    {"length -1 (block and shadow nodes)", MUX_DESCRIPTION::BLOCK_PORT, ICDB_NET::LEFT, -1, 3, 3,
     -1, 3, 3},
    {"LL RIGHT moves by one", MUX_DESCRIPTION::LL, ICDB_NET::RIGHT, 1, 4, 2, 1, 5, 2},
    {"LL RIGHT moves whatever the length", MUX_DESCRIPTION::LL, ICDB_NET::RIGHT, -1, 2, 2, -1, 3,
     2},
    {"LL RIGHT at the last column stays", MUX_DESCRIPTION::LL, ICDB_NET::RIGHT, 1, 5, 2, 0, 5, 2},
    {"LL LEFT is a plain wire", MUX_DESCRIPTION::LL, ICDB_NET::LEFT, 1, 2, 2, 1, 1, 2},
};

TEST(RoutingGraphNode, ClippedLengthAndLocationAtTheGridEdges) {
    set_grid(5, 5);
    for (const CLIP_CASE& c : CLIP_CASES) {
        NODE_IMPL node;
        node.m_type = c.m_type;
        node.m_direction = c.m_direction;
        node.m_length = c.m_length;
        node.m_x = c.m_x;
        node.m_y = c.m_y;
        node.m_z = 1;
        int32_t x = -9, y = -9, z = -9;
        node.get_location(x, y, z);
        EXPECT_EQ(node.get_clipped_length(), c.m_clipped) << c.m_what;
        EXPECT_EQ(x, c.m_loc_x) << c.m_what;
        EXPECT_EQ(y, c.m_loc_y) << c.m_what;
        EXPECT_EQ(z, 1) << c.m_what;
        EXPECT_LE(node.get_clipped_length(), node.get_length()) << c.m_what;
    }
}

TEST(RoutingGraphPath, AdaptsAStackWithoutCopying) {
    NLG_TEST::BUILDER b;
    NLG_MODULE* leaf = b.module("leaf", 2, 0);
    b.port(leaf, "a", 0);
    NLG_PORT* y = b.port(leaf, "y", 1);
    NLG_MODULE* top = b.module("top", 0, 3);
    b.instance(top, "u0", leaf);
    b.instance(top, "u1", leaf);
    NLG_IINSTANCE* u2 = b.instance(top, "u2", leaf);
    FAB_INSTANCES stack = {u2};
    RE_PATH path(nullptr, &stack, y);
    EXPECT_EQ(path.size(), 1u);
    EXPECT_EQ(path.get_instance(0), 2u);
    EXPECT_EQ(path.get_port_index(), 1u);
    EXPECT_EQ(path.get_base_module_index(), 0u);
    RE_PATH to_instance(nullptr, &stack, nullptr);
    EXPECT_EQ(to_instance.get_port_index(), UTIL::IHIERARCHY::IMODULE::PORT_INDEX_INVALID);
    stack.clear();
    EXPECT_EQ(path.size(), 0u);
    delete b.graph();
}

class REFUSING_BUILDER : public FAB::ROUTING_GRAPH::IBUILDER {
  public:
    void begin_graph() override {}
    void begin_nodes() override {}
    uint32_t add_node(const FAB::ROUTING_GRAPH::NODE&) override { return 0xffffffffu; }
    void end_nodes() override {}
    void begin_edges(uint32_t) override {}
    void add_edge(const FAB::ROUTING_GRAPH::EDGE&) override {}
    void end_edges() override {}
    void end_graph() override {}
};

TEST(RoutingGraphDeathTest, FatalTexts) {
    NLG_TEST::BUILDER b;
    NLG_MODULE* blk = b.module("blk", 1, 0);
    NLG_PORT* in = b.port(blk, "din", 0);
    NLG_MODULE* top = b.module("top", 0, 1);
    NLG_IINSTANCE* u0 = b.instance(top, "u0", blk);
    FAB_INSTANCES stack = {u0};

    NODE_IMPL node;
    node.m_type = MUX_DESCRIPTION::BLOCK_PORT;
    node.m_path = &stack;
    node.m_port.m_port = in;
    EXPECT_FATAL(node.get_node_type(), "Can't query node type on block port REs!");
    EXPECT_FATAL(node.get_unique_port().get_full_name(), "Feature not supported!");
    REFUSING_BUILDER refusing;
    EXPECT_FATAL(fab_add_node(refusing, node),
                 "Builder answered 0xffffffff for the node of port din of module blk at /u0");
    node.m_type = MUX_DESCRIPTION::H;
    EXPECT_FATAL(node.get_block_name(), "Can't query block name on core routing REs!");

    set_grid(2, 1);
    FAB_NODE_INDEX index(6);
    EXPECT_EXIT(get_node_index(3, 1, index, MUX_DESCRIPTION::LEIM), testing::ExitedWithCode(255),
                "requesting at x = 3, y = 1, index = 6 where size is 3x2=6");
    EXPECT_FATAL(get_node_index(0, 2, index, 0), "Unsupported node type 0!");
    delete b.graph();
}

}  // namespace
