// The floorplan feed's pieces on a small netlist: mux descriptions by mux index with gaps
// filled, the first module of an index kept, every mux module reported to the block table,
// and the global GID types.
#include <gtest/gtest.h>

#include "fab/tsl_fab.h"
#include "nlg_builders.h"
#include "print_form.h"
#include "util/util_modules.h"
#include "util/util_symbol_file.h"
#include "util/util_tlblocks.h"

TEST(TranslateFeed, MuxDescriptionsByIndexAndGlobalTypes) {
    NLG_TEST::TRACE_GRAPH t;
    NLG_MODULE* top = t.module("TOP");
    NLG_MODULE* first = t.cell("M5A", "a >y");
    NLG_MODULE* second = t.cell("M5B", "a >y");
    t.instances(top, "i_M5A:M5A i_M5B:M5B");
    for (NLG_MODULE* m : {first, second}) {
        merge_text(t.rec(m), "level: PRIM_MUX mux_index: 5");
        t.set_mux(m, true, false, {{0, 1}});
        t.rec(m).mutable_paths(0)->set_is_hipi_path(true);
    }

    std::unique_ptr<UTIL::IHIERARCHY::IMODULES> modules(t.graph().create_hmodules());
    UTIL::HIERARCHY hierarchy(modules.get());
    UTIL::SYMBOL_FILE file;
    file.set_internal_const(t.graph().get_symbol_table());
    UTIL::TLBLOCKS_BUILDER tlblocks;
    tlblocks.set_hierarchy(&hierarchy);
    tlblocks.set_symbol_file(&file);
    PB::MUX_DESCRIPTIONS d;
    const std::string notices = stdout_of(
        [&] { d = fab_collect_mux_descriptions(&t.graph(), &t.annotations(), &tlblocks); });
    std::string unknown, gaps;
    for (int i = 0; i < 5; ++i) {
        unknown += "mux_descriptions { is_template: false name: \"<UNKNOWN_MUX>\" } ";
        gaps += "Unknown description for mux_index = " + std::to_string(i) + "\n";
    }
    EXPECT_EQ(
        d.ShortDebugString(),
        unknown +
            "mux_descriptions { is_template: true name: \"M5A\" mux_ipaths { in: 0 out: 1 } }");
    EXPECT_EQ(notices, gaps);
    EXPECT_EQ(tlblocks.get_mux_index(static_cast<uint32_t>(first->get_index())), 5u);
    EXPECT_EQ(tlblocks.get_mux_index(static_cast<uint32_t>(second->get_index())), 5u);

    NLG_TEST::TRACE_GRAPH none;
    none.module("TOP");
    EXPECT_EQ(fab_collect_mux_descriptions(&none.graph(), &none.annotations(), nullptr)
                  .mux_descriptions_size(),
              0);

    const GLOBAL_GID_TYPES types = fab_global_gid_types(t.graph().get_symbol_table());
    ASSERT_EQ(types.size(), 28u);
    std::string named;
    for (int k : {0, 13, 14, 27})
        named += UTIL::fast_name(types[k].first) + std::to_string(types[k].second) + " ";
    EXPECT_EQ(named, "LL-1 HIPI_LATCH-1 H2 V32 ");
}
