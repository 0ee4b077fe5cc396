// Each hash table written for this library beside absl::flat_hash_map doing the same job, in
// one run, on the shapes the library gives them:
//  - node map forward: ten million sparse increasing node numbers to 64-bit GIDs (the map of
//    further drivers, and the whole forward map while aliases are applied);
//  - node map indexes: the same nodes to 32-bit record numbers, keys read back from the
//    records;
//  - small maps: 38,400 grid cells of about 260 GID keys each to 32-bit numbers (the node
//    map kept one per cell before; reading checks each cell's keys with one);
//  - edge cache index: 2,000 module maps of 5,000 subnodes, keys read back from the caller's
//    array (the absl map holds the key itself);
//  - symbol table: one million names, interned and found;
//  - the memory floor under them: random line reads over arrays of the big tables' sizes, on
//    4 kB pages and on huge pages, as a chain (one miss at a time) and independent (as many
//    misses in flight as the core allows).
// Each shape reports build time per entry, find time of a present key in a scattered order,
// and table bytes per entry (slots and control bytes; the absl figure is computed from its
// capacity). Run with --benchmark_repetitions=5 --benchmark_report_aggregates_only=true.
#include <absl/container/flat_hash_map.h>
#include <benchmark/benchmark.h>
#include <sys/mman.h>

#include <cstdint>
#include <deque>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "util/util_edgecache.h"
#include "util/util_hash64.h"
#include "util/util_symbol.h"

namespace {

constexpr uint64_t NONE = ~0ull;

// Bytes of an absl map: one slot and one control byte per unit of capacity, plus the cloned
// control group at the end.
template <class MAP>
size_t absl_bytes(const MAP& map) {
    return map.capacity() * (sizeof(typename MAP::slot_type) + 1) + 16;
}

// ---------------------------------------------------------------------------------------------
// Node map forward: node -> GID.

constexpr size_t kForward = 10000000;

const std::vector<uint64_t>& forward_keys() {
    static const std::vector<uint64_t> s_keys = [] {
        std::mt19937_64 rng(7);
        std::vector<uint64_t> keys(kForward);
        uint64_t node = 0;
        for (uint64_t& k : keys) k = node += 1 + rng() % 3;
        return keys;
    }();
    return s_keys;
}

struct HAND_FORWARD {
    UTIL::HASH64_MAP<uint64_t> m_map;
    void insert(uint64_t k, uint64_t v) { m_map.emplace(k, v); }
    uint64_t find(uint64_t k) const {
        const uint64_t* v = m_map.find(k);
        return v ? *v : NONE;
    }
    size_t bytes() const { return m_map.heap_bytes(); }
};

struct ABSL_FORWARD {
    absl::flat_hash_map<uint64_t, uint64_t> m_map;
    void insert(uint64_t k, uint64_t v) { m_map.emplace(k, v); }
    uint64_t find(uint64_t k) const {
        auto it = m_map.find(k);
        return it == m_map.end() ? NONE : it->second;
    }
    size_t bytes() const { return absl_bytes(m_map); }
};

template <class TABLE>
void BM_ForwardBuild(benchmark::State& state) {
    const std::vector<uint64_t>& keys = forward_keys();
    size_t bytes = 0;
    for (auto _ : state) {
        auto table = std::make_unique<TABLE>();
        for (size_t i = 0; i < keys.size(); ++i) table->insert(keys[i], i);
        bytes = table->bytes();
        state.PauseTiming();
        table.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(keys.size()));
    state.counters["bytes/entry"] = double(bytes) / double(keys.size());
}

template <class TABLE>
void BM_ForwardFind(benchmark::State& state) {
    const std::vector<uint64_t>& keys = forward_keys();
    static TABLE* s_table = [&] {
        auto* table = new TABLE();
        for (size_t i = 0; i < keys.size(); ++i) table->insert(keys[i], i);
        return table;
    }();
    size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(s_table->find(keys[i]));
        i = (i + 7919) % keys.size();
    }
    state.SetItemsProcessed(state.iterations());
}

BENCHMARK_TEMPLATE(BM_ForwardBuild, HAND_FORWARD)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK_TEMPLATE(BM_ForwardBuild, ABSL_FORWARD)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK_TEMPLATE(BM_ForwardFind, HAND_FORWARD);
BENCHMARK_TEMPLATE(BM_ForwardFind, ABSL_FORWARD);

// ---------------------------------------------------------------------------------------------
// Node map indexes: the same ten million nodes, standing in the node map's records; the
// index keeps record numbers and reads keys back, the absl map keeps key and number.

struct HAND_RECORDS {
    const std::vector<uint64_t>& m_keys = forward_keys();
    UTIL::EC_INDEX m_index;
    void build() {
        auto key_at = [this](uint32_t p) { return m_keys[p]; };
        m_index.reset(m_keys.size());
        for (size_t i = 0; i < m_keys.size(); ++i)
            m_index.insert(m_keys[i], static_cast<uint32_t>(i), key_at);
    }
    uint32_t find(uint64_t k) const {
        return m_index.find(k, [this](uint32_t p) { return m_keys[p]; });
    }
    size_t bytes() const { return m_index.memory_bytes(); }
};

struct ABSL_RECORDS {
    const std::vector<uint64_t>& m_keys = forward_keys();
    absl::flat_hash_map<uint64_t, uint32_t> m_map;
    void build() {
        m_map.reserve(m_keys.size());
        for (size_t i = 0; i < m_keys.size(); ++i)
            m_map.emplace(m_keys[i], static_cast<uint32_t>(i));
    }
    uint32_t find(uint64_t k) const {
        auto it = m_map.find(k);
        return it == m_map.end() ? UTIL::EC_INDEX::ABSENT : it->second;
    }
    size_t bytes() const { return absl_bytes(m_map); }
};

template <class TABLE>
void BM_RecordIndexBuild(benchmark::State& state) {
    size_t bytes = 0;
    for (auto _ : state) {
        auto table = std::make_unique<TABLE>();
        table->build();
        bytes = table->bytes();
        state.PauseTiming();
        table.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(kForward));
    state.counters["bytes/entry"] = double(bytes) / double(kForward);
}

template <class TABLE>
void BM_RecordIndexFind(benchmark::State& state) {
    const std::vector<uint64_t>& keys = forward_keys();
    static TABLE* s_table = [] {
        auto* table = new TABLE();
        table->build();
        return table;
    }();
    size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(s_table->find(keys[i]));
        i = (i + 7919) % keys.size();
    }
    state.SetItemsProcessed(state.iterations());
}

BENCHMARK_TEMPLATE(BM_RecordIndexBuild, HAND_RECORDS)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK_TEMPLATE(BM_RecordIndexBuild, ABSL_RECORDS)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK_TEMPLATE(BM_RecordIndexFind, HAND_RECORDS);
BENCHMARK_TEMPLATE(BM_RecordIndexFind, ABSL_RECORDS);

// ---------------------------------------------------------------------------------------------
// Node map cells: per cell, GID key (type and index bits) -> resource index.

constexpr size_t kCells = 160 * 120 * 2;
constexpr uint32_t kTypes = 24;
constexpr uint32_t kPerType = 11;  // about 260 keys a cell

struct CELL_KEY {
    uint32_t m_cell;
    uint64_t m_key;
};

const std::vector<CELL_KEY>& cell_keys() {
    static const std::vector<CELL_KEY> s_keys = [] {
        std::vector<CELL_KEY> keys;
        keys.reserve(kCells * kTypes * kPerType);
        for (uint32_t c = 0; c < kCells; ++c)
            for (uint64_t t = 0; t < kTypes; ++t)
                for (uint64_t i = 0; i < kPerType; ++i) keys.push_back({c, (t + 1) << 17 | i});
        std::shuffle(keys.begin(), keys.end(), std::mt19937_64(3));
        return keys;
    }();
    return s_keys;
}

template <class MAP>
struct CELLS {
    std::vector<MAP> m_cells{kCells};
};

struct HAND_CELLS : CELLS<UTIL::HASH64_MAP<uint32_t>> {
    void insert(uint32_t c, uint64_t k, uint32_t v) { m_cells[c].emplace(k, v); }
    uint32_t find(uint32_t c, uint64_t k) const {
        const uint32_t* v = m_cells[c].find(k);
        return v ? *v : ~0u;
    }
    size_t bytes() const {
        size_t b = m_cells.capacity() * sizeof(m_cells[0]);
        for (const auto& m : m_cells) b += m.heap_bytes();
        return b;
    }
};

struct ABSL_CELLS : CELLS<absl::flat_hash_map<uint64_t, uint32_t>> {
    void insert(uint32_t c, uint64_t k, uint32_t v) { m_cells[c].emplace(k, v); }
    uint32_t find(uint32_t c, uint64_t k) const {
        auto it = m_cells[c].find(k);
        return it == m_cells[c].end() ? ~0u : it->second;
    }
    size_t bytes() const {
        size_t b = m_cells.capacity() * sizeof(m_cells[0]);
        for (const auto& m : m_cells) b += absl_bytes(m);
        return b;
    }
};

template <class TABLE>
void BM_CellsBuild(benchmark::State& state) {
    const std::vector<CELL_KEY>& keys = cell_keys();
    size_t bytes = 0;
    for (auto _ : state) {
        auto table = std::make_unique<TABLE>();
        for (size_t i = 0; i < keys.size(); ++i)
            table->insert(keys[i].m_cell, keys[i].m_key, static_cast<uint32_t>(i));
        bytes = table->bytes();
        state.PauseTiming();
        table.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(keys.size()));
    state.counters["bytes/entry"] = double(bytes) / double(keys.size());
}

template <class TABLE>
void BM_CellsFind(benchmark::State& state) {
    const std::vector<CELL_KEY>& keys = cell_keys();
    static TABLE* s_table = [&] {
        auto* table = new TABLE();
        for (size_t i = 0; i < keys.size(); ++i)
            table->insert(keys[i].m_cell, keys[i].m_key, static_cast<uint32_t>(i));
        return table;
    }();
    size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(s_table->find(keys[i].m_cell, keys[i].m_key));
        i = (i + 7919) % keys.size();
    }
    state.SetItemsProcessed(state.iterations());
}

BENCHMARK_TEMPLATE(BM_CellsBuild, HAND_CELLS)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK_TEMPLATE(BM_CellsBuild, ABSL_CELLS)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK_TEMPLATE(BM_CellsFind, HAND_CELLS);
BENCHMARK_TEMPLATE(BM_CellsFind, ABSL_CELLS);

// ---------------------------------------------------------------------------------------------
// Edge cache index: per module, subnode -> node index; the subnodes stand in the caller's
// sorted node array.

constexpr uint32_t kModules = 2000;
constexpr uint32_t kNodesPerModule = 5000;

struct MODULE_NODES {
    std::vector<uint64_t> m_subnodes;  // sorted, as the edge cache keeps its nodes
};

const std::vector<MODULE_NODES>& module_nodes() {
    static const std::vector<MODULE_NODES> s_modules = [] {
        std::vector<MODULE_NODES> modules(kModules);
        for (MODULE_NODES& m : modules) {
            m.m_subnodes.resize(kNodesPerModule);
            for (uint64_t i = 0; i < kNodesPerModule; ++i)
                m.m_subnodes[i] = i * 4 + ((i * 2654435761u) >> 7 & 3);
        }
        return modules;
    }();
    return s_modules;
}

struct HAND_EC {
    std::vector<UTIL::EC_INDEX> m_maps{kModules};
    void build(uint32_t m, const std::vector<uint64_t>& subnodes) {
        auto key_at = [&subnodes](uint32_t p) { return subnodes[p]; };
        m_maps[m].reset(subnodes.size());
        for (size_t i = 0; i < subnodes.size(); ++i)
            m_maps[m].insert(subnodes[i], static_cast<uint32_t>(i), key_at);
    }
    uint32_t find(uint32_t m, const std::vector<uint64_t>& subnodes, uint64_t key) const {
        return m_maps[m].find(key, [&subnodes](uint32_t p) { return subnodes[p]; });
    }
    size_t bytes() const {
        size_t b = 0;
        for (const auto& m : m_maps) b += m.memory_bytes();
        return b;
    }
};

struct ABSL_EC {
    std::vector<absl::flat_hash_map<uint64_t, uint32_t>> m_maps{kModules};
    void build(uint32_t m, const std::vector<uint64_t>& subnodes) {
        m_maps[m].reserve(subnodes.size());
        for (size_t i = 0; i < subnodes.size(); ++i)
            m_maps[m].emplace(subnodes[i], static_cast<uint32_t>(i));
    }
    uint32_t find(uint32_t m, const std::vector<uint64_t>&, uint64_t key) const {
        auto it = m_maps[m].find(key);
        return it == m_maps[m].end() ? UTIL::EC_INDEX::ABSENT : it->second;
    }
    size_t bytes() const {
        size_t b = 0;
        for (const auto& m : m_maps) b += absl_bytes(m);
        return b;
    }
};

template <class TABLE>
void BM_EcIndexBuild(benchmark::State& state) {
    const std::vector<MODULE_NODES>& modules = module_nodes();
    size_t bytes = 0;
    for (auto _ : state) {
        auto table = std::make_unique<TABLE>();
        for (uint32_t m = 0; m < kModules; ++m) table->build(m, modules[m].m_subnodes);
        bytes = table->bytes();
        state.PauseTiming();
        table.reset();
        state.ResumeTiming();
    }
    const int64_t n = int64_t(kModules) * kNodesPerModule;
    state.SetItemsProcessed(state.iterations() * n);
    state.counters["bytes/entry"] = double(bytes) / double(n);
}

template <class TABLE>
void BM_EcIndexFind(benchmark::State& state) {
    const std::vector<MODULE_NODES>& modules = module_nodes();
    static TABLE* s_table = [&] {
        auto* table = new TABLE();
        for (uint32_t m = 0; m < kModules; ++m) table->build(m, modules[m].m_subnodes);
        return table;
    }();
    uint64_t k = 0;
    for (auto _ : state) {
        const uint32_t m = static_cast<uint32_t>(k % kModules);
        const std::vector<uint64_t>& subnodes = modules[m].m_subnodes;
        benchmark::DoNotOptimize(
            s_table->find(m, subnodes, subnodes[(k / kModules) % kNodesPerModule]));
        k += 7919;
    }
    state.SetItemsProcessed(state.iterations());
}

BENCHMARK_TEMPLATE(BM_EcIndexBuild, HAND_EC)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK_TEMPLATE(BM_EcIndexBuild, ABSL_EC)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK_TEMPLATE(BM_EcIndexFind, HAND_EC);
BENCHMARK_TEMPLATE(BM_EcIndexFind, ABSL_EC);

// ---------------------------------------------------------------------------------------------
// Symbol table: one million names of a netlist's shape. The library's table beside an absl
// map from views of the same stable strings to ids, once hashing the name on every rehash and
// once keeping the hash in the key; and the node-based standard map as it was before.

constexpr int kNames = 1000000;

const std::vector<std::string>& symbol_names() {
    static const std::vector<std::string> s_names = [] {
        std::vector<std::string> names;
        names.reserve(kNames);
        for (int i = 0; i < kNames; ++i)
            names.push_back("top/sector_" + std::to_string(i % 97) + "/n" + std::to_string(i));
        return names;
    }();
    return s_names;
}

struct HAND_SYMBOLS {
    UTIL::SYMBOL_TABLE m_table{255};
    uint32_t add(const std::string& name) { return m_table.add(name).get_name_id(); }
    uint32_t find(const std::string& name) const { return m_table.find(name).get_name_id(); }
};

struct ABSL_SYMBOLS {
    std::deque<std::string> m_names;
    absl::flat_hash_map<std::string_view, uint32_t> m_map;
    uint32_t add(const std::string& name) {
        auto it = m_map.find(name);
        if (it != m_map.end()) return it->second;
        const std::string& stored = m_names.emplace_back(name);
        uint32_t id = static_cast<uint32_t>(m_names.size() - 1);
        m_map.emplace(stored, id);
        return id;
    }
    uint32_t find(const std::string& name) const {
        auto it = m_map.find(name);
        return it == m_map.end() ? 0 : it->second;
    }
};

// The key keeps the name's hash, so that growing does not read the names again.
struct HASHED_NAME {
    std::string_view m_name;
    size_t m_hash;
};
struct HASHED_NAME_HASH {
    using is_transparent = void;
    size_t operator()(const HASHED_NAME& n) const { return n.m_hash; }
    size_t operator()(std::string_view n) const { return absl::Hash<std::string_view>()(n); }
};
struct HASHED_NAME_EQ {
    using is_transparent = void;
    static std::string_view view(const HASHED_NAME& n) { return n.m_name; }
    static std::string_view view(std::string_view n) { return n; }
    template <class A, class B>
    bool operator()(const A& a, const B& b) const {
        return view(a) == view(b);
    }
};

struct ABSL_HASHED_SYMBOLS {
    std::deque<std::string> m_names;
    absl::flat_hash_map<HASHED_NAME, uint32_t, HASHED_NAME_HASH, HASHED_NAME_EQ> m_map;
    uint32_t add(const std::string& name) {
        const size_t h = HASHED_NAME_HASH()(name);
        auto it = m_map.find(HASHED_NAME{name, h});
        if (it != m_map.end()) return it->second;
        const std::string& stored = m_names.emplace_back(name);
        uint32_t id = static_cast<uint32_t>(m_names.size() - 1);
        m_map.emplace(HASHED_NAME{stored, h}, id);
        return id;
    }
    uint32_t find(const std::string& name) const {
        auto it = m_map.find(std::string_view(name));
        return it == m_map.end() ? 0 : it->second;
    }
};

struct STD_SYMBOLS {
    std::unordered_map<std::string, uint32_t> m_map;
    uint32_t add(const std::string& name) {
        return m_map.try_emplace(name, static_cast<uint32_t>(m_map.size())).first->second;
    }
    uint32_t find(const std::string& name) const {
        auto it = m_map.find(name);
        return it == m_map.end() ? 0 : it->second;
    }
};

template <class TABLE>
void BM_SymbolAdd(benchmark::State& state) {
    const std::vector<std::string>& names = symbol_names();
    for (auto _ : state) {
        auto table = std::make_unique<TABLE>();
        for (const std::string& name : names) benchmark::DoNotOptimize(table->add(name));
        state.PauseTiming();
        table.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * kNames);
}

template <class TABLE>
void BM_SymbolFind(benchmark::State& state) {
    const std::vector<std::string>& names = symbol_names();
    static TABLE* s_table = [&] {
        auto* table = new TABLE();
        for (const std::string& name : names) table->add(name);
        return table;
    }();
    size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(s_table->find(names[i]));
        i = (i + 7919) % kNames;
    }
    state.SetItemsProcessed(state.iterations());
}

BENCHMARK_TEMPLATE(BM_SymbolAdd, HAND_SYMBOLS)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK_TEMPLATE(BM_SymbolAdd, ABSL_SYMBOLS)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK_TEMPLATE(BM_SymbolAdd, ABSL_HASHED_SYMBOLS)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK_TEMPLATE(BM_SymbolAdd, STD_SYMBOLS)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK_TEMPLATE(BM_SymbolFind, HAND_SYMBOLS);
BENCHMARK_TEMPLATE(BM_SymbolFind, ABSL_SYMBOLS);
BENCHMARK_TEMPLATE(BM_SymbolFind, ABSL_HASHED_SYMBOLS);
BENCHMARK_TEMPLATE(BM_SymbolFind, STD_SYMBOLS);

// ---------------------------------------------------------------------------------------------
// Memory floor: one read of a random 64-byte line of an array of state.range(0) MB. A table
// look-up at random cannot beat the independent figure, and one whose reads depend on each
// other pays the chain figure for each.

constexpr size_t kLine = 64;

// An array of lines on huge pages or on 4 kB pages, whatever the system's default, each line
// holding the offset of the next line of one random cycle through all of them.
struct LINES {
    char* m_base = nullptr;
    size_t m_bytes = 0;
    size_t m_lines = 0;
    std::vector<uint32_t> m_random;  // positions to read independently

    LINES(size_t megabytes, bool huge) : m_bytes(megabytes << 20), m_lines(m_bytes / kLine) {
        void* block =
            mmap(nullptr, m_bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (block == MAP_FAILED) return;
        m_base = static_cast<char*>(block);
        madvise(m_base, m_bytes, huge ? MADV_HUGEPAGE : MADV_NOHUGEPAGE);
        std::vector<uint32_t> order(m_lines);
        std::iota(order.begin(), order.end(), 0u);
        std::mt19937_64 rng(11);
        std::shuffle(order.begin(), order.end(), rng);
        for (size_t i = 0; i < m_lines; ++i) {
            const uint64_t next = uint64_t{order[(i + 1) % m_lines]} * kLine;
            std::char_traits<char>::copy(m_base + size_t{order[i]} * kLine,
                                         reinterpret_cast<const char*>(&next), sizeof(next));
        }
        m_random.resize(1 << 22);
        for (uint32_t& r : m_random) r = static_cast<uint32_t>(rng() % m_lines);
    }
    ~LINES() {
        if (m_base != nullptr) munmap(m_base, m_bytes);
    }
    uint64_t at(uint64_t offset) const {
        uint64_t value;
        std::char_traits<char>::copy(reinterpret_cast<char*>(&value), m_base + offset,
                                     sizeof(value));
        return value;
    }
};

template <bool ON_HUGE_PAGES>
void BM_FloorChain(benchmark::State& state) {
    LINES lines(static_cast<size_t>(state.range(0)), ON_HUGE_PAGES);
    if (lines.m_base == nullptr) return state.SkipWithError("mmap");
    uint64_t offset = 0;
    for (auto _ : state) {
        offset = lines.at(offset);
        benchmark::DoNotOptimize(offset);
    }
    state.SetItemsProcessed(state.iterations());
}

template <bool ON_HUGE_PAGES>
void BM_FloorIndependent(benchmark::State& state) {
    LINES lines(static_cast<size_t>(state.range(0)), ON_HUGE_PAGES);
    if (lines.m_base == nullptr) return state.SkipWithError("mmap");
    // The values are summed: a value only handed to DoNotOptimize may stay an unread address.
    size_t n = 0;
    uint64_t sum = 0;
    for (auto _ : state) {
        sum += lines.at(uint64_t{lines.m_random[n]} * kLine);
        n = (n + 1) & (lines.m_random.size() - 1);
    }
    benchmark::DoNotOptimize(sum);
    state.SetItemsProcessed(state.iterations());
}

BENCHMARK_TEMPLATE(BM_FloorChain, false)->Arg(64)->Arg(256);
BENCHMARK_TEMPLATE(BM_FloorChain, true)->Arg(64)->Arg(256);
BENCHMARK_TEMPLATE(BM_FloorIndependent, false)->Arg(64)->Arg(256);
BENCHMARK_TEMPLATE(BM_FloorIndependent, true)->Arg(64)->Arg(256);

}  // namespace

BENCHMARK_MAIN();
