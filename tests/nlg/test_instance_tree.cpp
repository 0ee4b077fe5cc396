// The instance tree: the text of port paths, the foreign-port warning, print forms and the
// assertion texts. Its numbering is swept by the hierarchy cross-check.
#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>

#include "nlg_sample_graphs.h"
#include "print_form.h"
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
};

}  // namespace

TEST(NlgInstanceTree, PathTextAndFatalMisuse) {
    TREE_GRAPH t;
    std::unique_ptr<NLG_IINSTANCE_TREE> tree(t.g->create_instance_tree(true));
    // A port has no node in an instance tree.
    EXPECT_FATAL(tree->get_node({t.u1}, t.m1->get_port(0)), "m_tree_type == PORT_TREE");
    // Names cannot be resolved among mixed instances and ports.
    std::unique_ptr<NLG_IINSTANCE_TREE> ports(t.g->create_instance_tree(false));
    std::unique_ptr<NLG_IINSTANCE_TREE::IPATH> path(ports->create_path());
    // Port paths print the port's name last.
    ASSERT_TRUE(ports->set_path(*path, 3));
    EXPECT_EQ(text_of(*path), "u0/u1/x");
    EXPECT_FATAL(path->set_from_string("u0"), "m_is_instance_tree");
    IT_TYPE port_type(t.m0, false);
    EXPECT_FATAL(port_type.find_instance(sym(*t.g, "u1")), "m_is_instance_tree");
    EXPECT_FATAL(port_type.get_instance(1)->get_type_name(), "m_is_instance");
}

TEST(NlgInstanceTree, ForeignPortWarnsAndStillNumbers) {
    TREE_GRAPH t;
    std::unique_ptr<NLG_IINSTANCE_TREE> tree(t.g->create_instance_tree(false));
    // x belongs to m1, but the stack ends in m0: the node is that of m0's port 0, p.
    EXPECT_EQ(stdout_of([&] { EXPECT_EQ(tree->get_node({t.u0}, t.m1->get_port(0)), 5u); }),
              "Warning: port x, module m1 at /u0\n");
    EXPECT_EQ(stdout_of([&] { EXPECT_EQ(tree->get_node({}, t.m0->get_port(0)), 9u); }),
              "Warning: port p, module m0 at \n");
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
