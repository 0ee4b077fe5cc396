// Netlist hierarchy views on a device-sized design: 5,001 modules in 9 levels, each non-leaf
// module with 10 instances of random modules of the next level and every module with 3 ports,
// about 440 million nodes. Measures building the hierarchy description and the hierarchy over
// it, building the port tree, and node look-ups of random depth-8 instance stacks with a port
// through the path cursor (the routing generators' path) and through the port tree.
#include <benchmark/benchmark.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

#include "nlg/nlg_graph.h"
#include "nlg/nlg_hierarchy.h"
#include "nlg/nlg_instance_tree.h"
#include "util/util_symbol.h"

namespace {

constexpr uint32_t kLevels = 9;
constexpr uint32_t kPerLevel = 625;
constexpr uint32_t kFanout = 10;
constexpr uint32_t kPorts = 3;
constexpr size_t kStacks = 4096;

struct DESIGN {
    std::unique_ptr<NLG_GRAPH> graph;
    // Random instance stacks from the top to a leaf, with a port of the leaf.
    std::vector<NLG_IGRAPH::IHPATH::INSTANCES> stacks;
    std::vector<const NLG_IPORT*> ports;
};

// Level 0 is the top module alone; level L modules instantiate level L + 1 modules.
DESIGN make_design() {
    DESIGN d;
    std::mt19937 rng(7);
    const uint32_t n_modules = 1 + (kLevels - 1) * kPerLevel;
    d.graph.reset(new NLG_GRAPH(nullptr, "root", n_modules));
    UTIL::SYMBOL_TABLE* table = d.graph->get_symbol_table();
    std::vector<std::vector<NLG_MODULE*>> levels(kLevels);
    uint32_t serial = 0;
    for (uint32_t level = 0; level < kLevels; ++level) {
        const uint32_t n = level == 0 ? 1 : kPerLevel;
        const uint32_t n_instances = level + 1 < kLevels ? kFanout : 0;
        for (uint32_t i = 0; i < n; ++i) {
            NLG_MODULE* m =
                new NLG_MODULE(table->add("m" + std::to_string(level) + "_" + std::to_string(i)), 0,
                               NLG_ID(NLG_ID::MODULE, d.graph->get_num_modules()), NLG_FILELINE(),
                               false, kPorts, 0, n_instances);
            d.graph->add_module(m);
            for (uint32_t p = 0; p < kPorts; ++p) {
                NLG_PORT port(NLG_ID(NLG_ID::PORT, serial++), table->add("p" + std::to_string(p)),
                              p % 3, NLG_FILELINE());
                m->add_port(port);
            }
            levels[level].push_back(m);
        }
    }
    for (uint32_t level = 0; level + 1 < kLevels; ++level) {
        std::uniform_int_distribution<size_t> pick(0, levels[level + 1].size() - 1);
        for (NLG_MODULE* m : levels[level]) {
            for (uint32_t i = 0; i < kFanout; ++i) {
                NLG_INSTANCE inst(table->add("u" + std::to_string(i)), levels[level + 1][pick(rng)],
                                  NLG_ID(NLG_ID::INSTANCE, serial++), NLG_FILELINE(), 0);
                m->add_instance(inst);
            }
        }
    }
    std::uniform_int_distribution<int32_t> any_instance(0, kFanout - 1);
    std::uniform_int_distribution<int32_t> any_port(0, kPorts - 1);
    for (size_t s = 0; s < kStacks; ++s) {
        NLG_IGRAPH::IHPATH::INSTANCES stack;
        const NLG_IMODULE* m = d.graph->get_top_module();
        while (m->get_num_instances() != 0) {
            stack.push_back(m->get_instance(any_instance(rng)));
            m = stack.back()->get_module();
        }
        d.stacks.push_back(std::move(stack));
        d.ports.push_back(m->get_port(any_port(rng)));
    }
    return d;
}

DESIGN& design() {
    static DESIGN s_design = make_design();
    return s_design;
}

void BM_HmodulesAndHierarchyBuild(benchmark::State& state) {
    NLG_GRAPH& g = *design().graph;
    uint64_t nodes = 0;
    for (auto _ : state) {
        std::unique_ptr<UTIL::IHIERARCHY::IMODULES> modules(g.create_hmodules());
        UTIL::HIERARCHY hierarchy(modules.get());
        nodes = static_cast<uint64_t>(hierarchy.get_num_nodes_64(0));
    }
    state.counters["nodes"] = static_cast<double>(nodes);
}
BENCHMARK(BM_HmodulesAndHierarchyBuild)->Unit(benchmark::kMillisecond);

void BM_PortTreeBuild(benchmark::State& state) {
    NLG_GRAPH& g = *design().graph;
    for (auto _ : state) {
        std::unique_ptr<NLG_IINSTANCE_TREE> tree(g.create_instance_tree(false));
        benchmark::DoNotOptimize(tree->get_size());
    }
}
BENCHMARK(BM_PortTreeBuild)->Unit(benchmark::kMillisecond);

// The cursor points at the caller's stack: setting it is a store, the look-up one table step
// per level.
void BM_HpathGetNode(benchmark::State& state) {
    DESIGN& d = design();
    std::unique_ptr<UTIL::IHIERARCHY::IMODULES> modules(d.graph->create_hmodules());
    UTIL::HIERARCHY hierarchy(modules.get());
    std::unique_ptr<NLG_IGRAPH::IHPATH> path(d.graph->create_hpath());
    path->set_hierarchy(&hierarchy);
    size_t s = 0;
    for (auto _ : state) {
        path->set(&d.stacks[s], d.ports[s], nullptr);
        benchmark::DoNotOptimize(hierarchy.get_node(*path));
        s = (s + 1) % kStacks;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_HpathGetNode);

// The same look-ups from plain index paths, prepared beforehand: the cost of the hierarchy
// alone, for comparison with the cursor.
void BM_IndexPathGetNode(benchmark::State& state) {
    DESIGN& d = design();
    std::unique_ptr<UTIL::IHIERARCHY::IMODULES> modules(d.graph->create_hmodules());
    UTIL::HIERARCHY hierarchy(modules.get());
    std::vector<std::unique_ptr<UTIL::IHIERARCHY::IPATH_SETTABLE>> paths;
    for (size_t s = 0; s < kStacks; ++s) {
        paths.emplace_back(hierarchy.create_path());
        for (const NLG_IINSTANCE* instance : d.stacks[s])
            paths.back()->add_instance(static_cast<uint32_t>(instance->get_index()));
        paths.back()->set_port_index(static_cast<uint32_t>(d.ports[s]->get_index()));
    }
    size_t s = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(hierarchy.get_node(*paths[s]));
        s = (s + 1) % kStacks;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_IndexPathGetNode);

void BM_PortTreeGetNode(benchmark::State& state) {
    DESIGN& d = design();
    std::unique_ptr<NLG_IINSTANCE_TREE> tree(d.graph->create_instance_tree(false));
    size_t s = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(tree->get_node(d.stacks[s], d.ports[s]));
        s = (s + 1) % kStacks;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_PortTreeGetNode);

}  // namespace

BENCHMARK_MAIN();
