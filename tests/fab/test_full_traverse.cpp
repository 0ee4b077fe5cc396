// The walk over both views and the position service on the small device: the fatal texts of the
// walk, the shared twin of one logical pair, names and nodes without a placement. What the walk
// visits and where shows in every generated device's graph.
#include <gtest/gtest.h>

#include <memory>
#include <sstream>

#include "print_form.h"
#include "fab/fab_full_traverse.h"
#include "fab/fab_position.h"
#include "fab/fab_test_device.h"
#include "fab/tsl_fab.h"
#include "nlg_builders.h"

namespace {

using FAB_TEST::DEVICE;

struct WALK {
    DEVICE d;
    std::unique_ptr<ICDB::INSTANCE_TREE> tree;
    std::unique_ptr<FAB_IPOSITION> position;
    FAB_VISITOR_BASE visitor;
    WALK() {
        FAB_TEST::build(d);
        tree.reset(new ICDB::INSTANCE_TREE(d.rtl.get()));
        tree->load(d.rtl_icdb());
        position.reset(fab_create_position(tree.get(), &d.rtl_icdb(), &d.blc_icdb()));
    }
};

// Netlist modules that share a logical pair share its block-level twin.
TEST(RtlToBlcMatch, ModulesOfOnePairShareTheTwin) {
    DEVICE d;
    FAB_TEST::build(d);
    d.rtl_module("mux").mutable_logical_name()->CopyFrom(d.rtl_module("logic_blk").logical_name());
    d.rtl_module("mux").mutable_logical_impl()->CopyFrom(d.rtl_module("logic_blk").logical_impl());
    RTL_TO_BLC_MATCH match;
    match.init(d.rtl.get(), d.blc.get(), d.rtl_annss.get(), d.blc_annss.get());
    EXPECT_EQ(match.get_match(d.rtl_of("mux")), d.blc_of("LOGIC"));
    EXPECT_EQ(match.get_match(d.rtl_of("logic_blk")), d.blc_of("LOGIC"));
}

TEST(FullTraverse, FatalTexts) {
    using NLG_TEST::fatal;
    WALK w;
    FAB_FULL_TRAVERSE walk(&w.visitor, w.d.rtl_annss.get(), w.d.blc_annss.get(), w.tree.get(),
                           w.position.get());
    EXPECT_FATAL(walk.traverse(w.d.rtl.get()), "Illegal call!");
    EXPECT_FATAL(walk.traverse_tops(w.d.rtl.get(), {0}), "Illegal call!");
    EXPECT_FATAL(walk.traverse_subtree(w.d.rtl.get(), {}), "Illegal call!");
    EXPECT_FATAL(walk.traverse_flat(w.d.rtl.get()), "Illegal call!");
    EXPECT_FATAL(walk.get_position(), "Illegal call! Call get_location_data() instead.");
    EXPECT_FATAL(walk.get_root(), "m_root");
    EXPECT_FATAL(walk.pop_instance(w.d.rtl->get_module(0)->get_instance(0), false),
                 "m_hier_blks.size()");
    // A non-routing block whose block-level module does not exist.
    w.d.rtl_module("io_blk").mutable_logical_impl()->set_value(
        w.d.rtl->get_symbol_table()->add("FAST").get_value());
    EXPECT_FATAL(walk.traverse(w.d.rtl.get(), w.d.blc.get()), "blc_module");
}

// A placed block's name, and what a node without a placement answers. Places, physical places
// and uids of placed blocks show in the floorplan's table.
TEST(Position, NamesAndNodesWithoutAPlacement) {
    WALK w;
    FAB_IPOSITION& p = *w.position;
    NLG_IINSTANCE* io0 = w.d.rtl->get_module(0)->get_instance(3);
    const NS_SYMBOL::SYM base = io0->get_module()->get_name();
    // Named by the uid, else by the module and the grid place.
    for (const auto& [path, expected] :
         {std::make_pair("io0", "io_blk_r1_c0"), std::make_pair("t0/lg", "LOGIC_X1Y0")}) {
        p.set(io0, FAB_TEST::node_of(*w.tree, path));
        std::ostringstream name;
        EXPECT_TRUE(p.write_name(name, base));
        EXPECT_EQ(name.str(), expected);
    }
    p.set(io0, FAB_TEST::node_of(*w.tree, "t0"));
    int32_t x, y, z;
    float fx, fy;
    std::ostringstream name;
    EXPECT_FALSE(p.is_valid());
    EXPECT_FALSE(p.get_block_position(x, y, z));
    EXPECT_FALSE(p.get_physical_position(fx, fy));
    EXPECT_FALSE(p.write_name(name, base));
    EXPECT_EQ(stdout_of([&] { EXPECT_FALSE(p.get_spare_row()); }),
              "Warning: calling get_spare_row() on invalid instance!\n");
}

}  // namespace
