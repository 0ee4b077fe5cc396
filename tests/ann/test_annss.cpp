// The annotation store: kinds, bounds from the graph, look-up by id, the file layout, round
// trips with symbols and equality, cut and inconsistent files.
#include <gtest/gtest.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>

#include <cstdint>
#include <memory>
#include <sstream>
#include <string>
#include <tuple>

#include "print_form.h"
#include "ann/annss.h"
#include "nlg/nlg_api_impl.h"
#include "nlg/nlg_graph.h"
#include "nlg_sample_graphs.h"
#include "nlg_builders.h"
#include "symbol_table.pb.h"
#include "util/util_protobuf.h"

using NLG_TEST::sym;
using NS_SYMBOL::SYM;

namespace {

// A graph read from `file` with a symbol table of its own.
std::unique_ptr<NLG_GRAPH> graph_from(const std::string& file) {
    NLG_TESSEL api;
    std::istringstream in(file);
    std::unique_ptr<NLG_GRAPH> g(static_cast<NLG_GRAPH*>(api.create_graph(nullptr)));
    EXPECT_TRUE(api.read_graph(g.get(), in, TESSEL_API::FORMAT_PB_BIN));
    return g;
}

// The small test graph as a file gives it back: ids are running numbers from 0.
std::unique_ptr<NLG_GRAPH> small_graph(std::string* file = nullptr) {
    std::unique_ptr<NLG_GRAPH> built(NLG_TEST::make_small_graph());
    std::stringstream stream;
    EXPECT_TRUE(NLG_TESSEL().write_graph(built.get(), stream, TESSEL_API::FORMAT_PB_BIN));
    if (file) *file = stream.str();
    return graph_from(stream.str());
}

// ICDB records: top is a device with a logical name, port a of top is an RE with a logical
// name, net nb of top goes left, instance u1 has an offset, the graph record has grid bounds.
// FAB records: module leaf has z 3.
void annotate(NLG_GRAPH& g, NLG_ANNSS& annss) {
    annss.add_type(PB::ANNS::ICDB);
    annss.add_type(PB::ANNS::FAB);
    NLG_IMODULE* top = g.get_top_module();
    PB::ICDB::MODULE& m = annss.get_icdb().get_module(*top);
    m.set_level(PB::ICDB::MODULE::DEVICE);
    m.mutable_logical_name()->set_value(sym(g, "dev").get_value());
    m.mutable_logical_impl()->set_value(sym(g, "impl").get_value());
    PB::ICDB::APORT& a = annss.get_icdb().get_port(*top->get_port(0));
    a.set_re_name(PB::MUX_DESCRIPTION::H);
    a.mutable_logical_name()->set_value(sym(g, "a_logical").get_value());
    annss.get_icdb().get_net(*top->get_net(1)).set_direction(PB::ICDB::NET::LEFT);
    annss.get_icdb().get_instance(*top->get_instance(1)).set_pnr_x(4);
    annss.get_icdb().get_graph().set_max_brow(7);
    annss.get_fab().get_module(*g.get_module(1)).set_z(3);
}

std::string write_annss(NLG_ANNSS& annss, uint32_t format = UTIL::PB_BIN) {
    std::ostringstream out;
    EXPECT_TRUE(annss.get_annss()->write(out, format));
    return out.str();
}

bool read_annss(NLG_ANNSS& annss, const std::string& bytes, uint32_t format = UTIL::PB_BIN) {
    std::istringstream in(bytes);
    return annss.get_annss()->read(in, format);
}

}  // namespace

TEST(Annss, KindsAndBounds) {
    std::unique_ptr<NLG_GRAPH> g = small_graph();
    NLG_ANNSS annss(*g);
    for (int type : {0, 1, 2}) EXPECT_FALSE(annss.has_type(type));
    EXPECT_EQ(annss.get_annss()->get_bounds().ShortDebugString(),
              "n_modules: 3 n_instances: 4 n_ports: 10 n_nets: 5");
    EXPECT_FATAL(annss.get_icdb(), "has_type(type)");
    annss.add_type(PB::ANNS::ICDB);
    EXPECT_TRUE(annss.has_type(PB::ANNS::ICDB));
    EXPECT_FALSE(annss.has_type(PB::ANNS::FAB));
    EXPECT_FATAL(annss.add_type(PB::ANNS::ICDB), "!has_type(type)");
    EXPECT_FATAL(annss.get_annss()->get_anns(PB::ANNS::ICDB).get_fab(), "m_type == PB::ANNS::FAB");

    // Records exist at full size at first access, found by the low bits of the id.
    ICDB_ANNS& store = annss.get_annss()->get_icdb();
    EXPECT_EQ(std::make_tuple(store.get_num_modules(), store.get_num_instances(),
                              store.get_num_ports(), store.get_num_nets()),
              std::make_tuple(3u, 4u, 10u, 5u));
    NLG_IPORT* q = g->get_module(2)->get_port(1);
    EXPECT_EQ(&annss.get_icdb().get_port(*q), &store.get_port(9));
    EXPECT_EQ(&annss.get_icdb().get_net(*g->get_module(2)->get_net(0)), &store.get_net(4));
    EXPECT_EQ(&annss.get_icdb().get_instance(*g->get_module(2)->get_instance(0)),
              &store.get_instance(3));
    EXPECT_FALSE(annss.get_icdb().get_port(*q).has_re_name());
    EXPECT_THROW(store.get_port(10), std::out_of_range);
}

TEST(Annss, RoundTripKeepsRecordsAndSymbols) {
    std::string graph_file;
    std::unique_ptr<NLG_GRAPH> g = small_graph(&graph_file);
    NLG_ANNSS annss(*g);
    annotate(*g, annss);
    for (uint32_t format : {UTIL::PB_BIN, UTIL::PB_TXT}) {
        std::string bytes = write_annss(annss, format);
        // The records are whole again after a write.
        EXPECT_EQ(SYM(annss.get_icdb().get_module(*g->get_top_module()).logical_name().value())
                      .get_name(),
                  "dev");

        // Into another graph read from the same file, with a symbol table of its own.
        std::unique_ptr<NLG_GRAPH> other = graph_from(graph_file);
        NLG_ANNSS copy(*other);
        ASSERT_TRUE(read_annss(copy, bytes, format));
        EXPECT_TRUE(copy.has_type(PB::ANNS::ICDB));
        EXPECT_TRUE(copy.has_type(PB::ANNS::FAB));
        // Symbols land in the other graph's table; equality compares the written text, so it
        // covers every record and name.
        SYM logical(copy.get_icdb().get_module(*other->get_top_module()).logical_name().value());
        EXPECT_EQ(logical.get_table_id(), other->get_symbol_table()->get_table_id());
        EXPECT_EQ(logical.get_name(), "dev");
        EXPECT_FALSE(copy.get_icdb().get_port(*other->get_top_module()->get_port(1)).has_re_name());
        EXPECT_TRUE(copy.get_annss()->equals(*annss.get_annss()));
        copy.get_icdb().get_port(*other->get_top_module()->get_port(2)).set_re_index(1);
        EXPECT_FALSE(copy.get_annss()->equals(*annss.get_annss()));
    }
}

TEST(Annss, FileLayout) {
    std::unique_ptr<NLG_GRAPH> g = small_graph();
    NLG_ANNSS annss(*g);
    annotate(*g, annss);
    std::string bytes = write_annss(annss);
    google::protobuf::io::ArrayInputStream in(bytes.data(), static_cast<int>(bytes.size()));
    PB::EXTERNAL_SYMBOLS count;
    ASSERT_TRUE(UTIL::read_message(&in, &count, UTIL::PB_BIN));
    // "<UNKNOWN>", then the names in walk order: module record first.
    ASSERT_EQ(count.n_external_symbols(), 4u);
    std::vector<std::string> names;
    for (uint32_t i = 0; i < count.n_external_symbols(); ++i) {
        PB::EXTERNAL_SYMBOL symbol;
        ASSERT_TRUE(UTIL::read_message(&in, &symbol, UTIL::PB_BIN));
        names.push_back(symbol.name());
    }
    EXPECT_EQ(names, (std::vector<std::string>{"<UNKNOWN>", "dev", "impl", "a_logical"}));
    PB::ANNSS head;
    ASSERT_TRUE(UTIL::read_message(&in, &head, UTIL::PB_BIN));
    EXPECT_FALSE(head.has_symbol_table());
    EXPECT_EQ(head.bounds().n_ports(), 10);
    ASSERT_EQ(head.annotations_size(), 2);
    EXPECT_EQ(head.annotations(0).type(), PB::ANNS::ICDB);
    EXPECT_EQ(head.annotations(1).type(), PB::ANNS::FAB);
    // Modules, instances, ports, nets, graph, for each kind: 2 * (3 + 4 + 10 + 5 + 1) frames.
    PB::ICDB::MODULE top;
    ASSERT_TRUE(UTIL::read_message(&in, &top, UTIL::PB_BIN));
    EXPECT_EQ(top.logical_name().value(), 1u);
    auto frames_left = [](google::protobuf::io::ZeroCopyInputStream& stream) {
        int frames = 0;
        for (PB::ICDB::NET any; UTIL::read_message(&stream, &any, UTIL::PB_BIN);) ++frames;
        return frames;
    };
    EXPECT_EQ(frames_left(in), 45);

    // A graph with no nets writes no net frames: count and one name, the head, one module record
    // and the graph record.
    NLG_GRAPH bare(nullptr, "bare", 0);
    NLG_TEST::add_module(bare, "only", 0, NLG_FILELINE(), false, 0, 0, 0);
    NLG_ANNSS none(bare);
    none.add_type(PB::ANNS::ICDB);
    std::string small = write_annss(none);
    google::protobuf::io::ArrayInputStream in2(small.data(), static_cast<int>(small.size()));
    EXPECT_EQ(frames_left(in2), 5);
}

TEST(Annss, BadFilesReadFalse) {
    std::unique_ptr<NLG_GRAPH> g = small_graph();
    NLG_ANNSS annss(*g);
    annotate(*g, annss);
    std::string bytes = write_annss(annss);
    // Cuts inside the symbol section, inside the head, and among the records.
    std::vector<std::pair<size_t, std::string>> cuts = {
        {0, "FAILED to read ANNSS symbol table\n"},
        {5, "FAILED to read ANNSS symbol table\n"},
        {bytes.size() - 1, "FAILED to read PB::ANNS\n"},
        {bytes.size() - 40, "FAILED to read PB::ANNS\n"},
    };
    for (const auto& cut : cuts) {
        NLG_ANNSS copy(*g);
        EXPECT_EQ(stdout_of([&] { EXPECT_FALSE(read_annss(copy, bytes.substr(0, cut.first))); }),
                  cut.second)
            << cut.first;
    }

    // A kind of type 0 in the head.
    ANNSS undefined;
    undefined.get_symbol_file().set_internal(g->get_symbol_table());
    undefined.add_type(PB::ANNS::UNDEFINED);
    std::ostringstream out0;
    PB::ANNSS::BOUNDS bounds;
    undefined.get_symbol_file().message_internal_to_external(&bounds);
    ASSERT_TRUE(undefined.write(out0, UTIL::PB_BIN));
    ANNSS reader0;
    std::istringstream in0(out0.str());
    EXPECT_EQ(stdout_of([&] { EXPECT_FALSE(reader0.read(in0, UTIL::PB_BIN)); }),
              "FAILED to read PB::ANNS\n");
}

// Bounds are read before any record, and the stores are sized to them: bounds that call for
// more record frames than the file has bytes left fail the read instead of sizing the stores.
TEST(Annss, CorruptBoundsDoNotSizeStoresBeyondFile) {
    for (uint32_t format : {UTIL::PB_BIN, UTIL::PB_TXT}) {
        for (int32_t n_ports : {3, 4, INT32_MAX}) {
            std::ostringstream out;
            // An empty symbol section: the count 0 and no names.
            ASSERT_TRUE(UTIL::write_message(PB::EXTERNAL_SYMBOLS(), out, format));
            PB::ANNSS head;
            merge_text(head, "bounds { n_ports: " + std::to_string(n_ports) +
                                 " } annotations { type: FAB }");
            ASSERT_TRUE(UTIL::write_message(head, out, format));
            // Three port frames and the graph frame, each an empty record of one byte.
            std::istringstream in(out.str() + std::string(4, '\0'));
            ANNSS reader;
            EXPECT_EQ(stdout_of([&] { EXPECT_EQ(reader.read(in, format), n_ports == 3); }),
                      n_ports == 3 ? "" : "FAILED to read PB::ANNS\n")
                << n_ports;
        }
    }
}

// A file cut among its records under bounds that fit its size: the records before the cut are
// read and the rest, past the end of the input, stay default.
TEST(Annss, CutAmongRecordsKeepsThoseBeforeTheCut) {
    for (uint32_t format : {UTIL::PB_BIN, UTIL::PB_TXT}) {
        std::ostringstream out;
        ASSERT_TRUE(UTIL::write_message(PB::EXTERNAL_SYMBOLS(), out, format));
        PB::ANNSS head;
        merge_text(head, "bounds { n_ports: 400 } annotations { type: ICDB }");
        ASSERT_TRUE(UTIL::write_message(head, out, format));
        PB::ICDB::APORT port;
        port.set_re_name(PB::MUX_DESCRIPTION::H);
        for (int i = 0; i < 200; ++i) ASSERT_TRUE(UTIL::write_message(port, out, format));
        std::istringstream in(out.str());
        ANNSS reader;
        EXPECT_EQ(stdout_of([&] { EXPECT_FALSE(reader.read(in, format)); }),
                  "FAILED to read PB::ANNS\n");
        EXPECT_TRUE(reader.get_icdb().get_port(199).has_re_name()) << format;
        EXPECT_FALSE(reader.get_icdb().get_port(200).has_re_name()) << format;
        EXPECT_FALSE(reader.get_icdb().get_port(399).has_re_name()) << format;
    }
}
