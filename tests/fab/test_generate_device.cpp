// generate on generated devices: the call sequence, endpoints, locations, numbering per cell
// and type, shadows and their VIRTUAL edges, and the same edges without the memo.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <set>

#include "ann/annss.h"
#include "devgen/devgen_direct.h"
#include "device_files.h"
#include "fab/fab_position.h"
#include "fab/fab_routing_graph.h"
#include "fab/fab_test_builder.h"
#include "fab/tsl_fab.h"
#include "fab_itranslate.h"
#include "fab_run_builder.h"
#include "fab/fab_graph_traverse.h"
#include "icdb/icdb_instance_tree.h"
#include "nlg/nlg_graph.h"
#include "nlg/nlg_graph_trace.h"

namespace {

using FAB_TEST::RECORDING_BUILDER;

// A generated device with what a run makes before the routing graph.
struct DEVICE_RUN {
    explicit DEVICE_RUN(const std::string& size)
        : m_params(FAB_TEST::preset(size)),
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

    void generate(FAB::ROUTING_GRAPH::IBUILDER& builder, bool no_cache = false) {
        FAB_ROUTING_GRAPH_IMPL graph(m_rtl.m_graph.get(), m_rtl.m_annss.get(), m_blc.m_graph.get(),
                                     m_blc.m_annss.get(), m_tree.get(), m_position.get(), nullptr,
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

// Node numbers by place; a HIPI shadow shares its mux output's place and comes right after it.
struct PLACES {
    explicit PLACES(const RECORDING_BUILDER& b) {
        for (uint32_t id = 0; id < b.m_places.size(); ++id) {
            if (b.m_places[id].empty()) continue;
            auto& ids = m_ids.emplace(b.m_places[id], std::make_pair(kNone, kNone)).first->second;
            if (b.m_data[id].m_class == 3 && FAB_TEST::is_shadow(b.m_data[id].m_type))
                ids.second = id;
            else
                ids.first = id;
        }
    }
    // The main node and the shadow at a place; kNone where there is none.
    std::pair<uint32_t, uint32_t> at(const std::string& place) const {
        auto it = m_ids.find(place);
        return it == m_ids.end() ? std::make_pair(kNone, kNone) : it->second;
    }
    static constexpr uint32_t kNone = 0xffffffff;
    std::map<std::string, std::pair<uint32_t, uint32_t>> m_ids;
};

FAB_INSTANCES instances_of(NLG_IGRAPH& graph, const std::vector<int32_t>& indexes) {
    FAB_INSTANCES out;
    NLG_IMODULE* m = graph.get_top_module();
    for (int32_t k : indexes) {
        out.push_back(m->get_instance(k));
        m = out.back()->get_module();
    }
    return out;
}

// Mux outputs against the merge decisions in the records, and every path of a later-stage mux
// against the CRF edges: each source the tracer finds off the spare rows gives its edge.
void mux_sweeps(DEVICE_RUN& run, const RECORDING_BUILDER& b) {
    NLG_ICDB_ANNS& rtl = run.m_rtl.m_annss->get_icdb();
    const PLACES places(b);
    TSL_RTL_TRACER_SIMPLE_MUX tracer(run.m_rtl.m_annss.get());
    std::vector<std::string> faults;
    auto fault = [&](const std::string& text) {
        if (faults.size() < 8) faults.push_back(text);
    };
    // The places of the REs the tracer finds from `port` of the mux at `path`.
    auto traced = [&](const FAB_INSTANCES& path, NLG_IPORT* port) {
        tracer.clear();
        tracer.set_instances(path);
        port->is_input() ? tracer.trace_up_input(port) : tracer.trace_up_output(port);
        return tracer.get_results();
    };
    uint64_t edges = 0;
    for (const DEVGEN::DG_PLACEMENT& pl : run.m_device.placements()) {
        if (pl.m_spare || !pl.m_routing) continue;
        FAB_INSTANCES block = instances_of(*run.m_rtl.m_graph, pl.m_path);
        NLG_IMODULE* bm = block.back()->get_module();
        for (uint32_t k = 0; k < bm->get_num_instances(); ++k) {
            NLG_IINSTANCE* inst = bm->get_instance(static_cast<int32_t>(k));
            NLG_IMODULE* m = inst->get_module();
            const PB::ICDB::MODULE& an = rtl.get_module(*m);
            if (an.level() != PB::ICDB::MODULE::PRIM_MUX) continue;
            const auto& d =
                an.mux_desc().is_template() ? an.mux_desc() : rtl.get_instance(*inst).mux_desc();
            if (d.is_first_stage()) continue;
            const bool hipi = an.mux_desc().is_template() && an.mux_desc().has_hipi_mux_type() &&
                              an.mux_desc().hipi_mux_type() != 0;
            FAB_INSTANCES path = block;
            path.push_back(inst);
            const std::string here = RECORDING_BUILDER::place(path, nullptr);
            // 1. Outputs: a node unless merged; a shadow beside each on a HIPI mux.
            for (uint32_t q = 0; q < m->get_num_ports(); ++q) {
                NLG_IPORT* port = m->get_port(static_cast<int32_t>(q));
                const PB::ICDB::APORT& r = rtl.get_port(*port);
                if (port->is_input() || !r.is_primary_port()) continue;
                const auto ids = places.at(here + "." + port->get_name().str());
                const bool has = ids.first != PLACES::kNone;
                const int merge = r.has_merge_type() ? int(r.merge_type()) : 0;
                if ((merge == 0 && !has) || (merge == 2 && has))
                    fault("output " + here + " merge_type " + std::to_string(merge) +
                          (has ? " has a node" : " has none"));
                if (hipi != (ids.second != PLACES::kNone))
                    fault("output " + here + (hipi ? " lacks its shadow" : " has a shadow"));
            }
            // 2. Paths.
            for (const auto& p : an.paths()) {
                NLG_IPORT* in = m->get_port(p.in());
                NLG_IPORT* out = m->get_port(p.out());
                const auto out_ids = places.at(here + "." + out->get_name().str());
                uint32_t dst =
                    p.has_is_hipi_path() && p.is_hipi_path() ? out_ids.second : out_ids.first;
                if (dst == PLACES::kNone) {
                    // A merged output: its edges land on the one RE that the output drives.
                    std::set<uint32_t> ends;
                    for (const TSL_TRACED_PORT& t : traced(path, out)) {
                        const uint32_t id =
                            places.at(RECORDING_BUILDER::place(t.m_instances, t.m_port)).first;
                        if (id != PLACES::kNone) ends.insert(id);
                    }
                    if (ends.size() != 1) {
                        fault("merged output " + here + " drives " + std::to_string(ends.size()) +
                              " REs");
                        continue;
                    }
                    dst = *ends.begin();
                }
                std::vector<std::string> sources;
                if (!in->is_input()) sources.push_back(here + "." + in->get_name().str());
                if (in->is_input())
                    for (const TSL_TRACED_PORT& t : traced(path, in)) {
                        const PB::ICDB::FLAT_INSTANCE* flat =
                            find_flat_instance(run.m_tree.get(), rtl, t.m_instances);
                        if (!flat || !flat->is_spare_row())
                            sources.push_back(RECORDING_BUILDER::place(t.m_instances, t.m_port));
                    }
                for (const std::string& s : sources) {
                    const uint32_t src = places.at(s).first;
                    if (src == PLACES::kNone) continue;  // a merged source
                    if (b.m_edges.count(std::make_tuple(0u, src, dst, true)))
                        ++edges;
                    else
                        fault("no CRF edge " + s + " -> " + b.m_nodes[dst] + " from " +
                              b.m_nodes[src]);
                }
            }
        }
    }
    std::string all;
    for (const auto& f : faults) all += f + "\n  ";
    EXPECT_TRUE(faults.empty()) << "first faults:\n  " << all;
    EXPECT_GT(edges, 0u);
}

// Node counts by RE type and the exact edge counts against what the generator designed, and
// nothing on a spare row.
void count_sweeps(DEVICE_RUN& run, const RECORDING_BUILDER& b,
                  std::map<uint32_t, uint64_t> by_kind) {
    std::map<std::string, uint64_t> nodes;
    for (const auto& node : b.m_data)
        ++nodes[DEVGEN::dg_mux_type_name(
            static_cast<int>(node.m_class == 3 ? node.m_type : node.m_re_type))];
    const DEVGEN::DG_COUNTS& c = run.m_device.counts();
    EXPECT_EQ(nodes, c.m_nodes) << "nodes by type differ from the generator's count";
    EXPECT_EQ(by_kind[1], c.m_edges_estimate.at("BLC")) << "BLC edges";
    EXPECT_EQ(by_kind[3], c.m_edges_estimate.at("VIRTUAL")) << "VIRTUAL edges";

    // Each node lies in the block placed at the longest prefix of its place; the match is
    // checked by asking that every node finds its block.
    std::vector<bool> on_spare(b.m_places.size(), false);
    uint64_t placed = 0, spare_edges = 0, spare_blocks = 0;
    for (size_t id = 0; id < b.m_places.size(); ++id) {
        const std::string& where = b.m_places[id];
        for (const DEVGEN::DG_PLACEMENT& pl : run.m_device.placements()) {
            const std::string& s = pl.m_path_text;
            if (where.compare(0, s.size(), s) == 0 && where.size() > s.size() &&
                (where[s.size()] == '/' || where[s.size()] == '.')) {
                ++placed;
                on_spare[id] = pl.m_spare;
                break;
            }
        }
    }
    for (const DEVGEN::DG_PLACEMENT& pl : run.m_device.placements()) spare_blocks += pl.m_spare;
    EXPECT_EQ(placed, b.m_places.size()) << "nodes outside every placed block";
    for (const auto& e : b.m_edges)
        if (on_spare[std::get<1>(e)] || on_spare[std::get<2>(e)]) ++spare_edges;
    EXPECT_GT(spare_blocks, 0u) << "the device has no spare row to check";
    EXPECT_EQ(std::count(on_spare.begin(), on_spare.end(), true), 0) << "nodes on spare rows";
    EXPECT_EQ(spare_edges, 0u) << "edges touching spare-row nodes";
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
            EXPECT_TRUE(FAB_TEST::is_shadow(nodes[src].m_type))
                << "VIRTUAL from a node that is no shadow";
            EXPECT_TRUE(virtual_sources.insert(src).second) << "two VIRTUAL edges from " << src;
        } else if (nodes[dst].m_class == 3 && FAB_TEST::is_shadow(nodes[dst].m_type)) {
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
        if (FAB_TEST::is_shadow(node.m_type)) ++shadows;
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
    if (size == "small") {
        mux_sweeps(run, builder);
        count_sweeps(run, builder, by_kind);
    }

    // The same edges without the memo of traced edges.
    RECORDING_BUILDER traced;
    DEVICE_RUN(size).generate(traced, true);
    EXPECT_EQ(builder.m_nodes, traced.m_nodes);
    RECORDING_BUILDER::EDGES differ;
    std::set_symmetric_difference(builder.m_edges.begin(), builder.m_edges.end(),
                                  traced.m_edges.begin(), traced.m_edges.end(),
                                  std::inserter(differ, differ.end()));
    int shown = 0;
    for (const auto& e : differ)
        if (shown++ < 5)
            ADD_FAILURE() << "memo " << builder.m_edges.count(e) << " traced "
                          << traced.m_edges.count(e) << ": kind " << std::get<0>(e) << " "
                          << builder.m_nodes[std::get<1>(e)] << " -> "
                          << builder.m_nodes[std::get<2>(e)];
}

// The tiny device's graph as fab_run dumps it, against the reviewed text in tests/fab/data.
// After a reviewed change of the generator or the library, regenerate it with
//   build/tools/fab_devgen --size tiny --direct --out /tmp/tiny &&
//   build/tools/fab_run /tmp/tiny --dump-graph tests/fab/data/tiny_graph.txt
TEST(GenerateDevice, TinyGraphAsReviewed) {
    DEVICE_RUN run("tiny");
    FAB_RUN::CSR_BUILDER builder;
    run.generate(builder);
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
    run.generate(builder);
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
