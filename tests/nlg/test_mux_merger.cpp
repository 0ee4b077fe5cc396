// The mux merger on a small two-stage wrapper built in memory: two first stages feed a second
// stage whose output leaves through a driver; the wrapper is instantiated twice.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ann/annss.h"
#include "nlg/nlg_mux_merger.h"
#include "nlg/nlg_mux_translator.h"
#include "nlg/nlg_test_trace_graph.h"
#include "nlg/nlg_test_util.h"

namespace {

struct WRAPPER_GRAPH {
    NLG_TEST::TRACE_GRAPH t;
    NLG_MUX_TRANSLATOR translator;

    // top: w0, w1 of WRAP. WRAP: in0..in3 -> fs0, fs1 (first stages) -> ss -> drv -> out.
    WRAPPER_GRAPH(const std::string& stage_name = "SS", bool with_driver = true) {
        NLG_MODULE* top = t.module("top");
        NLG_MODULE* wrap = t.module("WRAP");
        NLG_MODULE* fs = cell("FS", {"muxin0", "muxin1"}, "muxout");
        NLG_MODULE* ss = cell(stage_name, {"muxin0", "muxin1"}, "muxout");
        NLG_MODULE* drv = cell("DRV", {"drvin"}, "drvout");
        std::vector<NLG_PORT*> in;
        for (int i = 0; i < 4; ++i)
            in.push_back(t.port(wrap, "in" + std::to_string(i), NLG_IPORT::INPUT));
        NLG_PORT* out = t.port(wrap, "out", NLG_IPORT::OUTPUT);
        NLG_INSTANCE* fs0 = t.instance(wrap, "fs0", fs);
        NLG_INSTANCE* fs1 = t.instance(wrap, "fs1", fs);
        NLG_INSTANCE* s = t.instance(wrap, "ss", ss);
        t.pin(fs0, "muxin0", t.net(wrap, "n0", {in[0]}));
        t.pin(fs0, "muxin1", t.net(wrap, "n1", {in[1]}));
        t.pin(fs1, "muxin0", t.net(wrap, "n2", {in[2]}));
        t.pin(fs1, "muxin1", t.net(wrap, "n3", {in[3]}));
        NLG_NET* a = t.net(wrap, "a");
        NLG_NET* b = t.net(wrap, "b");
        t.pin(fs0, "muxout", a);
        t.pin(fs1, "muxout", b);
        t.pin(s, "muxin0", a);
        t.pin(s, "muxin1", b);
        if (with_driver) {
            NLG_INSTANCE* d = t.instance(wrap, "drv", drv);
            NLG_NET* c = t.net(wrap, "c");
            t.pin(s, "muxout", c);
            t.pin(d, "drvin", c);
            t.pin(d, "drvout", t.net(wrap, "o", {out}));
        } else {
            t.pin(s, "muxout", t.net(wrap, "o", {out}));
        }
        t.instance(top, "w0", wrap);
        t.instance(top, "w1", wrap);

        translator.add_mux("FS", true, "\"H\"", "1000", "\"R\"", false,
                           {"muxin0", "muxin1", "muxout"});
        translator.add_mux(stage_name, true, "\"H\"", "4", "\"R\"", false,
                           {"muxin0", "sel", "muxin1", "muxout"});
        translator.add_mux("DRV", true, "\"H\"", "1000", "\"R\"", false, {"drvin", "drvout"});
    }
    NLG_MODULE* cell(const std::string& name, std::vector<std::string> ins,
                     const std::string& out) {
        NLG_MODULE* m = t.module(name);
        for (const std::string& in : ins) t.port(m, in, NLG_IPORT::INPUT);
        t.port(m, out, NLG_IPORT::OUTPUT);
        return m;
    }
    std::string merge() {
        testing::internal::CaptureStdout();
        translator.merge_muxes(&t.graph());
        return testing::internal::GetCapturedStdout();
    }
};

}  // namespace

TEST(MuxMerger, TwoStageWrapper) {
    WRAPPER_GRAPH g;
    EXPECT_EQ(g.merge(), "");
    const PB::MUX_DESCRIPTIONS& all = g.translator.get_mux_descriptions();
    // Merged once although the wrapper stands twice.
    ASSERT_EQ(all.mux_descriptions_size(), 4);
    const PB::MUX_DESCRIPTION& d = all.mux_descriptions(3);
    EXPECT_EQ(d.name(), "WRAP");
    EXPECT_TRUE(d.is_template());
    EXPECT_FALSE(d.has_hipi_mux_type());
    const char* params[][2] = {
        {"CLASS", "H"}, {"LENGTH", "4"}, {"DIR", "R"}, {"IS_FIRST_STAGE", "0"}};
    ASSERT_EQ(d.mux_params_size(), 4);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(d.mux_params(i).name(), params[i][0]);
        EXPECT_EQ(d.mux_params(i).value(), params[i][1]);
    }
    const std::vector<std::string> subpaths = {"ss", "drv", "fs0", "fs1"};
    ASSERT_EQ(d.subpaths_size(), 4);
    for (int i = 0; i < 4; ++i) {
        ASSERT_EQ(d.subpaths(i).name_size(), 1);
        EXPECT_EQ(d.subpaths(i).name(0), subpaths[i]);
    }
    struct PATH {
        const char* in;
        const char* stage_in;
        uint32_t first_stage;
        const char* first_stage_in;
    };
    const PATH paths[] = {{"in0", "muxin0", 2, "muxin0"},
                          {"in1", "muxin0", 2, "muxin1"},
                          {"in2", "muxin1", 3, "muxin0"},
                          {"in3", "muxin1", 3, "muxin1"}};
    ASSERT_EQ(d.mux_paths_size(), 4);
    ASSERT_EQ(d.settings_size(), 4);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(d.mux_paths(i).in(), paths[i].in);
        EXPECT_EQ(d.mux_paths(i).out(), "out");
        EXPECT_TRUE(d.mux_paths(i).has_is_hipi_path());
        EXPECT_FALSE(d.mux_paths(i).is_hipi_path());
        const PB::MUX_DESCRIPTION::SETTINGS& s = d.settings(i);
        EXPECT_EQ(s.path_index(), static_cast<uint32_t>(i));
        ASSERT_EQ(s.setting_size(), 3);
        EXPECT_EQ(s.setting(0).subpath_index(), 0u);
        EXPECT_EQ(s.setting(0).value(), paths[i].stage_in);
        EXPECT_EQ(s.setting(1).subpath_index(), 1u);
        EXPECT_EQ(s.setting(1).value(), "drvin");
        EXPECT_EQ(s.setting(2).subpath_index(), paths[i].first_stage);
        EXPECT_EQ(s.setting(2).value(), paths[i].first_stage_in);
    }
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
}

namespace {

// top: w0 of HWRAP. HWRAP: tin0, tin1 -> tm (T stage) -> latch.clk; min0, min1 -> mm (M stage)
// -> latch.din; latch.dout -> out. The latch is a first stage with a HIPI path from clk.
struct HIPI_GRAPH {
    NLG_TEST::TRACE_GRAPH t;
    NLG_MUX_TRANSLATOR translator;

    explicit HIPI_GRAPH(bool with_m_stage) {
        NLG_MODULE* top = t.module("top");
        NLG_MODULE* wrap = t.module("HWRAP");
        NLG_MODULE* latch = t.module("LATCH");
        t.port(latch, "din", NLG_IPORT::INPUT);
        t.port(latch, "clk", NLG_IPORT::INPUT);
        t.port(latch, "dout", NLG_IPORT::OUTPUT);
        NLG_INSTANCE* l = t.instance(wrap, "latch", latch);
        t.pin(l, "dout", t.net(wrap, "o", {t.port(wrap, "out", NLG_IPORT::OUTPUT)}));
        stage(wrap, "TM", "tm", "t", l, "clk");
        translator.add_mux("LATCH", true, "\"HIPI\"", "1000", "\"\"", false, {});
        translator.add_mux("TM", true, "\"TMUX\"", "4", "\"R\"", false,
                           {"muxin0", "muxin1", "muxout"});
        if (with_m_stage) {
            stage(wrap, "MM", "mm", "m", l, "din");
            translator.add_mux("MM", true, "\"MMUX\"", "4", "\"R\"", false,
                               {"muxin0", "muxin1", "muxout"});
        }
        t.instance(top, "w0", wrap);
    }
    void stage(NLG_MODULE* wrap, const std::string& module, const std::string& name,
               const std::string& prefix, NLG_INSTANCE* latch, const std::string& latch_pin) {
        NLG_MODULE* m = t.module(module);
        t.port(m, "muxin0", NLG_IPORT::INPUT);
        t.port(m, "muxin1", NLG_IPORT::INPUT);
        t.port(m, "muxout", NLG_IPORT::OUTPUT);
        NLG_INSTANCE* s = t.instance(wrap, name, m);
        for (int i = 0; i < 2; ++i) {
            std::string in = prefix + "in" + std::to_string(i);
            t.pin(s, "muxin" + std::to_string(i),
                  t.net(wrap, "n_" + in, {t.port(wrap, in, NLG_IPORT::INPUT)}));
        }
        NLG_NET* n = t.net(wrap, "n_" + name);
        t.pin(s, "muxout", n);
        t.pin(latch, latch_pin, n);
    }
    std::string merge() {
        testing::internal::CaptureStdout();
        translator.merge_muxes(&t.graph());
        return testing::internal::GetCapturedStdout();
    }
};

std::string settings_text(const PB::MUX_DESCRIPTION& d, int path) {
    std::string out;
    for (const auto& s : d.settings(path).setting())
        out += std::to_string(s.subpath_index()) + ":" + s.value() + " ";
    return out;
}

}  // namespace

TEST(MuxMerger, HipiStagesShareOneDescription) {
    HIPI_GRAPH g(true);
    EXPECT_EQ(g.merge(), "");
    const PB::MUX_DESCRIPTIONS& all = g.translator.get_mux_descriptions();
    ASSERT_EQ(all.mux_descriptions_size(), 4);
    const PB::MUX_DESCRIPTION& d = all.mux_descriptions(3);
    EXPECT_EQ(d.name(), "HWRAP");
    // The T stage reaches the output by the latch's clock: it is the HIPI stage, and the
    // parameters are those of the M stage.
    EXPECT_EQ(d.hipi_mux_type(), PB::MUX_DESCRIPTION::HIPI_T_MUX);
    ASSERT_EQ(d.mux_params_size(), 4);
    EXPECT_EQ(d.mux_params(0).value(), "HIPI_M_MUX");
    EXPECT_EQ(d.mux_params(1).value(), "4");
    EXPECT_EQ(d.mux_params(2).value(), "R");
    const char* ins[] = {"tin0", "tin1", "min0", "min1"};
    const char* settings[] = {"0:muxin0 1:clk ", "0:muxin1 1:clk ", "2:muxin0 1:din ",
                              "2:muxin1 1:din "};
    ASSERT_EQ(d.mux_paths_size(), 4);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(d.mux_paths(i).in(), ins[i]);
        EXPECT_EQ(d.mux_paths(i).out(), "out");
        EXPECT_EQ(d.mux_paths(i).is_hipi_path(), i < 2);
        EXPECT_EQ(settings_text(d, i), settings[i]);
    }
    ASSERT_EQ(d.subpaths_size(), 3);
    EXPECT_EQ(d.subpaths(1).name(0), "latch");
    EXPECT_EQ(d.subpaths(2).name(0), "mm");
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
