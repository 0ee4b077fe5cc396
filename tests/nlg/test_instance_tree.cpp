// Instance paths by name and the instance tree: resolution and text of name paths, hand-checked
// numbering of both tree kinds, node and path round trips, the foreign-port warning, print
// forms and the assertion texts.
#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "nlg_sample_graphs.h"
#include "nlg/nlg_instance_tree.h"

using namespace NLG_TEST;

namespace {

struct TREE_GRAPH {
    std::unique_ptr<NLG_GRAPH> g{make_tree_graph()};
    NLG_IMODULE* top = g->get_module(0);
    NLG_IMODULE* m0 = g->get_module(1);
    NLG_IMODULE* m1 = g->get_module(2);
    NLG_IINSTANCE* u0 = top->get_instance(0);
    NLG_IINSTANCE* u1 = top->get_instance(1);
    NLG_IINSTANCE* u0_u1 = m0->get_instance(0);
};

std::string text_of(const NLG_IINSTANCE_TREE::IPATH& path) {
    std::ostringstream os;
    os << path;
    return os.str();
}

}  // namespace

TEST(NlgInstancePaths, ResolveAndText) {
    TREE_GRAPH t;
    std::unique_ptr<NLG_IINSTANCE_PATHS> paths(t.g->create_instance_paths());
    std::unique_ptr<NLG_IINSTANCE_PATHS::IPATH> path(paths->create_path());

    // The empty path names the top module itself, which is no instance.
    EXPECT_EQ(path->size(), 0u);
    EXPECT_EQ(paths->get_instance(*path), nullptr);
    EXPECT_EQ(paths->to_string(*path), "top:[]");

    ASSERT_TRUE(path->set_from_string("u0/u1"));
    EXPECT_EQ(path->size(), 2u);
    EXPECT_EQ(path->get(1), sym(*t.g, "u1"));
    EXPECT_EQ(paths->get_instance(*path), t.u0_u1);
    EXPECT_EQ(paths->to_string(*path), "top:[m0:u0/m1:u1]");
    std::ostringstream os;
    os << *path;
    EXPECT_EQ(os.str(), "u0/u1");

    path->pop();
    EXPECT_EQ(paths->get_instance(*path), t.u0);
    path->push(sym(*t.g, "bad"));
    EXPECT_EQ(paths->get_instance(*path), nullptr);
    EXPECT_EQ(paths->to_string(*path), "top:[m0:u0/NULL:bad]");
    // The first name missing: the marker keeps its separator.
    path->set({sym(*t.g, "bad"), sym(*t.g, "u0")});
    EXPECT_EQ(paths->to_string(*path), "top:[/NULL:bad]");
    // A port is no instance.
    ASSERT_TRUE(path->set_from_string("u1/x"));
    EXPECT_EQ(paths->get_instance(*path), nullptr);

    // A name unknown to the table fails and leaves the path empty; a known name that is no
    // instance there parses, and fails only when resolved.
    EXPECT_FALSE(path->set_from_string("u0/zzz"));
    EXPECT_EQ(path->size(), 0u);
    EXPECT_FALSE(path->set_from_string("u0//u1"));
    EXPECT_TRUE(path->set_from_string(""));
    EXPECT_EQ(path->size(), 0u);
    EXPECT_TRUE(path->set_from_string("u0.u1", '.'));
    EXPECT_EQ(paths->get_instance(*path), t.u0_u1);

    path->pop();
    path->pop();
    path->pop();
    EXPECT_EQ(path->size(), 0u);
    EXPECT_THROW(path->get(0), std::out_of_range);
}

TEST(NlgInstanceTree, InstanceTreeNumbering) {
    TREE_GRAPH t;
    std::unique_ptr<NLG_IINSTANCE_TREE> tree(t.g->create_instance_tree(true));
    EXPECT_EQ(tree->get_size(), 4);
    EXPECT_EQ(tree->get_n_children(0), 2u);
    EXPECT_EQ(tree->get_n_children(2), 0u);
    EXPECT_EQ(tree->get_module(1), t.m0);
    EXPECT_EQ(tree->get_instance(1, 0), t.u0_u1);

    EXPECT_EQ(tree->get_node({}, nullptr), 0u);
    EXPECT_EQ(tree->get_node({t.u0}, nullptr), 1u);
    EXPECT_EQ(tree->get_node({t.u0, t.u0_u1}, nullptr), 2u);
    EXPECT_EQ(tree->get_node({t.u1}, nullptr), 3u);

    int32_t type = 0;
    uint64_t node = 0;
    tree->get_child(0, 0, 1, type, node);
    EXPECT_EQ(type, 2);
    EXPECT_EQ(node, 3u);

    std::unique_ptr<NLG_IINSTANCE_TREE::IPATH> path(tree->create_path());
    ASSERT_TRUE(path->set_from_string("u0/u1"));
    EXPECT_EQ(tree->get_node(*path), 2u);
    EXPECT_EQ(text_of(*path), "u0/u1");
    EXPECT_FALSE(path->set_from_string("u0/x"));

    int32_t parent_type = 0, child_index = 0;
    ASSERT_TRUE(tree->locate(3, parent_type, type, child_index));
    EXPECT_EQ(parent_type, 0);
    EXPECT_EQ(type, 2);
    EXPECT_EQ(child_index, 1);
    EXPECT_FALSE(tree->locate(4, parent_type, type, child_index));

    // A port has no node in an instance tree.
    EXPECT_FATAL(tree->get_node({t.u1}, t.m1->get_port(0)), "m_tree_type == PORT_TREE");
}

TEST(NlgInstanceTree, PortTreeNumbering) {
    TREE_GRAPH t;
    std::unique_ptr<NLG_IINSTANCE_TREE> tree(t.g->create_instance_tree(false));
    EXPECT_EQ(tree->get_size(), 12);
    // Two instances and three ports: five children, the ports at 2, 3, 4.
    EXPECT_EQ(tree->get_n_children(0), 5u);
    const uint64_t port_nodes[] = {9, 10, 11};
    for (uint32_t i = 2; i < 5; ++i) {
        int32_t type = 0;
        uint64_t node = 0;
        tree->get_child(0, 0, i, type, node);
        EXPECT_EQ(type, -1);
        EXPECT_EQ(node, port_nodes[i - 2]);
    }
    EXPECT_EQ(tree->get_node({}, nullptr), 0u);
    EXPECT_EQ(tree->get_node({}, t.top->get_port(1)), 10u);
    EXPECT_EQ(tree->get_node({t.u0}, t.m0->get_port(0)), 5u);
    EXPECT_EQ(tree->get_node({t.u0, t.u0_u1}, t.m1->get_port(1)), 4u);
    EXPECT_EQ(tree->get_node({t.u1}, nullptr), 6u);
    EXPECT_EQ(tree->get_node({t.u1}, t.m1->get_port(0)), 7u);

    // Port paths print the port's name last.
    std::unique_ptr<NLG_IINSTANCE_TREE::IPATH> path(tree->create_path());
    ASSERT_TRUE(tree->set_path(*path, 3));
    EXPECT_EQ(text_of(*path), "u0/u1/x");
    ASSERT_TRUE(tree->set_path(*path, 11));
    EXPECT_EQ(text_of(*path), "c");

    int32_t parent_type = 0, type = 0, child_index = 0;
    ASSERT_TRUE(tree->locate(5, parent_type, type, child_index));
    EXPECT_EQ(parent_type, 1);
    EXPECT_EQ(type, -1);
    EXPECT_EQ(child_index, 1);
    EXPECT_FALSE(tree->locate(12, parent_type, type, child_index));

    // Names cannot be resolved among mixed instances and ports.
    EXPECT_FATAL(path->set_from_string("u0"), "m_is_instance_tree");
    IT_TYPE port_type(t.m0, false);
    EXPECT_EQ(port_type.get_n_instances(), 2u);
    EXPECT_EQ(port_type.get_instance(1)->get_name(), sym(*t.g, "p"));
    EXPECT_EQ(port_type.get_instance(1)->get_type_index(), -1);
    EXPECT_EQ(port_type.get_instance(0)->get_type_index(), 2);
    EXPECT_EQ(port_type.get_instance(0)->get_type_name(), sym(*t.g, "m1"));
    EXPECT_THROW(port_type.get_instance(2), std::out_of_range);
    EXPECT_FATAL(port_type.find_instance(sym(*t.g, "u1")), "m_is_instance_tree");
    EXPECT_FATAL(port_type.get_instance(1)->get_type_name(), "m_is_instance");
    IT_TYPE instance_type(t.m0, true);
    EXPECT_EQ(instance_type.get_n_instances(), 1u);
    EXPECT_EQ(instance_type.find_instance(sym(*t.g, "u1")), 0);
    EXPECT_EQ(instance_type.find_instance(sym(*t.g, "p")), -1);
}

TEST(NlgInstanceTree, ForeignPortWarnsAndStillNumbers) {
    TREE_GRAPH t;
    std::unique_ptr<NLG_IINSTANCE_TREE> tree(t.g->create_instance_tree(false));
    // x belongs to m1, but the stack ends in m0: the node is that of m0's port 0, p.
    testing::internal::CaptureStdout();
    const uint64_t node = tree->get_node({t.u0}, t.m1->get_port(0));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Warning: port x, module m1 at /u0\n");
    EXPECT_EQ(node, 5u);
    testing::internal::CaptureStdout();
    EXPECT_EQ(tree->get_node({}, t.m0->get_port(0)), 9u);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Warning: port p, module m0 at \n");
}

TEST(NlgInstanceTree, PrintForms) {
    TREE_GRAPH t;
    std::unique_ptr<NLG_IINSTANCE_TREE> tree(t.g->create_instance_tree(true));
    std::ostringstream os;
    os << *tree;
    EXPECT_EQ(os.str(),
              "\n{\n"
              "   [0] = top(size = 4, m0: u0, m1: u1 | size = 4, children = {1:1 2:3 })\n"
              "   [1] = m0(size = 2, m1: u1 | size = 2, children = {2:1 })\n"
              "   [2] = m1(size = 1,  | size = 1, children = {})\n"
              "}");
    std::unique_ptr<NLG_IINSTANCE_TREE> ports(t.g->create_instance_tree(false));
    std::ostringstream os2;
    os2 << *ports;
    EXPECT_NE(os2.str().find("   [1] = m0(size = 5, m1: u1, <>: p | size = 5, "
                             "children = {2:1 -1:4 })\n"),
              std::string::npos)
        << os2.str();
}
