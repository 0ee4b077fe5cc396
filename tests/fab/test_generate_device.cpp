// generate on generated devices: the call sequence, endpoints, locations, numbering per cell
// and type, shadows and their VIRTUAL edges, and the same edges without the memo.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <memory>
#include <set>

#include "ann/annss.h"
#include "devgen/devgen_device.h"
#include "devgen/devgen_direct.h"
#include "fab/fab_position.h"
#include "fab/fab_routing_graph.h"
#include "fab/fab_test_builder.h"
#include "fab/tsl_fab.h"
#include "fab_itranslate.h"
#include "fab_run_builder.h"
#include "icdb/icdb_instance_tree.h"
#include "nlg/nlg_graph.h"

namespace {

using FAB_TEST::RECORDING_BUILDER;

// A generated device with what a run makes before the routing graph.
struct DEVICE_RUN {
    explicit DEVICE_RUN(const std::string& size)
        : m_params(preset(size)),
          m_device(m_params),
          m_rtl(DEVGEN::dg_make_rtl(m_device)),
          m_blc(DEVGEN::dg_make_blc(m_device)) {
        NLG_ICDB_ANNS& rtl = m_rtl.m_annss->get_icdb();
        m_tree.reset(new ICDB::INSTANCE_TREE(m_rtl.m_graph.get()));
        m_tree->load(rtl);
        m_position.reset(fab_create_position(m_tree.get(), &rtl, &m_blc.m_annss->get_icdb()));
        m_match.init(m_rtl.m_graph.get(), m_blc.m_graph.get(), m_rtl.m_annss.get(),
                     m_blc.m_annss.get());
        g_min_x = g_min_y = 0;
        g_max_x = m_device.grid_cols() - 1;
        g_max_y = m_device.grid_rows() - 1;
    }

    static DEVGEN::DG_PARAMS preset(const std::string& size) {
        DEVGEN::DG_PARAMS p;
        EXPECT_TRUE(DEVGEN::dg_preset(size, p));
        return p;
    }

    void generate(RECORDING_BUILDER& builder, bool no_cache = false,
                  FAB::ITRANSLATE_BUILDER* translate = nullptr) {
        FAB_ROUTING_GRAPH_IMPL graph(m_rtl.m_graph.get(), m_rtl.m_annss.get(), m_blc.m_graph.get(),
                                     m_blc.m_annss.get(), m_tree.get(), m_position.get(), translate,
                                     &m_match, false);
        graph.m_no_cache = no_cache;
        graph.generate(builder);
    }

    DEVGEN::DG_PARAMS m_params;
    DEVGEN::DG_DEVICE m_device;
    DEVGEN::DG_VIEW m_rtl;
    DEVGEN::DG_VIEW m_blc;
    std::unique_ptr<ICDB::INSTANCE_TREE> m_tree;
    std::unique_ptr<FAB_IPOSITION> m_position;
    RTL_TO_BLC_MATCH m_match;
};

bool is_shadow(uint32_t type) {
    return type == PB::MUX_DESCRIPTION::HIPI_M_MUX || type == PB::MUX_DESCRIPTION::HIPI_T_MUX ||
           type == PB::MUX_DESCRIPTION::HIPI_P_MUX || type == PB::MUX_DESCRIPTION::HIPI_LATCH;
}

void sweep(const std::string& size) {
    DEVICE_RUN run(size);
    RECORDING_BUILDER builder;
    run.generate(builder);
    const auto& nodes = builder.m_data;
    const uint32_t n = static_cast<uint32_t>(nodes.size());
    const int32_t cols = run.m_device.grid_cols(), rows = run.m_device.grid_rows();

    EXPECT_EQ(builder.m_calls, "GNnE0E2E1E3eg");
    std::map<uint32_t, uint64_t> by_kind;
    std::set<uint32_t> virtual_sources;
    int twice = 0;
    for (const auto& e : builder.m_edges) {
        const uint32_t kind = std::get<0>(e), src = std::get<1>(e), dst = std::get<2>(e);
        ++by_kind[kind];
        ASSERT_LT(src, n);
        ASSERT_LT(dst, n);
        EXPECT_NE(src, dst) << "self loop, kind " << kind;
        if (builder.m_edges.count(e) != 1 && twice++ < 3)
            ADD_FAILURE() << "edge " << builder.m_edges.count(e) << " times: kind " << kind << " "
                          << builder.m_nodes[src] << " -> " << builder.m_nodes[dst];
        // Bridges are the CRF edges that no trace made.
        if (kind != 0) {
            EXPECT_EQ(std::get<3>(e), kind != 3) << "generated flag, kind " << kind;
        }
        if (kind == 3) {
            EXPECT_TRUE(is_shadow(nodes[src].m_type)) << "VIRTUAL from a node that is no shadow";
            EXPECT_TRUE(virtual_sources.insert(src).second) << "two VIRTUAL edges from " << src;
        } else if (nodes[dst].m_class == 3 && is_shadow(nodes[dst].m_type)) {
            EXPECT_EQ(kind, 0u) << "a shadow is reached only by CRF edges";
        }
    }
    // Every shadow has its VIRTUAL edge, and the CRF group holds bridges beside traced edges.
    uint64_t shadows = 0;
    std::map<std::pair<int64_t, uint32_t>, std::set<uint32_t>> indexes;
    for (const auto& node : nodes) {
        EXPECT_LE(node.m_clipped, node.m_length);
        if (node.m_class != 3 && node.m_class != 1 && node.m_class != 0) continue;
        EXPECT_TRUE(node.m_x >= 0 && node.m_x < cols && node.m_y >= 0 && node.m_y < rows &&
                    (node.m_z == 0 || node.m_z == 1))
            << "node outside the grid at " << node.m_x << "," << node.m_y << "," << node.m_z;
        if (node.m_class != 3) continue;
        if (is_shadow(node.m_type)) ++shadows;
        indexes[{int64_t(node.m_y) * cols + node.m_x, node.m_type}].insert(node.m_index);
    }
    EXPECT_EQ(virtual_sources.size(), shadows);
    for (const auto& cell : indexes) {
        EXPECT_EQ(*cell.second.rbegin() + 1, cell.second.size())
            << "gap in the indexes of type " << cell.first.second << " in cell "
            << cell.first.first;
    }
    for (uint32_t kind : {0u, 1u, 2u}) EXPECT_GT(by_kind[kind], 0u) << "no edges of kind " << kind;
    EXPECT_EQ(by_kind[3], shadows);

    RECORDING_BUILDER traced;
    DEVICE_RUN again(size);
    again.generate(traced, true);
    EXPECT_EQ(builder.m_nodes, traced.m_nodes);
    EXPECT_EQ(builder.m_edges.size(), traced.m_edges.size());
    int shown = 0;
    for (const auto& e : builder.m_edges)
        if (builder.m_edges.count(e) != traced.m_edges.count(e) && shown++ < 5)
            ADD_FAILURE() << "memo " << builder.m_edges.count(e) << " traced "
                          << traced.m_edges.count(e) << ": kind " << std::get<0>(e) << " "
                          << builder.m_nodes[std::get<1>(e)] << " -> "
                          << builder.m_nodes[std::get<2>(e)];
    for (const auto& e : traced.m_edges)
        if (builder.m_edges.count(e) == 0 && shown++ < 10)
            ADD_FAILURE() << "traced only: kind " << std::get<0>(e) << " "
                          << builder.m_nodes[std::get<1>(e)] << " -> "
                          << builder.m_nodes[std::get<2>(e)];
    // The same graph with a translation database: see test_translate_device.
    std::cout << size << ": nodes " << n << ", edges CRF " << by_kind[0] << " FCD " << by_kind[2]
              << " BLC " << by_kind[1] << " VIRTUAL " << by_kind[3] << "\n";
}

// The tiny device's graph as fab_run dumps it, against the reviewed text in tests/fab/data.
// After a reviewed change of the generator or the library, regenerate it with
//   build/tools/fab_devgen --size tiny --direct --out /tmp/tiny &&
//   build/tools/fab_run /tmp/tiny --dump-graph tests/fab/data/tiny_graph.txt
TEST(GenerateDevice, TinyGraphAsReviewed) {
    DEVICE_RUN run("tiny");
    FAB_RUN::CSR_BUILDER builder;
    FAB_ROUTING_GRAPH_IMPL graph(run.m_rtl.m_graph.get(), run.m_rtl.m_annss.get(),
                                 run.m_blc.m_graph.get(), run.m_blc.m_annss.get(), run.m_tree.get(),
                                 run.m_position.get(), nullptr, &run.m_match, false);
    graph.generate(builder);
    EXPECT_TRUE(builder.protocol_ok()) << builder.calls();
    std::ostringstream dump;
    FAB_RUN::dump_graph(dump, builder);
    std::ifstream in(std::string(FAB_TESTS_DIR) + "/fab/data/tiny_graph.txt");
    ASSERT_TRUE(in.good());
    std::stringstream expected;
    expected << in.rdbuf();
    EXPECT_TRUE(dump.str() == expected.str()) << "the tiny graph differs from the reviewed dump";
}

TEST(GenerateDevice, InvariantsOnTheTinyDevice) {
    sweep("tiny");
}

TEST(GenerateDevice, InvariantsOnTheSmallDevice) {
    sweep("small");
}

// The export once offered bridges and the edges at inserted REs as mux paths. They come after
// the traced CRF edges, bridges first: the builder marks them, and only them, as fixed.
TEST(GenerateDevice, CrfBridgesAndInsertedReEdgesAreFixed) {
    DEVICE_RUN run("tiny");
    FAB_RUN::CSR_BUILDER builder;
    FAB_ROUTING_GRAPH_IMPL graph(run.m_rtl.m_graph.get(), run.m_rtl.m_annss.get(),
                                 run.m_blc.m_graph.get(), run.m_blc.m_annss.get(), run.m_tree.get(),
                                 run.m_position.get(), nullptr, &run.m_match, false);
    graph.generate(builder);
    const FAB_RUN::CSR_BUILDER::CSR& crf = builder.kind(0);
    size_t bridges = 0, inserted = 0, traced = 0;
    for (size_t e = 0; e < crf.m_targets.size(); ++e) {
        EXPECT_TRUE(crf.m_generated[e] || crf.m_fixed[e]) << "bridge edge " << e;
        bridges += !crf.m_generated[e];
        inserted += crf.m_generated[e] && crf.m_fixed[e];
        traced += !crf.m_fixed[e];
    }
    EXPECT_GT(bridges, 0u);
    EXPECT_GT(inserted, 0u);
    EXPECT_GT(traced, bridges + inserted);
}

}  // namespace
