// The walk over both views and the position service: what a visitor sees, with nodes, running
// locations (the offsets inside blocks among them) and reader switches, under both hook
// variants; placed and unplaced netlist instances; the fatal texts.
#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "fab/fab_full_traverse.h"
#include "fab/fab_position.h"
#include "fab/fab_test_device.h"
#include "fab/tsl_fab.h"
#include "nlg/nlg_test_util.h"

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
    // `text` with every "{path}" replaced by the hierarchy node of that instance path.
    std::string nodes_in(std::string text) {
        for (size_t at; (at = text.find('{')) != std::string::npos;) {
            const size_t end = text.find('}', at);
            const std::string path = text.substr(at + 1, end - at - 1);
            text.replace(at, end + 1 - at, std::to_string(FAB_TEST::node_of(*tree, path)));
        }
        return text;
    }
};

// One block's inside: c0 at the block's place, c1 one row up and one layer above, mx, and c2
// without offsets adding nothing; each SUB one column right of its CELL.
std::string logic_inside(int x, int y) {
    std::string text =
        "blc\n"
        "enter c0 3 -1 X,Y,0 in\nenter s 4 -1 X+,Y,0 in\nexit s 4 -1 X+,Y,0 in\n"
        "exit c0 3 -1 X,Y,0 in\n"
        "enter c1 3 -1 X,Y+,1 in\nenter s 4 -1 X+,Y+,1 in\nexit s 4 -1 X+,Y+,1 in\n"
        "exit c1 3 -1 X,Y+,1 in\n"
        "enter mx 3 -1 X,Y,0 in\nexit mx 3 -1 X,Y,0 in\n"
        "enter c2 3 -1 X,Y,0 in\nenter s 4 -1 X+,Y,0 in\nexit s 4 -1 X+,Y,0 in\n"
        "exit c2 3 -1 X,Y,0 in\n"
        "rtl\n";
    for (const auto& [key, value] : {std::make_pair("X+", x + 1), std::make_pair("Y+", y + 1),
                                     std::make_pair("X", x), std::make_pair("Y", y)})
        for (size_t at; (at = text.find(key)) != std::string::npos;)
            text.replace(at, std::string(key).size(), std::to_string(value));
    return text;
}

// The block variant sees the blocks and their insides only; the full walk also the tiles, the
// routing blocks and their plain instances, with their nodes. The spare tile is walked, its
// blocks are cut off whole.
TEST(FullTraverse, WalksBothViewsWithNodesAndRunningLocation) {
    WALK w;
    const std::string blocks[] = {
        "enter lg 2 -1 1,0,0\n" + logic_inside(1, 0) + "exit lg 2 -1 1,0,0\n",
        "enter lg 2 -1 1,3,0\n" + logic_inside(1, 3) + "exit lg 2 -1 1,3,0\n",
        "enter io0 1 -1 0,1,0\nblc\nrtl\nexit io0 1 -1 0,1,0\n"};
    EXPECT_EQ(w.run<FAB_FULL_TRAVERSE_BLC>(), "rtl\n" + blocks[0] + blocks[1] + blocks[2]);
    w.visitor.m_log.str("");
    const std::string full =
        w.nodes_in(
            "rtl\nenter t0 1 {t0} 0,0,0\nenter rt 2 {t0/rt} 1,0,0\n"
            "enter m 3 {t0/rt/m} 1,0,0\nexit m 3 {t0/rt/m} 1,0,0\n"
            "exit rt 2 {t0/rt} 1,0,0\n") +
        blocks[0] +
        w.nodes_in(
            "exit t0 1 {t0} 0,0,0\nenter t1 1 {t1} 0,0,0\nexit t1 1 {t1} 0,0,0\n"
            "enter t2 1 {t2} 0,0,0\nenter rt 2 {t2/rt} 1,3,0\n"
            "enter m 3 {t2/rt/m} 1,3,0\nexit m 3 {t2/rt/m} 1,3,0\n"
            "exit rt 2 {t2/rt} 1,3,0\n") +
        blocks[1] + w.nodes_in("exit t2 1 {t2} 0,0,0\n") + blocks[2];
    EXPECT_EQ(w.run<FAB_FULL_TRAVERSE>(), full);
}

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
    testing::internal::CaptureStdout();
    EXPECT_FALSE(p.get_spare_row());
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Warning: calling get_spare_row() on invalid instance!\n");
}

}  // namespace
