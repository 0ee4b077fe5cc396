// Edge cache at device scale: 2,000 modules with 50 million fedges in total (set
// EDGECACHE_FEDGES for another total). One-shot stages run once each, in order, on shared
// state: build, write (file size), read, heap bytes per edge, then get_fedge_info on random
// existing edges, first on nodes never queried and then the same edges again. Times are
// process CPU seconds.
// Each module has about one node per five fedges; a destination has 1 to 9 edges in (mean 5)
// from sources drawn over the module's nodes, one mux per destination, and its fedges come
// together, as a mux generator would hand them over.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <ctime>
#include <cstdlib>
#include <memory>
#include <random>
#include <sstream>
#include <vector>

#include "util/util_edgecache.h"

namespace {

constexpr uint32_t kModules = 2000;
constexpr size_t kSampleEdges = 1000000;

size_t total_fedges() {
    const char* env = std::getenv("EDGECACHE_FEDGES");
    return env != nullptr ? std::strtoull(env, nullptr, 10) : 50000000ull;
}

// Fedges of one module, generated from the module's seed.
class MODULE_FEDGES : public UTIL::IEDGECACHE::IFEDGES {
  public:
    MODULE_FEDGES(uint32_t module, size_t n) {
        std::mt19937_64 rng(module * 7919ull + 1);
        const uint64_t n_nodes = std::max<uint64_t>(n / 5, 2);
        // Local numbers are sparse: about one subnode in four is a routing node.
        auto subnode = [](uint64_t i) { return i * 4 + ((i * 2654435761u) >> 7 & 3); };
        std::vector<uint64_t> dst_order(n_nodes);
        for (uint64_t i = 0; i < n_nodes; ++i) dst_order[i] = i;
        std::shuffle(dst_order.begin(), dst_order.end(), rng);
        m_fedges.reserve(n);
        for (size_t d = 0; m_fedges.size() < n; d = (d + 1) % n_nodes) {
            const uint64_t dst = dst_order[d];
            const int fan_in = 1 + static_cast<int>(rng() % 9);
            for (int j = 0; j < fan_in && m_fedges.size() < n; ++j) {
                UTIL::FEDGE f;
                f.m_dst = subnode(dst);
                f.m_src = subnode(rng() % n_nodes);
                f.m_ipath_index = static_cast<uint16_t>(j);
                f.m_mux_index = static_cast<uint16_t>(dst % 4000);
                m_fedges.push_back(f);
            }
        }
    }
    int32_t get_n_fedges() override { return static_cast<int32_t>(m_fedges.size()); }
    const UTIL::FEDGE& get_fedge(int32_t index) override {
        return m_fedges[static_cast<size_t>(index)];
    }
    const std::vector<UTIL::FEDGE>& fedges() const { return m_fedges; }

  private:
    std::vector<UTIL::FEDGE> m_fedges;
};

struct SAMPLE {
    uint32_t m_module;
    UTIL::FEDGE m_fedge;
};

struct STATE {
    std::unique_ptr<UTIL::EDGECACHE_BUILDER> m_built;
    std::unique_ptr<UTIL::EDGECACHE_BUILDER> m_read;
    std::string m_file;
    std::vector<SAMPLE> m_sample;
    size_t m_n_fedges = 0;
};

STATE& state_of() {
    static STATE s_state;
    return s_state;
}

size_t heap_bytes() {
    struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

// Process CPU time, kernel time included: the machine may be shared, and waiting for a core
// is not work of the table.
double cpu_now() {
    timespec t;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + t.tv_nsec * 1e-9;
}

double seconds_since(double start) {
    return cpu_now() - start;
}

// Module sizes vary between half and one and a half times the mean.
size_t module_size(uint32_t module, size_t total) {
    const size_t mean = total / kModules;
    return mean / 2 + (module * 2654435761u) % (mean + 1);
}

void BM_Build(benchmark::State& state) {
    STATE& s = state_of();
    const size_t total = total_fedges();
    std::mt19937_64 rng(99);
    double seconds = 0;
    size_t heap = 0;
    for (auto _ : state) {
        s.m_built = std::make_unique<UTIL::EDGECACHE_BUILDER>();
        s.m_n_fedges = 0;
        const size_t heap_before = heap_bytes();
        for (uint32_t m = 0; m < kModules; ++m) {
            MODULE_FEDGES fedges(m, module_size(m, total));
            // Keep a random sample of existing edges for the queries.
            const size_t n = fedges.fedges().size();
            const size_t want = kSampleEdges * n / total + 1;
            for (size_t i = 0; i < want && n > 0; ++i)
                s.m_sample.push_back({m * 5, fedges.fedges()[rng() % n]});
            s.m_n_fedges += n;
            const auto start = cpu_now();
            s.m_built->add_module(m * 5, fedges);
            seconds += seconds_since(start);
        }
        std::shuffle(s.m_sample.begin(), s.m_sample.end(), rng);
        // The generator's vectors are gone by now; the sample is not part of the cache.
        heap = heap_bytes() - heap_before - s.m_sample.capacity() * sizeof(SAMPLE);
    }
    state.counters["fedges"] = static_cast<double>(s.m_n_fedges);
    state.counters["build_s"] = seconds;
    state.counters["heap_bytes_per_edge"] = static_cast<double>(heap) / s.m_n_fedges;
    state.counters["table_bytes_per_edge"] =
        static_cast<double>(s.m_built->memory_bytes()) / s.m_n_fedges;
}
BENCHMARK(BM_Build)->Iterations(1)->Unit(benchmark::kSecond);

void BM_Write(benchmark::State& state) {
    STATE& s = state_of();
    double seconds = 0;
    for (auto _ : state) {
        std::ostringstream out;
        const auto start = cpu_now();
        if (!s.m_built->write(out, UTIL::PB_BIN)) state.SkipWithError("write failed");
        seconds = seconds_since(start);
        s.m_file = out.str();
    }
    state.counters["write_s"] = seconds;
    state.counters["file_MB"] = s.m_file.size() / 1e6;
    state.counters["file_bytes_per_edge"] = static_cast<double>(s.m_file.size()) / s.m_n_fedges;
}
BENCHMARK(BM_Write)->Iterations(1)->Unit(benchmark::kSecond);

void BM_Read(benchmark::State& state) {
    STATE& s = state_of();
    double seconds = 0;
    size_t heap = 0;
    for (auto _ : state) {
        s.m_built.reset();
        std::istringstream in(std::move(s.m_file));
        const size_t heap_before = heap_bytes();
        const auto start = cpu_now();
        s.m_read = std::make_unique<UTIL::EDGECACHE_BUILDER>();
        s.m_read->read(in, UTIL::PB_BIN);
        seconds = seconds_since(start);
        heap = heap_bytes() - heap_before;
    }
    state.counters["read_s"] = seconds;
    state.counters["heap_bytes_per_edge"] = static_cast<double>(heap) / s.m_n_fedges;
}
BENCHMARK(BM_Read)->Iterations(1)->Unit(benchmark::kSecond);

// One pass over the sample; the first pass builds the source maps of the queried nodes.
void query_pass(benchmark::State& state, const char* label) {
    STATE& s = state_of();
    double seconds = 0;
    size_t found = 0;
    for (auto _ : state) {
        const auto start = cpu_now();
        for (SAMPLE& q : s.m_sample) found += s.m_read->get_fedge_info(q.m_fedge, q.m_module);
        seconds = seconds_since(start);
    }
    if (found != s.m_sample.size()) state.SkipWithError("an existing edge was not found");
    state.counters[label] = seconds * 1e9 / s.m_sample.size();
    state.counters["queries"] = static_cast<double>(s.m_sample.size());
}

void BM_QueryFirst(benchmark::State& state) {
    query_pass(state, "ns_per_query");
}
BENCHMARK(BM_QueryFirst)->Iterations(1)->Unit(benchmark::kMillisecond);

void BM_QueryRepeated(benchmark::State& state) {
    query_pass(state, "ns_per_query");
}
BENCHMARK(BM_QueryRepeated)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace
BENCHMARK_MAIN();
