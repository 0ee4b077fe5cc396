// The preparation flow on the generator's tiny and small devices, against the generator's direct
// files: the same graphs (up to the names and order of nets), the same flat placements, grid and
// sectors, the same annotation records by name, the oracle digest, the same hybrid view and
// floorplan of a run; the hand-kept files' messages once each, in order; the mux file; what bad
// input gets. Skipped when yosys is absent.
#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "ann_icdb.pb.h"
#include "mux.pb.h"
#include "devgen/devgen_direct.h"
#include "fab/tsl_fab.h"
#include "fab_api.h"
#include "fab_floorplan_api.h"
#include "devgen/devgen_files.h"
#include "devgen/devgen_params.h"
#include "nlg/nlg_api_impl.h"
#include "nlg/nlg_hierarchy.h"
#include "nlg/nlg_hybrid_graph.h"
#include "nlg_iannss.h"
#include "nlg_igraph.h"
#include "prep/prep_digest.h"
#include "prep/prep_flow.h"
#include "prep/prep_yosys.h"
#include "test_scratch.h"
#include "util/util_hierarchy.h"

namespace {

// A graph and its annotations read back from files, as a run reads them.
struct FILES {
    NLG_TESSEL m_api;
    std::unique_ptr<NLG_IGRAPH> m_graph;
    std::unique_ptr<NLG_IANNSS> m_annss;

    FILES(const std::string& dir, const std::string& view) {
        m_graph.reset(m_api.create_graph(nullptr));
        std::ifstream graph(dir + "/" + view + ".graph", std::ios::binary);
        EXPECT_TRUE(m_api.read_graph(m_graph.get(), graph, TESSEL_API::FORMAT_PB_BIN));
        m_annss.reset(m_api.create_annss(m_graph.get()));
        std::ifstream ann(dir + "/" + view + ".ann", std::ios::binary);
        EXPECT_TRUE(m_api.read_annss(m_annss.get(), ann, TESSEL_API::FORMAT_PB_BIN));
    }
    ~FILES() { m_annss.reset(); }
};

// Every module in index order with its ports and instances in index order, and its nets as a
// sorted set of their ends by name: the graph up to the names and the order of its nets.
std::string structure(const NLG_IGRAPH& g) {
    std::ostringstream s;
    for (uint32_t i = 0; i < g.get_num_modules(); ++i) {
        const NLG_IMODULE* m = g.get_module(static_cast<int32_t>(i));
        s << "module " << m->get_name().get_name() << " type " << m->get_primitive_type() << "\n";
        for (uint32_t p = 0; p < m->get_num_ports(); ++p) {
            const NLG_IPORT* port = m->get_port(static_cast<int32_t>(p));
            s << " port " << port->get_name().get_name() << " " << port->get_direction() << "\n";
        }
        for (uint32_t k = 0; k < m->get_num_instances(); ++k) {
            const NLG_IINSTANCE* inst = m->get_instance(static_cast<int32_t>(k));
            s << " instance " << inst->get_name().get_name() << " "
              << inst->get_module()->get_name().get_name() << " pins " << inst->get_num_portrefs()
              << "\n";
        }
        std::vector<std::string> nets;
        for (uint32_t n = 0; n < m->get_num_nets(); ++n) {
            const NLG_INET* net = m->get_net(static_cast<int32_t>(n));
            std::vector<std::string> ends;
            for (uint32_t k = 0; k < net->get_num_ports(); ++k)
                ends.push_back(net->get_port(static_cast<int32_t>(k))->get_name().get_name());
            for (uint32_t k = 0; k < net->get_num_portrefs(); ++k) {
                const NLG_IPORT_REF* ref = net->get_portref(static_cast<int32_t>(k));
                ends.push_back(ref->get_instance()->get_name().get_name() + "." +
                               ref->get_port()->get_name().get_name());
            }
            std::sort(ends.begin(), ends.end());
            std::string line = " net";
            for (const std::string& end : ends) line += " " + end;
            nets.push_back(line);
        }
        std::sort(nets.begin(), nets.end());
        for (const std::string& line : nets) s << line << "\n";
    }
    return s.str();
}

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

// A generated device's text files in one folder, its direct files in another.
struct DEVICE {
    TEST_SCRATCH m_prepared;
    TEST_SCRATCH m_direct;

    explicit DEVICE(const std::string& size = "tiny") {
        DEVGEN::DG_PARAMS params;
        EXPECT_TRUE(DEVGEN::dg_preset(size, params));
        DEVGEN::DG_DEVICE device(params);
        std::string error;
        EXPECT_TRUE(DEVGEN::dg_write_files(device, m_prepared.path(), error)) << error;
        EXPECT_TRUE(DEVGEN::dg_write_direct(device, m_direct.path(), error)) << error;
    }
};

// The run's first view: the RTL with the block-level twins of its matched blocks, and the number
// of its hierarchy nodes.
std::string hybrid_counts(const std::string& dir) {
    FILES rtl(dir, "rtl"), blc(dir, "blc");
    RTL_TO_BLC_MATCH match;
    match.init(rtl.m_graph.get(), blc.m_graph.get(), rtl.m_annss.get(), blc.m_annss.get());
    std::unique_ptr<NLG_IGRAPH> hybrid(rtl.m_graph->create_hybrid_graph(blc.m_graph.get(), &match));
    uint64_t matched = 0;
    for (uint32_t m = 0; m < hybrid->get_num_modules(); ++m)
        if (static_cast<const NLG_HYBRID_MODULE*>(hybrid->get_module(static_cast<int32_t>(m)))
                ->get_match())
            ++matched;
    NLG::HMODULES modules(hybrid.get());
    UTIL::HIERARCHY hierarchy(&modules);
    return std::to_string(hybrid->get_num_modules()) + " modules, " + std::to_string(matched) +
           " matched, " + std::to_string(hierarchy.get_num_nodes_64(0)) + " nodes";
}

// The floorplan of a run on the folder's four files: grid, then per module its logical pair,
// size, ports and instances with their places and uids.
std::string floorplan(const std::string& dir) {
    std::unique_ptr<FAB::API> api(fab_create(nullptr, nullptr, false));
    std::ifstream rtl(dir + "/rtl.graph"), rtl_ann(dir + "/rtl.ann");
    std::ifstream blc(dir + "/blc.graph"), blc_ann(dir + "/blc.ann");
    api->read_rtl_graph(rtl);
    api->read_rtl_annotation(rtl_ann);
    api->read_blc_graph(blc);
    api->read_blc_annotation(blc_ann);
    std::unique_ptr<FAB::FLOORPLAN> fp(api->create_floorplan());
    std::ostringstream s;
    s << "grid " << fp->get_columns() << "x" << fp->get_rows() << "\n";
    for (int32_t m = 0; m < fp->get_n_modules(); ++m) {
        FAB::FLOORPLAN::MODULE& module = fp->get_module(m);
        s << module.get_logical_name() << " " << module.get_logical_impl() << " "
          << module.get_pnr_width() << "x" << module.get_pnr_height() << "\n";
        for (int32_t p = 0; p < module.get_n_ports(); ++p) {
            FAB::FLOORPLAN::MODULE_PORT& port = module.get_port(p);
            s << " port " << port.get_name().str() << " " << port.get_direction() << " "
              << port.is_route_type_normal() << "\n";
        }
        for (int32_t i = 0; i < module.get_n_instances(); ++i) {
            FAB::FLOORPLAN::INSTANCE& inst = module.get_instance(i);
            int32_t x, y, z;
            float px, py;
            inst.get_location(x, y, z);
            inst.get_physical_location(px, py);
            s << " instance " << inst.get_name().str() << " "
              << inst.get_module().get_logical_name() << " (" << x << "," << y << "," << z << ") ("
              << px << "," << py << ") " << inst.get_uid() << "\n";
        }
    }
    return s.str();
}

// Prepares the device and compares with its direct files; the standard output of the run.
std::string prepare_and_compare(DEVICE& device) {
    testing::internal::CaptureStdout();
    PREP_FLOW flow(PREP_OPTIONS{device.m_prepared.path(), "", "yosys", {}, ""});
    const PREP_FLOW::STATUS status = flow.run();
    const std::string log = testing::internal::GetCapturedStdout();
    EXPECT_EQ(status, PREP_FLOW::DONE) << flow.get_message();
    if (status != PREP_FLOW::DONE) return log;

    for (const char* view : {"rtl", "blc"}) {
        FILES prepared(device.m_prepared.path(), view);
        FILES direct(device.m_direct.path(), view);
        EXPECT_EQ(structure(*prepared.m_graph), structure(*direct.m_graph)) << view;
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

    EXPECT_EQ(hybrid_counts(device.m_prepared.path()), hybrid_counts(device.m_direct.path()));
    EXPECT_EQ(floorplan(device.m_prepared.path()), floorplan(device.m_direct.path()));
    return log;
}

}  // namespace

TEST(PrepFlow, TinyAndSmallDevicesGiveTheDirectFiles) {
    if (!have_yosys()) GTEST_SKIP() << "yosys is not installed";
    DEVICE small("small");
    prepare_and_compare(small);
    DEVICE tiny;
    const std::string log = prepare_and_compare(tiny);

    // The generator's oracle digest is of the annotation passes, which leave sectors to the
    // instance tree's store.
    std::vector<std::string> ours;
    for (const char* view : {"rtl", "blc"}) {
        FILES prepared(tiny.m_prepared.path(), view);
        for (std::string line : lines_of(digest(prepared, view))) {
            const size_t sector = line.find(" level=SECTOR ");
            if (sector != std::string::npos) line.replace(sector, 14, " level=- ");
            ours.push_back(line);
        }
    }
    std::ifstream oracle(tiny.m_prepared.file("oracle.txt"));
    std::stringstream theirs;
    theirs << oracle.rdbuf();
    EXPECT_EQ(ours, lines_of(theirs.str()));

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

TEST(PrepFlow, MuxFileHasTheGeneratorsDescriptionsOfItsCells) {
    if (!have_yosys()) GTEST_SKIP() << "yosys is not installed";
    DEVICE tiny;
    PB::MUX_DESCRIPTIONS expected;
    {
        std::ifstream in(tiny.m_prepared.file("mux.pb.txt"));
        std::stringstream text;
        text << in.rdbuf();
        ASSERT_TRUE(google::protobuf::TextFormat::ParseFromString(text.str(), &expected));
    }
    testing::internal::CaptureStdout();
    PREP_FLOW flow(PREP_OPTIONS{tiny.m_prepared.path(), "", "yosys", {}, ""});
    ASSERT_EQ(flow.run(), PREP_FLOW::DONE) << flow.get_message();
    testing::internal::GetCapturedStdout();
    PB::MUX_DESCRIPTIONS made;
    std::ifstream in(tiny.m_prepared.file("mux.pb.txt"));
    std::stringstream text;
    text << in.rdbuf();
    ASSERT_TRUE(google::protobuf::TextFormat::ParseFromString(text.str(), &made));

    // The same descriptions in the same order, ghost_mux included: cells.v declares it.
    std::vector<std::string> theirs, ours;
    for (const PB::MUX_DESCRIPTION& d : expected.mux_descriptions())
        theirs.push_back(d.DebugString());
    for (const PB::MUX_DESCRIPTION& d : made.mux_descriptions()) ours.push_back(d.DebugString());
    EXPECT_EQ(ours, theirs);
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
        std::ifstream in(dir.file(name));
        std::stringstream text;
        text << in.rdbuf();
        std::string s = text.str();
        const size_t at = s.find(from);
        ASSERT_NE(at, std::string::npos) << from;
        s.replace(at, from.size(), to);
        std::ofstream(dir.file(name), std::ios::trunc) << s;
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
        DEVICE tiny;
        c.m_break(tiny.m_prepared);
        testing::internal::CaptureStdout();
        PREP_FLOW flow(PREP_OPTIONS{tiny.m_prepared.path(), "", "yosys", {}, ""});
        const PREP_FLOW::STATUS status = flow.run();
        testing::internal::GetCapturedStdout();
        std::string message = c.m_message;
        message.replace(message.find("DIR"), 3, tiny.m_prepared.path());
        EXPECT_EQ(status, c.m_status) << message;
        EXPECT_EQ(flow.get_message(), message);
    }
}
