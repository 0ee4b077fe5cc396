// Annotation sets at device size: 20,000 module, 2,000,000 instance, 10,000,000 port and
// 1,000,000 net records, most default, one port in twenty with an RE name and a logical name.
// Write and read back in binary; report file size, times, resident memory per record, and
// the share of the symbol walker (the reflection walk that converts each record's names).
// `--annss_scale=N` divides the set by N.
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>

#include "ann/annss.h"
#include "bench_process.h"
#include "util/util_protobuf.h"
#include "util/util_symbol.h"
#include "util/util_symbol_file.h"

namespace {

uint32_t g_scale = 1;

PB::ANNSS::BOUNDS device_bounds() {
    PB::ANNSS::BOUNDS bounds;
    bounds.set_n_modules(int32_t(20000 / g_scale));
    bounds.set_n_instances(int32_t(2000000 / g_scale));
    bounds.set_n_ports(int32_t(10000000 / g_scale));
    bounds.set_n_nets(int32_t(1000000 / g_scale));
    return bounds;
}

double records(const PB::ANNSS::BOUNDS& b) {
    return double(b.n_modules()) + b.n_instances() + b.n_ports() + b.n_nets() + 1;
}

// One port in twenty is an RE with a logical name; 50,000 distinct names in all.
std::unique_ptr<ANNSS> make_annss(UTIL::SYMBOL_TABLE* table) {
    std::unique_ptr<ANNSS> annss(new ANNSS(device_bounds()));
    annss->get_symbol_file().set_internal(table);
    annss->add_type(PB::ANNS::ICDB);
    ICDB_ANNS& icdb = annss->get_icdb();
    for (uint32_t p = 0; p < icdb.get_num_ports(); p += 20) {
        PB::ICDB::APORT& port = icdb.get_port(p);
        port.set_re_name(PB::MUX_DESCRIPTION::H);
        port.mutable_logical_name()->set_value(
            table->add("re_" + std::to_string(p / 20 % 50000)).get_value());
    }
    for (uint32_t m = 0; m < icdb.get_num_modules(); m += 10)
        icdb.get_module(m).set_level(PB::ICDB::MODULE::TOP_LEVEL_IP);
    return annss;
}

const std::string& device_file() {
    static std::string* s_file = [] {
        std::unique_ptr<ANNSS> annss = make_annss(UTIL::symbol_tables().new_table());
        std::ostringstream out;
        annss->write(out, UTIL::PB_BIN);
        return new std::string(out.str());
    }();
    return *s_file;
}

void set_counters(benchmark::State& state) {
    PB::ANNSS::BOUNDS bounds = device_bounds();
    state.counters["records"] = records(bounds);
    state.counters["records/s"] =
        benchmark::Counter(records(bounds), benchmark::Counter::kIsIterationInvariantRate);
}

void BM_AnnssWrite(benchmark::State& state) {
    std::unique_ptr<ANNSS> annss = make_annss(UTIL::symbol_tables().new_table());
    size_t bytes = 0;
    for (auto _ : state) {
        std::ostringstream out;
        annss->write(out, UTIL::PB_BIN);
        bytes = out.str().size();
    }
    set_counters(state);
    state.counters["file_MB"] = double(bytes) / 1e6;
}

void BM_AnnssRead(benchmark::State& state) {
    const std::string& file = device_file();
    double before = resident_bytes(), after = before;
    for (auto _ : state) {
        ANNSS annss;
        std::istringstream in(file);
        if (!annss.read(in, UTIL::PB_BIN)) state.SkipWithError("read");
        state.PauseTiming();
        after = resident_bytes();
        state.ResumeTiming();
    }
    set_counters(state);
    state.counters["resident_B/record"] = (after - before) / records(device_bounds());
}

// The symbol walker alone: one walk over every record, as each pass of write and read does.
class NO_OP_WALK : public UTIL::PB_WALK {
  public:
    void visit_symbol(google::protobuf::Message*) override { ++m_symbols; }
    size_t m_symbols = 0;
};

void BM_AnnssSymbolWalk(benchmark::State& state) {
    std::unique_ptr<ANNSS> annss = make_annss(UTIL::symbol_tables().new_table());
    ICDB_ANNS& icdb = annss->get_icdb();
    NO_OP_WALK walk;
    for (auto _ : state) {
        for (size_t i = 0; i < icdb.get_num_modules(); ++i)
            walk.walk(&icdb.get_module(uint32_t(i)));
        for (size_t i = 0; i < icdb.get_num_instances(); ++i)
            walk.walk(&icdb.get_instance(uint32_t(i)));
        for (size_t i = 0; i < icdb.get_num_ports(); ++i) walk.walk(&icdb.get_port(uint32_t(i)));
        for (size_t i = 0; i < icdb.get_num_nets(); ++i) walk.walk(&icdb.get_net(uint32_t(i)));
        walk.walk(&icdb.get_graph());
    }
    set_counters(state);
    state.counters["symbols"] = double(walk.m_symbols);
}

}  // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        if (std::strncmp(argv[i], "--annss_scale=", 14) == 0) {
            g_scale = static_cast<uint32_t>(std::stoul(argv[i] + 14));
            for (int k = i; k + 1 < argc; ++k) argv[k] = argv[k + 1];
            --argc;
            --i;
        }
    }
    for (auto* b : {benchmark::RegisterBenchmark("BM_AnnssWrite", BM_AnnssWrite),
                    benchmark::RegisterBenchmark("BM_AnnssRead", BM_AnnssRead),
                    benchmark::RegisterBenchmark("BM_AnnssSymbolWalk", BM_AnnssSymbolWalk)})
        b->Iterations(1)->Unit(benchmark::kMillisecond);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
