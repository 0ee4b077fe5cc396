// The floorplan feed's pieces on a small netlist: mux descriptions by mux index with gaps
// filled, the first module of an index kept, every mux module reported to the block table,
// and the global GID types.
#include <gtest/gtest.h>

#include "fab/tsl_fab.h"
#include "nlg_builders.h"
#include "util/util_modules.h"
#include "util/util_symbol_file.h"
#include "util/util_tlblocks.h"

TEST(TranslateFeed, MuxDescriptionsByIndexAndGlobalTypes) {
    NLG_TEST::TRACE_GRAPH t;
    NLG_MODULE* top = t.module("TOP");
    NLG_MODULE* first = t.module("M5A");
    NLG_MODULE* second = t.module("M5B");
    for (NLG_MODULE* m : {first, second}) {
        t.port(m, "a", NLG_IPORT::INPUT);
        t.port(m, "y", NLG_IPORT::OUTPUT);
        t.instance(top, std::string("i_") + UTIL::fast_name(m->get_name()), m);
    }
    for (NLG_MODULE* m : {first, second}) {
        PB::ICDB::MODULE& r = t.rec(m);
        r.set_level(PB::ICDB::MODULE::PRIM_MUX);
        r.set_mux_index(5);
        t.set_mux(m, true, false, {{0, 1}});
        r.mutable_paths(0)->set_is_hipi_path(true);
    }

    std::unique_ptr<UTIL::IHIERARCHY::IMODULES> modules(t.graph().create_hmodules());
    UTIL::HIERARCHY hierarchy(modules.get());
    UTIL::SYMBOL_FILE file;
    file.set_internal_const(t.graph().get_symbol_table());
    UTIL::TLBLOCKS_BUILDER tlblocks;
    tlblocks.set_hierarchy(&hierarchy);
    tlblocks.set_symbol_file(&file);
    testing::internal::CaptureStdout();
    PB::MUX_DESCRIPTIONS d = fab_collect_mux_descriptions(&t.graph(), &t.annotations(), &tlblocks);
    std::string notices = testing::internal::GetCapturedStdout();
    std::string unknown;
    for (int i = 0; i < 5; ++i)
        unknown += "mux_descriptions { is_template: false name: \"<UNKNOWN_MUX>\" } ";
    EXPECT_EQ(
        d.ShortDebugString(),
        unknown +
            "mux_descriptions { is_template: true name: \"M5A\" mux_ipaths { in: 0 out: 1 } }");
    EXPECT_EQ(notices,
              "Unknown description for mux_index = 0\nUnknown description for mux_index = 1\n"
              "Unknown description for mux_index = 2\nUnknown description for mux_index = 3\n"
              "Unknown description for mux_index = 4\n");
    EXPECT_EQ(tlblocks.get_mux_index(static_cast<uint32_t>(first->get_index())), 5u);
    EXPECT_EQ(tlblocks.get_mux_index(static_cast<uint32_t>(second->get_index())), 5u);

    NLG_TEST::TRACE_GRAPH none;
    none.module("TOP");
    EXPECT_EQ(fab_collect_mux_descriptions(&none.graph(), &none.annotations(), nullptr)
                  .mux_descriptions_size(),
              0);

    const GLOBAL_GID_TYPES types = fab_global_gid_types(t.graph().get_symbol_table());
    ASSERT_EQ(types.size(), 28u);
    EXPECT_EQ(UTIL::fast_name(types[0].first), "LL");
    EXPECT_EQ(UTIL::fast_name(types[13].first), "HIPI_LATCH");
    EXPECT_EQ(types[13].second, -1);
    EXPECT_EQ(UTIL::fast_name(types[14].first), "H");
    EXPECT_EQ(types[14].second, 2);
    EXPECT_EQ(UTIL::fast_name(types[27].first), "V");
    EXPECT_EQ(types[27].second, 32);
}
