// The preparation flow on the generator's tiny and small devices, against the generator's direct
// files: the same graphs (up to the names and order of nets), the same flat placements, grid and
// sectors, the same annotation records by name, the oracle digest (a run's hybrid view and
// floorplan follow from these); the hand-kept files' messages once each, in order; the mux file;
// what bad input gets. Skipped when yosys is absent.
#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "ann_icdb.pb.h"
#include "mux.pb.h"
#include "device_files.h"
#include "graph_text.h"
#include "prep/prep_digest.h"
#include "prep/prep_flow.h"
#include "prep/prep_yosys.h"

namespace {

using FILES = FAB_TEST::VIEW_FILES;

std::string digest(FILES& files, const std::string& view) {
    std::ostringstream s;
    prep_write_digest(view, *files.m_graph, *files.m_annss, s);
    return s.str();
}

// Mux index of every module that has one, by module name.
std::map<std::string, uint32_t> mux_indexes(FILES& files) {
    std::map<std::string, uint32_t> out;
    NLG_ICDB_ANNS& icdb = files.m_annss->get_icdb();
    for (uint32_t m = 0; m < files.m_graph->get_num_modules(); ++m) {
        const NLG_IMODULE& module = *files.m_graph->get_module(static_cast<int32_t>(m));
        const PB::ICDB::MODULE& r = icdb.get_module(module);
        if (r.has_mux_index()) out[module.get_name().get_name()] = r.mux_index();
    }
    return out;
}

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

// Lines of `a` that `b` does not have.
std::vector<std::string> missing(const std::string& a, const std::string& b) {
    const std::vector<std::string> theirs = lines_of(b);
    const std::set<std::string> other(theirs.begin(), theirs.end());
    std::vector<std::string> out;
    for (const std::string& line : lines_of(a))
        if (!other.count(line)) out.push_back(line);
    return out;
}

bool have_yosys() {
    return PREP_YOSYS().available();
}

// Prepares the device and compares with its direct files; the standard output of the run.
std::string prepare_and_compare(FAB_TEST::DEVICE_FILES& device) {
    testing::internal::CaptureStdout();
    PREP_FLOW flow(PREP_OPTIONS{device.m_text.path(), "", "yosys", {}, ""});
    const PREP_FLOW::STATUS status = flow.run();
    const std::string log = testing::internal::GetCapturedStdout();
    EXPECT_EQ(status, PREP_FLOW::DONE) << flow.get_message();
    if (status != PREP_FLOW::DONE) return log;

    for (const char* view : {"rtl", "blc"}) {
        FILES prepared(device.m_text.path(), view);
        FILES direct(device.m_direct.path(), view);
        EXPECT_EQ(NLG_TEST::graph_text(*prepared.m_graph, false),
                  NLG_TEST::graph_text(*direct.m_graph, false))
            << view;
        // Flat placements, grid record and sector levels.
        NLG_ICDB_ANNS& p = prepared.m_annss->get_icdb();
        NLG_ICDB_ANNS& d = direct.m_annss->get_icdb();
        EXPECT_EQ(p.get_graph().DebugString(), d.get_graph().DebugString()) << view;
        const NLG_IMODULE& top = *prepared.m_graph->get_module(0);
        const NLG_IMODULE& direct_top = *direct.m_graph->get_module(0);
        PB::ICDB::MODULE ours_top = p.get_module(top), theirs_top = d.get_module(direct_top);
        for (PB::ICDB::MODULE* r : {&ours_top, &theirs_top}) {  // symbols: in the digest
            r->clear_logical_name();
            r->clear_logical_impl();
        }
        EXPECT_EQ(ours_top.DebugString(), theirs_top.DebugString()) << view;
        EXPECT_EQ(mux_indexes(prepared), mux_indexes(direct)) << view;
        // Records by name: what the direct files have that the prepared ones do not, and back.
        const std::string ours = digest(prepared, view), theirs = digest(direct, view);
        for (const std::string& line : missing(theirs, ours)) ADD_FAILURE() << "direct: " << line;
        for (const std::string& line : missing(ours, theirs)) ADD_FAILURE() << "prepared: " << line;
    }
    return log;
}

}  // namespace

TEST(PrepFlow, TinyAndSmallDevicesGiveTheDirectFiles) {
    if (!have_yosys()) GTEST_SKIP() << "yosys is not installed";
    FAB_TEST::DEVICE_FILES small("small", true);
    prepare_and_compare(small);
    FAB_TEST::DEVICE_FILES tiny("tiny", true);
    const std::string generated_muxes = tiny.m_text.read("mux.pb.txt");
    const std::string log = prepare_and_compare(tiny);

    // The generator's oracle digest is of the annotation passes, which leave sectors to the
    // instance tree's store.
    std::vector<std::string> ours;
    for (const char* view : {"rtl", "blc"}) {
        FILES prepared(tiny.m_text.path(), view);
        for (std::string line : lines_of(digest(prepared, view))) {
            const size_t sector = line.find(" level=SECTOR ");
            if (sector != std::string::npos) line.replace(sector, 14, " level=- ");
            ours.push_back(line);
        }
    }
    EXPECT_EQ(ours, lines_of(tiny.m_text.read("oracle.txt")));

    // The flow's mux file has the generator's descriptions in the same order, ghost_mux
    // included: cells.v declares it.
    PB::MUX_DESCRIPTIONS theirs, made;
    ASSERT_TRUE(google::protobuf::TextFormat::ParseFromString(generated_muxes, &theirs));
    ASSERT_TRUE(
        google::protobuf::TextFormat::ParseFromString(tiny.m_text.read("mux.pb.txt"), &made));
    EXPECT_EQ(made.DebugString(), theirs.DebugString());

    // The hand-kept files' messages in order; the mux file is read by both translations.
    std::vector<std::string> messages;
    for (const std::string& line : lines_of(log))
        if (line.find(".txt") != std::string::npos || line.rfind("setting spare row", 0) == 0 ||
            line.find("illegal format") != std::string::npos)
            messages.push_back(line);
    EXPECT_EQ(messages,
              (std::vector<std::string>{
                  "Warning: mux module ghost_mux listed in mux.pb.txt file can't be found in "
                  "RTL!",
                  "Warning: Can't find module ghost_blk listed in top_blocks.txt file in RTL",
                  "Warning: can't find IP block ghost_blk listed in icd_to_pnr_mapping.txt file "
                  "in RTL",
                  "Warning: mux module ghost_mux listed in mux.pb.txt file can't be found in "
                  "RTL!",
                  "Warning: ignoring module ghost_blk in spare_row_flyover.txt due to "
                  "unrecognized module name.",
                  "setting spare row flyover to cout on port cin",
                  "Warning: ignoring port nope on module logic_blk in spare_row_flyover.txt due "
                  "to unrecognized port name.",
                  "Warning: ignoring line: + rt_tile due to illegal format.",
                  "Warning: ignoring module ghost_mod in insert_node.txt due to unrecognized "
                  "module name.",
                  "Warning: ignoring port no_such_port on module rt_tile in insert_node.txt due "
                  "to unrecognized port name.",
              }));
}

TEST(PrepFlow, BadInputIsOneLineNamingIt) {
    if (!have_yosys()) GTEST_SKIP() << "yosys is not installed";
    struct CASE {
        std::function<void(const TEST_SCRATCH&)> m_break;
        PREP_FLOW::STATUS m_status;
        std::string m_message;  // DIR stands for the folder
    };
    auto replace = [](const TEST_SCRATCH& dir, const std::string& name, const std::string& from,
                      const std::string& to) {
        std::string s = dir.read(name);
        const size_t at = s.find(from);
        ASSERT_NE(at, std::string::npos) << from;
        s.replace(at, from.size(), to);
        dir.write(name, s);
    };
    const std::vector<CASE> cases = {
        {[](const TEST_SCRATCH& d) { std::filesystem::remove(d.file("insert_node.txt")); },
         PREP_FLOW::UNREADABLE, "cannot read DIR/insert_node.txt"},
        {[&](const TEST_SCRATCH& d) { replace(d, "rtl.v", "module sector", "module sector ("); },
         PREP_FLOW::REJECTED,
         "yosys on DIR/rtl.v: rtl.v:22: ERROR: syntax error, unexpected TOK_ID, "
         "expecting TOK_USER_TYPE"},
        {[&](const TEST_SCRATCH& d) {
             replace(d, "blc_data.pb.txt", "name: \"bin\"\n", "name: \"bin\"\n    width: 2\n");
         },
         PREP_FLOW::REJECTED,
         "DIR/blc.v: module LOGIC: port bin[0] of the 2-bit port bin of the block-level data is "
         "not in the netlist"},
        {[&](const TEST_SCRATCH& d) {
             replace(d, "placements.pb.txt", "sec0/t_x0_y0/io", "sec0/nope");
         },
         PREP_FLOW::REJECTED, "DIR/placements.pb.txt:2: module sector has no instance nope"},
    };
    for (const CASE& c : cases) {
        FAB_TEST::DEVICE_FILES tiny("tiny", true);
        c.m_break(tiny.m_text);
        testing::internal::CaptureStdout();
        PREP_FLOW flow(PREP_OPTIONS{tiny.m_text.path(), "", "yosys", {}, ""});
        const PREP_FLOW::STATUS status = flow.run();
        testing::internal::GetCapturedStdout();
        std::string message = c.m_message;
        message.replace(message.find("DIR"), 3, tiny.m_text.path());
        EXPECT_EQ(status, c.m_status) << message;
        EXPECT_EQ(flow.get_message(), message);
    }
}
