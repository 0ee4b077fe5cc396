// The device generator: tiny is byte-identical for one seed; its direct files read back through
// the library's readers and show every special case it was built for; the designed counts agree
// with a recount over the files; hierarchy and graph totals stay under their limits.
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <tuple>

#include "device_files.h"
#include "icdb/icdb_instance_tree.h"
#include "util/util_symbol.h"

namespace {

using DEVGEN::DG_DEVICE;
using DEVGEN::DG_PARAMS;
using FAB_TEST::preset;

// One view read back through the library's file interface, with its records by name.
struct READ_VIEW : FAB_TEST::VIEW_FILES {
    using VIEW_FILES::VIEW_FILES;
    NLG_MODULE* module(const std::string& name) const {
        NLG_IMODULE* m = m_graph->get_module(m_graph->get_symbol_table()->add(name));
        EXPECT_NE(m, nullptr) << name;
        return static_cast<NLG_MODULE*>(m);
    }
    const PB::ICDB::MODULE& rec(const std::string& name) const {
        return icdb().get_module(*module(name));
    }
    NLG_IPORT* port_of(const std::string& module_name, const std::string& port_name) const {
        NLG_IPORT* p = module(module_name)->get_port(m_graph->get_symbol_table()->add(port_name));
        EXPECT_NE(p, nullptr) << module_name << "." << port_name;
        return p;
    }
    const PB::ICDB::APORT& port(const std::string& module_name,
                                const std::string& port_name) const {
        return icdb().get_port(*port_of(module_name, port_name));
    }
    const PB::ICDB::INSTANCE& inst(const std::string& module_name, const std::string& name) const {
        return icdb().get_instance(
            *module(module_name)->get_instance(m_graph->get_symbol_table()->add(name)));
    }
    int32_t port_index(const std::string& module_name, const std::string& port_name) const {
        return port_of(module_name, port_name)->get_index();
    }
    std::string text(const PB::SYMBOL& s) const { return NS_SYMBOL::SYM(s.value()).get_name(); }
};

// The tiny device's direct and text files, made once for the cases that only read them.
struct TINY : testing::Test {
    static void SetUpTestSuite() { s_files.reset(new FAB_TEST::DEVICE_FILES("tiny", true)); }
    static void TearDownTestSuite() { s_files.reset(); }
    static std::unique_ptr<FAB_TEST::DEVICE_FILES> s_files;
};
std::unique_ptr<FAB_TEST::DEVICE_FILES> TINY::s_files;

TEST_F(TINY, SameSeedGivesSameBytes) {
    FAB_TEST::DEVICE_FILES again("tiny", true);
    size_t files = 0;
    for (auto [first, second] : {std::make_pair(&s_files->m_direct, &again.m_direct),
                                 std::make_pair(&s_files->m_text, &again.m_text)}) {
        for (const auto& e : std::filesystem::directory_iterator(first->path())) {
            const std::string name = e.path().filename().string();
            EXPECT_EQ(first->read(name), second->read(name)) << name;
            ++files;
        }
    }
    EXPECT_EQ(files, 16u);
}

// Each special case of the design and the record in the direct files that shows it.
TEST_F(TINY, EverySpecialCaseIsInTheFiles) {
    const DG_DEVICE& device = s_files->m_device;
    READ_VIEW rtl(s_files->m_direct.path(), "rtl"), blc(s_files->m_direct.path(), "blc");
    using MT = PB::MUX_DESCRIPTION;
    // Fan lists travel in the BLC file only.
    auto has_fans = [](const NLG_GRAPH& g) {
        for (uint32_t m = 0; m < g.get_num_modules(); ++m)
            for (uint32_t p = 0; p < g.module(static_cast<int32_t>(m))->get_num_ports(); ++p) {
                const NLG_PORT* port =
                    g.module(static_cast<int32_t>(m))->port(static_cast<int32_t>(p));
                if (port->get_fanout_ports() || port->get_fanout_refs() || port->get_fanin_refs())
                    return true;
            }
        return false;
    };
    const PB::ICDB::MODULE& top = rtl.rec("device_top");
    const PB::ICDB::MODULE& hipi = rtl.rec("rt_mux_h2l_hipi");
    int hipi_paths = 0;
    for (const auto& p : hipi.paths()) hipi_paths += p.is_hipi_path();
    const PB::ICDB::MODULE& leim_fs = rtl.rec("leim_fs");
    uint32_t ghost = 0;  // the description whose cell the RTL lost keeps its index
    for (uint32_t m = 0; m < rtl.m_graph->get_num_modules(); ++m)
        if (rtl.icdb().get_module(*rtl.m_graph->get_module(static_cast<int32_t>(m))).mux_index() ==
            19u)
            ++ghost;
    size_t spare = 0;
    for (const auto& f : top.flat_instance_nodes()) spare += f.instance().is_spare_row();
    const std::vector<std::pair<const char*, bool>> cases = {
        {"module counts", rtl.m_graph->get_num_modules() == device.rtl().size() &&
                              blc.m_graph->get_num_modules() == device.blc().size()},
        {"top first", rtl.m_graph->get_top_module()->get_name().get_name() == "device_top"},
        {"every placement",
         static_cast<size_t>(top.flat_instance_nodes_size()) == device.placements().size()},
        {"grid", rtl.icdb().get_graph().max_bcol() == 3 && rtl.icdb().get_graph().max_brow() == 5},
        {"sector level", rtl.rec("sector").level() == PB::ICDB::MODULE::SECTOR},
        {"fan lists in the BLC only", has_fans(*blc.m_graph) && !has_fans(*rtl.m_graph)},
        {"impl DEFAULT", rtl.text(rtl.rec("logic_blk").logical_impl()) == "DEFAULT"},
        {"impl -", rtl.text(rtl.rec("io_blk").logical_impl()) == "-"},
        {"impl FAST", rtl.text(rtl.rec("dsp_blk").logical_impl()) == "FAST"},
        {"top mapped - -", rtl.text(rtl.rec("device_top").logical_name()) == "-"},
        {"routing block unmapped",
         rtl.rec("rt_tile").is_routing() && !rtl.rec("rt_tile").has_logical_name()},
        {"non-routing block", !rtl.rec("logic_blk").is_routing() &&
                                  rtl.rec("logic_blk").level() == PB::ICDB::MODULE::TOP_LEVEL_IP},
        {"block 1x2", rtl.rec("dsp_blk").pnr_height() == 2 && rtl.rec("dsp_blk").pnr_width() == 1},
        {"spare row placements", spare == 7},
        {"BLC instance unplaced",
         blc.inst("DSP__FAST", "mac2").pnr_x() == -1 && blc.inst("DSP__FAST", "mac2").has_pnr_x()},
        {"BLC internal z 1", blc.inst("LOGIC_CORE", "cell1").pnr_z() == 1},
        {"BLC roots are blocks", blc.rec("LOGIC").level() == PB::ICDB::MODULE::TOP_LEVEL_IP},
        {"PRIM_MUX inside a block", blc.rec("IMUX").level() == PB::ICDB::MODULE::PRIM_MUX},
        {"route 0 on a block port", rtl.port("io_blk", "oe").has_is_route_type_normal() &&
                                        !rtl.port("io_blk", "oe").is_route_type_normal() &&
                                        !blc.port("IO__-", "oe_n").is_route_type_normal()},
        {"route 0 on a PRIM_MUX port", !blc.port("IMUX", "i[0]").is_route_type_normal() &&
                                           !blc.port("IMUX", "i[0]").has_re_name()},
        {"atom ports", blc.port("IO__-", "pad_in").re_name() == MT::ATOM_INPUT},
        {"internal RE", blc.port("IMUX", "o").re_name() == MT::BLC_INTERNAL_RE},
        {"RTL and BLC names differ",
         rtl.text(rtl.port("logic_blk", "in[1]").logical_name()) == "datain[1]" &&
             rtl.port("logic_blk", "in[1]").re_index() == 7},
        {"BLC port missing in RTL",
         rtl.module("logic_blk")->get_port(rtl.m_graph->get_symbol_table()->add("logic_scan")) ==
             nullptr},
        {"block output without RE", !rtl.port("logic_blk", "test_o").has_re_name()},
        {"fly-over", rtl.port("logic_blk", "cin").spare_row_flyover_out() ==
                         rtl.port_index("logic_blk", "cout")},
        {"inserted RE LEIM", rtl.port("rt_tile", "leim_out[1]").is_inserted_re() &&
                                 rtl.port("rt_tile", "leim_out[1]").re_name() == MT::LEIM},
        {"inserted RE LONG1", rtl.port("rt_tile", "fb_in").re_name() == MT::WM},
        {"MERGE by module", rtl.port("rt_mux_leim", "out").merge_type() == PB::ICDB::APORT::MERGE},
        {"no MERGE on the twin", !rtl.port("rt_mux_leim_b", "out").has_merge_type()},
        {"HIPI wrapper", hipi.mux_desc().hipi_mux_type() == MT::HIPI_M_MUX &&
                             hipi.mux_desc().mux_type() == MT::H && hipi_paths == 4},
        {"wrapper settings",
         hipi.subpaths_size() == 7 && hipi.settings_size() == hipi.paths_size()},
        {"LEIM first stage 32 paths",
         leim_fs.paths_size() == 32 &&
             leim_fs.paths(9).in() == rtl.port_index("leim_fs", "muxin[5]") &&
             leim_fs.paths(9).out() == rtl.port_index("leim_fs", "muxout[1]")},
        {"LEIM wrapper", rtl.rec("rt_mux_leim").mux_desc().mux_type() == MT::LEIM &&
                             rtl.rec("rt_mux_leim").paths_size() == 32},
        {"LL from class L", rtl.rec("rt_mux_ll").mux_desc().mux_type() == MT::LL},
        {"clock wrapper", rtl.rec("clk_wrap").mux_desc().mux_type() == MT::CLOCK_SEGMENT &&
                              rtl.rec("clk_wrap").mux_desc().length() == -1},
        {"UNKNOWN first stage", rtl.rec("cc_redmux").mux_desc().mux_type() == MT::UNKNOWN &&
                                    rtl.rec("cc_redmux").mux_desc().is_first_stage()},
        {"buffer cell standalone", rtl.rec("rt_buffer_h1").mux_desc().length() == 1 &&
                                       !rtl.rec("rt_buffer_h1").mux_desc().is_first_stage()},
        {"cell without paths", rtl.rec("rt_mux_odd").level() == PB::ICDB::MODULE::PRIM_MUX &&
                                   rtl.rec("rt_mux_odd").paths_size() == 0},
        {"ghost mux index unused", ghost == 0},
        {"name rule dft",
         rtl.inst("clk_wrap", "b_dolsgn_dft_dolsgn_0").mux_desc().is_first_stage() &&
             rtl.inst("clk_wrap", "b_dolsgn_dft_dolsgn_0").mux_desc().mux_type() == MT::UNKNOWN},
        {"name rule number",
         rtl.inst("clk_wrap", "a_dolsgn_sb_dolsgn_1").mux_desc().is_first_stage()},
        {"name rule last stage",
         !rtl.inst("clk_wrap", "c_dolsgn_sb_dolsgn_0").mux_desc().is_first_stage() &&
             rtl.inst("clk_wrap", "c_dolsgn_sb_dolsgn_0").mux_desc().mux_type() ==
                 MT::CLOCK_SEGMENT},
        {"name rule sb_bi", rtl.inst("rt_tile", "cd_dolsgn_sb_bi_dolsgn_0").mux_desc().mux_type() ==
                                MT::CLOCK_SEGMENT},
        {"bidirectional paths", rtl.rec("an_cc_clkdrv_bi").paths_size() == 2 &&
                                    !rtl.rec("an_cc_clkdrv_bi").mux_desc().is_template()},
        {"primitives", rtl.module("prim_inv")->get_primitive_type() == 5 &&
                           rtl.module("prim_tri")->get_primitive_type() == 6},
        {"primary ports", rtl.port("rt_mux_h2r", "in[3]").is_primary_port()},
    };
    for (const auto& c : cases) EXPECT_TRUE(c.second) << c.first;
}

// Routing muxes and block REs over the placed non-spare blocks, counted from the files alone.
DEVGEN::DG_COUNTS recount(const READ_VIEW& rtl) {
    DEVGEN::DG_COUNTS c;
    auto& icdb = rtl.icdb();
    std::function<void(const NLG_IMODULE&)> muxes = [&](const NLG_IMODULE& m) {
        for (uint32_t i = 0; i < m.get_num_instances(); ++i) {
            const NLG_IINSTANCE& inst = *m.get_instance(static_cast<int32_t>(i));
            const PB::ICDB::MODULE& r = icdb.get_module(*inst.get_module());
            if (r.level() != PB::ICDB::MODULE::PRIM_MUX) {
                muxes(*inst.get_module());
                continue;
            }
            const auto& d =
                r.mux_desc().is_template() ? r.mux_desc() : icdb.get_instance(inst).mux_desc();
            if (!d.is_first_stage()) ++c.m_muxes[DEVGEN::dg_mux_type_name(d.mux_type())];
        }
    };
    ICDB::INSTANCE_TREE tree(rtl.m_graph.get());
    tree.load(icdb);
    for (const auto& f : icdb.get_module(*rtl.m_graph->get_top_module()).flat_instance_nodes()) {
        uint32_t index = 0;
        uint32_t mi =
            tree.get_hierarchy()->get_instance_of_node(index, static_cast<uint64_t>(f.node()));
        const NLG_IMODULE& m = *rtl.m_graph->get_module(static_cast<int32_t>(mi));
        ++c.m_placements[m.get_name().get_name()];
        if (f.instance().is_spare_row()) continue;
        if (icdb.get_module(m).is_routing()) muxes(m);
        for (uint32_t p = 0; p < m.get_num_ports(); ++p) {
            const PB::ICDB::APORT& r = icdb.get_port(*m.get_port(static_cast<int32_t>(p)));
            if (r.has_re_name()) ++c.m_block_res[DEVGEN::dg_mux_type_name(r.re_name())];
        }
    }
    c.m_rtl_hier_nodes = tree.get_hierarchy()->get_num_nodes();
    return c;
}

TEST(Devgen, CountsAgreeWithARecountAndStayUnderTheLimits) {
    for (const char* size : {"tiny", "tiny-warn", "small"}) {
        FAB_TEST::DEVICE_FILES files(size, true);
        const DG_DEVICE& d = files.m_device;
        READ_VIEW rtl(files.m_direct.path(), "rtl");
        DEVGEN::DG_COUNTS c = recount(rtl);
        const DEVGEN::DG_COUNTS& e = d.counts();
        EXPECT_EQ(std::tie(c.m_muxes, c.m_block_res, c.m_placements, c.m_rtl_hier_nodes),
                  std::tie(e.m_muxes, e.m_block_res, e.m_placements, e.m_rtl_hier_nodes))
            << size;
        if (std::string(size) == "tiny-warn") {
            size_t lost = 0;
            for (const auto& f :
                 rtl.icdb().get_module(*rtl.m_graph->get_top_module()).flat_instance_nodes())
                lost +=
                    f.instance().bposition().col() == -1 && f.instance().bposition().row() == -1;
            EXPECT_EQ(lost, 1u);
            READ_VIEW blc(files.m_direct.path(), "blc");
            EXPECT_FALSE(blc.port("LOGIC", "dbg_out").has_re_name());
        }
        // device.json carries the same numbers.
        const std::string json = files.m_text.read("device.json");
        EXPECT_NE(json.find("\"rtl_hier_nodes\": " + std::to_string(c.m_rtl_hier_nodes)),
                  std::string::npos);
        EXPECT_LT(d.counts().m_rtl_hier_nodes, 1ull << 31);
        EXPECT_LT(d.counts().m_blc_hier_nodes, 1ull << 31);
        for (const DEVGEN::DG_NETLIST* n : {&d.rtl(), &d.blc()})
            for (uint64_t count :
                 {n->count_ports(), n->count_nets(), n->count_instances(), n->count_portrefs()})
                EXPECT_LT(count, 1ull << 24);
    }
}

TEST(Devgen, BadParametersAreNamed) {
    for (const char* size : {"tiny", "tiny-warn", "small", "medium", "large", "huge"})
        EXPECT_EQ(DEVGEN::dg_check(preset(size)), "") << size;
    DG_PARAMS p = preset("tiny");
    p.m_rows = 5;
    EXPECT_EQ(DEVGEN::dg_check(p), "rows must be a multiple of the sector height");
    EXPECT_FALSE(DEVGEN::dg_preset("enormous", p));
}

}  // namespace
