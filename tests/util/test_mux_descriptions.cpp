// Mux description indexes, the name index, the file form and the print form.
#include <gtest/gtest.h>

#include <google/protobuf/io/zero_copy_stream_impl.h>

#include <sstream>

#include "print_form.h"
#include "nlg_builders.h"
#include "util/util_mux_descriptions.h"
#include "util/util_symbol_file.h"
#include "symbol_section.h"

using UTIL::IMUX_DESCRIPTION;
using UTIL::MUX_DESCRIPTIONS;
using UTIL::PB_BIN;
using UTIL::PB_TXT;

namespace {

// Adds a description named `name` with the given (in, out) port-index paths.
void add_mux(PB::MUX_DESCRIPTIONS& m, const std::string& name,
             const std::vector<std::pair<int, int>>& paths) {
    std::string text = "mux_descriptions { is_template: false name: '" + name + "'";
    for (auto [in, out] : paths)
        text += " mux_ipaths { in: " + std::to_string(in) + " out: " + std::to_string(out) + " }";
    merge_text(m, text + " }");
}

// Three descriptions: "mux4" (4 inputs to port 4, then inputs 0,1 also to port 5),
// "empty" without paths, and a second "mux4" whose index must not be found.
PB::MUX_DESCRIPTIONS sample() {
    PB::MUX_DESCRIPTIONS m;
    add_mux(m, "mux4", {{0, 4}, {1, 4}, {2, 4}, {3, 4}, {0, 5}, {1, 5}});
    add_mux(m, "empty", {});
    add_mux(m, "mux4", {{7, 8}});
    return m;
}

struct FIXTURE {
    UTIL::SYMBOL_TABLE* table = UTIL::symbol_tables().new_table();
    UTIL::SYMBOL_FILE file;
    FIXTURE() {
        for (const char* name : {"mux4", "empty", "not_a_mux"}) table->add(name);
        file.set_internal_const(table);
    }
};

}  // namespace

TEST(MuxDescription, IndexesOverPathsAndNames) {
    FIXTURE f;
    MUX_DESCRIPTIONS d;
    d.set_symbol_file(&f.file);
    d.set_pb_mux_descriptions(sample());
    ASSERT_EQ(d.get_n_mux_descriptions(), 3u);
    const IMUX_DESCRIPTION& m = d.get_mux_description(0);
    EXPECT_EQ(m.get_index(), 0u);
    EXPECT_EQ(m.get_pb().name(), "mux4");
    const std::vector<IMUX_DESCRIPTION::PORT_TYPE> kinds = {
        IMUX_DESCRIPTION::P_INPUT,  IMUX_DESCRIPTION::P_INPUT,  IMUX_DESCRIPTION::P_INPUT,
        IMUX_DESCRIPTION::P_INPUT,  IMUX_DESCRIPTION::P_OUTPUT, IMUX_DESCRIPTION::P_OUTPUT,
        IMUX_DESCRIPTION::P_UNKNOWN};
    for (uint32_t p = 0; p < kinds.size(); ++p) EXPECT_EQ(m.get_port_type(p), kinds[p]) << p;
    // One input, two outputs: the first path wins.
    EXPECT_EQ(m.get_output_for_input(0), 4u);
    EXPECT_EQ(m.get_output_for_input(3), 4u);
    EXPECT_EQ(m.get_output_for_input(4), 0xFFFFFFFFu);
    // No paths: no outputs, empty vectors.
    const IMUX_DESCRIPTION& e = d.get_mux_description(1);
    EXPECT_EQ(e.get_index(), 1u);
    EXPECT_EQ(e.get_port_type(0), IMUX_DESCRIPTION::P_UNKNOWN);
    EXPECT_THROW(d.get_mux_description(3), std::out_of_range);
    // Names find the first known index.
    EXPECT_EQ(d.find_mux_index(f.table->find("mux4")), 0u);
    EXPECT_EQ(d.find_mux_index(f.table->find("empty")), 1u);
    EXPECT_EQ(d.find_mux_index(f.table->find("not_a_mux")), 0xFFFFFFFFu);
    EXPECT_EQ(d.find_mux_index(f.table->get_unknown()), 0xFFFFFFFFu);
    // A description whose name the table does not know exists but is not found.
    PB::MUX_DESCRIPTIONS unknown;
    add_mux(unknown, "unknown_name", {{0, 1}});
    MUX_DESCRIPTIONS d2;
    d2.set_symbol_file(&f.file);
    d2.set_pb_mux_descriptions(unknown);
    EXPECT_EQ(d2.get_n_mux_descriptions(), 1u);
    EXPECT_EQ(d2.find_mux_index(f.table->get_unknown()), 0xFFFFFFFFu);
}

TEST(MuxDescription, PortUsedBothWays) {
    FIXTURE f;
    // Input first: port 1 is an input of path 0 and the output of paths 1 and 2, so one
    // warning per such path and the kind stays P_INPUT.
    PB::MUX_DESCRIPTIONS m;
    add_mux(m, "mux4", {{1, 2}, {0, 1}, {3, 1}});
    // Output first: port 2 is an output, then an input; no warning, kind stays P_OUTPUT.
    add_mux(m, "empty", {{0, 2}, {2, 3}});
    MUX_DESCRIPTIONS d;
    d.set_symbol_file(&f.file);
    EXPECT_EQ(stdout_of([&] { d.set_pb_mux_descriptions(m); }),
              "WARNING: Mux Description: mux4 uses port 1 as input and output\n"
              "WARNING: Mux Description: mux4 uses port 1 as input and output\n");
    EXPECT_EQ(d.get_mux_description(0).get_port_type(1), IMUX_DESCRIPTION::P_INPUT);
    EXPECT_EQ(d.get_mux_description(1).get_port_type(2), IMUX_DESCRIPTION::P_OUTPUT);
    EXPECT_EQ(d.get_mux_description(1).get_output_for_input(2), 3u);
}

TEST(MuxDescription, FatalChecks) {
    FIXTURE f;
    MUX_DESCRIPTIONS d;
    EXPECT_FATAL(d.set_pb_mux_descriptions(sample()), "m_symbol_file != NULL");
    UTIL::SYMBOL_FILE empty_file;
    d.set_symbol_file(&empty_file);
    EXPECT_FATAL(d.set_pb_mux_descriptions(sample()),
                 "m_symbol_file->get_internal_const() != NULL");
    EXPECT_FATAL(d.set_symbol_file(&f.file), "m_symbol_file == NULL");
    MUX_DESCRIPTIONS d2;
    d2.set_symbol_file(&f.file);
    d2.set_pb_mux_descriptions(sample());
    std::istringstream in("");
    EXPECT_FATAL(d2.read(in, PB_BIN), "m_pb_mux_descriptions.mux_descriptions_size() == 0");
}

TEST(MuxDescription, FileRoundTripAndCutFiles) {
    FIXTURE f;
    for (uint32_t format : {PB_BIN, PB_TXT}) {
        MUX_DESCRIPTIONS d;
        d.set_symbol_file(&f.file);
        d.set_pb_mux_descriptions(sample());
        const std::string bytes = written(d, format);
        // A cut file reads false; the whole file reads back the same descriptions.
        for (size_t cut = 0; cut < bytes.size() + 3; cut += 3) {
            MUX_DESCRIPTIONS back;
            back.set_symbol_file(&f.file);
            std::istringstream in(bytes.substr(0, cut));
            EXPECT_EQ(back.read(in, format), cut >= bytes.size()) << cut;
            if (cut >= bytes.size()) {
                EXPECT_EQ(printed<UTIL::IMUX_DESCRIPTIONS>(back, 2),
                          printed<UTIL::IMUX_DESCRIPTIONS>(d, 2));
            }
        }
    }
}

TEST(MuxDescription, PrintForm) {
    FIXTURE f;
    MUX_DESCRIPTIONS d;
    d.set_symbol_file(&f.file);
    d.set_pb_mux_descriptions(sample());
    EXPECT_EQ(printed<UTIL::IMUX_DESCRIPTIONS>(d, 1), "MUX_DESCRIPTIONS (3) {}");
    EXPECT_EQ(printed<UTIL::IMUX_DESCRIPTIONS>(d, 2),
              "MUX_DESCRIPTIONS (3) {\n"
              "   [0] { name=mux4, (0,4), (1,4), (2,4), (3,4), (0,5), (1,5)}\n"
              "   [1] { name=empty, }\n"
              "   [2] { name=mux4, (7,8)}\n"
              "}");
}
