// The routing graph model: the fatal texts of the node views and the numbering. The path
// adapter is walked by every generated device's graph.
#include <gtest/gtest.h>

#include "fab/fab_graph_traverse.h"
#include "fab/fab_routing_graph.h"
#include "nlg_builders.h"

namespace {

using PB::MUX_DESCRIPTION;

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
    NLG_MODULE* blk = b.cell("blk", "din");
    NLG_PORT* in = blk->port(0);
    FAB_INSTANCES stack = {b.instance(b.module("top", 0, 1), "u0", blk)};

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

    g_min_x = g_min_y = 0;
    g_max_x = 2;
    g_max_y = 1;
    FAB_NODE_INDEX index(6);
    EXPECT_FATAL(get_node_index(3, 1, index, MUX_DESCRIPTION::LEIM),
                 "requesting at x = 3, y = 1, index = 6 where size is 3x2=6");
    EXPECT_FATAL(get_node_index(0, 2, index, 0), "Unsupported node type 0!");
    delete b.graph();
}

}  // namespace
