// The mux merger on a small two-stage wrapper built in memory: two first stages feed a second
// stage whose output leaves through a driver; the wrapper is instantiated twice.
#include <gtest/gtest.h>

#include <string>

#include "print_form.h"
#include "ann/annss.h"
#include "nlg/nlg_mux_merger.h"
#include "nlg/nlg_mux_translator.h"
#include "nlg_builders.h"

namespace {

// A netlist with the mux translator that merges its wrappers.
struct MERGE_GRAPH {
    NLG_TEST::TRACE_GRAPH t;
    NLG_MUX_TRANSLATOR translator;
    std::string merge() {
        return stdout_of([&] { translator.merge_muxes(&t.graph()); });
    }
};

struct WRAPPER_GRAPH : MERGE_GRAPH {
    // top: w0, w1 of WRAP. WRAP: in0..in3 -> fs0, fs1 (first stages) -> ss -> drv -> out.
    WRAPPER_GRAPH(const std::string& stage_name = "SS", bool with_driver = true) {
        NLG_MODULE* top = t.module("top");
        NLG_MODULE* wrap = t.cell("WRAP", "in0 in1 in2 in3 >out");
        t.cell("FS", "muxin0 muxin1 >muxout");
        t.cell(stage_name, "muxin0 muxin1 >muxout");
        t.cell("DRV", "drvin >drvout");
        t.instances(wrap, "fs0:FS fs1:FS ss:" + stage_name + (with_driver ? " drv:DRV" : ""));
        t.wire(wrap,
               "n0: in0 fs0.muxin0; n1: in1 fs0.muxin1; n2: in2 fs1.muxin0;"
               "n3: in3 fs1.muxin1; a: fs0.muxout ss.muxin0; b: fs1.muxout ss.muxin1;" +
                   std::string(with_driver ? "c: ss.muxout drv.drvin; o: out drv.drvout"
                                           : "o: out ss.muxout"));
        t.instances(top, "w0:WRAP w1:WRAP");
        translator.add_mux("FS", true, "\"H\"", "1000", "\"R\"", false,
                           {"muxin0", "muxin1", "muxout"});
        translator.add_mux(stage_name, true, "\"H\"", "4", "\"R\"", false,
                           {"muxin0", "sel", "muxin1", "muxout"});
        translator.add_mux("DRV", true, "\"H\"", "1000", "\"R\"", false, {"drvin", "drvout"});
    }
};

}  // namespace

// A description in one line: name, parameters, subpaths, then per path "in>out" ("!" a HIPI
// path) with its settings "subpath:value".
static std::string text_of(const PB::MUX_DESCRIPTION& d) {
    std::string out = d.name() + (d.is_template() ? " template" : "");
    for (const auto& p : d.mux_params()) out += " " + p.name() + "=" + p.value();
    out += " |";
    for (const auto& s : d.subpaths()) {
        out += " ";
        for (const std::string& n : s.name()) out += n;
    }
    EXPECT_EQ(d.settings_size(), d.mux_paths_size());
    for (int i = 0; i < d.mux_paths_size(); ++i) {
        const auto& p = d.mux_paths(i);
        EXPECT_TRUE(p.has_is_hipi_path());
        out += " | " + p.in() + ">" + p.out() + (p.is_hipi_path() ? "!" : "");
        EXPECT_EQ(d.settings(i).path_index(), static_cast<uint32_t>(i));
        for (const auto& s : d.settings(i).setting())
            out += " " + std::to_string(s.subpath_index()) + ":" + s.value();
    }
    return out;
}

TEST(MuxMerger, TwoStageWrapper) {
    WRAPPER_GRAPH g;
    EXPECT_EQ(g.merge(), "");
    const PB::MUX_DESCRIPTIONS& all = g.translator.get_mux_descriptions();
    // Merged once although the wrapper stands twice.
    ASSERT_EQ(all.mux_descriptions_size(), 4);
    EXPECT_FALSE(all.mux_descriptions(3).has_hipi_mux_type());
    EXPECT_EQ(text_of(all.mux_descriptions(3)),
              "WRAP template CLASS=H LENGTH=4 DIR=R IS_FIRST_STAGE=0 | ss drv fs0 fs1 "
              "| in0>out 0:muxin0 1:drvin 2:muxin0 | in1>out 0:muxin0 1:drvin 2:muxin1 "
              "| in2>out 0:muxin1 1:drvin 3:muxin0 | in3>out 0:muxin1 1:drvin 3:muxin1");
    EXPECT_EQ(nlg_clock_cell_set().size(), 0u);
}

TEST(MuxMerger, UnmergedStages) {
    // A buffer cell is never a stage.
    WRAPPER_GRAPH buffer("x_rt_buffer_y");
    EXPECT_EQ(buffer.merge(), "");
    EXPECT_EQ(buffer.translator.get_mux_descriptions().mux_descriptions_size(), 3);
    EXPECT_EQ(nlg_buffer_cell_set().count(buffer.t.graph().get_module(3)), 1u);

    // Without a first stage behind the output the trace never meets the wrapper.
    WRAPPER_GRAPH bare("SS", false);
    // Never closed, the wrapper is walked again at its second instance.
    const std::string once =
        "No output found for mux SS output muxout\n"
        "Warning: can't find new mux module for output ports on module SS\n";
    EXPECT_EQ(bare.merge(), once + once);
    EXPECT_EQ(bare.translator.get_mux_descriptions().mux_descriptions_size(), 3);
    // Regression: the buffer cell of the first graph once stayed in the process-wide set, where
    // a module of a later graph at the same address was taken for a buffer cell.
    EXPECT_EQ(nlg_buffer_cell_set().size(), 0u);
}

namespace {

// top: w0 of HWRAP. HWRAP: tin0, tin1 -> tm (T stage) -> latch.clk; min0, min1 -> mm (M stage)
// -> latch.din; latch.dout -> out. The latch is a first stage with a HIPI path from clk.
struct HIPI_GRAPH : MERGE_GRAPH {
    explicit HIPI_GRAPH(bool with_m_stage) {
        NLG_MODULE* top = t.module("top");
        NLG_MODULE* wrap =
            t.cell("HWRAP", with_m_stage ? ">out tin0 tin1 min0 min1" : ">out tin0 tin1");
        t.cell("LATCH", "din clk >dout");
        t.cell("TM", "muxin0 muxin1 >muxout");
        t.instances(wrap, "latch:LATCH tm:TM");
        t.wire(wrap,
               "o: out latch.dout; n_tin0: tin0 tm.muxin0; n_tin1: tin1 tm.muxin1;"
               "n_tm: tm.muxout latch.clk");
        translator.add_mux("LATCH", true, "\"HIPI\"", "1000", "\"\"", false, {});
        translator.add_mux("TM", true, "\"TMUX\"", "4", "\"R\"", false,
                           {"muxin0", "muxin1", "muxout"});
        if (with_m_stage) {
            t.cell("MM", "muxin0 muxin1 >muxout");
            t.instances(wrap, "mm:MM");
            t.wire(wrap,
                   "n_min0: min0 mm.muxin0; n_min1: min1 mm.muxin1; n_mm: mm.muxout latch.din");
            translator.add_mux("MM", true, "\"MMUX\"", "4", "\"R\"", false,
                               {"muxin0", "muxin1", "muxout"});
        }
        t.instances(top, "w0:HWRAP");
    }
};

}  // namespace

TEST(MuxMerger, HipiStagesShareOneDescription) {
    HIPI_GRAPH g(true);
    EXPECT_EQ(g.merge(), "");
    const PB::MUX_DESCRIPTIONS& all = g.translator.get_mux_descriptions();
    ASSERT_EQ(all.mux_descriptions_size(), 4);
    // The T stage reaches the output by the latch's clock: it is the HIPI stage, and the
    // parameters are those of the M stage.
    EXPECT_EQ(all.mux_descriptions(3).hipi_mux_type(), PB::MUX_DESCRIPTION::HIPI_T_MUX);
    EXPECT_EQ(text_of(all.mux_descriptions(3)),
              "HWRAP template CLASS=HIPI_M_MUX LENGTH=4 DIR=R IS_FIRST_STAGE=0 | tm latch mm "
              "| tin0>out! 0:muxin0 1:clk | tin1>out! 0:muxin1 1:clk | min0>out 2:muxin0 1:din "
              "| min1>out 2:muxin1 1:din");
}

TEST(MuxMerger, WrapperWithoutParameters) {
    HIPI_GRAPH g(false);
    EXPECT_EQ(g.merge(), "/w0\nWarning: mux module HWRAP does not have any paramters!\n");
    const PB::MUX_DESCRIPTION& d = g.translator.get_mux_descriptions().mux_descriptions(2);
    EXPECT_EQ(d.mux_params_size(), 0);
    EXPECT_EQ(d.mux_paths_size(), 2);

    NLG_ANNSS annss(g.t.graph());
    annss.add_type(PB::ANNS::ICDB);
    TSL_MUX_MERGER merger(&annss, &g.translator);
    EXPECT_FATAL(merger.exit_instance(*g.t.graph().get_module(0)->get_instance(0)),
                 "Traverse is unset for visitor TSL_RE_FINDER!");
}
