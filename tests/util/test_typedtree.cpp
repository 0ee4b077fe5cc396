// Typed tree over a graph's modules as types: parsing of named paths and the stop on recursive
// types. The numbering, child steps and text form are swept through the instance tree of random
// graphs.
#include <gtest/gtest.h>

#include <memory>

#include "nlg/nlg_instance_tree.h"
#include "nlg_builders.h"

namespace {

// Root R: a:A (A holds the childless x0..x3), l, b:B (B holds the childless y); O, reached from
// nowhere, holds z and w:A. Nodes: R 0, a 1, a/x0..x3 2..5, l 6, b 7, b/y 8.
NLG_GRAPH* make_mixed() {
    NLG_TEST::BUILDER b;
    NLG_MODULE* r = b.cell("R", "", 3);
    NLG_MODULE* a = b.cell("A", "", 4);
    NLG_MODULE* m = b.cell("B", "", 1);
    NLG_MODULE* o = b.cell("O", "", 2);
    b.cell("L", "");
    b.instances(a, "x0:L x1:L x2:L x3:L");
    b.instances(m, "y:L");
    b.instances(o, "z:L w:A");
    b.instances(r, "a:A l:L b:B");
    return b.graph();
}

}  // namespace

TEST(TypedTree, ParsingNamedPaths) {
    std::unique_ptr<NLG_GRAPH> g(make_mixed());
    std::unique_ptr<NLG_IINSTANCE_TREE> tree(g->create_instance_tree(true));
    std::unique_ptr<NLG_IINSTANCE_TREE::IPATH> owned(tree->create_path());
    TPATH& path = dynamic_cast<NLG_TREE_PATH&>(*owned).get_tpath();
    ASSERT_TRUE(path.set_from_string("a/x2", '/'));
    EXPECT_EQ(tree->get_node(*owned), 4u);
    ASSERT_TRUE(path.set_from_string("b.y", '.'));
    EXPECT_EQ(tree->get_node(*owned), 8u);
    ASSERT_TRUE(path.set_from_string("", '/'));
    EXPECT_TRUE(path.get_indexes().empty());
    EXPECT_EQ(tree->get_node(*owned), 0u);

    // Second token unknown: false, with the first kept.
    EXPECT_FALSE(path.set_from_string("a/never_seen_name", '/'));
    EXPECT_EQ(path.get_indexes(), (std::vector<uint32_t>{0}));
    // Known symbol, but not a child here.
    EXPECT_FALSE(path.set_from_string("a/y", '/'));
    EXPECT_EQ(path.get_indexes().size(), 1u);
    // Nothing below a childless instance.
    EXPECT_FALSE(path.set_from_string("l/x0", '/'));
    EXPECT_FALSE(path.set_from_string("a//x0", '/'));
}

TEST(TypedTree, RecursiveTypesStop) {
    NLG_TEST::BUILDER b;
    NLG_MODULE* a = b.cell("A", "", 1);
    NLG_MODULE* m = b.cell("B", "", 1);
    b.instances(a, "b:B");
    b.instances(m, "a:A");
    std::unique_ptr<NLG_GRAPH> g(b.graph());
    EXPECT_EXIT(delete g->create_instance_tree(true), testing::ExitedWithCode(255),
                "Recursive type structure at type 0");
}
