// The mux translator: the naming table, the path rules of template and clock cells, the text
// file and its assertions, the instance name rule, and applying a description to ICDB records.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "nlg/nlg_mux_translator.h"
#include "nlg_builders.h"
#include "print_form.h"

using MT = PB::MUX_DESCRIPTION;

namespace {

std::vector<std::string> paths_of(const PB::MUX_DESCRIPTION& desc) {
    std::vector<std::string> out;
    for (const auto& p : desc.mux_paths())
        out.push_back(p.in() + ">" + p.out() + (p.is_hipi_path() ? "!" : ""));
    return out;
}

std::vector<std::string> params_of(const PB::MUX_DESCRIPTION& desc) {
    std::vector<std::string> out;
    for (const auto& p : desc.mux_params()) out.push_back(p.name() + "=" + p.value());
    return out;
}

}  // namespace

TEST(MuxTranslator, NamingTable) {
    // Name in the cell's class : kind of routing element.
    std::istringstream table(
        "H:H V:V L:LL LL:LL LEIM:LEIM LEIM_FIRST_STAGE:LEIM LONG1:WM CLOCK_SEGMENT:CLOCK_SEGMENT "
        "CLKMUX:GLOBAL_LOCAL_SEL sb:CLOCK_SEGMENT sb_bi:CLOCK_SEGMENT sb_buf:CLOCK_SEGMENT "
        "sbmux_sp:CLOCK_SEGMENT sbmux_np:CLOCK_SEGMENT cs:CLOCK_SPINE vseam:CLOCK_SEGMENT_TAP "
        "vseam_bidir:CLOCK_SEGMENT_TAP hseam:HORIZONTAL_CLOCK_SEGMENT rc:SCLK_TO_ROWCLK_BUF "
        "dcm:CC_DCM_GMUX_RE CC_DCM_GMUX_RE:CC_DCM_GMUX_RE HIPI:HIPI_LATCH HIPI_LATCH:HIPI_LATCH "
        "TMUX:HIPI_T_MUX PMUX:HIPI_P_MUX MMUX:HIPI_M_MUX RED:UNKNOWN FRZBUF:UNKNOWN RPI:UNKNOWN "
        "TRI_DRV:UNKNOWN dft:UNKNOWN");
    for (std::string row; table >> row;) {
        const std::string name = row.substr(0, row.find(':'));
        EXPECT_EQ(MT::MUXTYPE_Name(nlg_re_type(name)), row.substr(name.size() + 1)) << name;
    }
    // Exact comparison: neither case nor enumeration names of other kinds are folded.
    EXPECT_FATAL(nlg_re_type("h"), "h is an unsupported node type!");
    EXPECT_FATAL(nlg_re_type("HIPI_T_MUX"), "HIPI_T_MUX is an unsupported node type!");

    for (const char* d : {"L", "LEFT"}) EXPECT_EQ(nlg_mux_direction(d), PB::ICDB::NET::LEFT);
    EXPECT_EQ(nlg_mux_direction("D"), PB::ICDB::NET::DOWN);
    for (const char* d : {"", "X", "HBIDIR"})
        EXPECT_EQ(nlg_mux_direction(d), PB::ICDB::NET::NO_DIR);
}

// Paths from the port names of a template cell, "in>out" ("!" a HIPI path); a cell whose ports
// fit no rule warns with its class and ports.
TEST(MuxTranslator, TemplatePortRules) {
    const struct {
        const char* name;
        const char* mux_class;
        const char* ports;
        const char* paths;
    } cases[] = {
        {"m1", "\"H\"", "muxin0 sel muxin1 muxout", "muxin0>muxout muxin1>muxout"},
        {"m2", "\"H\"", "clk_sel clkin clkout", "clkin>clkout"},
        {"m3", "\"H\"", "leimclk0 in2 drvout", "leimclk0>drvout"},
        {"m4", "\"H\"", "inp long_in_dim_out", "inp>long_in_dim_out"},
        {"m5", "\"H\"", "muxout in0 drvout", "in0>drvout"},
        {"m6", "\"V\"", "data_input rowclk data_output",
         "data_input>data_output rowclk>data_output"},
        {"m7", "\"H\"", "muxout mux_out", nullptr},
        {"m8", "\"H\"", "muxin0 muxin1", nullptr},
        // Without its quotes the class is no special class: the ports decide.
        {"m9", "HIPI", "din dout", nullptr},
        {"m10", "\"HIPI\"", "x", "din>dout clk>dout!"},
        {"m11", "\"HIPI_LATCH\"", "", "din>dout clk>dout!"},
        {"a_rt_mux_hio_2to1_frzbuf_b", "\"FRZBUF\"", "", "coreout>coreout_buff"},
        {"rt_mux_buffer_alien", "\"H\"", "", "core_per_in>muxbuff_out h_wires_in>muxbuff_out"},
        {"cc_redmux", "\"RED\"", "q",
         "muxin[0]>muxout[0] muxin[1]>muxout[1] muxin[2]>muxout[2] muxin[3]>muxout[3] "
         "muxin[4]>muxout[4] muxin[5]>muxout[5] muxin[6]>muxout[6] muxin[7]>muxout[7]"},
    };
    for (const auto& c : cases) {
        std::vector<std::string> ports;
        std::istringstream in(c.ports);
        for (std::string p; in >> p;) ports.push_back(p);
        NLG_MUX_TRANSLATOR translator;
        const std::string out = stdout_of(
            [&] { translator.add_mux(c.name, true, c.mux_class, "4", "\"R\"", false, ports); });
        const PB::MUX_DESCRIPTION& desc = translator.get_mux_descriptions().mux_descriptions(0);
        std::string paths;
        for (const std::string& p : paths_of(desc)) paths += (paths.empty() ? "" : " ") + p;
        EXPECT_EQ(paths, c.paths ? c.paths : "") << c.name;
        for (const auto& p : desc.mux_paths()) EXPECT_TRUE(p.has_is_hipi_path());
        std::string warning;
        if (!c.paths) {
            warning = std::string("Warning: Unrecognized ports found on mux: ") + c.name +
                      ", class: " + c.mux_class + " ports: ";
            for (const std::string& p : ports) warning += p + "    ";
            warning += "\n";
        }
        EXPECT_EQ(out, warning) << c.name;
        EXPECT_EQ(desc.mux_params_size(), 4);
    }
}

TEST(MuxTranslator, TemplateParametersAndFirstStage) {
    NLG_MUX_TRANSLATOR translator;
    translator.add_mux("a", true, "\"LEIM_FIRST_STAGE\"", "1000", "\"L\"", false, {"sel"});
    translator.add_mux("b", true, "\"H\"", "4", "x\"R\"\"", true, {"muxin", "muxout"});
    translator.add_mux("c", true, "H", "2", "", false, {"muxin", "muxout"});
    const PB::MUX_DESCRIPTIONS& all = translator.get_mux_descriptions();
    EXPECT_EQ(params_of(all.mux_descriptions(0)),
              (std::vector<std::string>{"CLASS=LEIM_FIRST_STAGE", "LENGTH=1000", "DIR=L",
                                        "IS_FIRST_STAGE=1"}));
    // Only the first two quotes go, wherever they stand.
    EXPECT_EQ(params_of(all.mux_descriptions(1)),
              (std::vector<std::string>{"CLASS=H", "LENGTH=4", "DIR=xR\"", "IS_FIRST_STAGE=1"}));
    EXPECT_EQ(params_of(all.mux_descriptions(2))[3], "IS_FIRST_STAGE=0");

    const PB::MUX_DESCRIPTION& leim = all.mux_descriptions(0);
    ASSERT_EQ(leim.mux_paths_size(), 32);
    int found = 0;
    for (const auto& p : leim.mux_paths())
        if (p.in() == "muxin[5]") {
            EXPECT_EQ(p.out(), "muxout[1]");
            ++found;
        }
    EXPECT_EQ(found, 1);
    EXPECT_EQ(leim.mux_paths(8).in(), "muxin[1]");
}

TEST(MuxTranslator, ClockCells) {
    NLG_MUX_TRANSLATOR translator;
    translator.add_mux("an_cc_clkdrv_bi", false, "", "", "", false, {"x"});
    translator.add_mux("ck", false, "\"H\"", "4", "", false,
                       {"clk_sel", "clk0", "ckmx81_out", "clk1", "clkout", "d"});
    const PB::MUX_DESCRIPTIONS& all = translator.get_mux_descriptions();
    EXPECT_EQ(paths_of(all.mux_descriptions(0)),
              (std::vector<std::string>{"clk0>clk1", "clk1>clk0"}));
    EXPECT_EQ(paths_of(all.mux_descriptions(1)),
              (std::vector<std::string>{"clk0>clkout", "clk1>clkout"}));
    EXPECT_FALSE(all.mux_descriptions(1).is_template());
    EXPECT_EQ(all.mux_descriptions(1).mux_params_size(), 0);
    EXPECT_FATAL(translator.add_mux("bad", false, "", "", "", false, {"clkout", "clk_sel"}),
                 "Not all input and output of module bad is recongnized!");
    EXPECT_FATAL(translator.add_mux("bad2", false, "", "", "", false, {"clk0"}),
                 "Not all input and output of module bad2 is recongnized!");
}

TEST(MuxTranslator, TextFile) {
    NLG_MUX_TRANSLATOR empty;
    std::ostringstream out;
    EXPECT_FATAL(empty.write(out, UTIL::PB_TXT), "m_pb.mux_descriptions_size() > 0");

    NLG_MUX_TRANSLATOR translator;
    translator.add_mux("m", true, "\"H\"", "4", "\"R\"", false, {"muxin", "muxout"});
    EXPECT_FATAL(translator.write(out, UTIL::PB_BIN), "format == UTIL::ISERIALIZABLE::PB_TXT");
    ASSERT_TRUE(translator.write(out, UTIL::PB_TXT));

    NLG_MUX_TRANSLATOR copy;
    std::istringstream in(out.str());
    EXPECT_FATAL(copy.read(in, UTIL::PB_BIN), "format == UTIL::ISERIALIZABLE::PB_TXT");
    ASSERT_TRUE(copy.read(in, UTIL::PB_TXT));
    EXPECT_EQ(copy.get_mux_descriptions().SerializeAsString(),
              translator.get_mux_descriptions().SerializeAsString());
    std::istringstream again(out.str());
    EXPECT_FATAL(copy.read(again, UTIL::PB_TXT), "m_pb.mux_descriptions_size() == 0");

    NLG_MUX_TRANSLATOR bad;
    std::istringstream garbage("mux_descriptions { nme: 1 }");
    EXPECT_FALSE(bad.read(garbage, UTIL::PB_TXT));
}

TEST(MuxTranslator, InstanceNameRule) {
    struct CASE {
        const char* name;
        bool first_stage;
        MT::MUXTYPE type;
    };
    const CASE cases[] = {
        {"x_dolsgn_dft_dolsgn_0", true, MT::UNKNOWN},
        {"x_dolsgn_LEIM_dolsgn_0", false, MT::LEIM},
        {"x_dolsgn_LEIM_dolsgn_1", true, MT::LEIM},
        {"u_sb_dolsgn_sb_dolsgn_0", false, MT::CLOCK_SEGMENT},
        {"plain_name", false, MT::UNKNOWN},
    };
    for (const CASE& c : cases) {
        PB::ICDB::MODULE::MUX_DESC desc;
        nlg_decode_mux_instance_name(c.name, &desc);
        EXPECT_EQ(desc.is_first_stage(), c.first_stage) << c.name;
        EXPECT_EQ(desc.mux_type(), c.type) << c.name;
    }
    PB::ICDB::MODULE::MUX_DESC desc;
    EXPECT_FATAL(nlg_decode_mux_instance_name("x_dolsgn_RED_dolsgn_0", &desc),
                 "mux_desc->is_first_stage() || (mux_desc->mux_type() != "
                 "PB::MUX_DESCRIPTION::UNKNOWN)");
    EXPECT_FATAL(nlg_decode_mux_instance_name("x_dolsgn_Q_dolsgn_1", &desc),
                 "Q is an unsupported node type!");
}

namespace {

// A top with two instances of a clock cell and one of a template cell.
struct APPLY_GRAPH {
    NLG_TEST::TRACE_GRAPH t;
    NLG_MODULE* top;
    NLG_MODULE* cell;
    NLG_MODULE* clock;

    APPLY_GRAPH() {
        top = t.module("top");
        cell = t.cell("cell", "muxin sel >muxout");
        clock = t.cell("clk_cell", "clkin >clkout");
        t.instances(top, "u0:cell a_dolsgn_sb_dolsgn_0:clk_cell b_dolsgn_sb_dolsgn_2:clk_cell");
    }
    PB::MUX_DESCRIPTION desc(const std::string& text) {
        PB::MUX_DESCRIPTION d;
        merge_text(d, text);
        return d;
    }
    std::string apply(const PB::MUX_DESCRIPTION& d, uint32_t index) {
        return stdout_of(
            [&] { nlg_apply_mux_description(t.graph(), t.annotations().get_icdb(), d, index); });
    }
};

}  // namespace

TEST(MuxTranslator, ApplyTemplate) {
    APPLY_GRAPH g;
    NLG_MUX_TRANSLATOR translator;
    translator.add_mux("cell", true, "\"LL\"", "6", "\"U\"", false, {"muxin", "muxout"});
    PB::MUX_DESCRIPTION d = translator.get_mux_descriptions().mux_descriptions(0);
    d.mutable_mux_paths(0)->set_out("gone");
    merge_text(d,
               "mux_paths { in: 'nothing' out: 'muxout' } hipi_mux_type: HIPI_T_MUX "
               "subpaths { name: 's' } settings { path_index: 0 setting { subpath_index: 0 value: "
               "'v' } }");
    EXPECT_EQ(g.apply(d, 7),
              "Warning: can't find output port gone on mux module cell. The mux.pb.txt file is "
              "probably out of date!\n"
              "Warning: can't find input port nothing on mux module cell. The mux.pb.txt file is "
              "probably out of date!\n");
    // Paths by port index, -1 for a port the cell lacks; the parameters and settings as given.
    EXPECT_EQ(g.t.rec(g.cell).ShortDebugString(),
              "level: PRIM_MUX paths { in: 0 out: -1 is_hipi_path: false } paths { in: -1 out: 2 } "
              "mux_desc { is_template: true mux_type: LL is_first_stage: false length: 6 dir: UP "
              "hipi_mux_type: HIPI_T_MUX } mux_index: 7 subpaths { name: \"s\" } settings { "
              "path_index: 0 setting { subpath_index: 0 value: \"v\" } }");
    EXPECT_TRUE(g.t.rec(g.cell->port(0)).is_primary_port());
    EXPECT_FALSE(g.t.rec(g.cell->port(1)).has_is_primary_port());
    EXPECT_TRUE(g.t.rec(g.cell->port(2)).is_primary_port());
}

TEST(MuxTranslator, ApplyNonTemplateAndMessages) {
    APPLY_GRAPH g;
    EXPECT_EQ(g.apply(g.desc("is_template: false name: \"clk_cell\" "
                             "mux_paths { in: \"clkin\" out: \"clkout\" }"),
                      1),
              "");
    EXPECT_FALSE(g.t.rec(g.clock).mux_desc().is_template());
    EXPECT_EQ(g.t.rec(g.clock).paths_size(), 1);
    const PB::ICDB::INSTANCE& i1 = g.t.rec(g.top->instance(1));
    const PB::ICDB::INSTANCE& i2 = g.t.rec(g.top->instance(2));
    EXPECT_EQ(i1.mux_desc().mux_type(), MT::CLOCK_SEGMENT);
    EXPECT_FALSE(i1.mux_desc().is_first_stage());
    EXPECT_TRUE(i2.mux_desc().is_first_stage());
    EXPECT_FALSE(g.t.rec(g.top->instance(0)).has_mux_desc());

    EXPECT_EQ(g.apply(g.desc("is_template: true name: \"cell\""), 0),
              "Info: mux module cell does not have any parameters!\n");
    EXPECT_FALSE(g.t.rec(g.cell).has_level());
    EXPECT_EQ(g.apply(g.desc("is_template: false name: \"nowhere\""), 0),
              "Warning: mux module nowhere listed in mux.pb.txt file can't be found in RTL!\n");
}

TEST(MuxTranslator, ApplyParameterChecks) {
    const std::pair<const char*, const char*> cases[] = {
        {"CLASS=H", "third parameter of mux cell is wrong. should be DIR."},
        {"CLASS=H LEN=1 DIR=L IS_FIRST_STAGE=0",
         "second parameter of mux cell is wrong. should be LENGTH."},
        {"CLAS=H LENGTH=1 DIR=L IS_FIRST_STAGE=0",
         "first parameter of mux cell is wrong. should be CLASS."},
        {"CLASS=H LENGTH=1 DIR=L",
         "forth parameter of mux cell is wrong. should be IS_FIRST_STAGE."},
        {"CLASS=RED LENGTH=1 DIR=L IS_FIRST_STAGE=0", "Unknow mux type for module cell"},
    };
    for (const auto& [params, fatal] : cases) {
        APPLY_GRAPH g;
        PB::MUX_DESCRIPTION d = g.desc("is_template: true name: \"cell\"");
        std::istringstream in(params);
        for (std::string p; in >> p;) {
            auto* param = d.add_mux_params();
            param->set_name(p.substr(0, p.find('=')));
            param->set_value(p.substr(p.find('=') + 1));
        }
        EXPECT_FATAL(g.apply(d, 0), fatal);
    }
    // A first stage may have a kind that the naming table folds to UNKNOWN.
    APPLY_GRAPH g;
    NLG_MUX_TRANSLATOR translator;
    translator.add_mux("cell", true, "\"RED\"", "1000", "", false, {"muxin", "muxout"});
    g.apply(translator.get_mux_descriptions().mux_descriptions(0), 0);
    EXPECT_TRUE(g.t.rec(g.cell).mux_desc().is_first_stage());
    EXPECT_EQ(g.t.rec(g.cell).mux_desc().dir(), PB::ICDB::NET::NO_DIR);
}
