// The routing graph model: the fatal texts of the node views and the numbering, and the map of
// builder numbers against a plain map. The path adapter is walked by every generated device's
// graph.
#include <gtest/gtest.h>

#include <map>
#include <random>

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

// Dense runs of nodes (laid out by bit), a sparse set (left in the hash table), the all-ones
// node, and numbers given twice (the last stays): the map answers as a plain map before and
// after sealing, for every node inserted and for the nodes beside and beyond them.
TEST(NodeIdMap, SealedAnswersAsAPlainMap) {
    const uint64_t ALL_ONES = ~uint64_t{0};
    std::mt19937_64 rng(7);
    std::vector<std::vector<uint64_t>> cases = {
        {0, 1, 2, 63, 64, 65, 127, 128, 511, 512, 513},
        {5, 1000000000000ull},
        {3, ALL_ONES, 70},
        {},
    };
    std::vector<uint64_t> random;
    for (int k = 0; k < 5000; ++k) random.push_back(rng() % 20000);
    cases.push_back(random);
    for (const std::vector<uint64_t>& nodes : cases) {
        NODE_ID_MAP ids(nullptr, 16);
        std::map<uint64_t, uint32_t> plain;
        uint32_t number = 10;
        for (uint64_t node : nodes) {
            ids.insert(node, number);
            plain[node] = number++;
        }
        std::vector<uint64_t> asked = {ALL_ONES, ALL_ONES - 1, 20000, 1u << 20};
        for (uint64_t node : nodes) asked.insert(asked.end(), {node, node + 1, node - 1});
        for (int sealed = 0; sealed < 2; ++sealed) {
            if (sealed) ids.seal();
            EXPECT_EQ(ids.size(), plain.size());
            for (uint64_t node : asked) {
                auto it = plain.find(node);
                EXPECT_EQ(ids.find_id(node), it == plain.end() ? 0xffffffffu : it->second)
                    << "node " << node << (sealed ? " sealed" : "");
            }
        }
    }
    NODE_ID_MAP ids(nullptr, 16);
    ids.seal();
    EXPECT_FATAL(ids.insert(1, 1), "!m_sealed");
}

}  // namespace
