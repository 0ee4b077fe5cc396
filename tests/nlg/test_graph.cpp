// The graph model: ids, file-lines, look-ups by name and object, references, top-level modules, the
// port-to-reference table, visitor dispatch and the failure texts of bad indexes.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "nlg/nlg_graph.h"
#include "nlg_sample_graphs.h"
#include "tsl_ivisitor.h"

using namespace NLG_TEST;

TEST(NlgId, PacksKindAndSerialAndFileLines) {
    NLG_ID id(NLG_ID::PORT_REF, 0x123456);
    EXPECT_EQ(id.get_value(), 0x05123456u);
    EXPECT_EQ(id.get_kind(), 5u);
    EXPECT_EQ(id.get_serial(), 0x123456u);
    EXPECT_EQ(NLG_ID(NLG_ID::MODULE, 0x1000001).get_value(), 0x01000001u);
    EXPECT_EQ(NLG_ID().get_value(), 0u);

    NLG_FILELINE largest(4095, 0xFFFFF);
    EXPECT_EQ(largest.get_value(), 0xFFFFFFFFu);
    EXPECT_EQ(largest.get_file_number(), 4095u);
    EXPECT_EQ(largest.get_line(), 0xFFFFFu);
    NLG_FILELINE f(3, 12);
    EXPECT_EQ(f.get_value(), (3u << 20) | 12u);
    EXPECT_EQ(NLG_FILELINE().get_value(), 0u);
    EXPECT_FATAL(NLG_FILELINE(4096, 1), "File number cannot be greater than 0x00000FFF");
    EXPECT_FATAL(NLG_FILELINE(1, 0x100000), "Line number cannot be greater than 0x000FFFFF");
    std::unique_ptr<NLG_GRAPH> g(make_small_graph());
    EXPECT_EQ(f.get_file(*g).get_name(), "f3");
    try {
        NLG_FILELINE(4, 1).get_file(*g);
        FAIL();
    } catch (const std::out_of_range& e) {
        EXPECT_STREQ(e.what(), "invalid vector<T> subscript");
    }
}

// Look-ups by name and by object, found and missed. Counts and links are what every other test
// walks.
TEST(NlgGraph, Lookups) {
    std::unique_ptr<NLG_GRAPH> g(make_small_graph());
    NLG_IMODULE* top = g->get_top_module();
    const std::pair<const void*, const void*> found[] = {
        {top, g->get_module(0)},
        {g->get_module(sym(*g, "mid")), g->get_module(2)},
        {g->get_module(sym(*g, "nothing")), nullptr},
        {top->get_port(sym(*g, "c")), top->get_port(2)},
        {top->get_port(sym(*g, "zz")), nullptr},
        {top->get_instance(sym(*g, "u1")), top->get_instance(1)},
        {top->get_instance(sym(*g, "zz")), nullptr}};
    for (size_t k = 0; k < std::size(found); ++k)
        EXPECT_EQ(found[k].first, found[k].second) << "row " << k;
    const std::pair<int32_t, int32_t> indexes[] = {
        {g->get_module_index(sym(*g, "leaf")), 1},
        {g->get_module_index(sym(*g, "nothing")), -1},
        {top->get_port_index(top->get_port(3)), 3},
        {top->get_instance_index(sym(*g, "u2")), 2},
        {top->get_instance_index(sym(*g, "zz")), -1},
        {top->get_instance_index(top->get_instance(2)), 2},
        {top->get_net_index(top->get_net(3)), 3}};
    for (size_t k = 0; k < std::size(indexes); ++k)
        EXPECT_EQ(indexes[k].first, indexes[k].second) << "row " << k;
    EXPECT_THROW(g->get_module(3), std::out_of_range);
    EXPECT_THROW(g->get_module(-1), std::out_of_range);
}

TEST(NlgGraph, ModuleWithoutObjectsHasNoVectors) {
    NLG_GRAPH g(nullptr, nullptr, 0);
    EXPECT_EQ(g.get_name().get_name(), "root");
    NLG_MODULE* m = add_module(g, "m", 0, NLG_FILELINE(), false, 0, 0, 0);
    EXPECT_FATAL(m->get_port_index(nullptr), "m_ports");
    EXPECT_FATAL(m->get_instance_index(static_cast<const NLG_IINSTANCE*>(nullptr)), "m_instances");
    EXPECT_FATAL(m->get_net_index(nullptr), "m_nets");
    // Two ports of one name: both kept, the name finds the later.
    add_port(g, m, "p", NLG_IPORT::INPUT);
    add_port(g, m, "p", NLG_IPORT::OUTPUT);
    EXPECT_EQ(m->get_num_ports(), 2u);
    EXPECT_EQ(m->get_port(sym(g, "p")), m->get_port(1));
}

TEST(NlgGraph, PortReferencesOfAnInstance) {
    std::unique_ptr<NLG_GRAPH> g(make_small_graph());
    NLG_IMODULE* top = g->get_top_module();
    NLG_IMODULE* leaf = g->get_module(1);
    NLG_IINSTANCE* u0 = top->get_instance(0);
    EXPECT_TRUE(u0->is_leaf());
    EXPECT_FALSE(top->get_instance(2)->is_leaf());
    // Four ports, three references: x has none, y has one on no net, which no net lists.
    EXPECT_EQ(u0->get_num_portrefs(), 3u);
    EXPECT_EQ(u0->get_portref(leaf->get_port(2)), nullptr);
    EXPECT_EQ(u0->get_portref(nullptr), nullptr);
    NLG_IPORT_REF* y = u0->get_portref(leaf->get_port(3));
    ASSERT_NE(y, nullptr);
    EXPECT_EQ(y->get_net(), nullptr);
    EXPECT_EQ(y->get_port(), leaf->get_port(3));
    EXPECT_EQ(y->get_instance(), u0);
    EXPECT_EQ(u0->get_portref_index(y), 2);
    for (uint32_t n = 0; n < top->get_num_nets(); ++n) {
        NLG_INET* net = top->get_net(static_cast<int32_t>(n));
        for (uint32_t r = 0; r < net->get_num_portrefs(); ++r)
            EXPECT_NE(net->get_portref(static_cast<int32_t>(r)), y);
    }
    NLG_IPORT_REF* o = u0->get_portref(leaf->get_port(1));
    EXPECT_EQ(o->get_net(), top->get_net(2));
    EXPECT_TRUE(o->is_output());
    EXPECT_FATAL(o->get_name(), "Portref does not have a name!");
    EXPECT_FATAL(o->get_fileline(), "Portref does fileline!");
    EXPECT_THROW(u0->get_portref(3), std::out_of_range);
    EXPECT_EQ(top->get_instance(1)->get_portref(leaf->get_port(3)), nullptr);
}

TEST(NlgGraph, ReferencesAndTopLevelModules) {
    std::unique_ptr<NLG_GRAPH> g(make_small_graph());
    NLG_IMODULE* leaf = g->get_module(1);
    EXPECT_EQ(leaf->get_num_references(), 3u);
    EXPECT_EQ(leaf->get_reference(0), g->get_top_module()->get_instance(0));
    EXPECT_EQ(leaf->get_reference(1), g->get_top_module()->get_instance(1));
    EXPECT_EQ(leaf->get_reference(2), g->get_module(2)->get_instance(0));
    EXPECT_EQ(g->get_module(2)->get_num_references(), 1u);
    EXPECT_FATAL(leaf->get_reference(3),
                 "Reference index 3 is out of range (0 ~ 2) for module leaf");

    const std::vector<NLG_MODULE*>& tops = g->get_top_level_modules();
    ASSERT_EQ(tops.size(), 1u);
    EXPECT_EQ(tops[0], g->get_top_module());
    EXPECT_EQ(&g->get_top_level_modules(), &tops);

    // Two modules that instantiate each other: no top-level module at all.
    NLG_GRAPH loop(g->get_symbol_table(), "loop", 2);
    NLG_MODULE* m0 = add_module(loop, "m0", 0, NLG_FILELINE(), false, 0, 0, 1);
    NLG_MODULE* m1 = add_module(loop, "m1", 0, NLG_FILELINE(), false, 0, 0, 1);
    add_instance(loop, m0, "i", m1, 0);
    add_instance(loop, m1, "i", m0, 0);
    EXPECT_FATAL(loop.get_top_level_modules(), "!m_top_level_modules->empty()");
}

TEST(NlgGraph, IndexFailureTexts) {
    std::unique_ptr<NLG_GRAPH> g(make_small_graph());
    NLG_MODULE* top = g->module(0);
    NLG_MODULE* leaf = g->module(1);
    EXPECT_FATAL(top->get_port(4), "Port index 4 is out of range (0 ~ 3) for module top");
    EXPECT_FATAL(top->get_port(-1), "Port index -1 is out of range (0 ~ 3) for module top");
    EXPECT_FATAL(top->get_net(9), "Net index 9 is out of range (0 ~ 3) for module top");
    EXPECT_FATAL(leaf->get_net(0), "Net index 0 is out of range (0 ~ -1) for module leaf");
    EXPECT_FATAL(top->get_instance(3), "Instance index 3 is out of range (0 ~ 2) for module top");
    EXPECT_FATAL(top->get_reference(0),
                 "Reference index 0 is out of range (0 ~ -1) for module top");
    EXPECT_FATAL(top->get_net(0)->get_port(1), "Index is out of range 0 ~ 0");
    EXPECT_FATAL(top->get_net(3)->get_portref(5), "Index is out of range 0 ~ 0");

    // A port of another module whose index lies past the definition's ports.
    NLG_INSTANCE* u2 = top->instance(2);
    EXPECT_FATAL(u2->get_portref(top->get_port(3)),
                 "port d index 3 is out of range of 0 ~ 1 on instance u2 of module mid");
    EXPECT_FATAL(top->instance(0)->add_portref(4, 0, NLG_ID()),
                 "referencing index 4 out of range 0 ~ 3 on instance u0 of module leaf in "
                 "module top");

    NLG_INSTANCE orphan(sym(*g, "orphan"), nullptr, NLG_ID(), NLG_FILELINE(), 0);
    EXPECT_FATAL(orphan.get_module(), "m_module");
    EXPECT_FATAL(orphan.is_leaf(), "m_module");
    EXPECT_FATAL(orphan.get_portref_index(nullptr), "m_portrefs");
}

TEST(NlgGraph, BuilderChecks) {
    std::unique_ptr<NLG_GRAPH> g(make_small_graph());
    NLG_MODULE* top = g->module(0);
    EXPECT_FATAL(g->add_module(top), "!m->get_graph()");
    NLG_PORT unnamed(NLG_ID(), g->get_symbol_table()->get_unknown(), 0, NLG_FILELINE());
    EXPECT_FATAL(top->add_port(unnamed), "p.get_name().is_known()");
    EXPECT_FATAL(top->add_port(*top->port(0)), "!p.get_parent()");
    EXPECT_FATAL(top->add_net(*top->net(0)), "!n.get_parent()");
    EXPECT_FATAL(top->add_instance(*top->instance(0)), "!inst.get_parent()");
    // A port of the wrong module.
    EXPECT_FATAL(top->instance(0)->add_portref(top->port(0), top->net(0), NLG_ID()),
                 "p->get_parent() == m_module");
    EXPECT_FATAL(NLG_PORT_REF(NLG_ID(), nullptr, nullptr, nullptr), "inst && p");
    EXPECT_FATAL(NLG_PORT_REF(NLG_ID(), nullptr, 0, 0, 0), "parent && m_instance && m_port");
    EXPECT_FATAL(top->net(0)->add_portref(nullptr), "pr");

    // Null arguments do nothing.
    uint32_t before = top->net(0)->get_num_ports();
    top->net(0)->connect_port(static_cast<NLG_IPORT*>(nullptr));
    top->instance(0)->add_portref(nullptr, top->net(0), NLG_ID());
    top->net(0)->connect(nullptr, top->port(0));
    EXPECT_EQ(top->net(0)->get_num_ports(), before);
    EXPECT_EQ(top->instance(0)->get_num_portrefs(), 3u);
}

TEST(NlgGraph, NetConnectMakesReferenceWithoutId) {
    NLG_GRAPH g(nullptr, "g", 2);
    NLG_MODULE* top = add_module(g, "top", 0, NLG_FILELINE(), false, 0, 1, 1);
    NLG_MODULE* cell = add_module(g, "cell", 0, NLG_FILELINE(), false, 2, 0, 0);
    add_port(g, cell, "a", NLG_IPORT::INPUT);
    add_port(g, cell, "z", NLG_IPORT::OUTPUT);
    NLG_NET* n = add_net(g, top, "n");
    NLG_INSTANCE* u = add_instance(g, top, "u", cell, 2);
    n->connect(u, cell->port(1));
    ASSERT_EQ(u->get_num_portrefs(), 1u);
    NLG_IPORT_REF* r = u->get_portref(cell->get_port(1));
    EXPECT_EQ(r->get_id().get_value(), 0xFFFFFFFFu);
    EXPECT_EQ(r->get_net(), n);
    EXPECT_EQ(n->get_num_portrefs(), 1u);
    EXPECT_EQ(n->get_portref(0), r);
    n->add_portref(0, 0);
    EXPECT_EQ(n->get_portref(1), r);
}

TEST(NlgGraph, FanListsAreAbsentUntilUsed) {
    std::unique_ptr<NLG_GRAPH> g(make_small_graph());
    NLG_PORT* d = g->module(0)->port(3);
    EXPECT_TRUE(!d->get_fanout_ports() && !d->get_fanin_ports() && !d->get_fanout_refs() &&
                !d->get_fanin_refs());
    NLG_PORT* b = g->module(0)->port(1);
    ASSERT_NE(b->get_fanin_refs(), nullptr);
    b->delete_fanin_refs();
    EXPECT_EQ(b->get_fanin_refs(), nullptr);
}

// Records each dispatch as kind and name.
#define RECORD(kind, TYPE, letter, name)           \
    void enter_##kind(TYPE& o) override {          \
        m_log += std::string("+") + letter + name; \
    }                                              \
    void exit_##kind(TYPE& o) override {           \
        m_log += std::string("-") + letter + name; \
    }
class RECORDING_VISITOR : public TSL_IVISITOR {
  public:
    std::string m_log;
    RECORD(port_ref, NLG_IPORT_REF, "r", std::to_string(o.get_id().get_serial()))
    RECORD(port, NLG_IPORT, "p", o.get_name().get_name())
    RECORD(net, NLG_INET, "n", o.get_name().get_name())
    RECORD(instance, NLG_IINSTANCE, "i", o.get_name().get_name())
    RECORD(module, NLG_IMODULE, "m", o.get_name().get_name())
    RECORD(graph, NLG_IGRAPH, "g", o.get_name().get_name())
    void set_traverse(TSL_ITRAVERSE*) override {}
};
#undef RECORD

TEST(NlgGraph, ObjectsDispatchToTheirOwnVisitorOperations) {
    std::unique_ptr<NLG_GRAPH> g(make_small_graph());
    RECORDING_VISITOR v;
    NLG_IMODULE* top = g->get_top_module();
    std::vector<NLG_IGRAPH_NODE*> nodes = {g.get(),
                                           top,
                                           top->get_port(1),
                                           top->get_net(2),
                                           top->get_instance(1),
                                           top->get_instance(1)->get_portref(0)};
    for (NLG_IGRAPH_NODE* node : nodes) node->accept_enter(v);
    for (NLG_IGRAPH_NODE* node : nodes) node->accept_exit(v);
    EXPECT_EQ(v.m_log, "+groot+mtop+pb+nnmid+iu1+r3-groot-mtop-pb-nnmid-iu1-r3");
}
