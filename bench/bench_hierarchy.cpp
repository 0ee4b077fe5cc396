// Hierarchy benchmarks on a device-sized description (5,000 modules, depth 8, about 500
// million nodes): construction time and the memory it keeps, and the cost of one get_node and
// one get_path on random depth-8 paths. The look-ups are checked to allocate nothing.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <new>
#include <random>
#include <vector>

#include "bench_hierarchy_modules.h"
#include "util/util_hierarchy.h"

#include "bench_alloc_counter.h"

namespace {

using BENCH_HIER::GEN_MODULES;
using UTIL::HIERARCHY;
using UTIL::HPATH_SETTABLE;
using UTIL::IHIERARCHY;

constexpr uint32_t kModules = 5000;
constexpr uint32_t kDepth = 8;
constexpr uint64_t kTargetNodes = 500000000;
constexpr size_t kPaths = 1 << 14;

const GEN_MODULES& modules() {
    static const GEN_MODULES* s_modules = [] {
        auto* m = new GEN_MODULES(UTIL::symbol_tables().new_table());
        BENCH_HIER::generate(*m, kModules, kDepth, kTargetNodes, 2024);
        return m;
    }();
    return *s_modules;
}

const HIERARCHY& hierarchy() {
    static const HIERARCHY* s_hierarchy = new HIERARCHY(&modules());
    return *s_hierarchy;
}

// Random paths from the top to a leaf module (8 instances), half of them ending at a port.
const std::vector<std::unique_ptr<HPATH_SETTABLE>>& paths() {
    static const std::vector<std::unique_ptr<HPATH_SETTABLE>> s_paths = [] {
        const HIERARCHY& h = hierarchy();
        std::mt19937 rng(7);
        std::vector<std::unique_ptr<HPATH_SETTABLE>> out;
        for (size_t k = 0; k < kPaths; ++k) {
            auto path = std::make_unique<HPATH_SETTABLE>(&h);
            uint32_t module = 0;
            for (uint32_t level = 0; level < kDepth; ++level) {
                const uint32_t n = modules().get_module(module)->get_n_instances();
                const uint32_t i = rng() % n;
                path->add_instance(i);
                h.get_child_node(&module, module, 0, i);
            }
            if (rng() % 2 == 0)
                path->set_port_index(rng() % modules().get_module(module)->get_n_ports());
            out.push_back(std::move(path));
        }
        return out;
    }();
    return s_paths;
}

void BM_HierarchyConstruct(benchmark::State& state) {
    const GEN_MODULES& m = modules();
    int64_t kept = 0;
    uint64_t nodes = 0;
    for (auto _ : state) {
        const int64_t before = g_live_bytes.load();
        auto h = std::make_unique<HIERARCHY>(&m);
        kept = g_live_bytes.load() - before;
        nodes = static_cast<uint64_t>(h->get_num_nodes_64(0));
        benchmark::DoNotOptimize(h.get());
    }
    uint64_t instances = 0;
    for (uint32_t i = 0; i < m.get_n_modules(); ++i)
        instances += m.get_module(i)->get_n_instances();
    state.counters["modules"] = m.get_n_modules();
    state.counters["instances"] = static_cast<double>(instances);
    state.counters["nodes"] = static_cast<double>(nodes);
    state.counters["kept_MiB"] = static_cast<double>(kept) / (1024.0 * 1024.0);
}
BENCHMARK(BM_HierarchyConstruct)->Unit(benchmark::kMillisecond)->Iterations(5);

void BM_HierarchyGetNode(benchmark::State& state) {
    const HIERARCHY& h = hierarchy();
    const auto& ps = paths();
    size_t k = 0;
    const uint64_t allocations = g_allocations.load();
    const size_t mask = static_cast<size_t>(state.range(0)) - 1;
    for (auto _ : state) {
        benchmark::DoNotOptimize(h.get_node(*ps[k]));
        k = (k + 1) & mask;
    }
    state.counters["allocs_per_call"] = static_cast<double>(g_allocations.load() - allocations) /
                                        static_cast<double>(state.iterations());
    state.counters["depth"] = kDepth;
}
// Few paths stay in cache; many spread over all module tables.
BENCHMARK(BM_HierarchyGetNode)->Arg(16)->Arg(kPaths);

void BM_HierarchyGetPath(benchmark::State& state) {
    const HIERARCHY& h = hierarchy();
    const auto& ps = paths();
    std::vector<uint64_t> nodes;
    for (const auto& p : ps) nodes.push_back(h.get_node(*p));
    HPATH_SETTABLE path(&h);
    // A fresh cursor grows once, to the depth of the tree; after that nothing allocates.
    h.get_path(&path, nodes[0]);
    size_t k = 0;
    const uint64_t allocations = g_allocations.load();
    const size_t mask = static_cast<size_t>(state.range(0)) - 1;
    for (auto _ : state) {
        benchmark::DoNotOptimize(h.get_path(&path, nodes[k]));
        k = (k + 1) & mask;
    }
    state.counters["allocs_per_call"] = static_cast<double>(g_allocations.load() - allocations) /
                                        static_cast<double>(state.iterations());
    // Every node used resolves back to itself.
    for (size_t j = 0; j <= mask; ++j) {
        h.get_path(&path, nodes[j]);
        if (h.get_node(path) != nodes[j]) state.SkipWithError("round trip");
    }
}
BENCHMARK(BM_HierarchyGetPath)->Arg(16)->Arg(kPaths);

// The walk alone, with no path to fill.
void BM_HierarchyWalkOnly(benchmark::State& state) {
    const HIERARCHY& h = hierarchy();
    std::vector<uint64_t> nodes;
    for (const auto& p : paths()) nodes.push_back(h.get_node(*p));
    size_t k = 0;
    const size_t mask = static_cast<size_t>(state.range(0)) - 1;
    for (auto _ : state) {
        benchmark::DoNotOptimize(h.get_path(nullptr, nodes[k]));
        k = (k + 1) & mask;
    }
}
BENCHMARK(BM_HierarchyWalkOnly)->Arg(16)->Arg(kPaths);

// Uniform random nodes: mostly ports and leaves deep in the tree.
void BM_HierarchyGetPathUniform(benchmark::State& state) {
    const HIERARCHY& h = hierarchy();
    std::mt19937_64 rng(11);
    std::vector<uint64_t> nodes(kPaths);
    for (uint64_t& n : nodes) n = rng() % static_cast<uint64_t>(h.get_num_nodes_64(0));
    HPATH_SETTABLE path(&h);
    size_t k = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(h.get_path(&path, nodes[k]));
        k = (k + 1) & (kPaths - 1);
    }
}
BENCHMARK(BM_HierarchyGetPathUniform);

}  // namespace

BENCHMARK_MAIN();
