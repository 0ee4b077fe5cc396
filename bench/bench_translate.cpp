// The translation database of a generated device (TRANSLATE_DEVICE: tiny, small, medium, large
// or huge; huge by default): one run with a database, then the file's size by section, the
// write and read times, and the cost of the GID, node and edge questions on random samples of
// what the run delivered. Aims on huge: under 150 MB, read under 3 s, an edge under 1 us.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <google/protobuf/io/zero_copy_stream_impl_lite.h>

#include "devgen/devgen_device.h"
#include "devgen/devgen_direct.h"
#include "fab/fab_translate.h"
#include "fab_api.h"
#include "fab_floorplan_api.h"
#include "fab_irouting_graph.h"
#include "nlg/nlg_api_impl.h"
#include "nlg/nlg_graph.h"
#include "ann/annss.h"

namespace {

constexpr size_t kSamples = 200000;
const char* const kSections[] = {"symbol file", "modulesmap", "mux descriptions",
                                 "tlblocks",    "portmaps",   "partitions",
                                 "gidmap",      "nodemap",    "edgemap"};

double seconds_since(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Keeps the GID fields of each node and the traced CRF edges (those before the first bridge).
class SAMPLING_BUILDER : public FAB::ROUTING_GRAPH::IBUILDER {
  public:
    explicit SAMPLING_BUILDER(FAB::TRANSLATE* translate) : m_translate(translate) {}
    void begin_graph() override {}
    void begin_nodes() override {}
    uint32_t add_node(const FAB::ROUTING_GRAPH::NODE& node) override {
        m_fields.emplace_back();
        std::streambuf* saved = std::cout.rdbuf(m_quiet.rdbuf());
        if (node.get_re_class() != 2) m_translate->fill_gid_fields(m_fields.back(), node);
        std::cout.rdbuf(saved);
        m_quiet.str("");
        return static_cast<uint32_t>(m_fields.size() - 1);
    }
    void end_nodes() override {}
    void begin_edges(uint32_t kind) override { m_kind = kind; }
    void add_edge(const FAB::ROUTING_GRAPH::EDGE& e) override {
        if (m_kind != 0 || m_bridged) return;
        if (!e.is_generated()) {
            m_bridged = true;
            return;
        }
        m_crf.emplace_back(e.get_src(), e.get_dst());
    }
    void end_edges() override {}
    void end_graph() override {}

    FAB::TRANSLATE* m_translate;
    std::vector<UTIL::BASE_GID_CONVERTER> m_fields;
    std::vector<std::pair<uint32_t, uint32_t>> m_crf;
    uint32_t m_kind = 99;
    bool m_bridged = false;
    std::ostringstream m_quiet;
};

struct SETUP {
    std::string m_bytes;
    std::unique_ptr<FAB::TRANSLATE> m_db;
    std::vector<uint64_t> m_gids;
    std::vector<uint64_t> m_nodes;
    std::vector<std::pair<uint64_t, uint64_t>> m_edges;
    double m_write_s = 0, m_read_s = 0;

    SETUP() {
        const char* env = std::getenv("TRANSLATE_DEVICE");
        const std::string size = env ? env : "huge";
        DEVGEN::DG_PARAMS params;
        if (!DEVGEN::dg_preset(size, params)) std::abort();
        auto start = std::chrono::steady_clock::now();
        std::stringstream rtl_graph, rtl_ann, blc_graph, blc_ann;
        {
            DEVGEN::DG_DEVICE device(params);
            DEVGEN::DG_VIEW rtl = DEVGEN::dg_make_rtl(device);
            DEVGEN::DG_VIEW blc = DEVGEN::dg_make_blc(device);
            NLG_TESSEL tessel;
            tessel.write_graph(rtl.m_graph.get(), rtl_graph, TESSEL_API::FORMAT_PB_BIN);
            tessel.write_annss(rtl.m_annss.get(), rtl_ann, TESSEL_API::FORMAT_PB_BIN);
            tessel.write_graph(blc.m_graph.get(), blc_graph, TESSEL_API::FORMAT_PB_BIN);
            tessel.write_annss(blc.m_annss.get(), blc_ann, TESSEL_API::FORMAT_PB_BIN);
        }
        std::cerr << size << ": device in " << seconds_since(start) << " s" << std::endl;
        start = std::chrono::steady_clock::now();
        FAB::TRANSLATE* translate = new FAB::TRANSLATE();
        SAMPLING_BUILDER builder(translate);
        {
            std::unique_ptr<FAB::API> api(fab_create(nullptr, translate, false));
            api->read_rtl_graph(rtl_graph);
            api->read_rtl_annotation(rtl_ann);
            api->read_blc_graph(blc_graph);
            api->read_blc_annotation(blc_ann);
            std::unique_ptr<FAB::FLOORPLAN> floorplan(api->create_floorplan());
            std::unique_ptr<FAB::ROUTING_GRAPH> graph(api->create_routing_graph());
            graph->generate(builder);
            std::cerr << size << ": run in " << seconds_since(start) << " s" << std::endl;
            start = std::chrono::steady_clock::now();
            std::ostringstream out(std::ios::out | std::ios::binary);
            translate->write(out, UTIL::PB_BIN);
            m_bytes = out.str();
            m_write_s = seconds_since(start);
            sample(*translate, builder);
        }
        start = std::chrono::steady_clock::now();
        m_db.reset(new FAB::TRANSLATE());
        google::protobuf::io::ArrayInputStream input(m_bytes.data(),
                                                     static_cast<int>(m_bytes.size()));
        std::string failure;
        std::vector<int64_t> ends;
        if (!m_db->read_sections(&input, UTIL::PB_BIN, failure, &ends)) std::abort();
        m_read_s = seconds_since(start);
        std::cerr << size << ": database " << m_bytes.size() << " bytes, written in " << m_write_s
                  << " s, read in " << m_read_s << " s; " << m_gids.size() << " GIDs, "
                  << m_edges.size() << " edges sampled" << std::endl;
        int64_t begin = 0;
        for (size_t s = 0; s < ends.size(); ++s) {
            std::cerr << "  " << kSections[s] << ": " << ends[s] - begin << " bytes" << std::endl;
            begin = ends[s];
        }
    }

    uint64_t gid_of(FAB::TRANSLATE& t, UTIL::IGID_CONVERTER& c, const UTIL::BASE_GID_CONVERTER& f) {
        if (f.get_gclass() == PB::GID_TYPE::INVALID ||
            t.get_gidmap()->get_gid_types().find_gid_type(
                f.get_gclass(), f.get_name(), f.get_length()) == UTIL::IGID_CONVERTER::INVALID)
            return ~0ull;
        return c.make_gid64(f.get_x(), f.get_y(), f.get_z(), f.get_i(), f.get_gclass(),
                            f.get_name(), f.get_length());
    }

    void sample(FAB::TRANSLATE& t, const SAMPLING_BUILDER& builder) {
        std::unique_ptr<UTIL::IGID_CONVERTER> c(t.create_gid_converter());
        std::mt19937_64 rng(12345);
        uint64_t cached, driver;
        std::vector<uint64_t> all;
        for (const auto& f : builder.m_fields) {
            const uint64_t gid = gid_of(t, *c, f);
            if (gid != ~0ull && t.get_nodemap()->get_nodes(cached, driver, gid)) all.push_back(gid);
        }
        for (size_t k = 0; k < kSamples && !all.empty(); ++k) {
            const uint64_t gid = all[rng() % all.size()];
            t.get_nodemap()->get_nodes(cached, driver, gid);
            m_gids.push_back(gid);
            m_nodes.push_back(driver);
        }
        std::vector<std::pair<uint64_t, uint64_t>> edges;
        for (const auto& e : builder.m_crf) {
            const uint64_t s = gid_of(t, *c, builder.m_fields[e.first]);
            const uint64_t d = gid_of(t, *c, builder.m_fields[e.second]);
            if (s == ~0ull || d == ~0ull || !t.get_nodemap()->get_nodes(cached, driver, s) ||
                !t.get_nodemap()->get_nodes(cached, driver, d))
                continue;
            edges.emplace_back(s, d);
        }
        // Only edges that split: a refused one prints its reasons.
        std::unique_ptr<FAB::ITRANSLATE::IGID_SPLITTER> splitter(t.create_gid_splitter());
        std::ostringstream quiet;
        std::streambuf* saved = std::cout.rdbuf(quiet.rdbuf());
        for (size_t k = 0; k < kSamples && !edges.empty(); ++k) {
            const auto& e = edges[rng() % edges.size()];
            if (splitter->set_edge(UTIL::GID64(e.first), UTIL::GID64(e.second)))
                m_edges.push_back(e);
        }
        std::cout.rdbuf(saved);
    }
};

SETUP& setup() {
    static SETUP s_setup;
    return s_setup;
}

void BM_FileBytes(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(setup().m_bytes.size());
    state.counters["bytes"] = static_cast<double>(setup().m_bytes.size());
    state.counters["write_s"] = setup().m_write_s;
    state.counters["read_s"] = setup().m_read_s;
}
BENCHMARK(BM_FileBytes)->Iterations(1);

void BM_Read(benchmark::State& state) {
    const std::string& bytes = setup().m_bytes;
    for (auto _ : state) {
        FAB::TRANSLATE db;
        google::protobuf::io::ArrayInputStream input(bytes.data(), static_cast<int>(bytes.size()));
        benchmark::DoNotOptimize(db.read_stream(&input, UTIL::PB_BIN));
    }
}
BENCHMARK(BM_Read)->Iterations(2)->Unit(benchmark::kMillisecond);

void BM_Write(benchmark::State& state) {
    for (auto _ : state) {
        std::ostringstream out(std::ios::out | std::ios::binary);
        setup().m_db->write(out, UTIL::PB_BIN);
        benchmark::DoNotOptimize(out.str().size());
    }
}
BENCHMARK(BM_Write)->Iterations(2)->Unit(benchmark::kMillisecond);

// GID to the hierarchical node behind it.
void BM_GidToNode(benchmark::State& state) {
    FAB::TRANSLATE& db = *setup().m_db;
    const std::vector<uint64_t>& gids = setup().m_gids;
    size_t k = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(db.get_node_from_gid(UTIL::GID64(gids[k])));
        if (++k == gids.size()) k = 0;
    }
}
BENCHMARK(BM_GidToNode);

// GID to its type and class, as the gid question asks.
void BM_GidClass(benchmark::State& state) {
    FAB::TRANSLATE& db = *setup().m_db;
    const std::vector<uint64_t>& gids = setup().m_gids;
    size_t k = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(db.get_node_class(UTIL::GID64(gids[k])) +
                                 db.get_mux_type(UTIL::GID64(gids[k])));
        if (++k == gids.size()) k = 0;
    }
}
BENCHMARK(BM_GidClass);

// Hierarchical node to its GID.
void BM_NodeToGid(benchmark::State& state) {
    FAB::TRANSLATE& db = *setup().m_db;
    const std::vector<uint64_t>& nodes = setup().m_nodes;
    size_t k = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(db.get_nodemap()->get_gid(nodes[k]));
        if (++k == nodes.size()) k = 0;
    }
}
BENCHMARK(BM_NodeToGid);

// Edge to block instance and setting: set_edge, then the uid and the path's settings.
void BM_Edge(benchmark::State& state) {
    FAB::TRANSLATE& db = *setup().m_db;
    const auto& edges = setup().m_edges;
    std::unique_ptr<FAB::ITRANSLATE::IGID_SPLITTER> splitter(db.create_gid_splitter());
    size_t k = 0;
    NS_SYMBOL::SYM uid;
    for (auto _ : state) {
        splitter->set_edge(UTIL::GID64(edges[k].first), UTIL::GID64(edges[k].second));
        splitter->get_uid(uid);
        benchmark::DoNotOptimize(uid);
        benchmark::DoNotOptimize(splitter->get_ipath_index());
        if (++k == edges.size()) k = 0;
    }
}
BENCHMARK(BM_Edge);

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    setup();
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
