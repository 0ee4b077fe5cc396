// Graph files: round trips in both formats (what survives and what does not), the frame
// sequence, cut and over-long streams, the event order, and the phase checks of the reader.
#include <gtest/gtest.h>
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>

#include <memory>
#include <sstream>
#include <string>

#include "graph.pb.h"
#include "nlg/nlg_api_impl.h"
#include "nlg/nlg_graph.h"
#include "nlg/nlg_readwrite.h"
#include "nlg_test_graph.h"
#include "symbol_table.pb.h"
#include "util/util_protobuf.h"

using namespace NLG_TEST;
using NS_SYMBOL::SYM;

namespace {

std::string write_graph(const NLG_IGRAPH& g, uint32_t format = UTIL::PB_BIN) {
    std::ostringstream out;
    EXPECT_TRUE(nlg_graph_readwrite().write(g, out, format));
    return out.str();
}

bool read_graph(NLG_GRAPH* g, const std::string& bytes, uint32_t format = UTIL::PB_BIN) {
    std::istringstream in(bytes);
    return nlg_graph_readwrite().read(g, in, format);
}

std::string ref_name(const NLG_PORT_REF* r) {
    return r->get_instance()->get_name().get_name() + "." + r->get_port()->get_name().get_name();
}

template <class LIST>
std::string ports_text(const LIST* list) {
    if (!list) return "-";
    std::string text = "[";
    for (const NLG_PORT* p : *list) text += p->get_name().get_name() + " ";
    return text + "]";
}

template <class LIST>
std::string refs_text(const LIST* list) {
    if (!list) return "-";
    std::string text = "[";
    for (const NLG_PORT_REF* r : *list) text += ref_name(r) + " ";
    return text + "]";
}

template <class T>
std::string fans(const T* object) {
    return " out " + ports_text(object->get_fanout_ports()) + refs_text(object->get_fanout_refs()) +
           " in " + ports_text(object->get_fanin_ports()) + refs_text(object->get_fanin_refs());
}

// A canonical text of a graph: every object, its connections, fan lists and file-line value.
std::string describe(const NLG_GRAPH& g) {
    std::ostringstream os;
    for (const SYM& f : g.get_filenames()) os << "file " << f.get_name() << "\n";
    for (uint32_t m = 0; m < g.get_num_modules(); ++m) {
        const NLG_MODULE* module = g.module(static_cast<int32_t>(m));
        os << "module " << module->get_name().get_name() << " prim " << module->get_primitive_type()
           << " unused " << module->get_unused_nonprimitive() << " fl "
           << static_cast<const NLG_FILELINE*>(module->get_fileline())->get_value() << " \n";
        for (uint32_t i = 0; i < module->get_num_ports(); ++i) {
            const NLG_PORT* p = module->port(static_cast<int32_t>(i));
            os << " port " << p->get_name().get_name() << " dir " << p->get_direction() << " net "
               << p->get_net_index() << " fl "
               << static_cast<const NLG_FILELINE*>(p->get_fileline())->get_value() << " " << fans(p)
               << "\n";
        }
        for (uint32_t i = 0; i < module->get_num_nets(); ++i) {
            const NLG_NET* n = module->net(static_cast<int32_t>(i));
            os << " net " << n->get_name().get_name() << " fl "
               << static_cast<const NLG_FILELINE*>(n->get_fileline())->get_value() << " ports";
            for (uint32_t k = 0; k < n->get_num_ports(); ++k)
                os << " " << n->get_port(static_cast<int32_t>(k))->get_name().get_name();
            os << " refs";
            for (uint32_t k = 0; k < n->get_num_portrefs(); ++k)
                os << " "
                   << ref_name(static_cast<NLG_PORT_REF*>(n->get_portref(static_cast<int32_t>(k))));
            os << "\n";
        }
        for (uint32_t i = 0; i < module->get_num_instances(); ++i) {
            const NLG_INSTANCE* inst = module->instance(static_cast<int32_t>(i));
            os << " inst " << inst->get_name().get_name() << " of "
               << inst->get_module()->get_name().get_name() << " fl "
               << static_cast<const NLG_FILELINE*>(inst->get_fileline())->get_value() << " \n";
            for (uint32_t k = 0; k < inst->get_num_portrefs(); ++k) {
                const NLG_PORT_REF* r = inst->portref(static_cast<int32_t>(k));
                os << "  ref " << r->get_port()->get_name().get_name() << " net "
                   << (r->get_net() ? r->get_net()->get_name().get_name() : "none") << fans(r)
                   << "\n";
            }
        }
    }
    return os.str();
}

// Offsets at which the frames of a binary stream end.
std::vector<size_t> frame_ends(const std::string& bytes) {
    google::protobuf::io::ArrayInputStream array(bytes.data(), static_cast<int>(bytes.size()));
    google::protobuf::io::CodedInputStream coded(&array);
    std::vector<size_t> ends;
    uint32_t length = 0;
    while (coded.ReadVarint32(&length)) {
        EXPECT_TRUE(coded.Skip(static_cast<int>(length)));
        ends.push_back(static_cast<size_t>(coded.CurrentPosition()));
    }
    return ends;
}

}  // namespace

TEST(NlgReadWrite, RoundTripKeepsStructureAndLinesOnly) {
    std::unique_ptr<NLG_GRAPH> original(make_small_graph());
    for (uint32_t format : {UTIL::PB_BIN, UTIL::PB_TXT}) {
        std::string bytes = write_graph(*original, format);
        NLG_GRAPH copy(original->get_symbol_table(), "copy", 0);
        ASSERT_TRUE(read_graph(&copy, bytes, format));

        // Only the line of a file-line travels: top (2, 10), a (1, 5), na (0, 7), u0 (3, 12)
        // come back as lines 10, 5, 7 and 12 of file 0.
        std::string expected = describe(*original);
        for (auto [from, to] : {std::pair<uint32_t, uint32_t>{(2u << 20) | 10u, 10u},
                                {(1u << 20) | 5u, 5u},
                                {(3u << 20) | 12u, 12u}}) {
            std::string f = " fl " + std::to_string(from) + " ";
            size_t at = expected.find(f);
            ASSERT_NE(at, std::string::npos);
            expected.replace(at, f.size(), " fl " + std::to_string(to) + " ");
        }
        EXPECT_EQ(describe(copy), expected);
        EXPECT_EQ(
            static_cast<const NLG_FILELINE*>(copy.module(0)->port(0)->get_fileline())->get_value(),
            5u);
        EXPECT_EQ(copy.get_filenames().size(), 4u);
        EXPECT_EQ(copy.module(0)->get_fileline()->get_file(copy).get_name(), "f0");
    }
}

TEST(NlgReadWrite, ReaderNumbersObjectsInFileOrder) {
    std::unique_ptr<NLG_GRAPH> original(make_small_graph());
    NLG_GRAPH copy(original->get_symbol_table(), "copy", 0);
    ASSERT_TRUE(read_graph(&copy, write_graph(*original)));
    EXPECT_EQ(copy.module(2)->get_id().get_value(), NLG_ID(NLG_ID::MODULE, 2).get_value());
    EXPECT_EQ(copy.module(1)->port(0)->get_id().get_value(), NLG_ID(NLG_ID::PORT, 4).get_value());
    EXPECT_EQ(copy.module(2)->port(1)->get_id().get_value(), NLG_ID(NLG_ID::PORT, 9).get_value());
    EXPECT_EQ(copy.module(2)->net(0)->get_id().get_value(), NLG_ID(NLG_ID::NET, 4).get_value());
    EXPECT_EQ(copy.module(2)->instance(0)->get_id().get_value(),
              NLG_ID(NLG_ID::INSTANCE, 3).get_value());
    EXPECT_EQ(copy.module(0)->instance(1)->portref(1)->get_id().get_value(),
              NLG_ID(NLG_ID::PORT_REF, 4).get_value());
    EXPECT_EQ(copy.module(2)->instance(0)->portref(0)->get_id().get_value(),
              NLG_ID(NLG_ID::PORT_REF, 6).get_value());
    EXPECT_EQ(copy.module(1)->get_num_references(), 3u);
    EXPECT_TRUE(copy.module(2)->get_unused_nonprimitive());
}

TEST(NlgReadWrite, OneSidedFanInsDoNotTravel) {
    std::unique_ptr<NLG_GRAPH> original(make_small_graph());
    NLG_MODULE* top = original->module(0);
    // A fan-in of a reference and a fan-in port of a port with no fan-out behind them.
    top->instance(0)->portref_of_port(3)->add_fanin_port(top->port(3));
    top->port(3)->add_fanin_port(top->port(2));
    NLG_GRAPH copy(original->get_symbol_table(), "copy", 0);
    ASSERT_TRUE(read_graph(&copy, write_graph(*original)));
    EXPECT_EQ(copy.module(0)->instance(0)->portref_of_port(3)->get_fanin_ports(), nullptr);
    EXPECT_EQ(copy.module(0)->port(3)->get_fanin_ports(), nullptr);
    // The fan-in port list of b was never written, and is rebuilt from a's fan-out.
    ASSERT_NE(copy.module(0)->port(1)->get_fanin_ports(), nullptr);
    EXPECT_EQ((*copy.module(0)->port(1)->get_fanin_ports())[0], copy.module(0)->port(0));
}

TEST(NlgReadWrite, EdgeOrderSurvives) {
    std::unique_ptr<NLG_GRAPH> original(make_small_graph());
    NLG_MODULE* top = original->module(0);
    top->port(0)->add_fanout_port(top->port(3));
    top->port(0)->add_fanout_port(top->port(1));
    NLG_GRAPH copy(original->get_symbol_table(), "copy", 0);
    ASSERT_TRUE(read_graph(&copy, write_graph(*original)));
    const NLG_FAN::PORTS* out = copy.module(0)->port(0)->get_fanout_ports();
    ASSERT_NE(out, nullptr);
    std::string names;
    for (NLG_PORT* p : *out) names += p->get_name().get_name();
    EXPECT_EQ(names, "bcdb");
}

TEST(NlgReadWrite, MessageCarriesNamesAsFileIndexes) {
    std::unique_ptr<NLG_GRAPH> g(make_small_graph());
    PB::NLG::GRAPH message;
    NLG_PB_WRITE pb_write;
    pb_write.set_target(&message, g->get_symbol_table());
    NLG_GRAPH_WRITE graph_write;
    ASSERT_TRUE(graph_write.write(*g, pb_write));
    ASSERT_EQ(message.graph_objs_size(), 5);
    EXPECT_EQ(message.graph_objs(0).type(), PB::NLG::GRAPH_OBJ::T_SYMBOL_TABLE);
    EXPECT_EQ(message.graph_objs(1).type(), PB::NLG::GRAPH_OBJ::T_MODULE_DEFS);
    EXPECT_EQ(message.graph_objs(2).type(), PB::NLG::GRAPH_OBJ::T_MODULE_BODIES);
    EXPECT_EQ(message.graph_objs(3).type(), PB::NLG::GRAPH_OBJ::T_FILENAME_TABLE);
    EXPECT_EQ(message.graph_objs(4).type(), PB::NLG::GRAPH_OBJ::T_TERMINATOR);
    const PB::SYMBOL_TABLE& names = message.graph_objs(0).symbol_table();
    ASSERT_GE(names.names_size(), 3);
    EXPECT_EQ(names.names(0), "<UNKNOWN>");
    EXPECT_EQ(names.names(1), "top");
    EXPECT_EQ(names.names(2), "a");
    EXPECT_EQ(message.graph_objs(1).module_defs().module_defs(0).name().value(), 1u);

    // Unconnected instance port y of u0: net index -1 as its unsigned pattern.
    const PB::NLG::INSTANCE& u0 =
        message.graph_objs(2).module_bodies().module_bodies(0).instances(0);
    ASSERT_EQ(u0.port_to_nets_size(), 3);
    EXPECT_EQ(u0.port_to_nets(2).port_index(), 3u);
    EXPECT_EQ(u0.port_to_nets(2).net_index(), 4294967295u);
    // File-lines: only the line, and only when non-zero.
    const PB::NLG::MODULE_DEF& top = message.graph_objs(1).module_defs().module_defs(0);
    EXPECT_EQ(top.fileline(), 10u);
    EXPECT_FALSE(message.graph_objs(1).module_defs().module_defs(1).has_fileline());
    EXPECT_TRUE(message.graph_objs(1).module_defs().module_defs(1).has_unused_nonprimitive());
    EXPECT_EQ(top.ports(0).fileline(), 5u);
    EXPECT_FALSE(top.ports(1).has_fileline());
}

TEST(NlgReadWrite, EmptyGraphFrameSequence) {
    NLG_GRAPH empty(nullptr, "root", 0);
    std::string bytes = write_graph(empty);
    google::protobuf::io::ArrayInputStream array(bytes.data(), static_cast<int>(bytes.size()));
    std::vector<PB::NLG::GRAPH_OBJ> frames;
    for (;;) {
        PB::NLG::GRAPH_OBJ object;
        if (!UTIL::read_message(&array, &object, UTIL::PB_BIN)) break;
        frames.push_back(object);
    }
    ASSERT_EQ(frames.size(), 5u);
    EXPECT_EQ(frames[0].type(), PB::NLG::GRAPH_OBJ::T_SYMBOL_TABLE);
    ASSERT_TRUE(frames[0].has_symbol_table());
    ASSERT_EQ(frames[0].symbol_table().names_size(), 1);
    EXPECT_EQ(frames[0].symbol_table().names(0), "<UNKNOWN>");
    EXPECT_EQ(frames[1].type(), PB::NLG::GRAPH_OBJ::T_MODULE_DEFS);
    EXPECT_TRUE(frames[1].has_count());
    EXPECT_EQ(frames[1].count(), 0u);
    EXPECT_FALSE(frames[1].has_module_defs());
    EXPECT_EQ(frames[2].type(), PB::NLG::GRAPH_OBJ::T_MODULE_BODIES);
    EXPECT_EQ(frames[2].count(), 0u);
    EXPECT_FALSE(frames[2].has_module_bodies());
    EXPECT_EQ(frames[3].type(), PB::NLG::GRAPH_OBJ::T_FILENAME_TABLE);
    EXPECT_TRUE(frames[3].has_filename_table());
    EXPECT_EQ(frames[4].type(), PB::NLG::GRAPH_OBJ::T_TERMINATOR);
    EXPECT_TRUE(frames[4].has_terminator());

    NLG_GRAPH copy(empty.get_symbol_table(), "copy", 0);
    EXPECT_TRUE(read_graph(&copy, bytes));
    EXPECT_EQ(copy.get_num_modules(), 0u);
}

TEST(NlgReadWrite, OneFramePerModule) {
    std::unique_ptr<NLG_GRAPH> g(make_small_graph());
    std::string bytes = write_graph(*g);
    // Symbol table, defs head, 3 defs, bodies head, 3 bodies, filename table, terminator.
    std::vector<size_t> ends = frame_ends(bytes);
    ASSERT_EQ(ends.size(), 11u);
    EXPECT_EQ(ends.back(), bytes.size());
    google::protobuf::io::ArrayInputStream array(bytes.data(), static_cast<int>(bytes.size()));
    PB::NLG::GRAPH_OBJ object;
    ASSERT_TRUE(UTIL::read_message(&array, &object, UTIL::PB_BIN));
    object.Clear();
    ASSERT_TRUE(UTIL::read_message(&array, &object, UTIL::PB_BIN));
    EXPECT_EQ(object.type(), PB::NLG::GRAPH_OBJ::T_MODULE_DEFS);
    EXPECT_EQ(object.count(), 3u);
    PB::NLG::MODULE_DEF def;
    ASSERT_TRUE(UTIL::read_message(&array, &def, UTIL::PB_BIN));
    EXPECT_EQ(def.ports_size(), 4);
}

TEST(NlgReadWrite, CutStreamsReadFalse) {
    std::unique_ptr<NLG_GRAPH> g(make_small_graph());
    std::string bytes = write_graph(*g);
    std::vector<size_t> ends = frame_ends(bytes);
    // Every frame boundary before the end, and every point inside a frame.
    for (size_t cut = 0; cut < bytes.size(); ++cut) {
        NLG_GRAPH copy(g->get_symbol_table(), "copy", 0);
        EXPECT_FALSE(read_graph(&copy, bytes.substr(0, cut))) << "cut at " << cut;
    }
    for (size_t end : ends) {
        if (end == bytes.size()) continue;
        NLG_GRAPH copy(g->get_symbol_table(), "copy", 0);
        EXPECT_FALSE(read_graph(&copy, bytes.substr(0, end))) << "cut at frame end " << end;
    }
    // Text frames too.
    std::string text = write_graph(*g, UTIL::PB_TXT);
    for (size_t cut = 0; cut < text.size(); cut += 7) {
        NLG_GRAPH copy(g->get_symbol_table(), "copy", 0);
        EXPECT_FALSE(read_graph(&copy, text.substr(0, cut), UTIL::PB_TXT)) << "cut at " << cut;
    }
}

TEST(NlgReadWrite, ReadingStopsAtTheTerminator) {
    std::unique_ptr<NLG_GRAPH> g(make_small_graph());
    std::string bytes = write_graph(*g);
    NLG_GRAPH other(g->get_symbol_table(), "other", 0);
    add_module(other, "lonely", 0, NLG_FILELINE(), false, 0, 0, 0);
    std::string tail = write_graph(other) + std::string("\x05garbage", 8);
    NLG_GRAPH copy(g->get_symbol_table(), "copy", 0);
    ASSERT_TRUE(read_graph(&copy, bytes + tail));
    EXPECT_EQ(copy.get_num_modules(), 3u);
    EXPECT_EQ(describe(copy), [&] {
        NLG_GRAPH again(g->get_symbol_table(), "again", 0);
        read_graph(&again, bytes);
        return describe(again);
    }());
}

TEST(NlgReadWrite, MessageWithoutTerminatorStops) {
    PB::NLG::GRAPH message;
    message.add_graph_objs()->set_type(PB::NLG::GRAPH_OBJ::T_SYMBOL_TABLE);
    std::ostringstream out;
    const char* text =
        "graph.graph_objs(graph.graph_objs_size() - 1).type() == PB::NLG::GRAPH_OBJ::T_TERMINATOR";
    EXPECT_FATAL(NLG_STREAM_RW().write(message, out, UTIL::PB_BIN), text);
    EXPECT_FATAL(NLG_STREAM_RW().write(PB::NLG::GRAPH(), out, UTIL::PB_BIN), text);

    // In memory a message with no terminator reads false.
    NLG_GRAPH g(nullptr, "g", 0);
    NLG_GRAPH_READ graph_read;
    graph_read.set_graph(&g);
    message.mutable_graph_objs(0)->mutable_symbol_table()->add_names("<UNKNOWN>");
    EXPECT_FALSE(NLG_PB_READ().read(message, g.get_symbol_table(), &graph_read));
}

// Records the events that reach it, one letter group per event.
class RECORDING_SINK : public NLG_RTL_ISERIALIZER {
  public:
    std::string m_log;
    SYM intern(const std::string&) override { return SYM(); }
    void begin_graph() override { m_log += "G("; }
    void end_graph() override { m_log += ")G"; }
    void begin_module_defs(int32_t n) override { m_log += "D" + std::to_string(n) + "("; }
    void add_module_def(SYM, uint32_t, const NLG_IFILELINE*, bool) override { m_log += "d"; }
    void begin_module_ports(int32_t n) override { m_log += "P" + std::to_string(n) + "("; }
    void add_module_port(SYM, uint32_t, const NLG_IFILELINE*) override { m_log += "p"; }
    void end_module_ports() override { m_log += ")"; }
    void end_module_defs() override { m_log += ")"; }
    void begin_module_bodies(int32_t n) override { m_log += "B" + std::to_string(n) + "("; }
    void begin_module_body(int32_t i) override { m_log += "b" + std::to_string(i) + "("; }
    void begin_nets(int32_t n) override { m_log += "N" + std::to_string(n) + "("; }
    void add_net(SYM, std::vector<int32_t>&&, const NLG_IFILELINE*) override { m_log += "n"; }
    void end_nets() override { m_log += ")"; }
    void begin_instances(int32_t n) override { m_log += "I" + std::to_string(n) + "("; }
    void add_instance(SYM, int32_t, std::vector<NLG_PORT_TO_NET>&&, const NLG_IFILELINE*) override {
        m_log += "i";
    }
    void end_instances() override { m_log += ")"; }
    void begin_edges() override { m_log += "E"; }
    void add_p2p_edge(uint32_t, uint32_t) override { m_log += "1"; }
    void add_p2pr_edge(uint32_t, uint32_t, uint32_t) override { m_log += "2"; }
    void add_pr2p_edge(uint32_t, uint32_t, uint32_t) override { m_log += "3"; }
    void add_pr2pr_edge(uint32_t, uint32_t, uint32_t, uint32_t) override { m_log += "4"; }
    void end_module_body() override { m_log += ")"; }
    void end_module_bodies() override { m_log += ")"; }
    void add_filename_table(const std::vector<SYM>& f) override {
        m_log += "F" + std::to_string(f.size());
    }
};

TEST(NlgReadWrite, EventOrder) {
    std::unique_ptr<NLG_GRAPH> g(make_small_graph());
    RECORDING_SINK written;
    ASSERT_TRUE(NLG_GRAPH_WRITE().write(*g, written));
    // Modules without nets or instances still open and close both sections.
    const char* expected =
        "G(D3(dP4(pppp)dP4(pppp)dP2(pp))B3(b0(N4(nnnn)I3(iii)E11234)b1(N0()I0()E)"
        "b2(N1(n)I1(i)E))F4)G";
    EXPECT_EQ(written.m_log, expected);

    // The message reader sends the same events.
    PB::NLG::GRAPH message;
    NLG_PB_WRITE pb_write;
    pb_write.set_target(&message, g->get_symbol_table());
    ASSERT_TRUE(NLG_GRAPH_WRITE().write(*g, pb_write));
    RECORDING_SINK read;
    ASSERT_TRUE(NLG_PB_READ().read(message, g->get_symbol_table(), &read));
    EXPECT_EQ(read.m_log, expected);
}

TEST(NlgReadWrite, PhaseChecks) {
    NLG_GRAPH g(nullptr, "g", 0);
    SYM name = g.get_symbol_table()->add("m");
    NLG_FILELINE none;
    auto reader = [&] {
        auto r = std::make_unique<NLG_GRAPH_READ>();
        r->set_graph(&g);
        return r;
    };
    EXPECT_FATAL(
        {
            auto r = reader();
            r->begin_module_defs(2);
            r->add_module_def(name, 0, &none, false);
            r->begin_module_ports(1);
            r->add_module_def(name, 0, &none, false);
        },
        "m_module == NULL");
    EXPECT_FATAL(
        {
            auto r = reader();
            r->begin_module_defs(2);
            r->add_module_def(name, 0, &none, false);
            r->begin_module_ports(0);
            r->end_module_ports();
            r->end_module_defs();
        },
        "expected 2 modules but only got 1!");
    EXPECT_FATAL(
        {
            auto r = reader();
            r->begin_module_defs(1);
            r->add_module_def(name, 0, &none, false);
            r->begin_module_ports(2);
            r->add_module_port(name, 0, &none);
            r->end_module_ports();
        },
        "((int) m_module->get_num_ports()) == m_num_ports");
    EXPECT_FATAL(
        {
            auto r = reader();
            r->begin_module_defs(1);
            r->add_module_def(name, 0, &none, false);
            r->begin_module_ports(0);
            r->end_module_ports();
            r->end_module_defs();
            r->begin_module_bodies(2);
        },
        "((int)m_graph->get_num_modules()) == n_bodies");
    EXPECT_FATAL(
        {
            auto r = reader();
            r->begin_module_defs(0);
            r->begin_module_defs(0);
            r->begin_module_bodies(0);
            r->begin_nets(0);
        },
        "m_module");
    EXPECT_FATAL(
        {
            auto r = reader();
            r->begin_module_defs(1);
            r->add_module_def(name, 0, &none, false);
            r->begin_module_ports(0);
            r->end_module_ports();
            r->end_module_defs();
            r->begin_module_bodies(1);
            r->begin_module_body(0);
            r->begin_nets(1);
            r->end_nets();
        },
        "((int)m_module->get_num_nets()) == m_num_nets");
    EXPECT_FATAL(
        {
            auto r = reader();
            r->begin_module_defs(1);
            r->add_module_def(name, 0, &none, false);
            r->begin_module_ports(0);
            r->end_module_ports();
            r->end_module_defs();
            r->begin_module_bodies(1);
            r->begin_module_body(0);
            r->begin_module_body(0);
        },
        "m_module == NULL");
    EXPECT_FATAL(
        {
            auto r = reader();
            r->begin_module_defs(1);
            r->add_module_def(name, 0, &none, false);
            r->begin_module_ports(0);
            r->end_module_ports();
            r->end_module_defs();
            r->begin_module_bodies(1);
            r->begin_module_body(0);
            r->begin_nets(0);
            r->end_nets();
            r->begin_instances(0);
            r->end_instances();
            r->begin_edges();
            r->end_module_body();
            r->end_module_bodies();
            r->begin_module_defs(0);
            r->begin_module_bodies(1);
            r->begin_module_bodies(1);
        },
        "m_num_modules == 0");
}

TEST(NlgReadWrite, SectionsOutOfOrderInAFile) {
    std::unique_ptr<NLG_GRAPH> g(make_small_graph());
    std::string bytes = write_graph(*g);
    std::vector<size_t> ends = frame_ends(bytes);
    // Symbol table, then the bodies section before the defs section.
    std::string swapped = bytes.substr(0, ends[0]) + bytes.substr(ends[4], ends[8] - ends[4]) +
                          bytes.substr(ends[0], ends[4] - ends[0]) + bytes.substr(ends[8]);
    NLG_GRAPH copy(g->get_symbol_table(), "copy", 0);
    EXPECT_FATAL(read_graph(&copy, swapped), "((int)m_graph->get_num_modules()) == n_bodies");

    // A defs section of two modules whose bodies section has three.
    PB::NLG::GRAPH message;
    NLG_PB_WRITE pb_write;
    pb_write.set_target(&message, g->get_symbol_table());
    ASSERT_TRUE(NLG_GRAPH_WRITE().write(*g, pb_write));
    message.mutable_graph_objs(1)->mutable_module_defs()->mutable_module_defs()->RemoveLast();
    std::ostringstream out;
    ASSERT_TRUE(NLG_STREAM_RW().write(message, out, UTIL::PB_BIN));
    NLG_GRAPH short_defs(g->get_symbol_table(), "short", 0);
    EXPECT_FATAL(read_graph(&short_defs, out.str()),
                 "((int)m_graph->get_num_modules()) == n_bodies");

    // An edge to an instance port that has no reference.
    message.Clear();
    pb_write.set_target(&message, g->get_symbol_table());
    ASSERT_TRUE(NLG_GRAPH_WRITE().write(*g, pb_write));
    PB::NLG::P2PR_EDGE* edge = message.mutable_graph_objs(2)
                                   ->mutable_module_bodies()
                                   ->mutable_module_bodies(0)
                                   ->add_p2pr_edges();
    edge->set_src_p_index(0);
    edge->set_dst_i_index(0);
    edge->set_dst_p_index(2);
    std::ostringstream out2;
    ASSERT_TRUE(NLG_STREAM_RW().write(message, out2, UTIL::PB_BIN));
    NLG_GRAPH bad_edge(g->get_symbol_table(), "bad", 0);
    EXPECT_FATAL(read_graph(&bad_edge, out2.str()), "dst_pr");
}

TEST(NlgReadWrite, WriterChecksItsOwnInput) {
    NLG_PB_WRITE pb_write;
    PB::NLG::GRAPH message;
    NLG_GRAPH g(nullptr, "g", 0);
    pb_write.set_target(&message, g.get_symbol_table());
    NLG_FILELINE none;
    EXPECT_FATAL(pb_write.add_module_port(SYM(), 0, &none), "m_module_def != NULL");
    EXPECT_FATAL(pb_write.add_net(SYM(), {}, &none), "m_module_body != NULL");
    EXPECT_FATAL(pb_write.add_instance(SYM(), 0, {}, &none), "m_module_body != NULL");
    pb_write.begin_graph();
    pb_write.begin_module_defs(1);
    pb_write.add_module_def(SYM(), 0, &none, false);
    EXPECT_FATAL(pb_write.add_module_port(SYM(), 3, &none), "Unknown Port direction");
    pb_write.end_module_defs();
    pb_write.begin_module_bodies(2);
    pb_write.begin_module_body(0);
    EXPECT_FATAL(pb_write.end_module_bodies(), "m_n_bodies == 0");
}

TEST(NlgTessel, VersionFormatsAndGraphs) {
    NLG_TESSEL api;
    EXPECT_STREQ(api.get_version(), "Tessel_api_impl/1.0");
    std::unique_ptr<NLG_IGRAPH> g(api.create_graph(nullptr));
    EXPECT_EQ(g->get_name().get_name(), "root");
    EXPECT_EQ(g->get_num_modules(), 0u);
    EXPECT_EQ(api.get_symbol_table(g.get()), g->get_symbol_table());

    std::unique_ptr<NLG_GRAPH> small(make_small_graph());
    for (int format : {TESSEL_API::FORMAT_PB_BIN, TESSEL_API::FORMAT_PB_TXT}) {
        std::stringstream stream;
        EXPECT_TRUE(api.write_graph(small.get(), stream, format));
        std::unique_ptr<NLG_IGRAPH> copy(api.create_graph(small->get_symbol_table()));
        EXPECT_TRUE(api.read_graph(copy.get(), stream, format));
        EXPECT_EQ(copy->get_num_modules(), 3u);
    }
    std::stringstream stream;
    EXPECT_FATAL(api.write_graph(small.get(), stream, TESSEL_API::FORMAT_BIN),
                 "FORMAT_BIN not supported");
    EXPECT_FATAL(api.read_graph(g.get(), stream, 3), "Unknown format");
    std::istringstream cut("\x05");
    EXPECT_FALSE(api.read_graph(g.get(), cut, TESSEL_API::FORMAT_PB_BIN));
}
