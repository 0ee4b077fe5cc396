// Graph files: round trips in both formats (what survives and what does not), the frame
// sequence, cut and over-long streams, and the phase checks of the reader.
#include <gtest/gtest.h>
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>

#include <functional>
#include <map>
#include <memory>
#include <sstream>
#include <string>

#include "graph.pb.h"
#include "nlg/nlg_api_impl.h"
#include "nlg/nlg_graph.h"
#include "nlg/nlg_readwrite.h"
#include "graph_text.h"
#include "nlg_sample_graphs.h"
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

// A fan list of ports by name, "-" for none.
std::string ports_text(const NLG_FAN::PORTS* list) {
    if (!list) return "-";
    std::string text = "[";
    for (const auto* p : *list) text += p->get_name().get_name() + " ";
    return text + "]";
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
        std::string expected = graph_text(*original, true);
        for (auto [from, to] : {std::pair<uint32_t, uint32_t>{(2u << 20) | 10u, 10u},
                                {(1u << 20) | 5u, 5u},
                                {(3u << 20) | 12u, 12u}}) {
            std::string f = " fl " + std::to_string(from) + " ";
            size_t at = expected.find(f);
            ASSERT_NE(at, std::string::npos);
            expected.replace(at, f.size(), " fl " + std::to_string(to) + " ");
        }
        EXPECT_EQ(graph_text(copy, true), expected);
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
    const std::pair<const NLG_IGRAPH_NODE*, NLG_ID> ids[] = {
        {copy.module(2), NLG_ID(NLG_ID::MODULE, 2)},
        {copy.module(1)->port(0), NLG_ID(NLG_ID::PORT, 4)},
        {copy.module(2)->port(1), NLG_ID(NLG_ID::PORT, 9)},
        {copy.module(2)->net(0), NLG_ID(NLG_ID::NET, 4)},
        {copy.module(2)->instance(0), NLG_ID(NLG_ID::INSTANCE, 3)},
        {copy.module(0)->instance(1)->portref(1), NLG_ID(NLG_ID::PORT_REF, 4)},
        {copy.module(2)->instance(0)->portref(0), NLG_ID(NLG_ID::PORT_REF, 6)}};
    for (const auto& [object, id] : ids) EXPECT_EQ(object->get_id().get_value(), id.get_value());
    EXPECT_EQ(copy.module(1)->get_num_references(), 3u);
    EXPECT_TRUE(copy.module(2)->get_unused_nonprimitive());
}

// Fan lists travel as fan-out edges in their order; fan-ins are rebuilt from them, so a fan-in
// with no fan-out behind it is lost.
TEST(NlgReadWrite, FanListsTravelAsFanOuts) {
    std::unique_ptr<NLG_GRAPH> original(make_small_graph());
    NLG_MODULE* top = original->module(0);
    top->instance(0)->portref_of_port(3)->add_fanin_port(top->port(3));
    top->port(3)->add_fanin_port(top->port(2));
    top->port(0)->add_fanout_port(top->port(3));
    top->port(0)->add_fanout_port(top->port(1));
    NLG_GRAPH copy(original->get_symbol_table(), "copy", 0);
    ASSERT_TRUE(read_graph(&copy, write_graph(*original)));
    EXPECT_EQ(copy.module(0)->instance(0)->portref_of_port(3)->get_fanin_ports(), nullptr);
    EXPECT_EQ(ports_text(copy.module(0)->port(3)->get_fanin_ports()), "[a ]");
    EXPECT_EQ(ports_text(copy.module(0)->port(0)->get_fanout_ports()), "[b c d b ]");
    EXPECT_EQ(ports_text(copy.module(0)->port(1)->get_fanin_ports()), "[a a ]");
}

// The file form: one frame per table head, per module definition and per module body; names
// as indexes of the symbol frame, an unconnected pin as net index -1 in its unsigned pattern,
// and only the line of a non-zero file-line.
TEST(NlgReadWrite, FrameSequence) {
    auto frames_of = [](const std::string& bytes) {
        google::protobuf::io::ArrayInputStream array(bytes.data(), static_cast<int>(bytes.size()));
        std::vector<std::string> frames;
        PB::NLG::GRAPH_OBJ object;
        while (UTIL::read_message(&array, &object, UTIL::PB_BIN)) {
            frames.push_back(object.ShortDebugString());
            object.Clear();
        }
        return frames;
    };
    NLG_GRAPH empty(nullptr, "root", 0);
    EXPECT_EQ(
        frames_of(write_graph(empty)),
        std::vector<std::string>({"type: T_SYMBOL_TABLE symbol_table { names: \"<UNKNOWN>\" }",
                                  "type: T_MODULE_DEFS count: 0", "type: T_MODULE_BODIES count: 0",
                                  "type: T_FILENAME_TABLE filename_table { }",
                                  "type: T_TERMINATOR terminator { }"}));
    NLG_GRAPH copy(empty.get_symbol_table(), "copy", 0);
    EXPECT_TRUE(read_graph(&copy, write_graph(empty)));
    EXPECT_EQ(copy.get_num_modules(), 0u);

    std::unique_ptr<NLG_GRAPH> g(make_small_graph());
    std::string bytes = write_graph(*g);
    // Symbol table, defs head, 3 defs, bodies head, 3 bodies, filename table, terminator.
    std::vector<size_t> ends = frame_ends(bytes);
    ASSERT_EQ(ends.size(), 11u);
    EXPECT_EQ(ends.back(), bytes.size());

    PB::NLG::GRAPH message;
    NLG_PB_WRITE pb_write;
    pb_write.set_target(&message, g->get_symbol_table());
    ASSERT_TRUE(NLG_GRAPH_WRITE().write(*g, pb_write));
    const std::string names = "names: \"<UNKNOWN>\" names: \"top\" names: \"a\" names: \"b\"";
    EXPECT_EQ(message.graph_objs(0).symbol_table().ShortDebugString().substr(0, names.size()),
              names);
    EXPECT_EQ(
        message.graph_objs(1).module_defs().ShortDebugString(),
        "module_defs { name { value: 1 } primitive_type: 0 ports { name { value: 2 } direction: "
        "INPUT fileline: 5 } ports { name { value: 3 } direction: OUTPUT } ports { name { value: "
        "4 } direction: INOUT } ports { name { value: 5 } direction: INPUT } fileline: 10 "
        "unused_nonprimitive: false } module_defs { name { value: 6 } primitive_type: 7 ports { "
        "name { value: 7 } direction: INPUT } ports { name { value: 8 } direction: OUTPUT } "
        "ports { name { value: 9 } direction: INOUT } ports { name { value: 10 } direction: "
        "INPUT } unused_nonprimitive: false } module_defs { name { value: 11 } primitive_type: 0 "
        "ports { name { value: 12 } direction: INPUT } ports { name { value: 13 } direction: "
        "OUTPUT } unused_nonprimitive: true }");
    EXPECT_EQ(
        message.graph_objs(2).module_bodies().module_bodies(0).ShortDebugString(),
        "module_index: 0 nets { name { value: 14 } ports: 0 fileline: 7 } nets { name { value: "
        "15 } ports: 1 } nets { name { value: 16 } } nets { name { value: 17 } ports: 2 } "
        "instances { name { value: 18 } module_index: 1 port_to_nets { port_index: 0 net_index: "
        "0 } port_to_nets { port_index: 1 net_index: 2 } port_to_nets { port_index: 3 net_index: "
        "4294967295 } fileline: 12 } instances { name { value: 19 } module_index: 1 port_to_nets "
        "{ port_index: 0 net_index: 2 } port_to_nets { port_index: 1 net_index: 1 } } instances "
        "{ name { value: 20 } module_index: 2 port_to_nets { port_index: 0 net_index: 3 } } "
        "p2p_edges { src_p_index: 0 dst_p_index: 1 } p2p_edges { src_p_index: 0 dst_p_index: 2 } "
        "p2pr_edges { src_p_index: 0 dst_i_index: 0 dst_p_index: 0 } pr2p_edges { src_i_index: 1 "
        "src_p_index: 1 dst_p_index: 1 } pr2pr_edges { src_i_index: 0 src_p_index: 1 "
        "dst_i_index: 1 dst_p_index: 0 }");
}

TEST(NlgReadWrite, CutStreamsReadFalse) {
    std::unique_ptr<NLG_GRAPH> g(make_small_graph());
    // Every frame boundary before the end, and every point inside a frame; text frames too.
    for (uint32_t format : {UTIL::PB_BIN, UTIL::PB_TXT}) {
        std::string bytes = write_graph(*g, format);
        for (size_t cut = 0; cut < bytes.size(); cut += format == UTIL::PB_BIN ? 1 : 7) {
            NLG_GRAPH copy(g->get_symbol_table(), "copy", 0);
            EXPECT_FALSE(read_graph(&copy, bytes.substr(0, cut), format)) << "cut at " << cut;
        }
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
    EXPECT_EQ(graph_text(copy, true), [&] {
        NLG_GRAPH again(g->get_symbol_table(), "again", 0);
        read_graph(&again, bytes);
        return graph_text(again, true);
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

// Plays a script of reader events on a fresh reader: "D2" begins 2 module definitions, "d" adds
// one, "P1"/"p" ports, "B1" bodies, "b0" the body of module 0, "N1" nets, "I0" instances, "E"
// edges, and ")X" ends the section that "X" began.
static void play(NLG_GRAPH& g, const std::string& script) {
    NLG_GRAPH_READ r;
    r.set_graph(&g);
    SYM name = g.get_symbol_table()->add("m");
    NLG_FILELINE none;
    const std::map<std::string, std::function<void(int32_t)>> events = {
        {"D", [&](int32_t n) { r.begin_module_defs(n); }},
        {"d", [&](int32_t) { r.add_module_def(name, 0, &none, false); }},
        {"P", [&](int32_t n) { r.begin_module_ports(n); }},
        {"p", [&](int32_t) { r.add_module_port(name, 0, &none); }},
        {"B", [&](int32_t n) { r.begin_module_bodies(n); }},
        {"b", [&](int32_t n) { r.begin_module_body(n); }},
        {"N", [&](int32_t n) { r.begin_nets(n); }},
        {"I", [&](int32_t n) { r.begin_instances(n); }},
        {"E", [&](int32_t) { r.begin_edges(); }},
        {")P", [&](int32_t) { r.end_module_ports(); }},
        {")D", [&](int32_t) { r.end_module_defs(); }},
        {")N", [&](int32_t) { r.end_nets(); }},
        {")I", [&](int32_t) { r.end_instances(); }},
        {")b", [&](int32_t) { r.end_module_body(); }},
        {")B", [&](int32_t) { r.end_module_bodies(); }}};
    std::istringstream in(script);
    for (std::string step; in >> step;) {
        const size_t key = step[0] == ')' ? 2 : 1;
        events.at(step.substr(0, key))(step.size() > key ? std::stoi(step.substr(key)) : 0);
    }
}

TEST(NlgReadWrite, PhaseChecks) {
    const std::pair<const char*, const char*> cases[] = {
        {"D2 d P1 d", "m_module == NULL"},
        {"D2 d P0 )P )D", "expected 2 modules but only got 1!"},
        {"D1 d P2 p )P", "((int) m_module->get_num_ports()) == m_num_ports"},
        {"D1 d P0 )P )D B2", "((int)m_graph->get_num_modules()) == n_bodies"},
        {"D0 D0 B0 N0", "m_module"},
        {"D1 d P0 )P )D B1 b0 N1 )N", "((int)m_module->get_num_nets()) == m_num_nets"},
        {"D1 d P0 )P )D B1 b0 b0", "m_module == NULL"},
        {"D1 d P0 )P )D B1 b0 N0 )N I0 )I E )b )B D0 B1 B1", "m_num_modules == 0"},
    };
    for (const auto& [script, text] : cases) {
        NLG_GRAPH g(nullptr, "g", 0);
        EXPECT_FATAL(play(g, script), text) << script;
    }
    // A whole script of one empty module reads.
    NLG_GRAPH g(nullptr, "g", 0);
    play(g, "D1 d P0 )P )D B1 b0 N0 )N I0 )I E )b )B");
    EXPECT_EQ(g.get_num_modules(), 1u);
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

    // An edge to an instance port that has no reference.
    PB::NLG::GRAPH message;
    NLG_PB_WRITE pb_write;
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
