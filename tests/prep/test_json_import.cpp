// Preparation through yosys: a small hand-written device read by yosys and imported (names,
// orders, buses, mux cells, counts against a recount of the JSON, a stable file), parameter
// texts, what bad JSON and rejected Verilog get. Tests that need yosys skip when it is absent.
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <map>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "nlg/nlg_graph.h"
#include "nlg/nlg_readwrite.h"
#include "prep/prep_json_import.h"
#include "prep/prep_json_reader.h"
#include "prep/prep_yosys.h"
#include "test_scratch.h"
#include "util/util_protobuf.h"

namespace {

const char* const CELLS_V = R"(
(* fab_mux *)
module mux2_fs #(parameter CLASS = "H", parameter LENGTH = 2, parameter DIR = "R")
    (input [1:0] muxin, input sel, output muxout);
endmodule
(* fab_mux *)
module hipi_latch #(parameter CLASS = "HIPI", parameter LENGTH = 1000, parameter DIR = "")
    (input din, input clk, output dout);
endmodule
(* fab_mux *)
module clk_mux2 (input [1:0] clkin, input clk_sel, output clkout);
endmodule
(* fab_primitive = 5 *)
module inv (input a, output y);
endmodule
(* blackbox *)
module \IO__- (input pad_i, output pad_o);
endmodule
(* fab_mux *)
module ghost_mux #(parameter CLASS = "H", parameter LENGTH = 3, parameter DIR = "R")
    (input \muxin[0] , output muxout);
endmodule
)";

// wrap is declared before the top, zf before af: module 0 is still the top, and instances keep
// the order in which the source declares them.
const char* const RTL_V = R"(
module wrap(input [3:0] in, output out);
  wire a, b, c;
  mux2_fs #(.LENGTH(1000)) zf (.muxin(in[1:0]), .sel(1'b0), .muxout(a));
  mux2_fs #(.LENGTH(1000)) af (.muxin(in[3:2]), .muxout(b));
  clk_mux2 c_dolsgn_sb_dolsgn_0 (.clkin({b, a}), .clkout(c));
  hipi_latch l (.din(c), .clk(1'b0), .dout(out));
endmodule
module device_top(input [3:0] in, output [0:1] up, inout bi);
  wrap w0 (.in(in), .out(up[0]));
  \IO__- io (.pad_i(in[0]), .pad_o());
  inv i0 (.a(in[1]), .y(up[1]));
endmodule
)";

bool have_yosys() {
    return PREP_YOSYS().available();
}

// yosys on the small device, into folder; the JSON text.
std::string run_small_device(const TEST_SCRATCH& folder, bool auto_top) {
    folder.write("cells.v", CELLS_V);
    folder.write("rtl.v", RTL_V);
    PREP_YOSYS_JOB job{{"cells.v"}, {"rtl.v"},  auto_top ? "" : "device_top",
                       auto_top,    "rtl.json", folder.path()};
    PREP_YOSYS yosys;
    EXPECT_TRUE(yosys.run(job)) << yosys.get_error().m_message;
    return folder.read("rtl.json");
}

// Names of a module's ports, or of its instances, in index order.
std::vector<std::string> names(const NLG_IMODULE* m, bool instances) {
    std::vector<std::string> out;
    const int32_t n = static_cast<int32_t>(instances ? m->get_num_instances() : m->get_num_ports());
    for (int32_t k = 0; k < n; ++k)
        out.push_back(instances ? m->get_instance(k)->get_name().get_name()
                                : m->get_port(k)->get_name().get_name());
    return out;
}

std::string graph_bytes(const NLG_GRAPH& graph) {
    std::ostringstream out;
    EXPECT_TRUE(nlg_graph_readwrite().write(graph, out, UTIL::PB_BIN));
    return out.str();
}

// Counts of one module straight from the JSON: ports by bits, cells, and nets as the signal
// bits that two or more port bits and pins share.
struct JSON_COUNTS {
    size_t m_ports = 0, m_instances = 0, m_nets = 0;
};

JSON_COUNTS recount(const nlohmann::json& module) {
    JSON_COUNTS counts;
    std::map<int64_t, int> ends;
    for (const auto& port : module["ports"]) {
        counts.m_ports += port["bits"].size();
        for (const auto& bit : port["bits"])
            if (bit.is_number()) ++ends[bit.get<int64_t>()];
    }
    if (module["attributes"].contains("blackbox")) return counts;
    for (const auto& cell : module["cells"]) {
        ++counts.m_instances;
        for (const auto& connection : cell["connections"])
            for (const auto& bit : connection)
                if (bit.is_number()) ++ends[bit.get<int64_t>()];
    }
    for (const auto& entry : ends) counts.m_nets += entry.second >= 2 ? 1 : 0;
    return counts;
}

}  // namespace

TEST(PrepParameterText, StringsAndNumbersAsTheRtlWroteThem) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"00000000000000000000001111101000", "1000"},  // a 32-bit integer
        {"101", "5"},
        {"11111111111111111111111111111111", "-1"},  // 32 bits read as signed
        {"1x0", "1x0"},                              // undefined bits stay bits
        {"H", "\"H\""},
        {"LEIM_FIRST_STAGE", "\"LEIM_FIRST_STAGE\""},
        {" ", "\"\""},          // an empty string, marked by yosys with one blank
        {"1010 ", "\"1010\""},  // a string of bit characters, marked likewise
        {"a b ", "\"a b \""},
    };
    for (const auto& [yosys, text] : cases) EXPECT_EQ(prep_parameter_text(yosys), text) << yosys;
}

TEST(PrepNaturalOrder, DigitRunsCompareByValue) {
    EXPECT_TRUE(prep_natural_less("g[2].u", "g[10].u"));
    EXPECT_FALSE(prep_natural_less("g[10].u", "g[2].u"));
    EXPECT_TRUE(prep_natural_less("a", "b"));
    EXPECT_TRUE(prep_natural_less("t_x1_y2", "t_x1_y10"));
    EXPECT_FALSE(prep_natural_less("x", "x"));
}

TEST(PrepImport, SmallDeviceNamesOrdersAndMuxCells) {
    if (!have_yosys()) GTEST_SKIP() << "yosys is not installed";
    TEST_SCRATCH folder;
    std::istringstream json(run_small_device(folder, false));
    PREP_JSON_IMPORT importer({"cells.v", "rtl.v"});
    NLG_GRAPH graph(nullptr, nullptr, 0);
    ASSERT_TRUE(importer.import(json, PREP_JSON_IMPORT::TOP_BY_NAME, "device_top", &graph))
        << importer.get_error().m_message;

    // The top first, then source order; ghost_mux is not reached and stays out.
    std::vector<std::string> modules;
    for (uint32_t m = 0; m < graph.get_num_modules(); ++m)
        modules.push_back(graph.get_module(static_cast<int32_t>(m))->get_name().get_name());
    EXPECT_EQ(modules, (std::vector<std::string>{"device_top", "mux2_fs", "hipi_latch", "clk_mux2",
                                                 "inv", "IO__-", "wrap"}));

    const NLG_IMODULE* top = graph.get_top_module();
    EXPECT_EQ(names(top, false), (std::vector<std::string>{"in[0]", "in[1]", "in[2]", "in[3]",
                                                           "up[0]", "up[1]", "bi"}));
    EXPECT_EQ(top->get_port(6)->get_direction(), 2u);
    EXPECT_EQ(names(top, true), (std::vector<std::string>{"w0", "io", "i0"}));
    const NLG_IMODULE* wrap = graph.get_module(6);
    EXPECT_EQ(names(wrap, true),
              (std::vector<std::string>{"zf", "af", "c_dolsgn_sb_dolsgn_0", "l"}));
    EXPECT_EQ(graph.get_module(4)->get_primitive_type(), 5u);
    EXPECT_TRUE(graph.get_module(5)->is_leaf());

    // up is declared [0:1]: its bit up[1] is what the inverter drives.
    const NLG_IINSTANCE* i0 = top->get_instance(2);
    const NLG_IPORT_REF* y = i0->get_portref(i0->get_module()->get_port(1));
    ASSERT_NE(y, nullptr);
    ASSERT_NE(y->get_net(), nullptr);
    EXPECT_EQ(y->get_net()->get_name().get_name(), "up[1]");
    EXPECT_EQ(y->get_net()->get_port(0)->get_name().get_name(), "up[1]");
    // Constants and open pins have no reference: zf.sel, l.clk, io.pad_o.
    EXPECT_EQ(wrap->get_instance(0)->get_num_portrefs(), 3u);
    EXPECT_EQ(wrap->get_instance(3)->get_num_portrefs(), 2u);
    EXPECT_EQ(top->get_instance(1)->get_num_portrefs(), 1u);

    const std::vector<PREP_MUX_CELL>& cells = importer.get_mux_cells();
    ASSERT_EQ(cells.size(), 4u);
    const std::vector<std::vector<std::string>> expected = {
        {"mux2_fs", "1", "\"H\"", "1000", "\"R\"", "muxin[0] muxin[1] sel muxout"},
        {"hipi_latch", "1", "\"HIPI\"", "1000", "\"\"", "din clk dout"},
        {"clk_mux2", "0", "", "", "", "clkin[0] clkin[1] clk_sel clkout"},
        {"ghost_mux", "1", "\"H\"", "3", "\"R\"", "muxin[0] muxout"},
    };
    for (size_t c = 0; c < cells.size(); ++c) {
        std::string ports;
        for (const std::string& p : cells[c].m_ports) ports += (ports.empty() ? "" : " ") + p;
        EXPECT_EQ(
            (std::vector<std::string>{cells[c].m_module, cells[c].m_is_template ? "1" : "0",
                                      cells[c].m_class, cells[c].m_length, cells[c].m_dir, ports}),
            expected[c]);
    }
}

TEST(PrepImport, CountsAgreeWithTheJsonAndFilesAreStable) {
    if (!have_yosys()) GTEST_SKIP() << "yosys is not installed";
    TEST_SCRATCH folder;
    const std::string text = run_small_device(folder, true);
    const nlohmann::json json = nlohmann::json::parse(text);

    std::string first_bytes;
    for (int run = 0; run < 2; ++run) {
        std::istringstream in(text);
        PREP_JSON_IMPORT importer({"cells.v", "rtl.v"});
        NLG_GRAPH graph(nullptr, nullptr, 0);
        ASSERT_TRUE(importer.import(in, PREP_JSON_IMPORT::TOP_BY_ATTRIBUTE, "", &graph))
            << importer.get_error().m_message;
        EXPECT_EQ(graph.get_top_module()->get_name().get_name(), "device_top");

        PREP_IMPORT_COUNTS sum;
        for (uint32_t i = 0; i < graph.get_num_modules(); ++i) {
            const NLG_IMODULE* m = graph.get_module(static_cast<int32_t>(i));
            const JSON_COUNTS expected = recount(json["modules"][m->get_name().get_name()]);
            EXPECT_EQ(
                std::make_tuple(m->get_num_ports(), m->get_num_instances(), m->get_num_nets()),
                std::make_tuple(expected.m_ports, expected.m_instances, expected.m_nets))
                << m->get_name().get_name();
            sum.m_ports += m->get_num_ports();
            sum.m_instances += m->get_num_instances();
            sum.m_nets += m->get_num_nets();
        }
        EXPECT_EQ(json["modules"].size(), graph.get_num_modules() + 1);  // ghost_mux
        const PREP_IMPORT_COUNTS& counts = importer.get_counts();
        EXPECT_EQ(
            std::make_tuple(counts.m_modules, counts.m_ports, counts.m_instances, counts.m_nets),
            std::make_tuple(graph.get_num_modules(), sum.m_ports, sum.m_instances, sum.m_nets));
        EXPECT_EQ(sum.m_nets, 14u);  // by hand: 6 in the top, 8 in wrap

        // The file reads back to the same bytes, and a second import writes the same file.
        const std::string bytes = graph_bytes(graph);
        NLG_GRAPH back(nullptr, nullptr, 0);
        std::istringstream file(bytes);
        ASSERT_TRUE(nlg_graph_readwrite().read(&back, file, UTIL::PB_BIN));
        EXPECT_EQ(graph_bytes(back), bytes);
        if (run == 0) first_bytes = bytes;
        EXPECT_EQ(bytes, first_bytes);
    }
}

TEST(PrepImport, BadNetlistsGetOneLineNamingTheModule) {
    const std::string top_with = R"({"modules": {"top": {"attributes": {}, "ports": {}, "cells": )";
    const std::string mux_m =
        R"("m": {"attributes": {"fab_mux": "1"}, "parameter_default_values": {"CLASS": "H"},)"
        R"( "ports": {"i": {"direction": "input", "bits": [2]}}, "cells": {}, "netnames": {}})";
    const std::vector<std::pair<std::string, std::string>> cases = {
        {top_with + R"({"u": {"type": "foo", "connections": {}}}, "netnames": {}}}})",
         "module top: cell u is of module foo, which the netlist does not define"},
        {top_with +
             R"({"u": {"type": "m", "parameters": {}, "connections": {}}}, "netnames": {}},)" +
             mux_m + "}}",
         "mux cell m: has CLASS but no LENGTH"},
        {top_with +
             R"({"u1": {"type": "m", "parameters": {"LENGTH": "1111101000", "DIR": "R"},)"
             R"( "connections": {}}, "u2": {"type": "m", "parameters": {"LENGTH": "1010",)"
             R"( "DIR": "R"}, "connections": {}}}, "netnames": {}},)" +
             mux_m + "}}",
         "mux cell m: instance u2 in module top has LENGTH 10, but instance u1 in module top has "
         "1000"},
        {top_with + R"({"u": {"type": "m", "connections": {"q": [3]}}}, "netnames": {}},)" + mux_m +
             "}}",
         "module top: cell u connects port q, which module m does not have"},
        {top_with + R"({"u": {"type": "m", "connections": {"i": [3, 4]}}}, "netnames": {}},)" +
             mux_m + "}}",
         "module top: cell u connects 2 bits to port i of 1 bits"},
        {R"({"modules": {"top": {"ports": {"p": {"direction": "sideways", "bits": [2]}}}}})",
         "module top: port p has direction sideways"},
        {R"({"modules": {"other": {"ports": {}}}})", "top module top is not in the netlist"},
    };
    for (const auto& [json, message] : cases) {
        std::istringstream in(json);
        PREP_JSON_IMPORT importer({});
        NLG_GRAPH graph(nullptr, nullptr, 0);
        EXPECT_FALSE(importer.import(in, PREP_JSON_IMPORT::TOP_BY_NAME, "top", &graph));
        EXPECT_EQ(importer.get_error().m_message, message);
    }
    std::istringstream cut(R"({"modules": {"top": )");
    PREP_JSON_IMPORT importer({});
    NLG_GRAPH graph(nullptr, nullptr, 0);
    EXPECT_FALSE(importer.import(cut, PREP_JSON_IMPORT::TOP_BY_NAME, "top", &graph));
    EXPECT_EQ(importer.get_error().m_message.rfind("not a yosys netlist: ", 0), 0u);
    EXPECT_EQ(importer.get_error().m_message.find('\n'), std::string::npos);
}

TEST(PrepYosys, RejectedVerilogIsYosysOwnMessage) {
    if (!have_yosys()) GTEST_SKIP() << "yosys is not installed";
    // A syntax error's line is checked through the flow; here, an error without a file.
    TEST_SCRATCH folder;
    folder.write("miss.v", "module t(input a); foo u(.x(a)); endmodule\n");
    PREP_YOSYS_JOB job{{}, {"miss.v"}, "t", false, "miss.json", folder.path()};
    PREP_YOSYS yosys;
    EXPECT_FALSE(yosys.run(job));
    EXPECT_EQ(yosys.get_error().m_message,
              "ERROR: Module `\\foo' referenced in module `\\t' in cell `\\u' is not part of the "
              "design.");

    job.m_json = "two words.json";
    EXPECT_FALSE(yosys.run(job));
    EXPECT_EQ(yosys.get_error().m_message, "name not usable in a yosys script: 'two words.json'");
    EXPECT_FALSE(PREP_YOSYS("/nonexistent/yosys").available());
}
