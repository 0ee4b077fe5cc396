// The graph model: ids and file-lines, the port-to-reference table, and the failure
// texts of bad indexes and misuse. Look-ups, links and visitor dispatch are walked by every round
// trip and walk.
#include <gtest/gtest.h>

#include <memory>

#include "print_form.h"
#include "nlg/nlg_graph.h"
#include "nlg_sample_graphs.h"

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
    expect_out_of_range([&] { NLG_FILELINE(4, 1).get_file(*g); }, "invalid vector<T> subscript");
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
    EXPECT_FATAL(leaf->get_reference(3),
                 "Reference index 3 is out of range (0 ~ 2) for module leaf");
    NLG_IPORT_REF* o = top->get_instance(0)->get_portref(leaf->get_port(1));
    EXPECT_FATAL(o->get_name(), "Portref does not have a name!");
    EXPECT_FATAL(o->get_fileline(), "Portref does fileline!");

    // Two modules that instantiate each other: no top-level module at all.
    NLG_GRAPH loop(g->get_symbol_table(), "loop", 2);
    NLG_MODULE* m0 = add_module(loop, "m0", 0, NLG_FILELINE(), false, 0, 0, 1);
    NLG_MODULE* m1 = add_module(loop, "m1", 0, NLG_FILELINE(), false, 0, 0, 1);
    add_instance(loop, m0, "i", m1, 0);
    add_instance(loop, m1, "i", m0, 0);
    EXPECT_FATAL(loop.get_top_level_modules(), "!m_top_level_modules->empty()");

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
