// Hierarchy adapters and union views: a graph as a hierarchy description; the union of a netlist
// and a block-level graph under a match, as a description and as the hybrid graph that walks and
// instance trees take (what it answers, forwards and refuses); the path cursor over a stack.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "print_form.h"
#include "nlg/nlg_graph_traverse.h"
#include "nlg/nlg_hierarchy.h"
#include "nlg/nlg_hybrid_graph.h"
#include "nlg_iinstance_tree.h"
#include "nlg_sample_graphs.h"

using namespace NLG_TEST;

namespace {

// One entry per module: name(instance:module ... | port/direction ...).
std::string describe(const UTIL::IHIERARCHY::IMODULES& modules) {
    std::string text;
    for (uint32_t m = 0; m < modules.get_n_modules(); ++m) {
        const UTIL::IHIERARCHY::IMODULE* module = modules.get_module(m);
        text += (m ? " " : "") + module->get_name().get_name() + "(";
        for (uint32_t i = 0; i < module->get_n_instances(); ++i)
            text += module->get_instance(i)->get_name().get_name() + ":" +
                    module->get_instance(i)->get_module_name().get_name() + " ";
        text += "|";
        for (uint32_t p = 0; p < module->get_n_ports(); ++p)
            text += " " + module->get_port(p)->get_name().get_name() + "/" +
                    std::to_string(module->get_port(p)->get_direction());
        text += ")";
    }
    return text;
}

std::unique_ptr<NLG_IGRAPH> hybrid_of(UNION_GRAPHS& u, TEST_MATCH& match) {
    return std::unique_ptr<NLG_IGRAPH>(u.rtl->create_hybrid_graph(u.blc.get(), &match));
}

// Numbers every place the walk enters, instances and ports, in the union's hierarchy.
class NODE_COLLECTOR : public TSL_VISITOR_BASE {
  public:
    NODE_COLLECTOR(const UTIL::IHIERARCHY* hierarchy, const NLG_IGRAPH* graph) : m_path(graph) {
        m_path.set_hierarchy(hierarchy);
    }
    void enter_instance(NLG_IINSTANCE&) override {
        add(UTIL::IHIERARCHY::IMODULE::PORT_INDEX_INVALID);
    }
    // The visitor sees the source module, whose ports are the ones of the view.
    void enter_module(NLG_IMODULE& module) override {
        for (uint32_t p = 0; p < module.get_num_ports(); ++p) add(p);
    }
    std::multiset<uint64_t> m_nodes{0};

  private:
    void add(uint32_t port_index) {
        m_path.set(&m_traverse->get_hier_blks(), port_index, 0u);
        m_nodes.insert(m_path.get_hierarchy()->get_node(m_path));
    }
    NLG::HPATH m_path;
};

}  // namespace

TEST(NlgHmodules, ShowsTheGraphByIndex) {
    std::unique_ptr<NLG_GRAPH> g(make_tree_graph());
    std::unique_ptr<UTIL::IHIERARCHY::IMODULES> modules(g->create_hmodules());
    EXPECT_EQ(modules->get_symbol_table(), g->get_symbol_table());
    EXPECT_EQ(describe(*modules), "top(u0:m0 u1:m1 | a/0 b/1 c/2) m0(u1:m1 | p/0) m1(| x/0 y/1)");
    const UTIL::IHIERARCHY::IMODULE* top = modules->get_module(0);
    expect_out_of_range([&] { modules->get_module(3); }, "invalid vector<T> subscript");
    expect_out_of_range([&] { top->get_instance(2); }, "invalid vector<T> subscript");
    expect_out_of_range([&] { top->get_port(3); }, "invalid vector<T> subscript");
    // The hierarchy over it numbers as hand-checked.
    UTIL::HIERARCHY hierarchy(modules.get());
    EXPECT_EQ(hierarchy.get_num_nodes(), 12u);
    EXPECT_EQ(hierarchy.get_num_nodes(1), 5u);
    // The description keeps the graph as it was when made.
    add_module(*g, "late", 0, NLG_FILELINE(), false, 0, 0, 0);
    EXPECT_EQ(modules->get_n_modules(), 3u);

    NLG_PORT* odd = add_port(*g, g->module(3), "odd", 3);
    EXPECT_FATAL(NLG::HPORT(odd).get_direction(), "Unknown direction");
}

// Under each match: the netlist modules in order, then the block-level modules that are no
// twin; a twin lends its instances, named in the block-level table, to the netlist module,
// which keeps its name and ports. The hybrid graph shows the same union, its walk enters every
// node of the union's numbering once, and an instance tree over it is as large.
TEST(NlgHymodules, UnionUnderEachMatch) {
    const char* const rtl = "top(t0:r1 t1:r2 | q/0) ";
    const struct {
        std::vector<std::pair<int, int>> twins;
        std::string modules;
        const char* warning;
    } cases[] = {
        {{{1, 0}, {2, 1}},
         std::string(rtl) + "r1(k0:b2 k1:b2 | i/0) r2(k0:b2 | i/0 o/1) r3(|) r4(|) b2(| w/1)",
         "  Module r2 has a match, but does not have zero instances \n"},
        // Two netlist modules on one twin: the count drops by one only.
        {{{1, 0}, {2, 0}},
         std::string(rtl) +
             "r1(k0:b2 k1:b2 | i/0) r2(k0:b2 k1:b2 | i/0 o/1) r3(|) r4(|) b1(k0:b2 |) b2(| w/1)",
         "  Module r2 has a match, but does not have zero instances \n"},
        {{{1, 0}},
         std::string(rtl) +
             "r1(k0:b2 k1:b2 | i/0) r2(r0:r3 | i/0 o/1) r3(|) r4(|) b1(k0:b2 |) b2(| w/1)",
         ""},
        {{},
         std::string(rtl) + "r1(| i/0) r2(r0:r3 | i/0 o/1) r3(|) r4(|) b0(k0:b2 k1:b2 | z/0) "
                            "b1(k0:b2 |) b2(| w/1)",
         ""},
    };
    for (const auto& c : cases) {
        UNION_GRAPHS u;
        TEST_MATCH match;
        for (auto [r, b] : c.twins) match.add(u.r[r], u.b[b]);
        std::unique_ptr<UTIL::IHIERARCHY::IMODULES> modules(
            u.rtl->create_hymodules(u.blc.get(), &match));
        EXPECT_EQ(modules->get_symbol_table(), nullptr);
        EXPECT_EQ(describe(*modules), c.modules);
        expect_out_of_range([&] { modules->get_module(modules->get_n_modules()); },
                            "invalid vector<T> subscript");
        expect_out_of_range([&] { modules->get_module(1)->get_instance(2); },
                            "invalid vector<T> subscript");

        testing::internal::CaptureStderr();
        std::unique_ptr<NLG_IGRAPH> hybrid = hybrid_of(u, match);
        const std::string warning = testing::internal::GetCapturedStderr();
        EXPECT_NE(warning.find(c.warning), std::string::npos) << warning;
        EXPECT_EQ(warning.rfind("Warning ", 0), *c.warning ? 0u : std::string::npos) << warning;
        NLG::HMODULES hybrid_modules(hybrid.get());
        EXPECT_EQ(describe(hybrid_modules), c.modules);

        UTIL::HIERARCHY hierarchy(modules.get());
        NODE_COLLECTOR collector(&hierarchy, hybrid.get());
        TSL_TRAVERSE_BASE walk(&collector, nullptr, false);
        collector.set_traverse(&walk);
        walk.traverse(hybrid.get());
        std::multiset<uint64_t> expected;
        for (uint64_t node = 0; node < hierarchy.get_num_nodes(); ++node) expected.insert(node);
        EXPECT_EQ(collector.m_nodes, expected);
        std::unique_ptr<NLG_IINSTANCE_TREE> tree(hybrid->create_instance_tree(false));
        EXPECT_EQ(static_cast<uint64_t>(tree->get_size()), hierarchy.get_num_nodes());
    }
}

// A twin has no entry of its own, so another block-level module's instance of it names a
// module that the union lacks.
TEST(NlgHymodules, InstanceOfATwinIsUnknownToTheHierarchy) {
    UNION_GRAPHS u;
    NLG_MODULE* b3 = add_module(*u.blc, "b3", 0, NLG_FILELINE(), false, 0, 0, 1);
    add_instance(*u.blc, b3, "x", u.b[0], 0);
    TEST_MATCH match;
    match.add(u.r[2], u.b[0]);
    std::unique_ptr<UTIL::IHIERARCHY::IMODULES> modules(
        u.rtl->create_hymodules(u.blc.get(), &match));
    EXPECT_EQ(modules->get_n_modules(), 8u);
    EXPECT_FATAL(UTIL::HIERARCHY hierarchy(modules.get()), "it != m_module_map.end()");
    EXPECT_FATAL(hybrid_of(u, match), "Unable to find module named b0");
}

// What the view's walk and counts use is checked through the union above; the questions the
// view cannot answer stop.
TEST(NlgHybridGraph, RefusesWhatItCannotAnswer) {
    UNION_GRAPHS u;
    TEST_MATCH match;
    match.add(u.r[1], u.b[0]);
    std::unique_ptr<NLG_IGRAPH> hybrid = hybrid_of(u, match);
    EXPECT_TRUE(!hybrid->create_instance_paths() && !hybrid->create_hmodules() &&
                !hybrid->create_hpath() && !hybrid->create_hybrid_graph(u.blc.get(), &match) &&
                !hybrid->create_hymodules(u.blc.get(), &match));
    NLG_IMODULE* r1 = hybrid->get_module(1);
    EXPECT_FATAL(hybrid->get_id(), "false");
    EXPECT_FATAL(hybrid->populate_fanin_fanout(nullptr), "false");
    EXPECT_FATAL(r1->get_id(), "false");
    EXPECT_FATAL(r1->get_num_nets(), "false");
    EXPECT_FATAL(r1->get_num_references(), "false");
    EXPECT_FATAL(r1->get_instance(0)->get_id(), "false");
    EXPECT_FATAL(r1->get_port(0)->get_id(), "false");
}

TEST(NlgHpath, CursorOverAStack) {
    std::unique_ptr<NLG_GRAPH> g(make_tree_graph());
    std::unique_ptr<NLG_IGRAPH::IHPATH> path(g->create_hpath());

    std::unique_ptr<UTIL::IHIERARCHY::IMODULES> modules(g->create_hmodules());
    UTIL::HIERARCHY hierarchy(modules.get());
    path->set_hierarchy(&hierarchy);

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
