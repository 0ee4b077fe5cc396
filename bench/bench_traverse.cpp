// Walks over a device-shaped netlist: 16 sectors of 256 top-level IP tiles, each tile with 40
// muxes (one in four a first stage, each mux holding 2 cells) and 60 plain cells, about 740,000
// instance occurrences over 6 module definitions, with a flat placement record for every tile.
// Measures the base walk (a flat-record look-up at every occurrence) and the three level walks,
// and counts the allocations of one walk once the objects are warm.
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>

#include "ann/annss.h"
#include "icdb/icdb_instance_tree.h"
#include "nlg/nlg_graph.h"
#include "nlg/nlg_graph_traverse.h"
#include "util/util_symbol.h"

#include "bench_alloc_counter.h"

namespace {

constexpr uint32_t kSectors = 16;
constexpr uint32_t kTiles = 256;
constexpr uint32_t kMuxes = 40;
constexpr uint32_t kCells = 60;

struct DEVICE {
    std::unique_ptr<NLG_GRAPH> graph;
    std::unique_ptr<NLG_ANNSS> annss;
    std::unique_ptr<ICDB::INSTANCE_TREE> tree;
    uint64_t occurrences = 0;
};

class BUILD {
  public:
    explicit BUILD(NLG_GRAPH* g) : m_graph(g) {}
    NLG_MODULE* module(const std::string& name, uint32_t n_instances) {
        NLG_MODULE* m = new NLG_MODULE(m_graph->get_symbol_table()->add(name), 0,
                                       NLG_ID(NLG_ID::MODULE, m_graph->get_num_modules()),
                                       NLG_FILELINE(), false, 0, 0, n_instances);
        m_graph->add_module(m);
        return m;
    }
    void instances(NLG_MODULE* parent, NLG_MODULE* definition, uint32_t n, const char* stem) {
        for (uint32_t i = 0; i < n; ++i) {
            NLG_INSTANCE inst(m_graph->get_symbol_table()->add(stem + std::to_string(i)),
                              definition, NLG_ID(NLG_ID::INSTANCE, m_instances++), NLG_FILELINE(),
                              0);
            parent->add_instance(std::move(inst));
        }
    }

  private:
    NLG_GRAPH* m_graph;
    uint32_t m_instances = 0;
};

const DEVICE& device() {
    static DEVICE* d = [] {
        DEVICE* dev = new DEVICE;
        dev->graph.reset(new NLG_GRAPH(nullptr, "root", 6));
        BUILD b(dev->graph.get());
        NLG_MODULE* top = b.module("top", kSectors);
        NLG_MODULE* sector = b.module("sector", kTiles);
        NLG_MODULE* tile = b.module("tile", kMuxes + kCells);
        NLG_MODULE* mux = b.module("mux", 2);
        NLG_MODULE* mux_fs = b.module("mux_fs", 2);
        NLG_MODULE* cell = b.module("cell", 0);
        b.instances(top, sector, kSectors, "s");
        b.instances(sector, tile, kTiles, "t");
        for (uint32_t i = 0; i < kMuxes; ++i) b.instances(tile, i % 4 ? mux : mux_fs, 1, "m");
        b.instances(tile, cell, kCells, "c");
        b.instances(mux, cell, 2, "x");
        b.instances(mux_fs, cell, 2, "x");
        dev->occurrences = kSectors * (1 + kTiles * (1 + kMuxes * 3 + kCells));

        dev->annss.reset(new NLG_ANNSS(*dev->graph));
        dev->annss->add_type(PB::ANNS::ICDB);
        NLG_ICDB_ANNS& icdb = dev->annss->get_icdb();
        icdb.get_module(*sector).set_level(PB::ICDB::MODULE::SECTOR);
        icdb.get_module(*tile).set_level(PB::ICDB::MODULE::TOP_LEVEL_IP);
        for (NLG_MODULE* m : {mux, mux_fs}) {
            icdb.get_module(*m).set_level(PB::ICDB::MODULE::PRIM_MUX);
            icdb.get_module(*m).mutable_mux_desc()->set_is_template(true);
        }
        icdb.get_module(*mux_fs).mutable_mux_desc()->set_is_first_stage(true);

        dev->tree.reset(new ICDB::INSTANCE_TREE(dev->graph.get()));
        UTIL::IHIERARCHY* h = dev->tree->get_hierarchy();
        for (uint32_t s = 0; s < kSectors; ++s) {
            uint64_t sector_node = h->get_child_node(nullptr, 0, 0, s);
            for (uint32_t t = 0; t < kTiles; ++t) {
                PB::ICDB::FLAT_INSTANCE record;
                record.mutable_bposition()->set_row(static_cast<int>(s));
                record.mutable_bposition()->set_col(static_cast<int>(t));
                record.set_uid("tile_" + std::to_string(s) + "_" + std::to_string(t));
                dev->tree->add_flat_instance(h->get_child_node(nullptr, 1, sector_node, t), record);
            }
        }
        return dev;
    }();
    return *d;
}

// Counts instance enters and reads the position at each, as the node generators do.
class COUNTER : public TSL_VISITOR_BASE {
  public:
    uint64_t m_instances = 0;
    int64_t m_sum = 0;
    bool m_read_position = false;
    void enter_instance(NLG_IINSTANCE&) override {
        ++m_instances;
        if (m_read_position) m_sum += m_traverse->get_position().col();
    }
};

template <class MAKE>
void run_walk(benchmark::State& state, MAKE make, bool read_position) {
    const DEVICE& d = device();
    COUNTER counter;
    counter.m_read_position = read_position;
    std::unique_ptr<TSL_TRAVERSE_BASE> walk(make(&counter, d));
    counter.set_traverse(walk.get());
    walk->traverse(d.graph.get());  // warm
    uint64_t allocations = 0;
    for (auto _ : state) {
        counter.m_instances = 0;
        const uint64_t before = g_allocations.load();
        walk->traverse(d.graph.get());
        allocations = g_allocations.load() - before;
        benchmark::DoNotOptimize(counter.m_sum);
    }
    state.counters["visited"] = static_cast<double>(counter.m_instances);
    state.counters["allocs_per_walk"] = static_cast<double>(allocations);
    state.counters["occurrences/s"] = benchmark::Counter(
        static_cast<double>(d.occurrences) * static_cast<double>(state.iterations()),
        benchmark::Counter::kIsRate);
}

void BM_BaseWalkWithFlatRecords(benchmark::State& state) {
    run_walk(
        state,
        [](TSL_IVISITOR* v, const DEVICE& d) {
            return new TSL_TRAVERSE_BASE(v, d.tree.get(), false);
        },
        false);
}
BENCHMARK(BM_BaseWalkWithFlatRecords)->Unit(benchmark::kMillisecond);

void BM_BaseWalkNoFlatSource(benchmark::State& state) {
    run_walk(
        state,
        [](TSL_IVISITOR* v, const DEVICE&) { return new TSL_TRAVERSE_BASE(v, nullptr, false); },
        false);
}
BENCHMARK(BM_BaseWalkNoFlatSource)->Unit(benchmark::kMillisecond);

void BM_TopIpWalk(benchmark::State& state) {
    run_walk(
        state,
        [](TSL_IVISITOR* v, const DEVICE& d) {
            return tsl_create_traverse_top_ip(v, d.annss.get(), d.tree.get(), false);
        },
        true);
}
BENCHMARK(BM_TopIpWalk)->Unit(benchmark::kMillisecond);

void BM_MuxWalk(benchmark::State& state) {
    run_walk(
        state,
        [](TSL_IVISITOR* v, const DEVICE& d) {
            return tsl_create_traverse_mux(v, d.annss.get(), d.tree.get());
        },
        true);
}
BENCHMARK(BM_MuxWalk)->Unit(benchmark::kMillisecond);

void BM_SectorWalk(benchmark::State& state) {
    run_walk(
        state,
        [](TSL_IVISITOR* v, const DEVICE& d) {
            return tsl_create_traverse_sector(v, d.annss.get(), d.tree.get());
        },
        false);
}
BENCHMARK(BM_SectorWalk)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
