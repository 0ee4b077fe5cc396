// The floorplan of a small device read through the run object: a hand-computed table of
// modules, ports, instances and grid; the generator's edge cases and fatal texts.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "device_files.h"
#include "fab/fab_serializer.h"
#include "fab/fab_test_device.h"
#include "fab/tsl_fab.h"
#include "floorplan_svg.h"
#include "nlg/nlg_api_impl.h"
#include "nlg_builders.h"

namespace {

using FAB_TEST::DEVICE;

// The run object after reading the four files of the small device, as a caller would.
struct RUN {
    std::unique_ptr<FAB::API> api{fab_create(nullptr, nullptr, false)};

    explicit RUN(const std::function<void(DEVICE&)>& change = nullptr) {
        DEVICE d;
        FAB_TEST::build(d);
        if (change) change(d);
        FAB_TEST::read_views(*api, *d.rtl, *d.rtl_annss, *d.blc, *d.blc_annss);
    }
};

// The floorplan of the small device.
TEST(Floorplan, SmallDeviceTable) {
    RUN run;
    std::unique_ptr<FAB::FLOORPLAN> fp(run.api->create_floorplan());
    // Module 0 is the device with the placed non-routing blocks (the spare tile's and the
    // routing blocks are absent); then every block-level module but the primitive mux.
    EXPECT_EQ(FAB_TEST::floorplan_text(*fp),
              "grid 2x5\n"
              "0 - - 0x0\n"
              "  inst lg -> 1 (1,0,0) (12.5,0) 'LOGIC_X1Y0'\n"
              "  inst lg -> 1 (1,3,0) (12.5,60) ''\n"
              "  inst io0 -> 2 (0,1,0) (0,20) ''\n"
              "1 LOGIC DEFAULT 1x2\n"
              "  port datain 0 1\n"
              "  port out 1 0\n"
              "  inst c0 -> 3 (0,0,0) (-1,-1) ''\n"
              "  inst c1 -> 3 (0,1,1) (-1,-1) ''\n"
              "  inst c2 -> 3 (-1,-1,-1) (-1,-1) ''\n"
              "2 IO - 0x0\n"
              "  port pad 2 0\n"
              "3 CELL DEFAULT 0x0\n"
              "  port a 0 0\n"
              "  port q 1 1\n"
              "  inst s -> 4 (1,0,0) (-1,-1) ''\n"
              "4 SUB DEFAULT 0x0\n");
    EXPECT_EQ(std::make_tuple(g_min_x, g_min_y, g_max_x, g_max_y), std::make_tuple(0, 0, 1, 4));
    // The run keeps the pieces it made; a second floorplan is refused.
    EXPECT_FATAL(run.api->create_floorplan(), "m_instance_tree == NULL");
}

TEST(Floorplan, UnplacedBlockKeepsUnknownPlaceAndLeavesTheGrid) {
    // io0 loses its flat record: it is still a block of the floorplan, at -1.
    RUN run([](DEVICE& d) {
        ICDB::INSTANCE_TREE tree(d.rtl.get());
        const int64_t io0 = static_cast<int64_t>(FAB_TEST::node_of(tree, "io0"));
        auto* entries = d.rtl_module("top").mutable_flat_instance_nodes();
        for (int k = 0; k < entries->size(); ++k)
            if (entries->Get(k).node() == io0) entries->DeleteSubrange(k, 1);
    });
    std::unique_ptr<FAB::FLOORPLAN> fp(run.api->create_floorplan());
    RUN placed;
    std::unique_ptr<FAB::FLOORPLAN> all(placed.api->create_floorplan());
    std::string expected = FAB_TEST::floorplan_text(*all);
    const std::string io0 = "inst io0 -> 2 (0,1,0) (0,20)";
    ASSERT_NE(expected.find(io0), std::string::npos);
    expected.replace(expected.find(io0), io0.size(), "inst io0 -> 2 (-1,-1,-1) (-1,-1)");
    EXPECT_EQ(FAB_TEST::floorplan_text(*fp), expected);
}

// Well-formedness of the small XML the picture uses: balanced, properly nested elements with
// quoted attributes. Gives the number of elements whose start tag holds `mark`, or -1.
int count_elements(const std::string& xml, const std::string& mark) {
    std::vector<std::string> open;
    int count = 0;
    size_t at = 0;
    while ((at = xml.find('<', at)) != std::string::npos) {
        const size_t end = xml.find('>', at);
        if (end == std::string::npos) return -1;
        std::string tag = xml.substr(at + 1, end - at - 1);
        at = end + 1;
        if (tag[0] == '?') continue;
        if (std::count(tag.begin(), tag.end(), '"') % 2) return -1;
        if (tag[0] == '/') {
            if (open.empty() || open.back() != tag.substr(1)) return -1;
            open.pop_back();
            continue;
        }
        if (tag.find(mark) != std::string::npos) ++count;
        if (tag.back() == '/') continue;
        open.push_back(tag.substr(0, tag.find(' ')));
    }
    return open.empty() ? count : -1;
}

TEST(Floorplan, PictureHasOneElementPerPlacedBlock) {
    RUN run;
    std::unique_ptr<FAB::FLOORPLAN> fp(run.api->create_floorplan());
    std::ostringstream svg;
    const FLOORPLAN_SVG_SUMMARY summary = write_floorplan_svg(*fp, svg);
    EXPECT_EQ(summary.placed, 3);
    EXPECT_EQ(summary.kinds, 2);
    EXPECT_EQ(count_elements(svg.str(), "class=\"block\""), 3);
    EXPECT_NE(svg.str().find("<title>lg LOGIC_X1Y0: LOGIC at column 1, row 0 (1 x 2)</title>"),
              std::string::npos);
    EXPECT_NE(svg.str().find(">IO (1)</text>"), std::string::npos);
}

const char* const UNKNOWN_BLOCK =
    "Block with unknown logical name or implementation, logical_name=%s, logical_impl=%s\n\t"
    "Ensure device level block AND blocks listed in floorplan (_attributes.xml or "
    "_elements.pb.txt) are listed in icd_to_pnr_mapping.txt.";

std::string unknown_block(const char* name, const char* impl) {
    char text[512];
    snprintf(text, sizeof(text), UNKNOWN_BLOCK, name, impl);
    return text;
}

TEST(Floorplan, BadDevicesEndWithTheirTexts) {
    std::unique_ptr<FAB::API> none(fab_create(nullptr, nullptr, false));
    EXPECT_FATAL(none->create_floorplan(), "m_rtl_graph");  // nothing read yet
    auto rename = [](NLG_GRAPH& g, PB::SYMBOL* symbol, const char* text) {
        symbol->set_value(g.get_symbol_table()->add(text).get_value());
    };
    const std::vector<std::pair<std::function<void(DEVICE&)>, std::string>> cases = {
        // A placed block without a logical name; one whose pair names no block-level module.
        {[](DEVICE& d) { d.rtl_module("logic_blk").clear_logical_name(); },
         unknown_block("UNKNOWN", "DEFAULT")},
        {[&](DEVICE& d) { rename(*d.rtl, d.rtl_module("io_blk").mutable_logical_impl(), "FAST"); },
         "module def has not been possessed. name:IO__FAST"},
        // A block-level module without its pair, and one not named after its key.
        {[](DEVICE& d) { d.blc_module("SUB").clear_logical_impl(); },
         unknown_block("SUB", "UNKNOWN")},
        {[&](DEVICE& d) { rename(*d.blc, d.blc_module("CELL").mutable_logical_name(), "CELLX"); },
         "module def has not been possessed. name:CELL"},
    };
    for (const auto& [change, text] : cases) {
        RUN run(change);
        EXPECT_FATAL(run.api->create_floorplan(), text);
    }
}

// The generator driven by hand over the device's objects.
struct GENERATOR {
    DEVICE d;
    FAB_FLOORPLAN_IMPL fp;
    FAB_FLOORPLAN_GENERATOR g{fp};
    GENERATOR() { FAB_TEST::build(d); }
    NLG_IMODULE* rtl(const char* name) { return d.rtl_of(name); }
    NLG_IMODULE* blc(const char* name) { return d.blc_of(name); }
};

// Two definitions with one key: the later one is found.
TEST(FloorplanGenerator, LaterDefinitionOfAKeyWins) {
    GENERATOR t;
    t.g.module_defs_begin(2);
    t.g.add_module_def(t.blc("LOGIC"), t.d.blc_module("LOGIC"));
    t.g.add_module_def(t.rtl("logic_blk"), t.d.rtl_module("logic_blk"));
    t.g.module_defs_end();
    t.g.module_bodies_begin(2);
    t.g.add_module_body(0);
    t.g.module_instances_begin(1);
    t.g.add_rtl_module_instance(t.rtl("tile")->get_instance(1), t.d.rtl_module("logic_blk"),
                                {1, 0, 0}, 1.0f, 2.0f, "");
    t.g.module_instances_end();
    EXPECT_EQ(&t.fp.get_module(0).get_instance(0).get_module(), &t.fp.get_module(1));
}

TEST(FloorplanGenerator, FatalTexts) {
    {
        FAB_FLOORPLAN_IMPL fp;
        EXPECT_FATAL(fp.get_module(0), "m_modules");
        fp.size_modules(1);
        EXPECT_FATAL(fp.get_module(0).get_port(0), "m_ports");
        EXPECT_FATAL(fp.get_module(0).get_instance(0), "m_instances");
        EXPECT_THROW(fp.get_module(1), std::out_of_range);
    }
    GENERATOR t;
    t.g.module_defs_begin(2);
    EXPECT_FATAL(t.g.module_defs_begin(2), "!num_modules");
    EXPECT_THROW(
        {
            t.g.add_module_def(t.blc("CELL"), t.d.blc_module("CELL"));
            t.g.add_module_def(t.blc("SUB"), t.d.blc_module("SUB"));
            t.g.add_module_def(t.blc("LOGIC"), t.d.blc_module("LOGIC"));
        },
        std::out_of_range);
    GENERATOR u;
    u.g.module_defs_begin(2);
    u.g.add_module_def(u.blc("CELL"), u.d.blc_module("CELL"));
    u.g.module_ports_begin(2);
    u.g.add_module_port(u.blc("CELL")->get_port(0),
                        u.d.blc_icdb().get_port(*u.blc("CELL")->get_port(0)));
    EXPECT_FATAL(u.g.module_ports_end(), "cur_module->get_n_ports() == port_count");
    EXPECT_FATAL(u.g.module_defs_end(), "module_count == num_modules");
    EXPECT_FATAL(u.g.module_bodies_begin(2), "!module_count");
    EXPECT_FATAL(u.g.module_bodies_begin(1), "m_fp.get_n_modules() == n_modules");
    GENERATOR v;
    v.g.module_defs_begin(2);
    v.g.add_module_def(v.blc("CELL"), v.d.blc_module("CELL"));
    v.g.add_module_def(v.blc("SUB"), v.d.blc_module("SUB"));
    v.g.module_defs_end();
    v.g.module_bodies_begin(2);
    EXPECT_FATAL(v.g.module_instances_begin(1), "cur_module");
    v.g.add_module_body(0);
    EXPECT_FATAL(v.g.add_module_body(1), "!cur_module");
    v.g.module_instances_begin(1);
    EXPECT_FATAL(v.g.module_instances_end(), "num_instances == instance_count");
    v.g.add_blc_module_instance(v.blc("CELL")->get_instance(0), {1, 0, 0});
    v.g.module_instances_end();
    EXPECT_FATAL(v.g.module_bodies_end(),
                 "Number of modules expected: 2. Number of module processed: 1");
}

// A generated device through its four files: the grid is the generator's, every placed block
// lies inside it where the generator put it, and every instance points at a definition of the
// floorplan that carries its name.
TEST(Floorplan, GeneratedDeviceInvariants) {
    FAB_TEST::DEVICE_FILES files("tiny");
    const DEVGEN::DG_DEVICE& device = files.m_device;
    std::unique_ptr<FAB::API> api(fab_create(nullptr, nullptr, false));
    FAB_TEST::read_run_files(*api, files.m_direct.path());
    std::unique_ptr<FAB::FLOORPLAN> fp(api->create_floorplan());

    ASSERT_EQ(fp->get_columns(), static_cast<uint32_t>(device.grid_cols()));
    ASSERT_EQ(fp->get_rows(), static_cast<uint32_t>(device.grid_rows()));
    EXPECT_EQ(g_max_x, device.grid_cols() - 1);
    EXPECT_EQ(g_max_y, device.grid_rows() - 1);
    FAB::FLOORPLAN::MODULE& top = fp->get_module(0);
    EXPECT_EQ(top.get_logical_name(), "-");
    EXPECT_EQ(top.get_n_ports(), 0);

    // Placements the floorplan must hold: non-routing blocks off the spare rows.
    std::multimap<std::pair<int, int>, std::string> expected;
    for (const DEVGEN::DG_PLACEMENT& p : device.placements())
        if (!p.m_routing && !p.m_spare) expected.emplace(std::make_pair(p.m_col, p.m_row), p.m_uid);
    ASSERT_EQ(top.get_n_instances(), static_cast<int32_t>(expected.size()));
    for (int32_t i = 0; i < top.get_n_instances(); ++i) {
        FAB::FLOORPLAN::INSTANCE& block = top.get_instance(i);
        int32_t x, y, z;
        block.get_location(x, y, z);
        FAB::FLOORPLAN::MODULE& definition = block.get_module();
        EXPECT_TRUE(x >= 0 && y >= 0 && z == 0) << x << "," << y << "," << z;
        EXPECT_LE(x + std::max(1, definition.get_pnr_width()) - 1, g_max_x);
        EXPECT_LE(y + std::max(1, definition.get_pnr_height()) - 1, g_max_y);
        auto found = expected.equal_range({x, y});
        auto match = std::find_if(found.first, found.second,
                                  [&](const auto& e) { return e.second == block.get_uid(); });
        ASSERT_NE(match, found.second) << "no placement at " << x << "," << y;
        expected.erase(match);
    }
    // Every instance points at a definition of the floorplan other than the device.
    const std::string text = FAB_TEST::floorplan_text(*fp);
    EXPECT_EQ(text.find(" -> -1 "), std::string::npos) << text;
    EXPECT_EQ(text.find(" -> 0 "), std::string::npos) << text;
}

}  // namespace
