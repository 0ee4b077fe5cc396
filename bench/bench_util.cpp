// Foundations benchmarks: interning and lookups on a table of one million names, and framed
// binary writes and reads of many small messages through one shared input stream.
#include <benchmark/benchmark.h>

#include <google/protobuf/io/zero_copy_stream_impl.h>

#include <sstream>
#include <string>
#include <vector>

#include "symbol_table.pb.h"
#include "util/util_protobuf.h"
#include "util/util_symbol.h"

namespace {

constexpr int kNames = 1000000;

std::vector<std::string> make_names(int n) {
    std::vector<std::string> names;
    names.reserve(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i)
        names.push_back("top/sector_" + std::to_string(i % 97) + "/n" + std::to_string(i));
    return names;
}

const std::vector<std::string>& names() {
    static const std::vector<std::string> s_names = make_names(kNames);
    return s_names;
}

void BM_SymbolAdd(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        util_clear_symbol_tables();
        UTIL::SYMBOL_TABLE* table = UTIL::symbol_tables().new_table();
        state.ResumeTiming();
        for (const std::string& name : names()) benchmark::DoNotOptimize(table->add(name));
    }
    state.SetItemsProcessed(state.iterations() * kNames);
}
BENCHMARK(BM_SymbolAdd)->Unit(benchmark::kMillisecond);

UTIL::SYMBOL_TABLE* filled_table(std::vector<NS_SYMBOL::SYM>* symbols) {
    util_clear_symbol_tables();
    UTIL::SYMBOL_TABLE* table = UTIL::symbol_tables().new_table();
    for (const std::string& name : names()) symbols->push_back(table->add(name));
    table->init_name_fast();
    return table;
}

void BM_SymbolFind(benchmark::State& state) {
    std::vector<NS_SYMBOL::SYM> symbols;
    UTIL::SYMBOL_TABLE* table = filled_table(&symbols);
    size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(table->find(names()[i]));
        i = (i + 7919) % kNames;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SymbolFind);

// The same look-ups with the query strings copied beforehand in the order they are asked, so
// that reading a query streams through memory: what is left is the table's own cost.
void BM_SymbolFindInOrder(benchmark::State& state) {
    std::vector<NS_SYMBOL::SYM> symbols;
    UTIL::SYMBOL_TABLE* table = filled_table(&symbols);
    std::vector<std::string> queries;
    queries.reserve(kNames);
    for (size_t i = 0, n = 0; n < kNames; ++n, i = (i + 7919) % kNames)
        queries.push_back(names()[i]);
    size_t n = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(table->find(queries[n]));
        n = n + 1 == kNames ? 0 : n + 1;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SymbolFindInOrder);

void BM_SymbolNameFast(benchmark::State& state) {
    std::vector<NS_SYMBOL::SYM> symbols;
    filled_table(&symbols);
    size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(symbols[i].str_fast().size());
        i = (i + 7919) % kNames;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SymbolNameFast);

constexpr int kMessages = 100000;

std::string write_frames() {
    std::ostringstream out;
    {
        // The output stream flushes when it ends, so it must end before the text is taken.
        google::protobuf::io::OstreamOutputStream zero_copy(&out);
        PB::SYMBOL symbol;
        for (int i = 0; i < kMessages; ++i) {
            symbol.set_value(static_cast<uint32_t>(i) * 2654435761u);
            UTIL::write_message(symbol, &zero_copy, UTIL::PB_BIN);
        }
    }
    return out.str();
}

void BM_FrameWriteBinary(benchmark::State& state) {
    size_t bytes = 0;
    for (auto _ : state) bytes = write_frames().size();
    state.SetItemsProcessed(state.iterations() * kMessages);
    state.counters["bytes_per_frame"] = static_cast<double>(bytes) / kMessages;
}
BENCHMARK(BM_FrameWriteBinary)->Unit(benchmark::kMillisecond);

void BM_FrameReadBinary(benchmark::State& state) {
    const std::string bytes = write_frames();
    for (auto _ : state) {
        std::istringstream in(bytes);
        google::protobuf::io::IstreamInputStream zero_copy(&in);
        PB::SYMBOL symbol;
        for (int i = 0; i < kMessages; ++i) {
            symbol.Clear();
            if (!UTIL::read_message(&zero_copy, &symbol, UTIL::PB_BIN)) state.SkipWithError("read");
        }
    }
    state.SetItemsProcessed(state.iterations() * kMessages);
}
BENCHMARK(BM_FrameReadBinary)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
