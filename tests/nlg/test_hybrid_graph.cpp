// The hybrid view over a matched netlist and block-level pair: walked by the graph walk and
// numbered through the instance tree, it is the union that HYMODULES describes; what each
// operation answers or forwards; the warning of a matched module with instances; the
// operations that stop.
#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>

#include "nlg/nlg_graph_traverse.h"
#include "nlg/nlg_hierarchy.h"
#include "nlg/nlg_hybrid_graph.h"
#include "nlg_iinstance_tree.h"
#include "nlg_test_union.h"
#include "nlg_test_util.h"

using namespace NLG_TEST;

namespace {

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
    const std::multiset<uint64_t>& nodes() const { return m_nodes; }

  private:
    void add(uint32_t port_index) {
        m_path.set(&m_traverse->get_hier_blks(), port_index, 0u);
        m_nodes.insert(m_path.get_hierarchy()->get_node(m_path));
    }

    NLG::HPATH m_path;
    std::multiset<uint64_t> m_nodes{0};
};

void expect_same_description(const UTIL::IHIERARCHY::IMODULES& a,
                             const UTIL::IHIERARCHY::IMODULES& b) {
    ASSERT_EQ(a.get_n_modules(), b.get_n_modules());
    for (uint32_t m = 0; m < a.get_n_modules(); ++m) {
        const UTIL::IHIERARCHY::IMODULE& ma = *a.get_module(m);
        const UTIL::IHIERARCHY::IMODULE& mb = *b.get_module(m);
        EXPECT_EQ(ma.get_name(), mb.get_name()) << m;
        ASSERT_EQ(ma.get_n_instances(), mb.get_n_instances()) << m;
        for (uint32_t i = 0; i < ma.get_n_instances(); ++i) {
            EXPECT_EQ(ma.get_instance(i)->get_name(), mb.get_instance(i)->get_name());
            EXPECT_EQ(ma.get_instance(i)->get_module_name(), mb.get_instance(i)->get_module_name());
        }
        ASSERT_EQ(ma.get_n_ports(), mb.get_n_ports()) << m;
        for (uint32_t p = 0; p < ma.get_n_ports(); ++p) {
            EXPECT_EQ(ma.get_port(p)->get_name(), mb.get_port(p)->get_name());
            EXPECT_EQ(ma.get_port(p)->get_direction(), mb.get_port(p)->get_direction());
        }
    }
}

}  // namespace

TEST(NlgHybridGraph, IsTheUnionThatHymodulesDescribes) {
    UNION_GRAPHS u;
    TEST_MATCH match;
    match.add(u.r[1], u.b[0]);
    std::unique_ptr<NLG_IGRAPH> hybrid = hybrid_of(u, match);
    std::unique_ptr<UTIL::IHIERARCHY::IMODULES> union_modules(
        u.rtl->create_hymodules(u.blc.get(), &match));

    // Same modules, instances and ports, module by module.
    NLG::HMODULES hybrid_modules(hybrid.get());
    expect_same_description(hybrid_modules, *union_modules);

    // The graph walk over the view enters every place of the union's numbering once.
    UTIL::HIERARCHY hierarchy(union_modules.get());
    const uint64_t n_nodes = hierarchy.get_num_nodes();
    EXPECT_EQ(n_nodes, UTIL::HIERARCHY(&hybrid_modules).get_num_nodes());
    NODE_COLLECTOR collector(&hierarchy, hybrid.get());
    TSL_TRAVERSE_BASE walk(&collector, nullptr, false);
    collector.set_traverse(&walk);
    walk.traverse(hybrid.get());
    std::multiset<uint64_t> expected;
    for (uint64_t node = 0; node < n_nodes; ++node) expected.insert(node);
    EXPECT_EQ(collector.nodes(), expected);

    // A port tree built over the view has the same size.
    std::unique_ptr<NLG_IINSTANCE_TREE> tree(hybrid->create_instance_tree(false));
    EXPECT_EQ(static_cast<uint64_t>(tree->get_size()), n_nodes);
}

TEST(NlgHybridGraph, AnswersAndForwards) {
    UNION_GRAPHS u;
    TEST_MATCH match;
    match.add(u.r[1], u.b[0]);
    std::unique_ptr<NLG_IGRAPH> hybrid = hybrid_of(u, match);
    UTIL::SYMBOL_TABLE* rtl = u.rtl->get_symbol_table();
    UTIL::SYMBOL_TABLE* blc = u.blc->get_symbol_table();

    // The graph: netlist modules first, then the block-level modules that are no twin.
    ASSERT_EQ(hybrid->get_num_modules(), 7u);
    EXPECT_EQ(hybrid->get_name(), u.rtl->get_name());
    EXPECT_EQ(hybrid->get_top_module(), hybrid->get_module(0));
    EXPECT_EQ(hybrid->get_module_index(blc->find("b1")), 5);
    EXPECT_EQ(hybrid->get_module(blc->find("b2")), hybrid->get_module(6));
    EXPECT_EQ(hybrid->get_module(blc->find("b0")), nullptr);
    EXPECT_EQ(hybrid->get_module_index(rtl->find("b0")), -1);
    EXPECT_EQ(hybrid->get_symbol_table(), nullptr);
    EXPECT_EQ(hybrid->create_instance_paths(), nullptr);
    EXPECT_EQ(hybrid->create_hybrid_graph(u.blc.get(), &match), nullptr);
    EXPECT_EQ(hybrid->create_hmodules(), nullptr);
    EXPECT_EQ(hybrid->create_hymodules(u.blc.get(), &match), nullptr);
    EXPECT_EQ(hybrid->create_hpath(), nullptr);

    // A matched module: its own name and ports, its twin's instances.
    NLG_IMODULE* r1 = hybrid->get_module(1);
    EXPECT_EQ(r1->get_name(), u.r[1]->get_name());
    EXPECT_EQ(r1->get_graph(), hybrid.get());
    EXPECT_EQ(r1->get_index(), 1);
    ASSERT_EQ(r1->get_num_ports(), 1u);
    NLG_IPORT* i = r1->get_port(rtl->find("i"));
    ASSERT_NE(i, nullptr);
    EXPECT_EQ(i, r1->get_port(0));
    EXPECT_EQ(i->get_parent(), r1);
    EXPECT_EQ(i->get_index(), 0);
    EXPECT_EQ(i->get_net(), nullptr);
    EXPECT_TRUE(i->is_input());
    EXPECT_EQ(i->get_fileline(), u.r[1]->get_port(0)->get_fileline());
    EXPECT_EQ(r1->get_port(blc->find("z")), nullptr);
    EXPECT_EQ(r1->get_port_index(u.r[1]->get_port(0)), 0);
    ASSERT_EQ(r1->get_num_instances(), 2u);
    NLG_IINSTANCE* k1 = r1->get_instance(blc->find("k1"));
    ASSERT_EQ(k1, r1->get_instance(1));
    EXPECT_EQ(r1->get_instance_index(blc->find("k1")), 1);
    EXPECT_EQ(r1->get_instance(rtl->find("t0")), nullptr);
    EXPECT_EQ(k1->get_name(), u.b[0]->get_instance(1)->get_name());
    EXPECT_EQ(k1->get_index(), 1);
    EXPECT_EQ(k1->get_parent(), r1);
    EXPECT_EQ(k1->get_module(), hybrid->get_module(6));
    EXPECT_EQ(k1->get_num_portrefs(), 0u);
    EXPECT_EQ(k1->get_portref(0), nullptr);
    EXPECT_EQ(k1->get_portref(i), nullptr);
    EXPECT_EQ(k1->get_portref_index(nullptr), -1);
    EXPECT_TRUE(k1->is_leaf());
    EXPECT_EQ(r1->get_net(0), nullptr);
    EXPECT_EQ(r1->get_reference(0), nullptr);
    EXPECT_EQ(r1->get_net_index(nullptr), -1);
    EXPECT_FALSE(r1->is_leaf());
    EXPECT_FALSE(r1->is_primitive());

    // The visitor sees the source objects.
    struct SEEN : TSL_VISITOR_BASE {
        NLG_IMODULE* module = nullptr;
        NLG_IINSTANCE* instance = nullptr;
        void enter_module(NLG_IMODULE& m) override { module = &m; }
        void enter_instance(NLG_IINSTANCE& inst) override { instance = &inst; }
    } seen;
    r1->accept_enter(seen);
    k1->accept_enter(seen);
    EXPECT_EQ(seen.module, u.r[1]);
    EXPECT_EQ(seen.instance, u.b[0]->get_instance(1));

    // No twins: one entry per module of each graph, the netlist's first.
    TEST_MATCH none;
    std::unique_ptr<NLG_IGRAPH> plain = hybrid_of(u, none);
    ASSERT_EQ(plain->get_num_modules(), 8u);
    for (int32_t m = 0; m < 5; ++m) EXPECT_EQ(plain->get_module(m)->get_name(), u.r[m]->get_name());
    for (int32_t m = 0; m < 3; ++m)
        EXPECT_EQ(plain->get_module(5 + m)->get_name(), u.b[m]->get_name());
}

TEST(NlgHybridGraph, MatchedModuleWithInstancesWarnsAndTakesTheTwins) {
    UNION_GRAPHS u;
    TEST_MATCH match;
    match.add(u.r[2], u.b[0]);
    testing::internal::CaptureStderr();
    std::unique_ptr<NLG_IGRAPH> hybrid = hybrid_of(u, match);
    const std::string warning = testing::internal::GetCapturedStderr();
    EXPECT_NE(warning.find("  Module r2 has a match, but does not have zero instances \n"),
              std::string::npos)
        << warning;
    EXPECT_EQ(warning.rfind("Warning ", 0), 0u) << warning;
    NLG_IMODULE* r2 = hybrid->get_module(2);
    ASSERT_EQ(r2->get_num_instances(), 2u);
    EXPECT_EQ(r2->get_instance(0)->get_name(), u.b[0]->get_instance(0)->get_name());
    EXPECT_EQ(r2->get_num_ports(), 2u);
}

TEST(NlgHybridGraph, OperationsOutsideTheViewStop) {
    UNION_GRAPHS u;
    TEST_MATCH match;
    match.add(u.r[1], u.b[0]);
    std::unique_ptr<NLG_IGRAPH> hybrid = hybrid_of(u, match);
    NLG_IMODULE* r1 = hybrid->get_module(1);
    EXPECT_FATAL(hybrid->get_id(), "false");
    EXPECT_FATAL(hybrid->populate_fanin_fanout(nullptr), "false");
    EXPECT_FATAL(r1->get_id(), "false");
    EXPECT_FATAL(r1->get_num_nets(), "false");
    EXPECT_FATAL(r1->get_num_references(), "false");
    EXPECT_FATAL(r1->get_instance(0)->get_id(), "false");
    EXPECT_FATAL(r1->get_port(0)->get_id(), "false");

    // A twin has no entry of its own, so another block-level module's instance of it names a
    // module that the union lacks.
    NLG_MODULE* b3 = add_module(*u.blc, "b3", 0, NLG_FILELINE(), false, 0, 0, 1);
    add_instance(*u.blc, b3, "x", u.b[0], 0);
    EXPECT_FATAL(hybrid_of(u, match), "Unable to find module named b0");
}
