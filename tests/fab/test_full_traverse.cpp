// The walk over both views and the position service: what a visitor sees, with nodes, running
// locations and reader switches, under both hook variants; block pairing by name; positions of
// both kinds of place; the fatal texts.
#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>

#include "fab/fab_full_traverse.h"
#include "fab/fab_position.h"
#include "fab/fab_test_device.h"
#include "nlg_builders.h"

namespace {

using FAB_TEST::DEVICE;

// Logs every instance enter and exit with the place the walk reports, and each reader switch.
class LOG_VISITOR : public FAB_VISITOR_BASE {
  public:
    LOG_VISITOR(DEVICE& d) : m_device(d) {}
    void enter_instance(NLG_IINSTANCE& i) override { log("enter", i); }
    void exit_instance(NLG_IINSTANCE& i) override { log("exit", i); }
    void set_annss(NLG_ICDB_ANNS* anns) override {
        m_log << (anns == &m_device.rtl_icdb() ? "rtl" : "blc") << "\n";
    }
    void log(const char* what, NLG_IINSTANCE& i) {
        auto* walk = dynamic_cast<FAB_FULL_TRAVERSE*>(m_traverse);
        const FAB_LOCATION& l = walk->get_location_data();
        m_log << what << " " << i.get_name().str() << " " << walk->get_hier_blks().size() << " "
              << static_cast<int64_t>(walk->get_node()) << " " << l.x << "," << l.y << "," << l.z
              << (walk->is_at_block() ? "" : " in") << "\n";
    }
    DEVICE& m_device;
    std::ostringstream m_log;
};

struct WALK {
    DEVICE d;
    std::unique_ptr<ICDB::INSTANCE_TREE> tree;
    std::unique_ptr<FAB_IPOSITION> position;
    LOG_VISITOR visitor{d};
    WALK() {
        FAB_TEST::build(d);
        tree.reset(new ICDB::INSTANCE_TREE(d.rtl.get()));
        tree->load(d.rtl_icdb());
        position.reset(fab_create_position(tree.get(), &d.rtl_icdb(), &d.blc_icdb()));
    }
    template <class T>
    std::string run() {
        T walk(&visitor, d.rtl_annss.get(), d.blc_annss.get(), tree.get(), position.get());
        visitor.set_traverse(&walk);
        walk.traverse(d.rtl.get(), d.blc.get());
        EXPECT_EQ(walk.get_hier_blks().size(), 0u);
        EXPECT_EQ(walk.get_location_data().x, 0);
        EXPECT_EQ(walk.get_location_data().y, 0);
        EXPECT_EQ(walk.get_location_data().z, 0);
        EXPECT_EQ(walk.get_node(), 0u);
        return visitor.m_log.str();
    }
    std::string node(const std::string& path) {
        return std::to_string(FAB_TEST::node_of(*tree, path));
    }
};

// One block's inside: c0 at the block's place, c1 one row up and one layer above, mx, and c2
// without offsets adding nothing; each SUB one column right of its CELL.
std::string logic_inside(int x, int y) {
    auto at = [](int ax, int ay, int az) {
        return std::to_string(ax) + "," + std::to_string(ay) + "," + std::to_string(az);
    };
    return "enter c0 3 -1 " + at(x, y, 0) + " in\n" + "enter s 4 -1 " + at(x + 1, y, 0) + " in\n" +
           "exit s 4 -1 " + at(x + 1, y, 0) + " in\n" + "exit c0 3 -1 " + at(x, y, 0) + " in\n" +
           "enter c1 3 -1 " + at(x, y + 1, 1) + " in\n" + "enter s 4 -1 " + at(x + 1, y + 1, 1) +
           " in\n" + "exit s 4 -1 " + at(x + 1, y + 1, 1) + " in\n" + "exit c1 3 -1 " +
           at(x, y + 1, 1) + " in\n" + "enter mx 3 -1 " + at(x, y, 0) + " in\n" + "exit mx 3 -1 " +
           at(x, y, 0) + " in\n" + "enter c2 3 -1 " + at(x, y, 0) + " in\n" + "enter s 4 -1 " +
           at(x + 1, y, 0) + " in\n" + "exit s 4 -1 " + at(x + 1, y, 0) + " in\n" +
           "exit c2 3 -1 " + at(x, y, 0) + " in\n";
}

TEST(FullTraverse, WalksBothViewsWithNodesAndRunningLocation) {
    WALK w;
    const std::string expected =
        "rtl\n"
        "enter t0 1 " +
        w.node("t0") +
        " 0,0,0\n"
        "enter rt 2 " +
        w.node("t0/rt") +
        " 1,0,0\n"
        "enter m 3 " +
        w.node("t0/rt/m") +
        " 1,0,0\n"
        "exit m 3 " +
        w.node("t0/rt/m") +
        " 1,0,0\n"
        "exit rt 2 " +
        w.node("t0/rt") +
        " 1,0,0\n"
        "enter lg 2 -1 1,0,0\n"
        "blc\n" +
        logic_inside(1, 0) +
        "rtl\n"
        "exit lg 2 -1 1,0,0\n"
        "exit t0 1 " +
        w.node("t0") +
        " 0,0,0\n"
        // The spare tile is walked, its blocks are cut off whole.
        "enter t1 1 " +
        w.node("t1") +
        " 0,0,0\n"
        "exit t1 1 " +
        w.node("t1") +
        " 0,0,0\n"
        "enter t2 1 " +
        w.node("t2") +
        " 0,0,0\n"
        "enter rt 2 " +
        w.node("t2/rt") +
        " 1,3,0\n"
        "enter m 3 " +
        w.node("t2/rt/m") +
        " 1,3,0\n"
        "exit m 3 " +
        w.node("t2/rt/m") +
        " 1,3,0\n"
        "exit rt 2 " +
        w.node("t2/rt") +
        " 1,3,0\n"
        "enter lg 2 -1 1,3,0\n"
        "blc\n" +
        logic_inside(1, 3) +
        "rtl\n"
        "exit lg 2 -1 1,3,0\n"
        "exit t2 1 " +
        w.node("t2") +
        " 0,0,0\n"
        "enter io0 1 -1 0,1,0\n"
        "blc\n"
        "rtl\n"
        "exit io0 1 -1 0,1,0\n";
    EXPECT_EQ(w.run<FAB_FULL_TRAVERSE>(), expected);
}

TEST(FullTraverse, BlockVariantShowsOnlyTheBlocks) {
    WALK w;
    const std::string expected =
        "rtl\n"
        "enter lg 2 -1 1,0,0\n"
        "blc\n" +
        logic_inside(1, 0) +
        "rtl\n"
        "exit lg 2 -1 1,0,0\n"
        "enter lg 2 -1 1,3,0\n"
        "blc\n" +
        logic_inside(1, 3) +
        "rtl\n"
        "exit lg 2 -1 1,3,0\n"
        "enter io0 1 -1 0,1,0\n"
        "blc\n"
        "rtl\n"
        "exit io0 1 -1 0,1,0\n";
    EXPECT_EQ(w.run<FAB_FULL_TRAVERSE_BLC>(), expected);
}

TEST(FullTraverse, PairsBlocksByLogicalName) {
    WALK w;
    FAB_FULL_TRAVERSE walk(&w.visitor, w.d.rtl_annss.get(), w.d.blc_annss.get(), w.tree.get(),
                           w.position.get());
    w.visitor.set_traverse(&walk);
    walk.traverse(w.d.rtl.get(), w.d.blc.get());
    // DEFAULT drops the implementation, "-" does not; routing blocks stay unpaired.
    auto rtl = [&](const char* name) {
        return w.d.rtl->get_module(w.d.rtl->get_symbol_table()->find(name));
    };
    auto blc = [&](const char* name) {
        return w.d.blc->get_module(w.d.blc->get_symbol_table()->find(name));
    };
    EXPECT_EQ(walk.get_blc_module(rtl("logic_blk")), blc("LOGIC"));
    EXPECT_EQ(walk.get_blc_module(rtl("io_blk")), blc("IO__-"));
    EXPECT_EQ(walk.get_blc_module(rtl("rt_blk")), nullptr);
    EXPECT_EQ(walk.get_blc_module(rtl("tile")), nullptr);
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

TEST(Position, BothKindsOfPlace) {
    WALK w;
    FAB_IPOSITION& p = *w.position;
    NLG_IMODULE* top = w.d.rtl->get_module(0);
    NLG_IINSTANCE* io0 = top->get_instance(3);
    int32_t x = 7, y = 7, z = 7;
    float fx = 0, fy = 0;
    std::string uid = "old";

    // A placed netlist instance: grid, physical place, name from the base and the grid.
    p.set(io0, FAB_TEST::node_of(*w.tree, "io0"));
    ASSERT_TRUE(p.is_valid());
    ASSERT_TRUE(p.get_block_position_2(x, y, z));
    EXPECT_EQ(std::vector<int32_t>({x, y, z}), std::vector<int32_t>({0, 1, 0}));
    ASSERT_TRUE(p.get_physical_position_2(fx, fy));
    EXPECT_EQ(fx, 0.0f);
    EXPECT_EQ(fy, 20.0f);
    EXPECT_FALSE(p.get_spare_row());
    p.get_uid(uid);
    EXPECT_EQ(uid, "");
    std::ostringstream name;
    EXPECT_TRUE(p.write_name(name, io0->get_module()->get_name()));
    EXPECT_EQ(name.str(), "io_blk_r1_c0");

    // A placement with a uid is named by it.
    p.set(io0, FAB_TEST::node_of(*w.tree, "t0/lg"));
    name.str("");
    EXPECT_TRUE(p.write_name(name, io0->get_module()->get_name()));
    EXPECT_EQ(name.str(), "LOGIC_X1Y0");
    p.get_uid(uid);
    EXPECT_EQ(uid, "LOGIC_X1Y0");

    // A node without a record: nothing valid, and a warning for the spare-row question.
    p.set(io0, FAB_TEST::node_of(*w.tree, "t0"));
    EXPECT_FALSE(p.is_valid());
    EXPECT_FALSE(p.get_block_position(x, y, z));
    EXPECT_FALSE(p.get_physical_position(fx, fy));
    EXPECT_FALSE(p.write_name(name, io0->get_module()->get_name()));
    testing::internal::CaptureStdout();
    EXPECT_FALSE(p.get_spare_row());
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Warning: calling get_spare_row() on invalid instance!\n");

    // Inside a block: the offsets of the instance record, none when unset.
    NLG_IMODULE* logic = w.d.blc->get_module(0);
    p.set(logic->get_instance(1), UTIL::IHIERARCHY::INVALID_NODE);
    EXPECT_FALSE(p.is_valid());
    ASSERT_TRUE(p.get_block_position(x, y, z));
    EXPECT_EQ(std::vector<int32_t>({x, y, z}), std::vector<int32_t>({0, 1, 1}));
    p.set(logic->get_instance(3), UTIL::IHIERARCHY::INVALID_NODE);
    x = y = z = 7;
    EXPECT_FALSE(p.get_location(x, y, z));
    EXPECT_EQ(std::vector<int32_t>({x, y, z}), std::vector<int32_t>({7, 7, 7}));

    // The diagnostic form names the node and its path.
    FAB_POSITION& concrete = dynamic_cast<FAB_POSITION&>(p);
    concrete.set(io0, FAB_TEST::node_of(*w.tree, "io0"));
    std::ostringstream dump;
    concrete.dump("here", dump);
    EXPECT_EQ(dump.str().substr(0, 14), "here\nm_node = ");
    EXPECT_NE(dump.str().find("path = "), std::string::npos);
    concrete.set(io0, 1u << 30);
    EXPECT_FATAL(concrete.dump("here", dump),
                 "hierarchy.get_path(path, m_node) != "
                 "UTIL::IHIERARCHY::IMODULES::MODULE_INDEX_INVALID");
}

}  // namespace
