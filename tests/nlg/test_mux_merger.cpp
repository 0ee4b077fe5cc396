// The mux merger on a small two-stage wrapper built in memory: two first stages feed a second
// stage whose output leaves through a driver; the wrapper is instantiated twice.
#include <gtest/gtest.h>

#include <string>
#include <vector>

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
