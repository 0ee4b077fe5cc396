// Hierarchy adapters: a graph as a hierarchy description (indexes, names, directions, bad
// indexes), the union of a netlist and a block-level graph (counts, twins, order, a twin named
// from below), and the path cursor over an instance stack.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "nlg/nlg_hierarchy.h"
#include "nlg_test_tree_graph.h"
#include "nlg_test_union.h"
#include "nlg_test_util.h"

using namespace NLG_TEST;

namespace {

std::string name(NS_SYMBOL::SYM s) {
    return s.get_name();
}

void expect_subscript_error(const std::function<void()>& f) {
    try {
        f();
        ADD_FAILURE() << "no out-of-range error";
    } catch (const std::out_of_range& e) {
        EXPECT_STREQ(e.what(), "invalid vector<T> subscript");
    }
}

}  // namespace

TEST(NlgHmodules, ShowsTheGraphByIndex) {
    std::unique_ptr<NLG_GRAPH> g(make_tree_graph());
    std::unique_ptr<UTIL::IHIERARCHY::IMODULES> modules(g->create_hmodules());
    EXPECT_EQ(modules->get_symbol_table(), g->get_symbol_table());
    ASSERT_EQ(modules->get_n_modules(), 3u);
    const UTIL::IHIERARCHY::IMODULE* top = modules->get_module(0);
    EXPECT_EQ(name(top->get_name()), "top");
    ASSERT_EQ(top->get_n_instances(), 2u);
    EXPECT_EQ(name(top->get_instance(1)->get_name()), "u1");
    EXPECT_EQ(name(top->get_instance(1)->get_module_name()), "m1");
    ASSERT_EQ(top->get_n_ports(), 3u);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(top->get_port(static_cast<uint32_t>(i))->get_direction(), i);
    }
    EXPECT_EQ(name(top->get_port(2)->get_name()), "c");
    EXPECT_EQ(name(modules->get_module(2)->get_name()), "m1");
    EXPECT_EQ(modules->get_module(2)->get_n_instances(), 0u);

    expect_subscript_error([&] { modules->get_module(3); });
    expect_subscript_error([&] { top->get_instance(2); });
    expect_subscript_error([&] { top->get_port(3); });

    // The hierarchy over it numbers as hand-checked.
    UTIL::HIERARCHY hierarchy(modules.get());
    EXPECT_EQ(hierarchy.get_num_nodes(), 12u);
    EXPECT_EQ(hierarchy.get_num_nodes(1), 5u);

    // The description keeps the graph as it was when made.
    add_module(*g, "late", 0, NLG_FILELINE(), false, 0, 0, 0);
    EXPECT_EQ(modules->get_n_modules(), 3u);
}

TEST(NlgHmodules, UnknownDirectionStops) {
    std::unique_ptr<NLG_GRAPH> g(new NLG_GRAPH(nullptr, "root", 1));
    NLG_MODULE* top = add_module(*g, "top", 0, NLG_FILELINE(), false, 1, 0, 0);
    NLG_PORT* odd = add_port(*g, top, "odd", 3);
    NLG::HPORT port(odd);
    EXPECT_EQ(name(port.get_name()), "odd");
    EXPECT_FATAL(port.get_direction(), "Unknown direction");
}

TEST(NlgHymodules, CountsTwinsOnce) {
    // 5 and 3 modules, 2 matched pairs: 6.
    {
        UNION_GRAPHS u;
        TEST_MATCH match;
        match.add(u.r[1], u.b[0]);
        match.add(u.r[2], u.b[1]);
        std::unique_ptr<UTIL::IHIERARCHY::IMODULES> modules(
            u.rtl->create_hymodules(u.blc.get(), &match));
        EXPECT_EQ(modules->get_n_modules(), 6u);
        EXPECT_EQ(modules->get_symbol_table(), nullptr);
        EXPECT_EQ(name(modules->get_module(5)->get_name()), "b2");
    }
    // Two netlist modules on one twin: the count drops by one only.
    {
        UNION_GRAPHS u;
        TEST_MATCH match;
        match.add(u.r[1], u.b[0]);
        match.add(u.r[2], u.b[0]);
        std::unique_ptr<UTIL::IHIERARCHY::IMODULES> modules(
            u.rtl->create_hymodules(u.blc.get(), &match));
        ASSERT_EQ(modules->get_n_modules(), 7u);
        EXPECT_EQ(name(modules->get_module(5)->get_name()), "b1");
        EXPECT_EQ(name(modules->get_module(6)->get_name()), "b2");
        EXPECT_EQ(modules->get_module(1)->get_n_instances(), 2u);
        EXPECT_EQ(modules->get_module(2)->get_n_instances(), 2u);
    }
    // No twins: every module of both graphs, netlist first.
    {
        UNION_GRAPHS u;
        TEST_MATCH match;
        std::unique_ptr<UTIL::IHIERARCHY::IMODULES> modules(
            u.rtl->create_hymodules(u.blc.get(), &match));
        ASSERT_EQ(modules->get_n_modules(), 8u);
        for (uint32_t i = 0; i < 5; ++i)
            EXPECT_EQ(modules->get_module(i)->get_name(), u.r[i]->get_name());
        for (uint32_t i = 0; i < 3; ++i)
            EXPECT_EQ(modules->get_module(5 + i)->get_name(), u.b[i]->get_name());
        expect_subscript_error([&] { modules->get_module(8); });
    }
}

TEST(NlgHymodules, TwinGivesItsInstances) {
    UNION_GRAPHS u;
    TEST_MATCH match;
    match.add(u.r[2], u.b[0]);
    std::unique_ptr<UTIL::IHIERARCHY::IMODULES> modules(
        u.rtl->create_hymodules(u.blc.get(), &match));
    // The netlist name and ports, the block-level instances; their modules are named in the
    // block-level table.
    const UTIL::IHIERARCHY::IMODULE* r2 = modules->get_module(2);
    EXPECT_EQ(r2->get_name(), u.r[2]->get_name());
    ASSERT_EQ(r2->get_n_ports(), 2u);
    EXPECT_EQ(r2->get_port(1)->get_name(), u.r[2]->get_port(1)->get_name());
    EXPECT_EQ(r2->get_port(1)->get_direction(), 1);
    ASSERT_EQ(r2->get_n_instances(), 2u);
    EXPECT_EQ(r2->get_instance(1)->get_name(), u.b[0]->get_instance(1)->get_name());
    EXPECT_EQ(r2->get_instance(1)->get_module_name(), u.b[2]->get_name());
    EXPECT_EQ(name(r2->get_instance(1)->get_module_name()), "b2");
    expect_subscript_error([&] { r2->get_instance(2); });
    expect_subscript_error([&] { r2->get_port(2); });
    // An unmatched module keeps its own instances.
    EXPECT_EQ(modules->get_module(0)->get_instance(1)->get_module_name(), u.r[2]->get_name());

    // Numbering of the union: top 0, t0 1, t0/i 2, t1 3, t1/k0 4, t1/k0/w 5, t1/k1 6,
    // t1/k1/w 7, t1/i 8, t1/o 9, q 10.
    UTIL::HIERARCHY hierarchy(modules.get());
    EXPECT_EQ(hierarchy.get_num_nodes(), 11u);
    std::unique_ptr<NLG_IGRAPH::IHPATH> path(u.rtl->create_hpath());
    path->set_hierarchy(&hierarchy);
    NLG_IGRAPH::IHPATH::INSTANCES stack = {u.r[0]->get_instance(1), u.b[0]->get_instance(1)};
    path->set(&stack, u.b[2]->get_port(0), nullptr);
    EXPECT_EQ(hierarchy.get_node(*path), 7u);
    stack.pop_back();
    path->set(&stack, u.r[2]->get_port(1), nullptr);
    EXPECT_EQ(hierarchy.get_node(*path), 9u);
}

TEST(NlgHymodules, InstanceOfATwinIsUnknownToTheHierarchy) {
    // b0 is the twin of r2, so it has no entry of its own, and b3's instance of it names a
    // module that the union lacks.
    UNION_GRAPHS u;
    NLG_MODULE* b3 = add_module(*u.blc, "b3", 0, NLG_FILELINE(), false, 0, 0, 1);
    add_instance(*u.blc, b3, "x", u.b[0], 0);
    TEST_MATCH match;
    match.add(u.r[2], u.b[0]);
    std::unique_ptr<UTIL::IHIERARCHY::IMODULES> modules(
        u.rtl->create_hymodules(u.blc.get(), &match));
    EXPECT_EQ(modules->get_n_modules(), 8u);
    EXPECT_FATAL(UTIL::HIERARCHY hierarchy(modules.get()), "it != m_module_map.end()");
}

TEST(NlgHpath, CursorOverAStack) {
    std::unique_ptr<NLG_GRAPH> g(make_tree_graph());
    std::unique_ptr<NLG_IGRAPH::IHPATH> path(g->create_hpath());
    EXPECT_EQ(path->get_hierarchy(), nullptr);
    EXPECT_EQ(path->get_port_index(), 0xFFFFFFFFu);
    EXPECT_EQ(path->get_base_module_index(), 0u);
    EXPECT_EQ(path->get_instances(), nullptr);
    EXPECT_EQ(path->size(), 0u);

    std::unique_ptr<UTIL::IHIERARCHY::IMODULES> modules(g->create_hmodules());
    UTIL::HIERARCHY hierarchy(modules.get());
    path->set_hierarchy(&hierarchy);
    EXPECT_EQ(path->get_hierarchy(), &hierarchy);

    NLG_IMODULE* top = g->get_module(0);
    NLG_IMODULE* m0 = g->get_module(1);
    NLG_IMODULE* m1 = g->get_module(2);
    NLG_IGRAPH::IHPATH::INSTANCES stack = {top->get_instance(0), m0->get_instance(0)};
    path->set(&stack, m1->get_port(1), m0);
    EXPECT_EQ(path->get_port_index(), 1u);
    EXPECT_EQ(path->get_base_module_index(), 1u);
    path->set(&stack);
    EXPECT_EQ(path->get_instances(), &stack);
    EXPECT_EQ(path->get_port_index(), 0xFFFFFFFFu);
    EXPECT_EQ(path->get_base_module_index(), 0u);
    path->set(&stack, m1->get_port(1), m0);
    path->set(&stack, nullptr, nullptr);
    EXPECT_EQ(path->get_port_index(), 0xFFFFFFFFu);
    EXPECT_EQ(path->get_base_module_index(), 0u);
    ASSERT_EQ(path->size(), 2u);
    EXPECT_EQ(path->get_instance(0), 0u);
    EXPECT_EQ(path->get_instance(1), 0u);
    EXPECT_THROW(path->get_instance(2), std::out_of_range);
    EXPECT_EQ(hierarchy.get_node(*path), 2u);

    // A live view: the stack changes under the cursor.
    stack.pop_back();
    stack.pop_back();
    stack.push_back(top->get_instance(1));
    EXPECT_EQ(path->size(), 1u);
    EXPECT_EQ(path->get_instance(0), 1u);
    EXPECT_EQ(hierarchy.get_node(*path), 6u);
    path->set(&stack, m1->get_port(1), nullptr);
    EXPECT_EQ(hierarchy.get_node(*path), 8u);
    path->set(&stack, 0u, 0u);
    EXPECT_EQ(hierarchy.get_node(*path), 7u);
    // From m0's occurrence as the base: its instance u1, port y.
    stack.assign({m0->get_instance(0)});
    path->set(&stack, 1u, 1u);
    EXPECT_EQ(hierarchy.get_node(*path), 3u);
}
