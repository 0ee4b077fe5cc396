// Diagnostics over netlist graphs: the print forms of graph, module, port, net and instance
// against their texts; the id check with each of its findings; the comparison on pairs that
// differ in one thing each; the counts of NLG_INFO.
#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>

#include "nlg/nlg_graph.h"
#include "nlg/nlg_graph_compare.h"
#include "nlg/nlg_info.h"
#include "nlg_builders.h"
#include "print_form.h"
#include "util/util_indent.h"
#include "util/util_symbol.h"

namespace {

using NS_SYMBOL::SYM;

// Objects with the ids the caller gives, so that two builds agree id for id.
class GRAPH_BUILDER {
  public:
    explicit GRAPH_BUILDER(UTIL::SYMBOL_TABLE* table) : m_graph(new NLG_GRAPH(table, "root", 3)) {}
    NLG_GRAPH* release() { return m_graph.release(); }
    NLG_GRAPH& graph() { return *m_graph; }
    SYM sym(const char* name) { return m_graph->get_symbol_table()->add(name); }

    NLG_MODULE* module(const char* name, NLG_ID id, NLG_FILELINE fileline = NLG_FILELINE()) {
        m_graph->add_module(new NLG_MODULE(sym(name), 0, id, fileline, false, 4, 4, 3));
        return m_graph->module(static_cast<int32_t>(m_graph->get_num_modules()) - 1);
    }
    NLG_PORT* port(NLG_MODULE* m, const char* name, NLG_ID id, uint32_t direction) {
        m->add_port(NLG_PORT(id, sym(name), direction, NLG_FILELINE()));
        return m->port(static_cast<int32_t>(m->get_num_ports()) - 1);
    }
    NLG_NET* net(NLG_MODULE* m, const char* name, NLG_ID id) {
        m->add_net(NLG_NET(id, sym(name), NLG_FILELINE()));
        return m->net(static_cast<int32_t>(m->get_num_nets()) - 1);
    }
    NLG_INSTANCE* instance(NLG_MODULE* m, const char* name, NLG_MODULE* definition, NLG_ID id) {
        m->add_instance(NLG_INSTANCE(sym(name), definition, id, NLG_FILELINE(), 2));
        return m->instance(static_cast<int32_t>(m->get_num_instances()) - 1);
    }

  private:
    std::unique_ptr<NLG_GRAPH> m_graph;
};

// top (0): ports a in, b out, c inout; u0:leaf {i on n}, u1:leaf {i unconnected};
//          nets n {a, b; u0.i}, m {}, w {; u0.i listed by hand}; fan list a -> b
// leaf (1): ports i, j
// Filenames f0, f1.
// `change` names what differs from this base graph ("" is the base itself).
NLG_GRAPH* build(UTIL::SYMBOL_TABLE* table, const std::string& change = "") {
    GRAPH_BUILDER g(table);
    auto when = [&change](const char* m) { return change == m; };
    NLG_MODULE* top = g.module("top", NLG_ID(NLG_ID::MODULE, when("MODULE_ID") ? 5 : 0),
                               when("MODULE_FILELINE") ? NLG_FILELINE(1, 2) : NLG_FILELINE());
    NLG_MODULE* leaf = g.module(when("MODULE_NAME") ? "leaf2" : "leaf", NLG_ID(NLG_ID::MODULE, 1));
    if (when("EXTRA_MODULE")) g.module("spare", NLG_ID(NLG_ID::MODULE, 2));

    NLG_PORT* a = g.port(top, "a", NLG_ID(NLG_ID::PORT, when("PORT_ID") ? 9 : 0), NLG_IPORT::INPUT);
    NLG_PORT* b = g.port(top, "b", NLG_ID(NLG_ID::PORT, 1), NLG_IPORT::OUTPUT);
    NLG_PORT* c = g.port(top, "c", NLG_ID(NLG_ID::PORT, 2), NLG_IPORT::INOUT);
    if (when("EXTRA_PORT")) g.port(top, "d", NLG_ID(NLG_ID::PORT, 3), NLG_IPORT::INPUT);
    g.port(leaf, "i", NLG_ID(NLG_ID::PORT, 4), NLG_IPORT::INPUT);
    g.port(leaf, "j", NLG_ID(NLG_ID::PORT, 5), NLG_IPORT::INPUT);

    NLG_NET* n = g.net(top, "n", NLG_ID(NLG_ID::NET, when("NET_ID") ? 9 : 0));
    NLG_NET* m = g.net(top, "m", NLG_ID(NLG_ID::NET, 1));
    NLG_NET* w = g.net(top, "w", NLG_ID(NLG_ID::NET, 2));
    if (when("EXTRA_NET")) g.net(top, "x", NLG_ID(NLG_ID::NET, 3));
    if (when("NET_PORT")) {
        n->connect_port(b);
        n->connect_port(a);
    } else if (when("PORT_NET")) {
        m->connect_port(a);
        n->connect_port(b);
    } else {
        n->connect_port(a);
        n->connect_port(b);
    }
    if (when("NET_PORT_COUNT")) n->connect_port(a);
    if (when("PORT_CONNECTION")) m->connect_port(c);

    NLG_INSTANCE* u0 =
        g.instance(top, "u0", leaf, NLG_ID(NLG_ID::INSTANCE, when("INSTANCE_ID") ? 7 : 0));
    NLG_INSTANCE* u1 = g.instance(top, "u1", leaf, NLG_ID(NLG_ID::INSTANCE, 1));
    if (when("EXTRA_INSTANCE")) g.instance(top, "u2", leaf, NLG_ID(NLG_ID::INSTANCE, 2));
    const int32_t u0_port = when("PORTREF_PORT") ? 1 : 0;
    const int32_t u0_net = when("PORTREF_NET") ? 1 : when("PORTREF_CONNECTION") ? -1 : 0;
    u0->add_portref(u0_port, u0_net, NLG_ID(NLG_ID::PORT_REF, when("PORTREF_ID") ? 5 : 0));
    if (when("PORTREF_COUNT")) u0->add_portref(1, -1, NLG_ID(NLG_ID::PORT_REF, 2));
    u1->add_portref(0, -1, NLG_ID(NLG_ID::PORT_REF, 1));
    w->add_portref(when("NET_PORTREF") ? u1->portref(0) : u0->portref(0));
    if (when("NET_PORTREF_COUNT")) n->add_portref(u1->portref(0));

    a->add_fanout_port(b);
    if (when("FAN_LIST")) a->add_fanout_port(c);

    std::vector<SYM> files = {g.sym("f0"), g.sym(when("FILENAME") ? "g1" : "f1")};
    if (when("FILENAME_COUNT")) files.push_back(g.sym("f2"));
    g.graph().set_filenames(files);
    return g.release();
}

std::string pointer_text(const void* p) {
    std::ostringstream os;
    os << p;
    return os.str();
}

// Each line of `text` behind `n` blanks.
std::string shifted(const std::string& text, size_t n) {
    std::string out(n, ' ');
    for (size_t k = 0; k < text.size(); ++k) {
        out += text[k];
        if (text[k] == '\n' && k + 1 < text.size()) out += std::string(n, ' ');
    }
    return out;
}

struct PRINT_FIXTURE : testing::Test {
    UTIL::SYMBOL_TABLE* table = UTIL::symbol_tables().new_table();
    std::unique_ptr<NLG_GRAPH> graph{build(table)};
    NLG_MODULE* top = graph->module(0);
    NLG_MODULE* leaf = graph->module(1);

    std::string top_text() const {
        return "NLG_MODULE {\n   m_name = top\n   m_id = 16777216\n   m_ports = {\n"
               "      PORT {a:33554432}\n      PORT {b:33554433}\n      PORT {c:33554434}\n"
               "   }\n   m_nets = {\n      NET {n:50331648 m_ports = {" +
               pointer_text(top->port(0)) + " " + pointer_text(top->port(1)) +
               " }}\n      NET {m:50331649 m_ports = {}}\n      NET {w:50331650 m_ports = {}}\n"
               "   }\n}";
    }
    static std::string leaf_text() {
        return "NLG_MODULE {\n   m_name = leaf\n   m_id = 16777217\n   m_ports = {\n"
               "      PORT {i:33554436}\n      PORT {j:33554437}\n   }\n   m_nets = {\n   }\n}";
    }
};

}  // namespace

// The graph form holds the module, port and net forms; ids stay decimal on a stream that
// another diagnostic left in hexadecimal.
TEST_F(PRINT_FIXTURE, GraphAndInstanceForms) {
    EXPECT_EQ(text_of(*static_cast<NLG_IINSTANCE*>(top->instance(1))),
              "NLG_INSTANCE {\n   m_name = u1\n   m_id = 67108865\n   m_module = leaf\n"
              "   m_parent = top\n}\n");
    std::ostringstream table_text;
    table->init_name_fast();
    {
        UTIL::INDENT guard(table_text, 3);
        table_text << "@" << UTIL::indent << *static_cast<NS_SYMBOL::SYM_TABLE*>(table);
    }
    EXPECT_EQ(text_of(*static_cast<NLG_IGRAPH*>(graph.get())),
              "NLG_GRAPH {\n   m_id = 0\n   m_symbol_table = " + table_text.str().substr(1) +
                  "\n   m_name = root\n   m_modules = {\n" + shifted(top_text(), 6) + "\n" +
                  shifted(leaf_text(), 6) + "\n   }\n}\n");
    std::ostringstream hex;
    hex << std::hex << *static_cast<NLG_IMODULE*>(top);
    EXPECT_EQ(hex.str(), top_text());
}

TEST(NlgCheckIds, ReportsEachFinding) {
    GRAPH_BUILDER g(nullptr);
    NLG_MODULE* top = g.module("top", NLG_ID(NLG_ID::PORT, 0));
    NLG_MODULE* leaf = g.module("leaf", NLG_ID(NLG_ID::MODULE, 7));
    g.port(top, "a", NLG_ID(NLG_ID::PORT, 0), NLG_IPORT::INPUT);
    g.port(top, "b", NLG_ID(NLG_ID::NET, 0), NLG_IPORT::INPUT);
    g.port(leaf, "i", NLG_ID(NLG_ID::PORT, 1), NLG_IPORT::INPUT);
    g.instance(top, "u0", leaf, NLG_ID(NLG_ID::INSTANCE, 0))
        ->add_portref(0, -1, NLG_ID(NLG_ID::PORT_REF, 0));
    g.instance(top, "u1", leaf, NLG_ID(NLG_ID::INSTANCE, 0))
        ->add_portref(0, -1, NLG_ID(NLG_ID::PORT_REF, 0));
    g.instance(top, "u2", leaf, NLG_ID(NLG_ID::NET, 9));
    g.net(top, "n", NLG_ID(NLG_ID::NET, 0));
    g.net(top, "k", NLG_ID(NLG_ID::INSTANCE, 5));

    EXPECT_EQ(stdout_of([&] { EXPECT_FALSE(g.graph().check_ids()); }),
              "module top's id(2000000) has wrong type\n"
              "duplicated IDs found for port a(2000000)\n"
              "port b's id(3000000) has wrong type\n"
              "duplicated IDs found for instance u1(4000000)\n"
              "duplicated id found for portref\n"
              "instance u2's id(3000009) has wrong type\n"
              "duplicated IDs found for net n(3000000)\n"
              "net k's id(4000005) has wrong type\n"
              "module id index is 7, module index is 1\n");

    std::unique_ptr<NLG_GRAPH> clean(build(nullptr));
    EXPECT_EQ(stdout_of([&] { EXPECT_TRUE(clean->check_ids()); }), "");
}

TEST(NlgCompareGraphs, NamesTheFirstDifference) {
    const struct {
        const char* change;
        const char* line;
    } rows[] = {
        {"EXTRA_MODULE", "different number of modules 2 v.s. 3"},
        {"MODULE_ID", "different module at location 0: {1000000:top:0} v.s. {1000005:top:0}"},
        {"MODULE_NAME", "different module at location 1: {1000001:leaf:0} v.s. {1000001:leaf2:0}"},
        {"MODULE_FILELINE",
         "different module at location 0: {1000000:top:0} v.s. {1000000:top:100002}"},
        {"EXTRA_PORT", "different number of ports on module top : 3 v.s. 4"},
        {"PORT_ID",
         "different port on module top at location 0: {33554432:a:0} v.s. {33554441:a:0}"},
        {"PORT_NET", "different net of port a on module top at location 0 : n v.s. m"},
        {"PORT_CONNECTION",
         "different connectivity of port c on module top at location 2 : unconnected v.s. "
         "connected"},
        {"FAN_LIST", "different number of fanout on port a of module top : 1 v.s. 2"},
        {"EXTRA_INSTANCE", "different number of instances on module top : 2 v.s. 3"},
        {"INSTANCE_ID",
         "different instance on module top at location 0: {67108864:u0:0} v.s. {67108871:u0:0}"},
        {"PORTREF_COUNT",
         "different number of portrefs on instance u0 on module top at location 0 : 1 v.s. 2"},
        {"PORTREF_ID",
         "different portref of instance u0 on module top at location 0 : 83886080 v.s. 83886085"},
        {"PORTREF_PORT",
         "different port on portref of instance u0 on module top at location 0 : i v.s. j"},
        {"PORTREF_NET",
         "different net on portref of instance u0 on module top at location 0 : n v.s. m"},
        {"PORTREF_CONNECTION",
         "different connectivity on portref of instance u0 on module top at location 0 : "
         "connected v.s. unconnected"},
        {"EXTRA_NET", "different number of nets on module top : 3 v.s. 4"},
        {"NET_ID", "different net on module top at location 0: {50331648:n:0} v.s. {50331657:n:0}"},
        {"NET_PORT_COUNT",
         "different number of ports on net n on module top at location 0 : 2 v.s. 3"},
        {"NET_PORTREF_COUNT",
         "different number of portrefs on net n on module top at location 0 : 1 v.s. 2"},
        {"NET_PORT",
         "different port of net n on module top at location 0 : 33554432 v.s. 33554433"},
        {"NET_PORTREF",
         "different portref of net w on module top at location 2 : 83886080 v.s. 83886081"},
        {"FILENAME_COUNT", "different number of fileline_filename vector 2 v.s. 3"},
        // Both names come from the first graph.
        {"FILENAME", "fileline differ {f1} v.s. {f1}"},
    };
    UTIL::SYMBOL_TABLE* table = UTIL::symbol_tables().new_table();
    std::unique_ptr<NLG_GRAPH> base(build(table));
    std::ostringstream same;
    EXPECT_TRUE(compare_graphs(*base, *base, same));
    std::unique_ptr<NLG_GRAPH> twin(build(table));
    EXPECT_TRUE(compare_graphs(*base, *twin, same));
    EXPECT_EQ(same.str(), "");
    for (const auto& row : rows) {
        std::unique_ptr<NLG_GRAPH> changed(build(table, row.change));
        std::ostringstream out;
        EXPECT_FALSE(compare_graphs(*base, *changed, out)) << row.line;
        EXPECT_EQ(out.str(), std::string(row.line) + "\n");
    }
}

TEST(NlgInfo, CountsOfTableAndGraph) {
    std::ostringstream bare;
    NLG_INFO(bare).print(*UTIL::symbol_tables().new_table());
    EXPECT_EQ(bare.str(), "num_names = 1\nnum_chars = 9\navg_name_size = 9\nmax_name_size = 9\n");

    // Names: <UNKNOWN> root top leaf a b c i j n m w u0 u1 f0 f1: 16 names, 36 characters.
    std::unique_ptr<NLG_GRAPH> graph(build(UTIL::symbol_tables().new_table()));
    std::ostringstream os;
    NLG_INFO(os).print(*static_cast<NLG_IGRAPH*>(graph.get()));
    EXPECT_EQ(os.str(),
              "GRAPH_INFO:\nnum_names = 16\nnum_chars = 36\navg_name_size = 2\n"
              "max_name_size = 9\nnum modules = 2\nnum ports = 5\nnum instances = 2\n"
              "num nets = 3\n");
}
