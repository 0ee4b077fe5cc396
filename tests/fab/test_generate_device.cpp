// generate on generated devices: the call sequence, endpoints, locations, numbering per cell
// and type, shadows and their VIRTUAL edges, the same edges without the memo, the same graph
// from a whole run with a translation database that answers for it, and what records that
// contradict the netlist get.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <sstream>

#include "ann/annss.h"
#include "devgen/devgen_direct.h"
#include "device_files.h"
#include "fab/fab_position.h"
#include "fab/fab_routing_graph.h"
#include "fab/fab_test_builder.h"
#include "fab/fab_translate.h"
#include "fab/tsl_fab.h"
#include "fab_itranslate.h"
#include "fab_api.h"
#include "fab_floorplan_api.h"
#include "fab_run_builder.h"
#include "fab/fab_graph_traverse.h"
#include "icdb/icdb_instance_tree.h"
#include "nlg/nlg_graph.h"
#include "nlg_builders.h"
#include "print_form.h"
#include "translate_fixture.h"

namespace {

using FAB_TEST::is_shadow;
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

// Keeps, beside what the recording builder keeps, the GID fields of every node.
class GID_BUILDER : public RECORDING_BUILDER {
  public:
    explicit GID_BUILDER(FAB::TRANSLATE* translate) : m_translate(translate) {}
    uint32_t add_node(const FAB::ROUTING_GRAPH::NODE& node) override {
        m_fields.emplace_back();
        // Nodes inside blocks have names the database does not hold, and say so.
        if (node.get_re_class() != 2)
            stdout_of([&] { m_translate->fill_gid_fields(m_fields.back(), node); });
        return RECORDING_BUILDER::add_node(node);
    }
    void add_edge(const FAB::ROUTING_GRAPH::EDGE& e) override {
        if (m_kind == 0) m_group0.emplace_back(e.get_src(), e.get_dst(), e.is_generated());
        RECORDING_BUILDER::add_edge(e);
    }
    // The traced CRF edges: those before the first bridge. Bridges are the group's edges that
    // no trace made; the inserted REs' edges follow them.
    std::vector<std::pair<uint32_t, uint32_t>> plain_crf_edges() const {
        std::vector<std::pair<uint32_t, uint32_t>> plain;
        for (const auto& e : m_group0) {
            if (!std::get<2>(e)) break;
            plain.emplace_back(std::get<0>(e), std::get<1>(e));
        }
        return plain;
    }
    std::vector<std::tuple<uint32_t, uint32_t, bool>> m_group0;
    FAB::TRANSLATE* m_translate;
    std::vector<UTIL::BASE_GID_CONVERTER> m_fields;
};

// The settings the generator designed, by "mux module:input:output", each as sorted
// "subpath=value" words.
std::map<std::string, std::string> designed_settings(const PB::MUX_DESCRIPTIONS& muxes) {
    std::map<std::string, std::string> designed;
    for (const PB::MUX_DESCRIPTION& m : muxes.mux_descriptions()) {
        for (const PB::MUX_DESCRIPTION::SETTINGS& s : m.settings()) {
            const PB::MUX_DESCRIPTION::PATH& path = m.mux_paths(static_cast<int>(s.path_index()));
            std::set<std::string> words;
            for (const PB::MUX_DESCRIPTION::SETTING& v : s.setting()) {
                std::string sub;
                for (const std::string& n : m.subpaths(static_cast<int>(v.subpath_index())).name())
                    sub += (sub.empty() ? "" : "/") + n;
                words.insert(sub + "=" + v.value());
            }
            std::string& line = designed[m.name() + ":" + path.in() + ":" + path.out()];
            for (const std::string& w : words) line += w + " ";
        }
    }
    return designed;
}

// The same words for the path of the splitter's last edge.
std::string split_settings(const FAB::ITRANSLATE::IGID_SPLITTER& splitter) {
    const UTIL::ISUBATTRIBUTE_SETTINGS& settings = *splitter.get_path_settings();
    const UTIL::ISUBATTRIBUTES& subs = *splitter.get_subattributes();
    std::set<std::string> words;
    for (uint32_t k = 0; k < settings.get_n_subattribute_settings(); ++k) {
        const UTIL::ISUBATTRIBUTE_SETTING& v = settings.get_subattribute_setting(k);
        std::string sub;
        for (NS_SYMBOL::SYM n :
             subs.get_subattribute(static_cast<uint32_t>(v.get_subattribute_index())).get_subpath())
            sub += (sub.empty() ? "" : "/") + n.get_name();
        NS_SYMBOL::SYM value;
        v.get_setting(value);
        words.insert(sub + "=" + value.get_name());
    }
    std::string line;
    for (const std::string& w : words) line += w + " ";
    return line;
}

struct TRANSLATED_RUN {
    FAB::TRANSLATE* m_translate = new FAB::TRANSLATE();
    std::unique_ptr<FAB::API> m_api;
    GID_BUILDER m_builder{m_translate};
    std::map<std::string, std::string> m_designed;

    explicit TRANSLATED_RUN(const std::string& size) {
        DEVGEN::DG_DEVICE device(FAB_TEST::preset(size));
        m_designed = designed_settings(device.mux_descriptions());
        m_api.reset(fab_create(nullptr, m_translate, false));
        DEVGEN::DG_VIEW rtl = DEVGEN::dg_make_rtl(device), blc = DEVGEN::dg_make_blc(device);
        FAB_TEST::read_views(*m_api, *rtl.m_graph, *rtl.m_annss, *blc.m_graph, *blc.m_annss);
        std::unique_ptr<FAB::FLOORPLAN> floorplan(m_api->create_floorplan());
        std::unique_ptr<FAB::ROUTING_GRAPH> graph(m_api->create_routing_graph());
        graph->generate(m_builder);
    }

    // The GID of a builder node, or -1 when its type is not in the database.
    uint64_t gid_of(uint32_t id, UTIL::IGID_CONVERTER& converter) const {
        const UTIL::BASE_GID_CONVERTER& f = m_builder.m_fields.at(id);
        if (m_builder.m_data[id].m_class == 2) return ~0ull;
        if (m_translate->get_gidmap()->get_gid_types().find_gid_type(
                f.get_gclass(), f.get_name(), f.get_length()) == UTIL::IGID_CONVERTER::INVALID)
            return ~0ull;
        return converter.make_gid64(f.get_x(), f.get_y(), f.get_z(), f.get_i(), f.get_gclass(),
                                    f.get_name(), f.get_length());
    }
};

// Counts of the edge sweep; a failing check names its first few edges.
struct EDGE_COUNTS {
    size_t split = 0, refused = 0, wrong_setting = 0, wrong_input = 0, bidir_inputs = 0;
};

// One line per traced CRF edge between two GIDs: the block, path and setting it needs. Each
// edge's setting is checked against the generator's design for its mux path, and the input of
// that path at the driving mux must stand for the edge's destination.
std::string edge_answers(TRANSLATED_RUN& run, FAB::TRANSLATE& t, EDGE_COUNTS& n) {
    std::unique_ptr<UTIL::IGID_CONVERTER> converter(run.m_translate->create_gid_converter());
    std::unique_ptr<FAB::ITRANSLATE::IGID_SPLITTER> splitter(t.create_gid_splitter());
    const UTIL::IHIERARCHY& hierarchy = *t.get_hierarchy();
    std::ostringstream out;
    uint64_t cached, driver;
    for (const auto& e : run.m_builder.plain_crf_edges()) {
        const uint32_t src = e.first, dst = e.second;
        if (run.m_builder.m_data[dst].m_class == 3 && is_shadow(run.m_builder.m_data[dst].m_type))
            continue;
        const uint64_t s = run.gid_of(src, *converter), d = run.gid_of(dst, *converter);
        if (s == ~0ull || d == ~0ull || !t.get_nodemap()->get_nodes(cached, driver, s) ||
            !t.get_nodemap()->get_nodes(cached, driver, d))
            continue;
        const std::string edge = run.m_builder.m_nodes[src] + " -> " + run.m_builder.m_nodes[dst];
        testing::internal::CaptureStdout();
        const bool ok = splitter->set_edge(UTIL::GID64(s), UTIL::GID64(d));
        const std::string why = testing::internal::GetCapturedStdout();
        if (!ok) {
            if (n.refused++ < 3) ADD_FAILURE() << edge << "\n" << why;
            continue;
        }
        ++n.split;
        NS_SYMBOL::SYM uid;
        splitter->get_uid(uid);
        const UTIL::ITLATTRIBUTE& mux = *splitter->get_tlattribute();
        const PB::MUX_DESCRIPTION& desc = splitter->get_mux_description()->get_pb();
        const uint32_t path = splitter->get_ipath_index();
        const UTIL::IHIERARCHY::IMODULE& module =
            *hierarchy.get_modules()->get_module(mux.get_module_index());
        const uint32_t in = static_cast<uint32_t>(desc.mux_ipaths(static_cast<int>(path)).in());
        const uint32_t out_port =
            static_cast<uint32_t>(desc.mux_ipaths(static_cast<int>(path)).out());
        out << s << "->" << d << " " << uid << " path " << path << " of " << desc.mux_ipaths_size()
            << " input " << splitter->get_input_port()->get_name() << " settings ";
        const std::string key = desc.name() + ":" + module.get_port(in)->get_name().get_name() +
                                ":" + module.get_port(out_port)->get_name().get_name();
        auto designed = run.m_designed.find(key);
        if (path < mux.get_n_settings()) {
            const std::string got = split_settings(*splitter);
            out << got;
            if (!uid.is_known() || designed == run.m_designed.end() || designed->second != got) {
                if (n.wrong_setting++ < 3)
                    ADD_FAILURE() << edge << ": " << key << " in " << uid << " sets " << got
                                  << " designed "
                                  << (designed == run.m_designed.end() ? "nothing"
                                                                       : designed->second);
            }
        } else {
            if (designed != run.m_designed.end() && n.wrong_setting++ < 3)
                ADD_FAILURE() << edge << ": " << key << " designed " << designed->second
                              << " but the database has no settings";
        }
        // The path's input at the driving mux occurrence stands for the destination. Only an
        // input port is mapped to the output it feeds; the ports of a bidirectional driver
        // stand for themselves.
        if (module.get_port(in)->get_direction() != 0) {
            ++n.bidir_inputs;
            out << "\n";
            continue;
        }
        uint32_t driver_port = 0;
        const uint32_t driver_module =
            hierarchy.get_port_of_node(driver_port, splitter->get_dst_driver());
        const uint64_t occurrence =
            hierarchy.get_port_parent(driver_module, driver_port, splitter->get_dst_driver());
        const uint64_t input = hierarchy.get_port_node(mux.get_module_index(), occurrence, in);
        const UTIL::GID64 mapped = t.map_specific_mux_port_to_gid(input);
        if (mapped.get_value() != d && n.wrong_input++ < 3)
            ADD_FAILURE() << edge << ": input " << key << " maps to " << mapped << ", not "
                          << UTIL::GID64(d);
        out << "\n";
    }
    return out.str();
}

// A whole run with a translation database through the run object: the GID of every node the
// builder received is in the database, every traced CRF edge between two GIDs splits into a
// block instance and a setting, the database answers the same after a write and a read, and
// the graph is `plain`, the one the direct run without a database delivered.
void round_trip(const std::string& size, const RECORDING_BUILDER& plain) {
    TRANSLATED_RUN run(size);
    FAB::TRANSLATE& t = *run.m_translate;
    std::unique_ptr<UTIL::IGID_CONVERTER> converter(t.create_gid_converter());
    std::set<uint64_t> found;
    uint64_t cached, driver;
    for (uint32_t id = 0; id < run.m_builder.m_fields.size(); ++id) {
        const uint64_t gid = run.gid_of(id, *converter);
        if (gid != ~0ull && t.get_nodemap()->get_nodes(cached, driver, gid)) found.insert(gid);
    }
    EXPECT_GT(t.get_n_gids(), 0u);
    EXPECT_EQ(found.size(), t.get_nodemap()->get_n_cnodes());

    EDGE_COUNTS n;
    const std::string before = edge_answers(run, t, n);
    EXPECT_GT(n.split, 0u);
    EXPECT_EQ(n.refused, 0u) << n.split << " split";
    EXPECT_EQ(n.wrong_setting, 0u) << n.split << " split";
    EXPECT_EQ(n.wrong_input, 0u) << n.split << " split, " << n.bidir_inputs << " bidirectional";
    // A file that has bridges separates the traced edges from the inserted ones.
    ASSERT_LT(run.m_builder.plain_crf_edges().size(), run.m_builder.m_group0.size());

    std::ostringstream file(std::ios::out | std::ios::binary);
    ASSERT_TRUE(t.write(file, UTIL::PB_BIN));
    FAB::TRANSLATE fresh;
    std::istringstream in(file.str());
    ASSERT_TRUE(fresh.read(in, UTIL::PB_BIN));
    for (int detail : {1, 3}) EXPECT_EQ(printed(fresh, detail), printed(t, detail));
    EDGE_COUNTS again;
    EXPECT_EQ(edge_answers(run, fresh, again), before);
    EXPECT_EQ(plain.m_nodes, run.m_builder.m_nodes);
    EXPECT_EQ(plain.m_edges, run.m_builder.m_edges);
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
    round_trip(size, builder);
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

TEST(GenerateDevice, InvariantsAndDatabaseOnTheTinyDevice) {
    sweep("tiny");
}

TEST(GenerateDevice, InvariantsAndDatabaseOnTheSmallDevice) {
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

// Records that contradict the netlist end with their texts: a merged mux output that no block
// input took, a block port and a port inside a block without an RE name.
TEST(GenerateDeathTest, ContradictingRecords) {
    // The first port of module `name` in `view` that `pick` accepts.
    auto port = [](DEVGEN::DG_VIEW& view, const char* name,
                   const std::function<bool(NLG_IPORT*, const PB::ICDB::APORT&)>& pick) {
        NLG_IMODULE* m = view.m_graph->get_module(view.m_graph->get_symbol_table()->find(name));
        for (uint32_t k = 0; k < m->get_num_ports(); ++k) {
            NLG_IPORT* p = m->get_port(static_cast<int32_t>(k));
            if (pick(p, view.m_annss->get_icdb().get_port(*p))) return p;
        }
        return static_cast<NLG_IPORT*>(nullptr);
    };
    const std::vector<std::function<std::string(DEVICE_RUN&)>> spoils = {
        [&](DEVICE_RUN& r) {
            NLG_IPORT* out =
                port(r.m_rtl, "rt_mux_h2r", [](NLG_IPORT* p, auto&) { return p->is_output(); });
            r.m_rtl.m_annss->get_icdb().get_port(*out).set_merge_type(PB::ICDB::APORT::MERGE);
            return std::string("blc_node_iter != m_mux_to_blc_node_map->end()");
        },
        [&](DEVICE_RUN& r) {
            NLG_IPORT* p = port(r.m_blc, "LOGIC", [](NLG_IPORT*, const PB::ICDB::APORT& a) {
                return a.is_route_type_normal() && a.has_re_name();
            });
            r.m_blc.m_annss->get_icdb().get_port(*p).clear_re_name();
            return "port " + p->get_name().str() + " on module LOGIC doesn't have valid RE name!";
        },
        [&](DEVICE_RUN& r) {
            NLG_IPORT* p = port(r.m_blc, "CELL", [](NLG_IPORT* q, const PB::ICDB::APORT& a) {
                return q->is_output() && a.is_route_type_normal() && a.has_re_name();
            });
            r.m_blc.m_annss->get_icdb().get_port(*p).clear_re_name();
            return "port " + p->get_name().str() +
                   " on module CELL in BLC doesn't have valid RE name!";
        }};
    for (const auto& spoil : spoils) {
        DEVICE_RUN run("tiny");
        const std::string text = spoil(run);
        RECORDING_BUILDER builder;
        EXPECT_FATAL(run.generate(builder), text);
    }
}

}  // namespace
