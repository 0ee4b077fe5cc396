// Top-level blocks at device scale: 40,000 block instances of 20 block modules, each block
// module holding 200 mux occurrences (of 4 mux modules with 3 subpaths and 8 paths each) and
// 50 other instances. One-shot stages on shared state: finish, write (file size), read, then
// TLSPLITTER::set_node on random mux nodes and get_tlnode on random nodes of the device.
// Stage times are process CPU seconds.
#include <benchmark/benchmark.h>

#include <ctime>
#include <deque>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "util/util_hierarchy.h"
#include "util/util_symbol.h"
#include "util/util_symbol_file.h"
#include "util/util_tlblocks.h"

namespace {

using NS_SYMBOL::SYM;
using UTIL::IHIERARCHY;

constexpr uint32_t kBlockModules = 20;
constexpr uint32_t kInstances = 40000;
constexpr uint32_t kMuxesPerBlock = 200;
constexpr uint32_t kMuxModules = 4;
constexpr size_t kQueries = 1000000;

// A module description in plain vectors.
class BENCH_PORT : public IHIERARCHY::IPORT {
  public:
    explicit BENCH_PORT(SYM name) : m_name(name) {}
    SYM get_name() const override { return m_name; }
    int get_direction() const override { return 0; }

  private:
    SYM m_name;
};

class BENCH_INSTANCE : public IHIERARCHY::IINSTANCE {
  public:
    BENCH_INSTANCE(SYM name, SYM module) : m_name(name), m_module(module) {}
    SYM get_name() const override { return m_name; }
    SYM get_module_name() const override { return m_module; }

  private:
    SYM m_name, m_module;
};

class BENCH_MODULE : public IHIERARCHY::IMODULE {
  public:
    explicit BENCH_MODULE(SYM name) : m_name(name) {}
    SYM get_name() const override { return m_name; }
    uint32_t get_n_instances() const override { return static_cast<uint32_t>(m_instances.size()); }
    const IHIERARCHY::IINSTANCE* get_instance(uint32_t i) const override { return &m_instances[i]; }
    uint32_t get_n_ports() const override { return static_cast<uint32_t>(m_ports.size()); }
    const IHIERARCHY::IPORT* get_port(uint32_t i) const override { return &m_ports[i]; }
    std::vector<BENCH_INSTANCE> m_instances;
    std::vector<BENCH_PORT> m_ports;

  private:
    SYM m_name;
};

class BENCH_MODULES : public IHIERARCHY::IMODULES {
  public:
    explicit BENCH_MODULES(UTIL::SYMBOL_TABLE* table) : m_table(table) {}
    UTIL::SYMBOL_TABLE* get_symbol_table() const override { return m_table; }
    uint32_t get_n_modules() const override { return static_cast<uint32_t>(m_modules.size()); }
    const IHIERARCHY::IMODULE* get_module(uint32_t i) const override { return &m_modules[i]; }
    uint32_t add(const std::string& name) {
        m_modules.emplace_back(m_table->add(name));
        return static_cast<uint32_t>(m_modules.size() - 1);
    }
    void instance(uint32_t m, const std::string& name, const std::string& module) {
        m_modules[m].m_instances.emplace_back(m_table->add(name), m_table->add(module));
    }
    void port(uint32_t m, const std::string& name) {
        m_modules[m].m_ports.emplace_back(m_table->add(name));
    }

    std::deque<BENCH_MODULE> m_modules;
    UTIL::SYMBOL_TABLE* m_table;
};

// Module indexes: top 0, blocks 1..20, muxes 21..24, cell 25, wire 26.
struct DEVICE {
    UTIL::SYMBOL_TABLE* m_table = UTIL::symbol_tables().new_table();
    BENCH_MODULES m_modules{m_table};
    std::unique_ptr<UTIL::HIERARCHY> m_hierarchy;
    std::vector<uint64_t> m_block_nodes;

    DEVICE() {
        const uint32_t top = m_modules.add("top");
        for (uint32_t b = 0; b < kBlockModules; ++b) m_modules.add("blk" + std::to_string(b));
        for (uint32_t x = 0; x < kMuxModules; ++x) m_modules.add("mux" + std::to_string(x));
        const uint32_t cell = m_modules.add("cell");
        const uint32_t wire = m_modules.add("wire");
        m_modules.port(cell, "z");
        m_modules.port(wire, "y");
        for (uint32_t x = 0; x < kMuxModules; ++x) {
            m_modules.instance(1 + kBlockModules + x, "s", "cell");
            for (int p = 0; p < 8; ++p)
                m_modules.port(1 + kBlockModules + x, "p" + std::to_string(p));
        }
        for (uint32_t b = 0; b < kBlockModules; ++b) {
            for (uint32_t j = 0; j < kMuxesPerBlock; ++j) {
                m_modules.instance(1 + b, "m" + std::to_string(j),
                                   "mux" + std::to_string((j + b) % kMuxModules));
            }
            for (int w = 0; w < 50; ++w) m_modules.instance(1 + b, "w" + std::to_string(w), "wire");
            for (int p = 0; p < 10; ++p) m_modules.port(1 + b, "io" + std::to_string(p));
        }
        for (uint32_t i = 0; i < kInstances; ++i) {
            m_modules.instance(top, "b" + std::to_string(i),
                               "blk" + std::to_string(i % kBlockModules));
        }
        m_modules.port(top, "clk");
        m_table->init_name_fast();
        m_hierarchy = std::make_unique<UTIL::HIERARCHY>(&m_modules);
        for (uint32_t i = 0; i < kInstances; ++i)
            m_block_nodes.push_back(m_hierarchy->get_child_node(nullptr, 0, 0, i));
    }

    void add(UTIL::ITLBLOCKS_BUILDER& t) {
        for (uint32_t x = 0; x < kMuxModules; ++x) {
            const uint32_t m = 1 + kBlockModules + x;
            t.add_mux_module(m, x);
            for (int s = 0; s < 3; ++s) {
                std::vector<SYM> names = {m_table->add("s"),
                                          m_table->add("cfg" + std::to_string(s))};
                t.add_subpath(m, names);
            }
            for (uint32_t p = 0; p < 8; ++p) {
                std::vector<UTIL::TL_SETTING_PAIR> pairs = {
                    {0, m_table->add("V" + std::to_string(p))}, {2, m_table->add("ON")}};
                t.add_settings(m, p, pairs);
            }
        }
        for (uint32_t i = 0; i < kInstances; ++i) {
            t.add_instance(1 + i % kBlockModules, m_block_nodes[i],
                           m_table->add("uid_" + std::to_string(i)));
        }
    }
};

struct STATE {
    std::unique_ptr<DEVICE> m_device;
    std::unique_ptr<UTIL::TLBLOCKS_BUILDER> m_built;
    std::unique_ptr<UTIL::TLBLOCKS_BUILDER> m_read;
    UTIL::SYMBOL_FILE m_out_file, m_in_file;
    std::string m_table_bytes, m_symbol_bytes;
};

STATE& state_of() {
    static STATE s_state;
    return s_state;
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

void BM_Finish(benchmark::State& state) {
    STATE& s = state_of();
    double seconds = 0;
    for (auto _ : state) {
        s.m_device = std::make_unique<DEVICE>();
        s.m_built = std::make_unique<UTIL::TLBLOCKS_BUILDER>();
        s.m_built->set_hierarchy(s.m_device->m_hierarchy.get());
        s.m_device->add(*s.m_built);
        const auto start = cpu_now();
        s.m_built->finish();
        seconds = seconds_since(start);
    }
    state.counters["finish_s"] = seconds;
    state.counters["device_nodes"] = s.m_device->m_hierarchy->get_num_nodes();
    state.counters["attributes"] = s.m_built->get_n_tlattributes();
}
BENCHMARK(BM_Finish)->Iterations(1)->Unit(benchmark::kMillisecond);

void BM_WriteRead(benchmark::State& state) {
    STATE& s = state_of();
    double write_s = 0, read_s = 0;
    for (auto _ : state) {
        s.m_out_file.set_internal_const(s.m_device->m_table);
        s.m_built->set_symbol_file(&s.m_out_file);
        std::ostringstream table_out, symbols_out;
        auto start = cpu_now();
        s.m_built->write(table_out, UTIL::PB_BIN);
        s.m_out_file.write(symbols_out, UTIL::PB_BIN);
        write_s = seconds_since(start);
        s.m_table_bytes = table_out.str();
        s.m_symbol_bytes = symbols_out.str();
        start = cpu_now();
        s.m_in_file.set_internal(s.m_device->m_table);
        std::istringstream symbols_in(s.m_symbol_bytes), table_in(s.m_table_bytes);
        s.m_in_file.read(symbols_in, UTIL::PB_BIN);
        s.m_read = std::make_unique<UTIL::TLBLOCKS_BUILDER>();
        s.m_read->set_hierarchy(s.m_device->m_hierarchy.get());
        s.m_read->set_symbol_file(&s.m_in_file);
        if (!s.m_read->read(table_in, UTIL::PB_BIN)) state.SkipWithError("read failed");
        read_s = seconds_since(start);
    }
    state.counters["write_s"] = write_s;
    state.counters["read_s"] = read_s;
    state.counters["table_file_KB"] = s.m_table_bytes.size() / 1e3;
    state.counters["symbol_section_KB"] = s.m_symbol_bytes.size() / 1e3;
}
BENCHMARK(BM_WriteRead)->Iterations(1)->Unit(benchmark::kMillisecond);

// Random mux occurrences of random block instances.
std::vector<uint64_t> mux_nodes(const STATE& s) {
    std::mt19937_64 rng(5);
    std::vector<uint64_t> nodes;
    nodes.reserve(kQueries);
    const UTIL::HIERARCHY& h = *s.m_device->m_hierarchy;
    for (size_t q = 0; q < kQueries; ++q) {
        const uint32_t i = static_cast<uint32_t>(rng() % kInstances);
        const uint32_t block = 1 + i % kBlockModules;
        const uint32_t j = static_cast<uint32_t>(rng() % kMuxesPerBlock);
        nodes.push_back(h.get_child_node(nullptr, block, s.m_device->m_block_nodes[i], j));
    }
    return nodes;
}

void BM_SetNode(benchmark::State& state) {
    STATE& s = state_of();
    const std::vector<uint64_t> nodes = mux_nodes(s);
    std::unique_ptr<UTIL::ITLBLOCKS::ITLSPLITTER> splitter(s.m_read->create_splitter());
    size_t i = 0;
    uint64_t sum = 0;
    for (auto _ : state) {
        splitter->set_node(nodes[i]);
        sum += splitter->get_tlattribute()->get_mux_index();
        if (++i == nodes.size()) i = 0;
    }
    benchmark::DoNotOptimize(sum);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SetNode);

void BM_GetTlnode(benchmark::State& state) {
    STATE& s = state_of();
    std::mt19937_64 rng(6);
    const uint64_t n = s.m_device->m_hierarchy->get_num_nodes();
    std::vector<uint64_t> nodes(kQueries);
    for (uint64_t& node : nodes) node = rng() % n;
    size_t i = 0;
    uint64_t sum = 0;
    for (auto _ : state) {
        sum += s.m_read->get_tlnode(nodes[i]);
        if (++i == nodes.size()) i = 0;
    }
    benchmark::DoNotOptimize(sum);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_GetTlnode);

}  // namespace

BENCHMARK_MAIN();
