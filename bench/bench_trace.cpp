// Tracer benchmark on a device-like netlist of about 100,000 module occurrences: the fan-list
// pass of the graph, then one forward list-walk trace from every RE port occurrence
// (trace_up_output from outputs, trace_down_input from inputs). Reports traces per second and
// allocations per trace; the tracer's stack and result vectors keep their capacity, so a
// trace itself should allocate nothing.
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "ann/annss.h"
#include "nlg/nlg_graph.h"
#include "nlg/nlg_graph_trace.h"
#include "util/util_symbol.h"

#include "bench_alloc_counter.h"

namespace {

// top -> SECTORS sectors -> TILES tiles (top-level blocks, every port an RE) -> LANES lanes of
// in -> BUF -> INV -> first-stage mux -> leaf block (RE ports) -> BUF -> out; each mux also takes
// the buffer of the next lane. Tiles are chained in a sector, sectors in the top.
constexpr uint32_t SECTORS = 40, TILES = 21, LANES = 24;

struct DESIGN {
    std::unique_ptr<NLG_GRAPH> graph;
    std::unique_ptr<NLG_ANNSS> annss;
    NLG_MODULE *top, *sect, *tile, *lb, *buf, *inv, *mux;
    uint32_t ports = 0, nets = 0, instances = 0, refs = 0;

    NS_SYMBOL::SYM sym(const std::string& s) { return graph->get_symbol_table()->add(s); }
    NLG_MODULE* module(const char* name, uint32_t type, uint32_t n_ports, uint32_t n_nets,
                       uint32_t n_instances) {
        NLG_MODULE* m =
            new NLG_MODULE(sym(name), type, NLG_ID(NLG_ID::MODULE, graph->get_num_modules()),
                           NLG_FILELINE(), false, n_ports, n_nets, n_instances);
        graph->add_module(m);
        return m;
    }
    NLG_PORT* port(NLG_MODULE* m, const std::string& name, uint32_t dir) {
        m->add_port(NLG_PORT(NLG_ID(NLG_ID::PORT, ports++), sym(name), dir, NLG_FILELINE()));
        return m->port(int32_t(m->get_num_ports()) - 1);
    }
    NLG_NET* net(NLG_MODULE* m, NLG_PORT* p = nullptr) {
        uint32_t serial = nets++;
        m->add_net(NLG_NET(NLG_ID(NLG_ID::NET, serial), sym("n" + std::to_string(serial)),
                           NLG_FILELINE()));
        NLG_NET* n = m->net(int32_t(m->get_num_nets()) - 1);
        if (p) n->connect_port(p);
        return n;
    }
    NLG_INSTANCE* instance(NLG_MODULE* parent, const std::string& name, NLG_MODULE* def) {
        parent->add_instance(NLG_INSTANCE(sym(name), def, NLG_ID(NLG_ID::INSTANCE, instances++),
                                          NLG_FILELINE(), def->get_num_ports()));
        return parent->instance(int32_t(parent->get_num_instances()) - 1);
    }
    void pin(NLG_INSTANCE* inst, int32_t port, NLG_NET* n) {
        inst->add_portref(port, inst->get_parent_module()->get_net_index(n),
                          NLG_ID(NLG_ID::PORT_REF, refs++));
    }

    // A chain of `count` instances of `def` in `parent`: in_k of the parent feeds the first,
    // out_k of each feeds in_k of the next, the last feeds out_k of the parent.
    void chain(NLG_MODULE* parent, NLG_MODULE* def, uint32_t count, const char* prefix) {
        std::vector<NLG_NET*> links;
        for (uint32_t k = 0; k < LANES; ++k) links.push_back(net(parent, parent->port(int32_t(k))));
        for (uint32_t i = 0; i < count; ++i) {
            NLG_INSTANCE* inst = instance(parent, prefix + std::to_string(i), def);
            for (uint32_t k = 0; k < LANES; ++k) {
                pin(inst, int32_t(k), links[k]);
                links[k] =
                    i + 1 == count ? net(parent, parent->port(int32_t(LANES + k))) : net(parent);
                pin(inst, int32_t(LANES + k), links[k]);
            }
        }
    }

    DESIGN() : graph(new NLG_GRAPH(nullptr, "root", 7)) {
        top = module("top", 0, 2 * LANES, 2 * LANES * (SECTORS + 1), SECTORS);
        sect = module("sect", 0, 2 * LANES, 2 * LANES * (TILES + 1), TILES);
        tile = module("tile", 0, 2 * LANES, 6 * LANES, 5 * LANES);
        lb = module("lb", 0, 2, 0, 0);
        buf = module("buf", 7, 2, 0, 0);
        inv = module("inv", 5, 2, 0, 0);
        mux = module("mux", 0, 3, 0, 0);
        for (NLG_MODULE* m : {top, sect, tile}) {
            for (uint32_t k = 0; k < LANES; ++k)
                port(m, "in" + std::to_string(k), NLG_IPORT::INPUT);
            for (uint32_t k = 0; k < LANES; ++k)
                port(m, "out" + std::to_string(k), NLG_IPORT::OUTPUT);
        }
        port(lb, "i", NLG_IPORT::INPUT);
        port(lb, "o", NLG_IPORT::OUTPUT);
        for (NLG_MODULE* m : {buf, inv}) {
            port(m, "a", NLG_IPORT::INPUT);
            port(m, "y", NLG_IPORT::OUTPUT);
        }
        port(mux, "y", NLG_IPORT::OUTPUT);
        port(mux, "i1", NLG_IPORT::INPUT);
        port(mux, "i2", NLG_IPORT::INPUT);
        chain(top, sect, SECTORS, "s");
        chain(sect, tile, TILES, "t");
        // Lanes of a tile.
        std::vector<NLG_NET*> buffered(LANES), inverted(LANES), muxed(LANES), blocked(LANES);
        std::vector<NLG_INSTANCE*> bufs(LANES), invs(LANES), muxes(LANES), lbs(LANES), outs(LANES);
        for (uint32_t k = 0; k < LANES; ++k) {
            std::string s = std::to_string(k);
            bufs[k] = instance(tile, "b" + s, buf);
            invs[k] = instance(tile, "v" + s, inv);
            muxes[k] = instance(tile, "m" + s, mux);
            lbs[k] = instance(tile, "l" + s, lb);
            outs[k] = instance(tile, "c" + s, buf);
            buffered[k] = net(tile);
            inverted[k] = net(tile);
            muxed[k] = net(tile);
            blocked[k] = net(tile);
        }
        for (uint32_t k = 0; k < LANES; ++k) {
            NLG_NET* in = net(tile, tile->port(int32_t(k)));
            NLG_NET* out = net(tile, tile->port(int32_t(LANES + k)));
            pin(bufs[k], 0, in);
            pin(bufs[k], 1, buffered[k]);
            pin(invs[k], 0, buffered[k]);
            pin(invs[k], 1, inverted[k]);
            pin(muxes[k], 0, muxed[k]);
            pin(muxes[k], 1, inverted[k]);
            pin(muxes[k], 2, buffered[(k + 1) % LANES]);
            pin(lbs[k], 0, muxed[k]);
            pin(lbs[k], 1, blocked[k]);
            pin(outs[k], 0, blocked[k]);
            pin(outs[k], 1, out);
        }

        annss.reset(new NLG_ANNSS(*graph));
        annss->add_type(PB::ANNS::ICDB);
        NLG_ICDB_ANNS& icdb = annss->get_icdb();
        PB::ICDB_MODULE& mux_record = icdb.get_module(*mux);
        mux_record.mutable_mux_desc()->set_is_template(true);
        mux_record.mutable_mux_desc()->set_is_first_stage(true);
        for (int in : {1, 2}) {
            PB::ICDB_MODULE_PATH* path = mux_record.add_paths();
            path->set_in(in);
            path->set_out(0);
        }
        icdb.get_module(*tile).set_level(PB::ICDB_MODULE::TOP_LEVEL_IP);
        icdb.get_module(*sect).set_level(PB::ICDB_MODULE::SECTOR);
        for (uint32_t i = 0; i < tile->get_num_ports(); ++i)
            icdb.get_port(*tile->port(int32_t(i))).set_re_name(PB::MUX_DESCRIPTION::H);
        icdb.get_port(*lb->port(0)).set_re_name(PB::MUX_DESCRIPTION::V);
        icdb.get_port(*lb->port(1)).set_re_name(PB::MUX_DESCRIPTION::V);
    }
};

struct START {
    std::vector<NLG_IINSTANCE*> stack;
    NLG_IPORT* port;
};

// Every RE port occurrence: ports of tiles and of the blocks in them.
std::vector<START> re_starts(DESIGN& d) {
    std::vector<START> starts;
    for (uint32_t s = 0; s < SECTORS; ++s) {
        NLG_INSTANCE* sect = d.top->instance(int32_t(s));
        for (uint32_t t = 0; t < TILES; ++t) {
            NLG_INSTANCE* tile = d.sect->instance(int32_t(t));
            for (uint32_t p = 0; p < d.tile->get_num_ports(); ++p)
                starts.push_back({{sect, tile}, d.tile->port(int32_t(p))});
            for (uint32_t k = 0; k < LANES; ++k) {
                NLG_INSTANCE* block = d.tile->instance(int32_t(k * 5 + 3));
                for (uint32_t p = 0; p < 2; ++p)
                    starts.push_back({{sect, tile, block}, d.lb->port(int32_t(p))});
            }
        }
    }
    return starts;
}

uint64_t occurrences(NLG_MODULE* m) {
    uint64_t n = 1;
    for (uint32_t i = 0; i < m->get_num_instances(); ++i)
        n += occurrences(m->instance(int32_t(i))->get_definition());
    return n;
}

void BM_populate_fanin_fanout(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        std::unique_ptr<DESIGN> d(new DESIGN());
        state.ResumeTiming();
        d->graph->populate_fanin_fanout(d->annss.get());
        state.PauseTiming();
        state.counters["occurrences"] = double(occurrences(d->top));
        d.reset();
        state.ResumeTiming();
    }
}
BENCHMARK(BM_populate_fanin_fanout)->Unit(benchmark::kMillisecond)->Iterations(5);

// The list walk, and for comparison the net walk with the same RE rule.
template <class TRACER>
void BM_trace_every_re(benchmark::State& state) {
    DESIGN d;
    d.graph->populate_fanin_fanout(d.annss.get());
    std::vector<START> starts = re_starts(d);
    TRACER tracer(d.annss.get());
    uint64_t traces = 0, results = 0, in_trace = 0, in_start = 0;
    for (auto _ : state) {
        for (const START& s : starts) {
            uint64_t before = g_allocations.load(std::memory_order_relaxed);
            tracer.clear();
            tracer.set_instances(s.stack);
            uint64_t middle = g_allocations.load(std::memory_order_relaxed);
            if (s.port->is_output())
                tracer.trace_up_output(s.port);
            else
                tracer.trace_down_input(s.port);
            uint64_t after = g_allocations.load(std::memory_order_relaxed);
            in_start += middle - before;
            in_trace += after - middle;
            results += tracer.get_results().size();
            benchmark::DoNotOptimize(tracer.get_results().data());
        }
        traces += starts.size();
    }
    state.SetItemsProcessed(int64_t(traces));
    state.counters["traces_per_s"] =
        benchmark::Counter(double(traces), benchmark::Counter::kIsRate);
    state.counters["results_per_trace"] = double(results) / double(traces);
    state.counters["allocs_per_trace"] = double(in_trace) / double(traces);
    state.counters["allocs_per_set_instances"] = double(in_start) / double(traces);
    state.counters["re_ports"] = double(starts.size());
}
BENCHMARK_TEMPLATE(BM_trace_every_re, TSL_RTL_TRACER_SIMPLE)
    ->Unit(benchmark::kMillisecond)
    ->MinTime(2.0);
BENCHMARK_TEMPLATE(BM_trace_every_re, TSL_RTL_TRACER)->Unit(benchmark::kMillisecond)->MinTime(2.0);

}  // namespace

BENCHMARK_MAIN();
