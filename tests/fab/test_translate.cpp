// The translation database on a small database built in memory: every query before a write
// and after a read into a fresh object, print forms, cuts at every section boundary and inside
// every section, and the failure texts of the build path and the queries.
#include <gtest/gtest.h>

#include <google/protobuf/io/zero_copy_stream_impl.h>

#include <functional>
#include <sstream>

#include "nlg_builders.h"
#include "print_form.h"
#include "translate_fixture.h"
#include "util/util_hierarchy_serializable.h"
#include "symbol_section.h"

using TEST_TRANSLATE::SMALL_DB;

namespace {

std::string name(NS_SYMBOL::SYM symbol) {
    return symbol.is_known() ? symbol.get_name() : "<UNKNOWN>";
}

// Every answer of the database on the fixture's places, one per line.
std::string answers(const SMALL_DB& db, FAB::TRANSLATE& t) {
    std::ostringstream out;
    for (const char* place :
         {"s0/b0:in0", "s0/b0:in1", "s0/b0/m0:y", "s0/b1:in0", "s0/b1:in1", "s0/b1/m0:y", ":w"}) {
        const UTIL::GID64 gid(t.get_nodemap()->get_gid(db.node(place)));
        out << place << " " << gid << " driver " << t.get_node_from_gid(gid) << " mux_type "
            << t.get_mux_type(gid) << " class " << t.get_node_class(gid) << "\n";
    }
    for (const char* port :
         {"s0/b0/m0:a", "s0/b0/m0:b", "s0/b0/m0:c", "s0/b0/m0:y", "s0/b0:in0", "s0:p", "s0/b0"}) {
        out << "map " << port << " " << t.map_specific_mux_port_to_gid(db.node(port)) << "\n";
    }
    std::unique_ptr<FAB::ITRANSLATE::IGENERIC_PORT> port(t.create_generic_port());
    NS_SYMBOL::SYM port_name, module_name;
    const bool found = t.get_generic_port(*port, db.node("s0/b1:o"));
    port->get_port_name(port_name);
    port->get_module_name(module_name);
    out << "generic " << found << " " << name(module_name) << ":" << name(port_name) << " "
        << port->get_direction() << " not a port " << t.get_generic_port(*port, db.node("s0"))
        << "\n";
    out << "types " << t.get_gid_types()->get_n_gid_types() << " H is "
        << name(t.get_mux_type_symbol(PB::MUX_DESCRIPTION::H)) << " unknown is "
        << name(t.get_mux_type_symbol(0)) << "\n";
    return out.str();
}

// Sizes of sections 2 to 9 as the object writes them; a second write gives the same bytes,
// since the file's symbol table is complete after the first.
std::vector<size_t> section_sizes(SMALL_DB& db, uint32_t format) {
    FAB::TRANSLATE& t = *db.m_translate;
    UTIL::MODULES_BUILDER modules;
    modules.set_symbol_file(t.get_symbol_file());
    modules.set_modules(&db.m_modules);
    UTIL::PARTITIONS_SERIALIZABLE partitions(t.get_partitions(), nullptr);
    std::vector<UTIL::ISERIALIZABLE*> sections = {
        &modules,
        dynamic_cast<UTIL::ISERIALIZABLE*>(t.get_mux_descriptions()),
        dynamic_cast<UTIL::ISERIALIZABLE*>(t.get_tlblocks_builder()),
        dynamic_cast<UTIL::ISERIALIZABLE*>(t.get_portmaps_builder()),
        &partitions,
        t.get_gidmap(),
        t.get_nodemap(),
        t.get_edgemap()};
    std::vector<size_t> sizes;
    for (UTIL::ISERIALIZABLE* section : sections) {
        std::ostringstream out(std::ios::out | std::ios::binary);
        section->write(out, format);
        sizes.push_back(out.str().size());
    }
    return sizes;
}

}  // namespace

TEST(Translate, QueriesSurviveTheFileInBothFormats) {
    SMALL_DB db;
    const std::string before = answers(db, *db.m_translate);
    auto driver = [&](const char* place) { return " driver " + std::to_string(db.node(place)); };
    for (const std::string& part :
         {"s0/b1:in0 BLK_INPUT:X1Y0Z0I0" + driver("s0/b1:in0") + " mux_type 0 class 0\n",
          ":w H2:X0Y1Z0I0" + driver(":w") + " mux_type 5 class 3\n",
          // A mux input on a path stands for the output it feeds; one on no path for nothing.
          std::string("map s0/b0/m0:a BLK_RE:X0Y0Z0I2\nmap s0/b0/m0:b BLK_RE:X0Y0Z0I2\n"
                      "map s0/b0/m0:c GID_INVALID\nmap s0/b0/m0:y BLK_RE:X0Y0Z0I2\n"
                      "map s0/b0:in0 BLK_RE:X0Y0Z0I0\nmap s0:p GID_INVALID\n"
                      "map s0/b0 GID_INVALID\n"),
          std::string("generic 1 BLK:o 1 not a port 0\ntypes "),
          std::string(" H is H unknown is <UNKNOWN>\n")})
        EXPECT_NE(before.find(part), std::string::npos) << part << "\n" << before;
    EXPECT_EQ(db.m_translate->get_n_gids(), 7u);
    EXPECT_EQ(db.m_translate->get_error().m_message,
              "map_specific_mux_port_to_gid: Illegal specific_port = " +
                  std::to_string(db.node("s0/b0")));

    for (uint32_t format : {UTIL::PB_BIN, UTIL::PB_TXT}) {
        const std::string bytes = written(*db.m_translate, format);
        FAB::TRANSLATE fresh;
        std::istringstream in(bytes);
        ASSERT_TRUE(fresh.read(in, format));
        EXPECT_EQ(answers(db, fresh), before) << format;
        for (int detail : {1, 2, 4}) {
            EXPECT_EQ(printed(fresh, detail), printed(*db.m_translate, detail)) << detail;
        }
        // What was read writes the same file again.
        EXPECT_EQ(written(fresh, format).size(), bytes.size());
    }
    const std::string form = printed(*db.m_translate, 1);
    EXPECT_EQ(form.rfind("TRANSLATE {\n   m_mux_descriptions = ", 0), 0u) << form;
    for (const char* line :
         {"\n   m_tlblocks = ", "\n   m_portmaps = ", "\n   m_edgemap = ", "\n   m_nodemap = "}) {
        EXPECT_NE(form.find(line), std::string::npos) << line;
    }
    EXPECT_EQ(form.substr(form.size() - 2), "}\n");
    EXPECT_EQ(printed(*db.m_translate, 4).rfind("TRANSLATE_STATISTICS {\n", 0), 0u);
}

// A cut at each section boundary and inside each section. A section that meets the end fails
// with its owner's words: the object's "Failed read of" for the tables whose readers return
// false (a short mux description section shows in the next one), and the fatal texts of the
// node map's and edge cache's own readers, which end the process.
TEST(Translate, CutFilesNameTheSectionThatFailed) {
    SMALL_DB db;
    const uint32_t format = UTIL::PB_BIN;
    const std::string bytes = written(*db.m_translate, format);
    std::vector<size_t> sizes = section_sizes(db, format);
    size_t body = 0;
    for (size_t s : sizes) body += s;
    ASSERT_LT(body, bytes.size());
    sizes.insert(sizes.begin(), bytes.size() - body);
    // By section: what a cut at its start and a cut in its middle give.
    const std::vector<std::pair<std::string, std::string>> owners = {
        {"symbol file", "symbol file"},
        {"modulesmap", "modulesmap"},
        {"tlblocks", "tlblocks"},
        {"tlblocks", "tlblocks"},
        {"portmaps", "portmaps"},
        {"partitions", "partitions"},
        {"gidmap", "gidmap"},
        {"IE .*  Error reading pb_nodemap \n", "IE .*  Error reading pb_key_nodes \n"},
        {"IE .*  Error reading pb_edgecache \n", "IE .*  Error reading pb_graph \n"}};
    size_t start = 0;
    testing::internal::CaptureStdout();
    for (size_t section = 0; section < sizes.size(); ++section) {
        for (bool middle : {false, true}) {
            const size_t cut = start + (middle ? sizes[section] / 2 : 0);
            const std::string& owner = middle ? owners[section].second : owners[section].first;
            std::istringstream in(bytes.substr(0, cut));
            google::protobuf::io::IstreamInputStream zero_copy(&in);
            FAB::TRANSLATE fresh;
            if (owner.rfind("IE ", 0) == 0) {
                EXPECT_EXIT(fresh.read_stream(&zero_copy, format), testing::ExitedWithCode(255),
                            owner);
                continue;
            }
            std::string failure;
            EXPECT_FALSE(fresh.read_sections(&zero_copy, format, failure)) << cut;
            EXPECT_EQ(failure, "Failed read of " + owner) << section << " " << cut;
        }
        start += sizes[section];
    }
    testing::internal::GetCapturedStdout();
    // The reading of the object itself ends the process with the text of the failed section.
    std::istringstream empty("");
    FAB::TRANSLATE none;
    EXPECT_EXIT(none.read(empty, format), testing::ExitedWithCode(255),
                "IE .*fab_translate.cpp:[0-9]+  INTERNAL: Failed read of symbol file \n");
}

TEST(Translate, FailureTexts) {
    SMALL_DB db;
    FAB::TRANSLATE& t = *db.m_translate;
    EXPECT_FATAL(t.set_dimensions(2, 2, 2),
                 "(m_nx == UTIL::IGID_CONVERTER::INVALID) && (m_ny == "
                 "UTIL::IGID_CONVERTER::INVALID) && (m_nz == UTIL::IGID_CONVERTER::INVALID)");
    FAB::TRANSLATE blank;
    EXPECT_EXIT(blank.set_global_types({}), testing::ExitedWithCode(255),
                "  \\(m_nx != UTIL::IGID_CONVERTER::INVALID\\) && ");
    UTIL::BASE_GID_CONVERTER c;
    EXPECT_FATAL(t.fill_gid_type_fields(c, 0, 2, db.sym("BLK"), 0, 0),
                 "Bidir port not supported for Atom");
    std::unique_ptr<FAB::ITRANSLATE::IGID_SPLITTER> splitter(t.create_gid_splitter());
    EXPECT_FATAL(splitter->set_node(0), "false");

    // A class 3 node keeps its length only as a wire; a name the database does not know is
    // reported and leaves the unknown name.
    t.fill_gid_type_fields(c, 3, 0, NS_SYMBOL::SYM(), PB::MUX_DESCRIPTION::V, 7);
    EXPECT_EQ(c.get_length(), 7);
    t.fill_gid_type_fields(c, 3, 0, NS_SYMBOL::SYM(), PB::MUX_DESCRIPTION::LL, 7);
    EXPECT_EQ(c.get_length(), -1);
    UTIL::SYMBOL_TABLE* other = UTIL::symbol_tables().new_table();
    EXPECT_EQ(stdout_of([&] { t.fill_gid_type_fields(c, 1, 0, other->add("NOT_A_BLOCK"), 0, 0); }),
              "Unable to convert NOT_A_BLOCK to internal symbol\n");
    EXPECT_TRUE(c.get_name().is_unknown());
    EXPECT_EQ(c.get_gclass(), PB::GID_TYPE::RE);

    // Edges that the database cannot split say why on standard output.
    const UTIL::GID64 in0 = db.gid("s0/b0:in0"), in1 = db.gid("s0/b0:in1");
    UTIL::GID64 never;
    never.set_value(in0.get_value() + 7);
    testing::internal::CaptureStdout();
    EXPECT_FALSE(splitter->set_edge(never, in1));
    EXPECT_FALSE(splitter->set_edge(in0, in1));
    const std::string s0 = std::to_string(db.node("s0/b0:in0"));
    const std::string s1 = std::to_string(db.node("s0/b0:in1"));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "FAIL: Invalid GID: BLK_RE:X0Y0Z0I7\n"
              "src_cached = " +
                  s0 + "\nsrc_driver = " + s0 + "\ndst_cached = " + s1 + "\ndst_driver = " + s1 +
                  "\nm_fedge.m_src = " + std::to_string(db.node("s0/b0:in0") - db.node("s0/b0")) +
                  "\nm_fedge.m_dst = " + std::to_string(db.node("s0/b0:in1") - db.node("s0/b0")) +
                  "\nsrc GID: BLK_RE:X0Y0Z0I0\ndst GID: BLK_RE:X0Y0Z0I1\n");
}

// An object whose read stopped at a section refuses every query, and a write, with the report
// the fatal read gives, rather than answering from the tables it has.
TEST(Translate, HalfReadObjectRefusesQueries) {
    SMALL_DB db;
    const std::string bytes = written(*db.m_translate, UTIL::PB_BIN);
    const std::vector<size_t> sizes = section_sizes(db, UTIL::PB_BIN);
    // Cut where the GID types start: everything before them reads.
    std::istringstream in(bytes.substr(0, bytes.size() - sizes[5] - sizes[6] - sizes[7]));
    google::protobuf::io::IstreamInputStream zero_copy(&in);
    FAB::TRANSLATE t;
    std::string failure;
    ASSERT_FALSE(t.read_sections(&zero_copy, UTIL::PB_BIN, failure));
    ASSERT_EQ(failure, "Failed read of gidmap");
    const UTIL::GID64 gid = db.gid("s0/b0:in0");
    std::unique_ptr<FAB::ITRANSLATE::IGENERIC_PORT> port(t.create_generic_port());
    std::ostringstream sink;
    const std::vector<std::pair<const char*, std::function<void()>>> queries = {
        {"get_generic_port", [&] { t.get_generic_port(*port, 1); }},
        {"map_specific_mux_port_to_gid", [&] { t.map_specific_mux_port_to_gid(1); }},
        {"get_node_from_gid", [&] { t.get_node_from_gid(gid); }},
        {"get_gid_types", [&] { t.get_gid_types(); }},
        {"get_mux_type", [&] { t.get_mux_type(gid); }},
        {"get_node_class", [&] { t.get_node_class(gid); }},
        {"get_mux_type_symbol", [&] { t.get_mux_type_symbol(5); }},
        {"create_gid_splitter", [&] { delete t.create_gid_splitter(); }},
        {"get_tlblocks", [&] { t.get_tlblocks(); }},
        {"get_portmaps", [&] { t.get_portmaps(); }},
        {"write", [&] { t.write(sink, UTIL::PB_BIN); }}};
    for (const auto& query : queries) {
        EXPECT_EXIT(query.second(), testing::ExitedWithCode(255),
                    "IE .*fab_translate.cpp:[0-9]+  INTERNAL: Failed read of gidmap \n")
            << query.first;
    }
}
