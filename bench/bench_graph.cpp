// Graph files at device size: write and read back a synthetic netlist of 20,000 module
// definitions, 2,000,000 instances and 10,000,000 ports and port references, binary format.
// Reports file size, times, objects per second, resident memory per object after reading, and
// the read split into its stages (frames to message, message to events, events to graph).
// `--graph_scale=N` divides the device by N.
#include <benchmark/benchmark.h>
#include <google/protobuf/arena.h>
#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>

#include "graph.pb.h"
#include "nlg/nlg_graph.h"
#include "nlg/nlg_readwrite.h"
#include "nlg_bench_graph.h"
#include "bench_process.h"
#include "util/util_protobuf.h"
#include "util/util_symbol.h"

namespace {

uint32_t g_scale = 1;

// User and system CPU seconds and minor page faults of the process so far.
struct USAGE {
    double m_user = 0;
    double m_system = 0;
    double m_faults = 0;
    static USAGE now() {
        rusage r;
        getrusage(RUSAGE_SELF, &r);
        USAGE u;
        u.m_user = double(r.ru_utime.tv_sec) + double(r.ru_utime.tv_usec) * 1e-6;
        u.m_system = double(r.ru_stime.tv_sec) + double(r.ru_stime.tv_usec) * 1e-6;
        u.m_faults = double(r.ru_minflt);
        return u;
    }
};

// Where the time of a step went: user work, or the kernel giving the process fresh pages.
void set_usage(benchmark::State& state, const USAGE& before, const USAGE& after) {
    state.counters["user_s"] = after.m_user - before.m_user;
    state.counters["system_s"] = after.m_system - before.m_system;
    state.counters["page_faults"] = after.m_faults - before.m_faults;
}

// The device file, written once and shared by the read benchmarks.
struct DEVICE {
    std::string m_bytes;
    NLG_BENCH::GRAPH_COUNTS m_counts;
};

DEVICE& device() {
    static DEVICE* s_device = [] {
        DEVICE* d = new DEVICE();
        std::unique_ptr<NLG_GRAPH> g(
            NLG_BENCH::make_graph(NLG_BENCH::GRAPH_SHAPE(g_scale), nullptr));
        d->m_counts = NLG_BENCH::count(*g);
        std::ostringstream out;
        nlg_graph_readwrite().write(*g, out, UTIL::PB_BIN);
        d->m_bytes = out.str();
        return d;
    }();
    return *s_device;
}

void set_counters(benchmark::State& state, const NLG_BENCH::GRAPH_COUNTS& c) {
    state.counters["modules"] = double(c.m_modules);
    state.counters["instances"] = double(c.m_instances);
    state.counters["ports+refs"] = double(c.m_ports + c.m_portrefs);
    state.counters["objects"] = double(c.total());
    state.counters["objects/s"] =
        benchmark::Counter(double(c.total()), benchmark::Counter::kIsIterationInvariantRate);
}

void BM_GraphWrite(benchmark::State& state) {
    std::unique_ptr<NLG_GRAPH> g(NLG_BENCH::make_graph(NLG_BENCH::GRAPH_SHAPE(g_scale), nullptr));
    NLG_BENCH::GRAPH_COUNTS counts = NLG_BENCH::count(*g);
    size_t bytes = 0;
    for (auto _ : state) {
        std::ostringstream out;
        if (!nlg_graph_readwrite().write(*g, out, UTIL::PB_BIN)) state.SkipWithError("write");
        bytes = out.str().size();
    }
    set_counters(state, counts);
    state.counters["file_MB"] = double(bytes) / 1e6;
}

void BM_GraphRead(benchmark::State& state) {
    const DEVICE& d = device();
    UTIL::SYMBOL_TABLE* table = UTIL::symbol_tables().new_table();
    double before = resident_bytes();
    double after = before;
    USAGE usage_before, usage_after;
    for (auto _ : state) {
        usage_before = USAGE::now();
        std::istringstream in(d.m_bytes);
        std::unique_ptr<NLG_GRAPH> g(new NLG_GRAPH(table, "copy", 0));
        if (!nlg_graph_readwrite().read(g.get(), in, UTIL::PB_BIN)) state.SkipWithError("read");
        state.PauseTiming();
        usage_after = USAGE::now();
        after = resident_bytes();
        state.ResumeTiming();
    }
    set_usage(state, usage_before, usage_after);
    set_counters(state, d.m_counts);
    state.counters["file_MB"] = double(d.m_bytes.size()) / 1e6;
    state.counters["resident_B/object"] = (after - before) / double(d.m_counts.total());
}

// Frames to one message in memory.
void BM_GraphReadFrames(benchmark::State& state) {
    const DEVICE& d = device();
    resident_bytes();
    USAGE usage_before, usage_after;
    for (auto _ : state) {
        usage_before = USAGE::now();
        std::istringstream in(d.m_bytes);
        google::protobuf::Arena arena;
        PB::NLG::GRAPH* message = google::protobuf::Arena::CreateMessage<PB::NLG::GRAPH>(&arena);
        if (!NLG_STREAM_RW().read(in, message, UTIL::PB_BIN)) state.SkipWithError("frames");
        usage_after = USAGE::now();
    }
    set_usage(state, usage_before, usage_after);
    set_counters(state, d.m_counts);
}

// A sink that takes every event and builds nothing.
class NULL_SINK : public NLG_GRAPH_READ {
  public:
    void begin_module_defs(int32_t) override {}
    void add_module_def(NS_SYMBOL::SYM, uint32_t, const NLG_IFILELINE*, bool) override {}
    void begin_module_ports(int32_t) override {}
    void add_module_port(NS_SYMBOL::SYM, uint32_t, const NLG_IFILELINE*) override {}
    void end_module_ports() override {}
    void end_module_defs() override {}
    void begin_module_bodies(int32_t) override {}
    void begin_module_body(int32_t) override {}
    void begin_nets(int32_t) override {}
    void add_net(NS_SYMBOL::SYM, std::vector<int32_t>&&, const NLG_IFILELINE*) override {}
    void end_nets() override {}
    void begin_instances(int32_t) override {}
    void add_instance(NS_SYMBOL::SYM, int32_t, std::vector<NLG_PORT_TO_NET>&&,
                      const NLG_IFILELINE*) override {}
    void end_instances() override {}
    void begin_edges() override {}
    void end_module_body() override {}
    void end_module_bodies() override {}
    void add_filename_table(const std::vector<NS_SYMBOL::SYM>&) override {}
};

// Message to events: interning the names, making symbols whole, walking every record.
void BM_GraphReadEvents(benchmark::State& state) {
    const DEVICE& d = device();
    UTIL::SYMBOL_TABLE* table = UTIL::symbol_tables().new_table();
    for (auto _ : state) {
        state.PauseTiming();
        std::istringstream in(d.m_bytes);
        PB::NLG::GRAPH message;
        NLG_STREAM_RW().read(in, &message, UTIL::PB_BIN);
        state.ResumeTiming();
        NULL_SINK sink;
        if (!NLG_PB_READ().read(message, table, &sink)) state.SkipWithError("events");
        state.PauseTiming();
        {
            PB::NLG::GRAPH drop;
            drop.Swap(&message);
        }
        state.ResumeTiming();
    }
    set_counters(state, d.m_counts);
}

}  // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        if (std::strncmp(argv[i], "--graph_scale=", 14) == 0) {
            g_scale = static_cast<uint32_t>(std::stoul(argv[i] + 14));
            for (int k = i; k + 1 < argc; ++k) argv[k] = argv[k + 1];
            --argc;
            --i;
        }
    }
    benchmark::RegisterBenchmark("BM_GraphWrite", BM_GraphWrite)
        ->Iterations(1)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("BM_GraphRead", BM_GraphRead)
        ->Iterations(1)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("BM_GraphReadFrames", BM_GraphReadFrames)
        ->Iterations(1)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("BM_GraphReadEvents", BM_GraphReadEvents)
        ->Iterations(1)
        ->Unit(benchmark::kMillisecond);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
