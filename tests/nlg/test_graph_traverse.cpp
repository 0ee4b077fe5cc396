// Walks over small hand-built netlists: the order of enter and exit events, the instance stack,
// hierarchy nodes and flat records at each place, the stops of the level walks, the flat walk,
// block sizes, and the fatal texts of misuse.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "ann/annss.h"
#include "icdb/icdb_instance_tree.h"
#include "nlg/nlg_graph_traverse.h"
#include "nlg_sample_graphs.h"
#include "print_form.h"

namespace {

using LOG = std::vector<std::string>;
using NLG_TEST::BUILDER;

// Logs every event as one line: "+G", "+M top", "+I s0/b0", "+P leaf.a", "+R x0.a", and the
// exits with "-". With details, instance lines carry the uid and the spare-row mark; paths in
// m_position_at also carry the position read at instance enter.
class RECORDER : public TSL_VISITOR_BASE {
  public:
    LOG m_log;
    bool m_details = false;
    std::set<std::string> m_position_at;
    std::map<std::string, uint64_t> m_nodes;
    std::vector<std::string> m_roots;
    // The flat walk has no root to ask for.
    bool m_ask_root = true;

    std::string path() const {
        std::string p;
        for (NLG_IINSTANCE* i : m_traverse->get_hier_blks()) {
            if (!p.empty()) p += "/";
            p += i->get_name().str();
        }
        return p;
    }

    void enter_graph(NLG_IGRAPH&) override { m_log.push_back("+G"); }
    void exit_graph(NLG_IGRAPH&) override { m_log.push_back("-G"); }
    void enter_module(NLG_IMODULE& m) override {
        m_log.push_back("+M " + m.get_name().str());
        if (m_ask_root && m_traverse->get_hier_blks().empty())
            m_roots.push_back(m_traverse->get_root()->get_name().str());
    }
    void exit_module(NLG_IMODULE& m) override { m_log.push_back("-M " + m.get_name().str()); }
    void enter_instance(NLG_IINSTANCE& i) override {
        const std::string p = place(i);
        m_nodes[p] = m_traverse->get_node();
        std::string line = "+I " + p + details();
        if (m_position_at.count(p)) {
            const PB::ICDB::POSITION& pos = m_traverse->get_position();
            line += " @" + std::to_string(pos.row()) + "," + std::to_string(pos.col());
        }
        m_log.push_back(line);
    }
    void exit_instance(NLG_IINSTANCE& i) override { m_log.push_back("-I " + place(i) + details()); }
    void enter_port(NLG_IPORT& p) override { m_log.push_back("+P " + port_name(p)); }
    void exit_port(NLG_IPORT& p) override { m_log.push_back("-P " + port_name(p)); }
    void enter_port_ref(NLG_IPORT_REF& r) override { m_log.push_back("+R " + ref_name(r)); }
    void exit_port_ref(NLG_IPORT_REF& r) override { m_log.push_back("-R " + ref_name(r)); }
    void enter_net(NLG_INET&) override { m_log.push_back("+N"); }
    void exit_net(NLG_INET&) override { m_log.push_back("-N"); }

  private:
    // The flat walk keeps no stack: an instance there stands for itself.
    std::string place(NLG_IINSTANCE& i) const {
        return m_traverse->get_hier_blks().empty() ? i.get_name().str() : path();
    }
    std::string details() const {
        if (!m_details) return "";
        return " u=" + m_traverse->get_uid() + (m_traverse->is_spare_row() ? " spare" : "");
    }
    static std::string port_name(NLG_IPORT& p) {
        return p.get_parent()->get_name().str() + "." + p.get_name().str();
    }
    static std::string ref_name(NLG_IPORT_REF& r) {
        return r.get_instance()->get_name().str() + "." + r.get_port()->get_name().str();
    }
};

// Exits the process with the fatal "m_position" when a finished instance asks for the position.
class POSITION_AT_EXIT : public TSL_VISITOR_BASE {
  public:
    explicit POSITION_AT_EXIT(std::string name) : m_name(std::move(name)) {}
    void exit_instance(NLG_IINSTANCE& i) override {
        if (i.get_name().str() == m_name) m_traverse->get_position();
    }

  private:
    std::string m_name;
};

// Keeps only the lines that start with the prefix.
LOG only(const LOG& log, const std::string& prefix) {
    LOG kept;
    for (const std::string& line : log)
        if (line.compare(0, prefix.size(), prefix) == 0) kept.push_back(line);
    return kept;
}

// top (0): u0:mid, u1:leaf; mid (1): v0:leaf; leaf (2): ports a in, z out.
NLG_GRAPH* make_nested() {
    BUILDER b;
    NLG_MODULE* top = b.module("top", 0, 2);
    NLG_MODULE* mid = b.module("mid", 0, 1);
    b.cell("leaf", "a >z");
    b.instances(top, "u0:mid u1:leaf");
    b.instances(mid, "v0:leaf");
    return b.graph();
}

// A device of two sectors of three tiles (the third a spare row), with muxes in every tile:
//   top (0):     s0, s1 : sector
//   sector (1):  b0, b1, sp : tile                    level SECTOR
//   tile (2):    m0:mux, m1:mux_fs, m2:mux_ni, m3:mux_ni, l0:leaf   level TOP_LEVEL_IP
//   mux (3):     x0:leaf   PRIM_MUX, template, not a first stage
//   mux_fs (4):  x0:leaf   PRIM_MUX, template, first stage
//   mux_ni (5):  x0:leaf   PRIM_MUX, per instance: m2 is no first stage, m3 is one
//   leaf (6):    ports a in, z out
// Flat records: s1 spare (read by no level walk, skipped by the base walk); s0/b0 (1,2) "B00";
// s0/b1 (1,3); s0/sp and s1/sp spare; s1/b0 (2,2) "B10"; s1/b1 (2,3); s0/b0/l0 (9,9) "L0".
struct DEVICE {
    std::unique_ptr<NLG_GRAPH> graph;
    std::unique_ptr<NLG_ANNSS> annss;
    std::unique_ptr<ICDB::INSTANCE_TREE> tree;

    DEVICE() {
        BUILDER b;
        NLG_MODULE* top = b.module("top", 0, 2);
        NLG_MODULE* sector = b.module("sector", 0, 3);
        NLG_MODULE* tile = b.module("tile", 0, 5);
        NLG_MODULE* mux = b.module("mux", 0, 1);
        NLG_MODULE* mux_fs = b.module("mux_fs", 0, 1);
        NLG_MODULE* mux_ni = b.module("mux_ni", 0, 1);
        NLG_MODULE* leaf = b.cell("leaf", "a >z");
        b.instances(top, "s0:sector s1:sector");
        b.instances(sector, "b0:tile b1:tile sp:tile");
        b.instances(tile, "m0:mux m1:mux_fs m2:mux_ni m3:mux_ni l0:leaf");
        for (NLG_MODULE* m : {mux, mux_fs, mux_ni}) b.instance(m, "x0", leaf);
        graph.reset(b.graph());

        annss.reset(new NLG_ANNSS(*graph));
        annss->add_type(PB::ANNS::ICDB);
        NLG_ICDB_ANNS& icdb = annss->get_icdb();
        merge_text(icdb.get_module(*sector), "level: SECTOR");
        merge_text(icdb.get_module(*tile), "level: TOP_LEVEL_IP");
        merge_text(icdb.get_module(*mux), "level: PRIM_MUX mux_desc { is_template: true }");
        merge_text(icdb.get_module(*mux_fs),
                   "level: PRIM_MUX mux_desc { is_template: true is_first_stage: true }");
        // The module's description says first stage, but is no template: instances decide.
        merge_text(icdb.get_module(*mux_ni),
                   "level: PRIM_MUX mux_desc { is_template: false is_first_stage: true }");
        merge_text(icdb.get_instance(*tile->instance(2)), "mux_desc { is_template: false }");
        merge_text(icdb.get_instance(*tile->instance(3)), "mux_desc { is_first_stage: true }");

        tree.reset(new ICDB::INSTANCE_TREE(graph.get()));
        place("s1", "is_spare_row: true");
        place("s0/b0", "bposition { row: 1 col: 2 } uid: 'B00'");
        place("s0/b1", "bposition { row: 1 col: 3 }");
        place("s0/sp", "bposition { row: 1 col: 4 } uid: 'SP0' is_spare_row: true");
        place("s1/b0", "bposition { row: 2 col: 2 } uid: 'B10'");
        place("s1/b1", "bposition { row: 2 col: 3 }");
        place("s1/sp", "bposition { row: 2 col: 4 } is_spare_row: true");
        place("s0/b0/l0", "bposition { row: 9 col: 9 } uid: 'L0'");
    }

    uint64_t node(const std::string& path) const {
        UTIL::IHIERARCHY* h = tree->get_hierarchy();
        std::unique_ptr<UTIL::IHIERARCHY::IPATH_SETTABLE> p(h->create_path());
        EXPECT_TRUE(p->set_from_string(path, 0)) << path;
        return h->get_node(*p);
    }

    void place(const std::string& path, const char* text) {
        PB::ICDB::FLAT_INSTANCE record;
        merge_text(record, text);
        ASSERT_TRUE(tree->add_flat_instance(node(path), record));
    }
};

TEST(GraphTraverse, BaseWalkOrderStackAndReuse) {
    std::unique_ptr<NLG_GRAPH> g(make_nested());
    RECORDER r;
    TSL_TRAVERSE_BASE t(&r, nullptr, false);
    r.set_traverse(&t);
    t.traverse(g.get());
    const LOG expected = {"+G",      "+M top",   "+I u0",  "+M mid", "+I u0/v0", "+M leaf",
                          "-M leaf", "-I u0/v0", "-M mid", "-I u0",  "+I u1",    "+M leaf",
                          "-M leaf", "-I u1",    "-M top", "-G"};
    EXPECT_EQ(r.m_log, expected);
    EXPECT_EQ(r.m_roots, LOG({"top"}));
    // Without a flat source no node is tracked.
    for (const auto& entry : r.m_nodes) EXPECT_EQ(entry.second, 0u) << entry.first;
    EXPECT_TRUE(t.get_hier_blks().empty());
    EXPECT_EQ(t.get_node(), 0u);

    // The same object walks again, here from two roots in the given order.
    r.m_log.clear();
    r.m_roots.clear();
    t.traverse_tops(g.get(), {2, 1});
    const LOG tops = {"+G",      "+M leaf", "-M leaf", "+M mid", "+I v0",
                      "+M leaf", "-M leaf", "-I v0",   "-M mid", "-G"};
    EXPECT_EQ(r.m_log, tops);
    EXPECT_EQ(r.m_roots, LOG({"leaf", "mid"}));
}

TEST(GraphTraverse, BaseWalkNodesRecordsAndSpareRows) {
    DEVICE d;
    RECORDER r;
    r.m_details = true;
    r.m_position_at = {"s0/b0", "s0/b1", "s0/b0/m0"};
    TSL_TRAVERSE_BASE t(&r, d.tree.get(), false);
    r.set_traverse(&t);
    t.traverse(d.graph.get());

    // Every place has the hierarchy's node for its path.
    ASSERT_FALSE(r.m_nodes.empty());
    for (const auto& entry : r.m_nodes) EXPECT_EQ(entry.second, d.node(entry.first)) << entry.first;
    // The spare sector s1 and the spare tile s0/sp are pruned, with everything below them.
    for (const auto& entry : r.m_nodes) {
        EXPECT_NE(entry.first.compare(0, 2, "s1"), 0) << entry.first;
        EXPECT_NE(entry.first.compare(0, 5, "s0/sp"), 0) << entry.first;
    }
    EXPECT_EQ(r.m_nodes.count("s0/b1/m3/x0"), 1u);

    const LOG tiles = only(r.m_log, "+I s0/b");
    // At a tile its own record is current. A child without a record leaves the tile's uid and
    // position current; a child with one (l0) clears the single slot on its way out, so the tile
    // ends with no uid, and its sibling b1, which has no uid, shows none.
    EXPECT_EQ(tiles.front(), "+I s0/b0 u=B00 @1,2");
    EXPECT_NE(std::find(tiles.begin(), tiles.end(), "+I s0/b0/m0 u=B00 @1,2"), tiles.end());
    EXPECT_NE(std::find(tiles.begin(), tiles.end(), "+I s0/b0/l0 u=L0"), tiles.end());
    EXPECT_NE(std::find(tiles.begin(), tiles.end(), "+I s0/b1 u= @1,3"), tiles.end());
    const LOG exits = only(r.m_log, "-I s0/b0");
    EXPECT_EQ(exits.back(), "-I s0/b0 u=");
    EXPECT_EQ(t.get_node(), 0u);
    EXPECT_TRUE(t.get_hier_blks().empty());

    // The parent's position is gone once a child with a record has been left.
    POSITION_AT_EXIT probe("b0");
    TSL_TRAVERSE_BASE t2(&probe, d.tree.get(), false);
    probe.set_traverse(&t2);
    EXPECT_FATAL(t2.traverse(d.graph.get()), "m_position");
}

TEST(GraphTraverse, LevelWalksStopAtTheirLevel) {
    DEVICE d;

    // Top-level IP blocks, with their own positions, spare tiles skipped.
    RECORDER tops;
    tops.m_details = true;
    tops.m_position_at = {"s0/b0", "s0/b1", "s1/b0", "s1/b1", "s0/sp"};
    std::unique_ptr<TSL_TRAVERSE_BASE> tt(
        tsl_create_traverse_top_ip(&tops, d.annss.get(), d.tree.get(), false));
    tops.set_traverse(tt.get());
    tt->traverse(d.graph.get());
    EXPECT_EQ(tops.m_log, LOG({"+G", "+I s0/b0 u=B00 @1,2", "-I s0/b0 u=B00", "+I s0/b1 u= @1,3",
                               "-I s0/b1 u=", "+I s1/b0 u=B10 @2,2", "-I s1/b0 u=B10",
                               "+I s1/b1 u= @2,3", "-I s1/b1 u=", "-G"}));
    for (const auto& entry : tops.m_nodes) EXPECT_EQ(entry.second, d.node(entry.first));

    // Muxes that are no first stages, never in spare rows, never descended into; the enclosing
    // tile's record stays current at the mux.
    RECORDER muxes;
    muxes.m_details = true;
    muxes.m_position_at = {"s0/b0/m0", "s1/b1/m2"};
    std::unique_ptr<TSL_TRAVERSE_BASE> tm(
        tsl_create_traverse_mux(&muxes, d.annss.get(), d.tree.get()));
    muxes.set_traverse(tm.get());
    tm->traverse(d.graph.get());
    EXPECT_EQ(only(muxes.m_log, "+"),
              LOG({"+G", "+I s0/b0/m0 u=B00 @1,2", "+I s0/b0/m2 u=B00",
                   "+I s0/b1/m0 u=", "+I s0/b1/m2 u=", "+I s1/b0/m0 u=B10", "+I s1/b0/m2 u=B10",
                   "+I s1/b1/m0 u=", "+I s1/b1/m2 u= @2,3"}));
    EXPECT_EQ(only(muxes.m_log, "-I").size(), 8u);
    for (const auto& entry : muxes.m_nodes) EXPECT_EQ(entry.second, d.node(entry.first));

    // With no flat source nothing is spare: every tile's muxes show, and the nodes stay 0.
    RECORDER bare;
    TSL_TRAVERSE_MUX tb(&bare, d.annss.get(), nullptr);
    bare.set_traverse(&tb);
    tb.traverse(d.graph.get());
    EXPECT_EQ(only(bare.m_log, "+I").size(), 12u);
    for (const auto& entry : bare.m_nodes) EXPECT_EQ(entry.second, 0u);
}

TEST(GraphTraverse, MultiTopAndFlatWalks) {
    // top (0): u:leaf; spare (1): w:leaf, never instantiated; leaf (2): ports a, z.
    BUILDER b;
    NLG_MODULE* top = b.module("top", 0, 1);
    NLG_MODULE* spare = b.module("spare", 0, 1);
    b.cell("leaf", "a >z");
    b.instances(top, "u:leaf");
    b.instances(spare, "w:leaf");
    std::unique_ptr<NLG_GRAPH> g(b.graph());

    RECORDER r;
    TSL_TRAVERSE_MULTI_TOP t(&r, nullptr, false);
    r.set_traverse(&t);
    t.traverse(g.get());
    EXPECT_EQ(r.m_log, LOG({"+G", "+M top", "+I u", "+M leaf", "-M leaf", "-I u", "-M top",
                            "+M spare", "+I w", "+M leaf", "-M leaf", "-I w", "-M spare", "-G"}));
    EXPECT_EQ(r.m_roots, LOG({"top", "spare"}));

    // Each definition once, ports and references in index order, no nets, no descent.
    RECORDER f;
    f.m_ask_root = false;
    TSL_TRAVERSE_BASE tf(&f, nullptr, false);
    f.set_traverse(&tf);
    tf.traverse_flat(g.get());
    EXPECT_EQ(f.m_log,
              LOG({"+G",        "+M top",    "+I u",      "+R u.a",    "-R u.a",   "+R u.z",
                   "-R u.z",    "-I u",      "-M top",    "+M spare",  "+I w",     "+R w.a",
                   "-R w.a",    "+R w.z",    "-R w.z",    "-I w",      "-M spare", "+M leaf",
                   "+P leaf.a", "-P leaf.a", "+P leaf.z", "-P leaf.z", "-M leaf",  "-G"}));
}

TEST(GraphTraverse, FatalMisuse) {
    std::unique_ptr<NLG_GRAPH> g(make_nested());
    RECORDER r;
    TSL_TRAVERSE_BASE t(&r, nullptr, false);
    r.set_traverse(&t);
    NLG_IMODULE* top = g->get_top_module();

    EXPECT_FATAL(t.get_root(), "m_root");
    EXPECT_FATAL(t.unset_root(), "m_root");
    EXPECT_FATAL((t.set_root(top), t.set_root(top)), "!m_root");
    EXPECT_FATAL(t.pop_instance(true), "m_hier_blks.size()");
    EXPECT_FATAL(t.get_position(), "m_position");
    EXPECT_FATAL(t.traverse_subtree(g.get(), {}), "Feature not supported!");

    std::unique_ptr<NLG_GRAPH> empty(new NLG_GRAPH(nullptr, "root", 0));
    TSL_TRAVERSE_MULTI_TOP multi(&r, nullptr, false);
    EXPECT_FATAL(multi.traverse(empty.get()), "Graph is empty!");

    // A visitor that asks where the walk is before it has been given one.
    struct FINDER : TSL_VISITOR_BASE {
        void ask() { checked_traverse("TSL_RE_FINDER")->get_node(); }
    } finder;
    EXPECT_FATAL(finder.ask(), "Traverse is unset for visitor TSL_RE_FINDER!");

    // The fatal texts name this source.
    EXPECT_EXIT(t.traverse_subtree(g.get(), {}), testing::ExitedWithCode(255),
                "nlg/nlg_graph_traverse.cpp:[0-9]+  Feature not supported!");
}

// top (0):  a:blk at (0,0,0), b:blk at (3,1,0), c:mid unplaced
// blk (1):  t0:leaf at (0,0,0), t1:leaf at (1,2,0); record width 10 beforehand
// mid (2):  t:leaf unplaced; record 5 high, 4 wide beforehand
// leaf (3): no instances
struct SIZED {
    std::unique_ptr<NLG_GRAPH> graph;
    std::unique_ptr<NLG_ANNSS> annss;
    NLG_MODULE *top, *blk, *mid, *leaf;

    SIZED() {
        BUILDER b;
        top = b.module("top", 0, 3);
        blk = b.module("blk", 0, 2);
        mid = b.module("mid", 0, 1);
        leaf = b.module("leaf", 0, 0);
        b.instances(top, "a:blk b:blk c:mid");
        b.instances(blk, "t0:leaf t1:leaf");
        b.instances(mid, "t:leaf");
        graph.reset(b.graph());
        annss.reset(new NLG_ANNSS(*graph));
        annss->add_type(PB::ANNS::ICDB);
        NLG_ICDB_ANNS& icdb = annss->get_icdb();
        merge_text(icdb.get_instance(*top->instance(0)), "pnr_x: 0 pnr_y: 0 pnr_z: 0");
        merge_text(icdb.get_instance(*top->instance(1)), "pnr_x: 3 pnr_y: 1 pnr_z: 0");
        merge_text(icdb.get_instance(*blk->instance(0)), "pnr_x: 0 pnr_y: 0 pnr_z: 0");
        merge_text(icdb.get_instance(*blk->instance(1)), "pnr_x: 1 pnr_y: 2 pnr_z: 0");
        merge_text(icdb.get_module(*blk), "pnr_width: 10");
        merge_text(icdb.get_module(*mid), "pnr_height: 5 pnr_width: 4");
        // Something stale on a leaf is overwritten.
        merge_text(icdb.get_module(*leaf), "pnr_height: 7");
    }
    void run() {
        TSL_BLOCK_SIZE_CALCULATOR calculator(annss.get());
        TSL_TRAVERSE_MULTI_TOP t(&calculator, nullptr, false);
        calculator.set_traverse(&t);
        t.traverse(graph.get());
    }
    std::pair<int, int> size(NLG_MODULE* m) {
        const PB::ICDB::MODULE& r = annss->get_icdb().get_module(*m);
        return {r.pnr_height(), r.pnr_width()};
    }
};

TEST(GraphTraverse, BlockSizes) {
    SIZED s;
    s.run();
    EXPECT_EQ(s.size(s.leaf), std::make_pair(1, 1));
    // Heights grow from placed children; the width given beforehand is larger and stays.
    EXPECT_EQ(s.size(s.blk), std::make_pair(3, 10));
    // No placed instance: the record's size is kept.
    EXPECT_EQ(s.size(s.mid), std::make_pair(5, 4));
    // b at (3,1) with a 3 by 10 block: 4 high, 13 wide.
    EXPECT_EQ(s.size(s.top), std::make_pair(4, 13));

    // An unplaced module with no size of its own stops the walk where it is used.
    SIZED bad;
    bad.annss->get_icdb().get_module(*bad.mid).clear_pnr_width();
    EXPECT_FATAL(bad.run(), "Module mid has invalid size!");
}

}  // namespace
