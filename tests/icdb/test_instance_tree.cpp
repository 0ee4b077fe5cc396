// The flat placement table: adds, look-ups, load with merging, store in node order with sectors
// and grid bounds.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "ann/annss.h"
#include "icdb/icdb_instance_tree.h"
#include "nlg/nlg_hierarchy.h"
#include "nlg_builders.h"
#include "print_form.h"
#include "util/util_protobuf.h"

namespace {

using NLG_TEST::BUILDER;

// top (0): a0, a1 : blk; blk (1): c0, c1 : cell; cell (2): port p in.
NLG_GRAPH* make_graph() {
    BUILDER b;
    NLG_MODULE* top = b.cell("top", "", 2);
    NLG_MODULE* blk = b.cell("blk", "", 2);
    b.cell("cell", "p");
    b.instances(top, "a0:blk a1:blk");
    b.instances(blk, "c0:cell c1:cell");
    return b.graph();
}

PB::ICDB::FLAT_INSTANCE record(int row, int col, const std::string& uid) {
    PB::ICDB::FLAT_INSTANCE r;
    merge_text(r, "bposition { row: " + std::to_string(row) + " col: " + std::to_string(col) +
                      " }" + (uid.empty() ? "" : " uid: '" + uid + "'"));
    return r;
}

struct FIXTURE {
    std::unique_ptr<NLG_GRAPH> graph{make_graph()};
    std::unique_ptr<NLG_ANNSS> annss{new NLG_ANNSS(*graph)};
    FIXTURE() { annss->add_type(PB::ANNS::ICDB); }
    PB::ICDB::MODULE& top() { return annss->get_icdb().get_module(*graph->get_module(0)); }
};

TEST(InstanceTree, AddAndLookUp) {
    FIXTURE f;
    ICDB::INSTANCE_TREE tree(f.graph.get());
    EXPECT_EQ(tree.get_flat_instance(3), nullptr);
    EXPECT_TRUE(tree.add_flat_instance(3, record(1, 2, "first")));
    EXPECT_FALSE(tree.add_flat_instance(3, record(5, 6, "second")));
    const PB::ICDB::FLAT_INSTANCE* kept = tree.get_flat_instance(3);
    ASSERT_NE(kept, nullptr);
    EXPECT_EQ(kept->ShortDebugString(), "bposition { row: 1 col: 2 } uid: \"first\"");
    // Records stay put while the map grows.
    for (uint64_t node = 100; node < 1100; ++node) tree.add_flat_instance(node, record(0, 0, ""));
    EXPECT_EQ(tree.get_flat_instance(3), kept);
    EXPECT_EQ(tree.size(), 1001u);

    // The tree's own hierarchy numbers the graph: a1/c1 is the node of that path.
    UTIL::IHIERARCHY* h = tree.get_hierarchy();
    std::unique_ptr<UTIL::IHIERARCHY::IPATH_SETTABLE> path(h->create_path());
    ASSERT_TRUE(path->set_from_string("a1/c1", 0));
    EXPECT_NE(h->get_node(*path), UTIL::IHIERARCHY::INVALID_NODE);

    // A caller's hierarchy is used as given; with none, asking for it is fatal.
    ICDB::INSTANCE_TREE borrowed(f.graph.get(), h);
    EXPECT_EQ(borrowed.get_hierarchy(), h);
    std::unique_ptr<ICDB::IINSTANCE_TREE> made(ICDB::create_instance_tree(f.graph.get()));
    EXPECT_NE(made->get_hierarchy(), nullptr);
    EXPECT_EQ(made->get_flat_instance(3), nullptr);
    ICDB::INSTANCE_TREE without(f.graph.get(), nullptr);
    EXPECT_FATAL(without.get_hierarchy(), "m_hierarchy != NULL");
}

TEST(InstanceTree, LoadMergesEntries) {
    FIXTURE f;
    PB::ICDB::MODULE& top = f.top();
    // Node 7 twice: the second entry's set fields overwrite, the others stay. Node 2 with no
    // instance at all.
    merge_text(
        top,
        "flat_instance_nodes { node: 7 instance { bposition { row: 1 col: 1 } uid: 'seven' } }"
        "flat_instance_nodes { node: 7"
        "  instance { is_spare_row: true bposition { row: 4 col: 5 } } }"
        "flat_instance_nodes { node: 2 }");

    ICDB::INSTANCE_TREE tree(f.graph.get());
    tree.load(f.annss->get_icdb());
    ASSERT_EQ(tree.size(), 2u);
    ASSERT_NE(tree.get_flat_instance(7), nullptr);
    EXPECT_EQ(tree.get_flat_instance(7)->ShortDebugString(),
              "bposition { row: 4 col: 5 } is_spare_row: true uid: \"seven\"");
    const PB::ICDB::FLAT_INSTANCE* two = tree.get_flat_instance(2);
    ASSERT_NE(two, nullptr);
    EXPECT_EQ(two->ByteSizeLong(), 0u);
}

TEST(InstanceTree, StoreSortedAppendingWithSectorsAndBounds) {
    // An empty map writes nothing and bounds of 0.
    {
        FIXTURE f;
        ICDB::INSTANCE_TREE tree(f.graph.get());
        EXPECT_TRUE(tree.store(f.annss->get_icdb(), {}));
        EXPECT_EQ(f.top().flat_instance_nodes_size(), 0);
        EXPECT_EQ(f.annss->get_icdb().get_graph().ShortDebugString(), "max_brow: 0 max_bcol: 0");
    }
    FIXTURE f;
    f.top().add_flat_instance_nodes()->set_node(99);
    ICDB::INSTANCE_TREE tree(f.graph.get());
    tree.add_flat_instance(9, record(3, 1, "nine"));
    tree.add_flat_instance(1, record(0, 8, ""));
    tree.add_flat_instance(5, PB::ICDB::FLAT_INSTANCE());
    tree.add_flat_instance(6, record(2, 2, ""));
    EXPECT_TRUE(tree.store(f.annss->get_icdb(), {1, 2}));

    const PB::ICDB::MODULE& top = f.top();
    std::vector<int64_t> nodes;
    for (const auto& entry : top.flat_instance_nodes()) nodes.push_back(entry.node());
    EXPECT_EQ(nodes, std::vector<int64_t>({99, 1, 5, 6, 9}));
    EXPECT_EQ(top.flat_instance_nodes(4).instance().uid(), "nine");
    EXPECT_FALSE(top.flat_instance_nodes(2).instance().has_bposition());
    EXPECT_EQ(f.annss->get_icdb().get_graph().ShortDebugString(), "max_brow: 3 max_bcol: 8");
    NLG_ICDB_ANNS& icdb = f.annss->get_icdb();
    EXPECT_FALSE(top.has_level());
    for (int m : {1, 2})
        EXPECT_EQ(icdb.get_module(*f.graph->get_module(m)).level(), PB::ICDB::MODULE::SECTOR);
}

}  // namespace
