// GID and node-map benchmarks on a device-sized table: about ten million resources over a
// 160 x 120 x 2 grid with 24 types. Encode and decode through a converter, node-map look-ups
// both ways per call, build with seal, and the file size and memory per node.
#include <benchmark/benchmark.h>

#include <fstream>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

#include "util/util_gid.h"
#include "util/util_nodemap64.h"
#include "util/util_symbol.h"
#include "util/util_symbol_file.h"

namespace {

constexpr uint32_t kNx = 160;
constexpr uint32_t kNy = 120;
constexpr uint32_t kNz = 2;
constexpr uint32_t kTypes = 24;
constexpr uint64_t kNodes = 10000000;

// Resident set size of the process in bytes.
size_t rss_bytes() {
    std::ifstream statm("/proc/self/statm");
    size_t pages = 0, resident = 0;
    statm >> pages >> resident;
    return resident * static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

// The grid and its types: H1..H12, V1..V12, all GLOBAL.
struct DEVICE {
    UTIL::SYMBOL_TABLE* m_table = UTIL::symbol_tables().new_table();
    UTIL::SYMBOL_FILE m_file;
    std::unique_ptr<UTIL::GID64_BUILDER> m_builder{UTIL::create_gid64_builder()};
    std::vector<std::pair<NS_SYMBOL::SYM, int32_t>> m_types;

    DEVICE() {
        m_table->add("H");
        m_table->add("V");
        m_table->init_name_fast();
        m_file.set_internal_const(m_table);
        m_builder->set_symbol_file(&m_file);
        m_builder->set_dimensions(kNx, kNy, kNz);
        for (uint32_t t = 0; t < kTypes; ++t) {
            m_types.emplace_back(m_table->find(t % 2 ? "V" : "H"), static_cast<int32_t>(t / 2 + 1));
        }
        m_builder->add_global_types(m_types);
    }
};

DEVICE& device() {
    static DEVICE s_device;
    return s_device;
}

// n resources spread over cells in a fixed random order, i counted per (cell, type); node
// numbers are sparse and increasing, as a hierarchy numbers ports.
struct RESOURCES {
    std::vector<uint64_t> m_gids;
    std::vector<uint64_t> m_nodes;

    explicit RESOURCES(uint64_t n) {
        DEVICE& d = device();
        std::mt19937_64 rng(7);
        std::vector<uint32_t> next_i(static_cast<size_t>(kNx) * kNy * kNz * kTypes, 0);
        m_gids.reserve(n);
        m_nodes.reserve(n);
        uint64_t node = 0;
        for (uint64_t k = 0; k < n; ++k) {
            uint32_t x = rng() % kNx, y = rng() % kNy, z = rng() % kNz, t = rng() % kTypes;
            uint32_t& i = next_i[((static_cast<size_t>(x) * kNy + y) * kNz + z) * kTypes + t];
            const auto& type = d.m_types[t];
            m_gids.push_back(d.m_builder->make_gid64(x, y, z, i++, PB::GID_TYPE::GLOBAL, type.first,
                                                     type.second));
            node += 1 + rng() % 3;
            m_nodes.push_back(node);
        }
    }
};

const RESOURCES& resources() {
    static RESOURCES s_resources(kNodes);
    return s_resources;
}

UTIL::NODEMAP64* build_map(const RESOURCES& r) {
    auto* map = new UTIL::NODEMAP64();
    map->set_dimensions(kNx, kNy, kNz);
    map->set_gid_builder(device().m_builder.get());
    for (size_t k = 0; k < r.m_gids.size(); ++k) map->add_node(r.m_gids[k], r.m_nodes[k]);
    map->seal();
    return map;
}

// The sealed ten-million-node map, built once; its build reports memory per node.
UTIL::NODEMAP64& big_map() {
    static UTIL::NODEMAP64* s_map = nullptr;
    if (s_map == nullptr) {
        resources();
        size_t before = rss_bytes();
        s_map = build_map(resources());
        size_t after = rss_bytes();
        fprintf(stderr,
                "node map of %llu nodes: %.1f bytes per node resident, %.1f bytes per node in "
                "its tables\n",
                static_cast<unsigned long long>(kNodes),
                static_cast<double>(after - before) / static_cast<double>(kNodes),
                static_cast<double>(s_map->heap_bytes()) / static_cast<double>(kNodes));
    }
    return *s_map;
}

void BM_Gid64Encode(benchmark::State& state) {
    DEVICE& d = device();
    std::unique_ptr<UTIL::IGID_CONVERTER> conv(d.m_builder->create_converter());
    std::mt19937 rng(1);
    std::vector<uint32_t> xs(4096), ys(4096), ts(4096);
    for (size_t k = 0; k < xs.size(); ++k) {
        xs[k] = rng() % kNx;
        ys[k] = rng() % kNy;
        ts[k] = rng() % kTypes;
    }
    size_t k = 0;
    for (auto _ : state) {
        const auto& type = d.m_types[ts[k]];
        benchmark::DoNotOptimize(
            conv->make_gid64(xs[k], ys[k], 1, 5, PB::GID_TYPE::GLOBAL, type.first, type.second));
        k = (k + 1) & 4095;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Gid64Encode);

void BM_Gid64Decode(benchmark::State& state) {
    const std::vector<uint64_t>& gids = resources().m_gids;
    std::unique_ptr<UTIL::IGID_CONVERTER> conv(device().m_builder->create_converter());
    std::mt19937 rng(2);
    size_t k = 0;
    for (auto _ : state) {
        conv->set_gid64(gids[k]);
        benchmark::DoNotOptimize(conv->get_x() + conv->get_y() + conv->get_z() + conv->get_i());
        k = (k + 7919) % gids.size();
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Gid64Decode);

void BM_NodeMapGetGid(benchmark::State& state) {
    UTIL::NODEMAP64& map = big_map();
    const std::vector<uint64_t>& nodes = resources().m_nodes;
    size_t k = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(map.get_gid(nodes[k]));
        k = (k + 7919) % nodes.size();
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_NodeMapGetGid);

void BM_NodeMapGetNodes(benchmark::State& state) {
    UTIL::NODEMAP64& map = big_map();
    const std::vector<uint64_t>& gids = resources().m_gids;
    size_t k = 0;
    uint64_t cached = 0, driver = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(map.get_nodes(cached, driver, gids[k]));
        k = (k + 7919) % gids.size();
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_NodeMapGetNodes);

void BM_NodeMapBuildSeal(benchmark::State& state) {
    const RESOURCES& r = resources();
    for (auto _ : state) {
        std::unique_ptr<UTIL::NODEMAP64> map(build_map(r));
        benchmark::DoNotOptimize(map.get());
        state.PauseTiming();
        map.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(kNodes));
}
BENCHMARK(BM_NodeMapBuildSeal)->Unit(benchmark::kMillisecond)->Iterations(1);

void BM_NodeMapWrite(benchmark::State& state) {
    UTIL::NODEMAP64& map = big_map();
    size_t size = 0;
    for (auto _ : state) {
        std::ostringstream out;
        map.write(out, UTIL::PB_BIN);
        size = out.str().size();
    }
    state.counters["bytes_per_node"] = static_cast<double>(size) / static_cast<double>(kNodes);
    state.counters["file_MB"] = static_cast<double>(size) / 1e6;
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(kNodes));
}
BENCHMARK(BM_NodeMapWrite)->Unit(benchmark::kMillisecond)->Iterations(1);

void BM_NodeMapRead(benchmark::State& state) {
    std::ostringstream out;
    big_map().write(out, UTIL::PB_BIN);
    const std::string file = out.str();
    for (auto _ : state) {
        UTIL::NODEMAP64 map;
        map.set_gid_builder(device().m_builder.get());
        std::istringstream in(file);
        benchmark::DoNotOptimize(map.read(in, UTIL::PB_BIN));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(kNodes));
}
BENCHMARK(BM_NodeMapRead)->Unit(benchmark::kMillisecond)->Iterations(1);

}  // namespace

BENCHMARK_MAIN();
