// The whole run on generated devices of growing size: the generator's direct files are written
// once per size, then the run reads them, makes the floorplan and the routing graph, and
// pushes the graph into a counting builder. Reports seconds per stage, nodes and edges per
// second and the process's peak resident memory.
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>

#include "devgen/devgen_device.h"
#include "devgen/devgen_direct.h"
#include "fab_api.h"
#include "fab_floorplan_api.h"
#include "fab_irouting_graph.h"

namespace {

const char* const SIZES[] = {"tiny", "small", "medium", "large", "huge"};

// Counts what arrives, as the cheapest builder a tool could have.
class COUNTING_BUILDER : public FAB::ROUTING_GRAPH::IBUILDER {
  public:
    void begin_graph() override {}
    void begin_nodes() override {}
    uint32_t add_node(const FAB::ROUTING_GRAPH::NODE&) override { return m_nodes++; }
    void end_nodes() override {}
    void begin_edges(uint32_t) override {}
    void add_edge(const FAB::ROUTING_GRAPH::EDGE&) override { ++m_edges; }
    void end_edges() override {}
    void end_graph() override {}
    uint32_t m_nodes = 0;
    uint64_t m_edges = 0;
};

double peak_rss_mb() {
    struct rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024.0;
}

std::string device_dir(const std::string& size) {
    const std::string dir = (std::filesystem::temp_directory_path() /
                             ("bench_routing_" + size + "_" + std::to_string(::getpid())))
                                .string();
    if (!std::filesystem::exists(dir + "/blc.ann")) {
        DEVGEN::DG_PARAMS params;
        if (!DEVGEN::dg_preset(size, params) || !DEVGEN::dg_check(params).empty())
            return std::string();
        DEVGEN::DG_DEVICE device(params);
        std::filesystem::create_directories(dir);
        std::string error;
        if (!DEVGEN::dg_write_direct(device, dir, error)) return std::string();
    }
    return dir;
}

double seconds(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void BM_WholeRun(benchmark::State& state) {
    const std::string size = SIZES[state.range(0)];
    const std::string dir = device_dir(size);
    if (dir.empty()) {
        state.SkipWithError("the generator cannot make this size");
        return;
    }
    for (auto _ : state) {
        std::ifstream rtl_graph(dir + "/rtl.graph", std::ios::binary);
        std::ifstream rtl_ann(dir + "/rtl.ann", std::ios::binary);
        std::ifstream blc_graph(dir + "/blc.graph", std::ios::binary);
        std::ifstream blc_ann(dir + "/blc.ann", std::ios::binary);
        std::unique_ptr<FAB::API> api(fab_create(nullptr, nullptr, false));
        std::unique_ptr<FAB::FLOORPLAN> floorplan;
        std::unique_ptr<FAB::ROUTING_GRAPH> graph;
        COUNTING_BUILDER builder;
        const double read = seconds([&] {
            api->read_rtl_graph(rtl_graph);
            api->read_rtl_annotation(rtl_ann);
            api->read_blc_graph(blc_graph);
            api->read_blc_annotation(blc_ann);
        });
        const double plan = seconds([&] {
            floorplan.reset(api->create_floorplan());
            graph.reset(api->create_routing_graph());
        });
        const double generate = seconds([&] { graph->generate(builder); });
        state.SetIterationTime(read + plan + generate);
        state.counters["read_s"] = read;
        state.counters["floorplan_s"] = plan;
        state.counters["generate_s"] = generate;
        state.counters["nodes"] = builder.m_nodes;
        state.counters["edges"] = static_cast<double>(builder.m_edges);
        state.counters["nodes_per_s"] = builder.m_nodes / generate;
        state.counters["edges_per_s"] = static_cast<double>(builder.m_edges) / generate;
    }
    state.counters["peak_rss_mb"] = peak_rss_mb();
    std::filesystem::remove_all(dir);
}

}  // namespace

// Each size in a fresh process would give its own peak; in one process the peak is the largest
// so far, so sizes run in growing order.
BENCHMARK(BM_WholeRun)->DenseRange(0, 4)->Iterations(1)->UseManualTime()->Unit(
    benchmark::kMillisecond);

BENCHMARK_MAIN();
