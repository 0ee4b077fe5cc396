// The list walks against the net walk: on random netlists (fixed seeds) with buffers,
// inverters, tri-state drivers, other primitives, first-stage muxes (template and per
// instance), feed-through blocks and REs at several levels, every list-walk variant ends, from
// every start port and direction, at the same ports with the same stacks as a net walk that
// asks the same stop rule, once the fan lists are built.
//
// The lists step through primitives and first-stage muxes without asking the stop rule, and
// compression skips the blocks between a module port and the one module port behind them, so
// the netlists keep what makes the two walks comparable: no stop marks on primitive or
// first-stage mux ports, per-instance first-stage muxes wired inside as their path tables say,
// and module outputs driven only from blocks whose drivers lie inside them (feed-through blocks
// feed pins of instances only).
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <iostream>
#include <sstream>
#include <random>
#include <tuple>

#include "nlg/nlg_graph_trace.h"
#include "nlg_builders.h"

using NLG_TEST::PRIMITIVES;
using NLG_TEST::TRACE_GRAPH;

namespace {

using STACK = std::vector<NLG_IINSTANCE*>;

// The net walk under a variant's stop rule: every walking operation is the base's.
template <class V>
class NET_WALK : public V {
  public:
    template <class... A>
    explicit NET_WALK(A... args) : V(args...) {}
    void trace_net_fanin(NLG_IPORT_REF* r) override { TSL_RTL_TRACER::trace_net_fanin(r); }
    void trace_net_fanout(NLG_IPORT_REF* r) override { TSL_RTL_TRACER::trace_net_fanout(r); }
    void trace_ref_fanin(NLG_IPORT_REF* r) override { TSL_RTL_TRACER::trace_ref_fanin(r); }
    void trace_up_input(NLG_IPORT* p) override { TSL_RTL_TRACER::trace_up_input(p); }
    void trace_up_output(NLG_IPORT* p) override { TSL_RTL_TRACER::trace_up_output(p); }
    void trace_down_input(NLG_IPORT* p) override { TSL_RTL_TRACER::trace_down_input(p); }
    void trace_down_output(NLG_IPORT* p) override { TSL_RTL_TRACER::trace_down_output(p); }
};

// The backward node generator asks its rule only at pins of instances: module ports on the
// way up are followed unasked. In the net walk those questions are the ones outside
// trace_ref_fanin.
class NET_WALK_BLC_NODE : public NET_WALK<TSL_RTL_TRACER_FOR_BLC_NODE_GENERATOR> {
  public:
    using BASE = TSL_RTL_TRACER_FOR_BLC_NODE_GENERATOR;
    explicit NET_WALK_BLC_NODE(NLG_IANNSS* a) : NET_WALK<BASE>(a) {}
    bool stop_at_port(NLG_IPORT*) override { return false; }
    void trace_ref_fanin(NLG_IPORT_REF* r) override {
        NLG_IINSTANCE* inst = r->get_instance();
        const PB::ICDB_INSTANCE& rec = m_anns->get_instance(*inst);
        if (rec.has_mux_desc()) {
            if (rec.mux_desc().is_first_stage())
                trace_mux_fanin(r->get_port(), m_anns->get_module(*inst->get_module()));
            return;
        }
        if (!BASE::stop_at_port(r->get_port())) trace_down_output(r->get_port());
    }
};

struct RANDOM_DESIGN {
    TRACE_GRAPH t;
    std::mt19937 rng;
    NLG_MODULE* top;
    std::unique_ptr<PRIMITIVES> prim;
    NLG_MODULE *tmux, *pmuxn, *lmux, *pm, *lb, *ft, *ft2;
    std::vector<NLG_MODULE*> mids, sects;
    std::vector<NLG_INSTANCE*> first_stage_insts, later_stage_insts;
    int m_names = 0;

    struct SOURCE {
        NLG_NET* net;
        // Driven from inside a block only: may drive a module output.
        bool pure;
        // Driven by a module input, straight or through buffers and inverters.
        bool from_input;
        // The output of a feed-through block fed that way: may drive an output of the top,
        // whose fan-in compression then skips the block.
        bool feed_out;
    };

    explicit RANDOM_DESIGN(unsigned seed) : rng(seed) {
        top = t.cell("top", ">x0 >x1 i0 i1 i2");
        prim.reset(new PRIMITIVES(t));
        tmux = t.cell("tmux", ">y i0 i1 i2");
        pmuxn = t.cell("pmuxn", ">y i0 i1");
        lmux = t.cell("lmux", ">y i0");
        pm = t.cell("pm", ">y i0 i1");
        lb = t.cell("lb", ">o >o2 i p q r");
        ft = t.cell("ft", ">y a");
        ft2 = t.cell("ft2", ">y a");
        for (int i = 0; i < 3; ++i)
            mids.push_back(t.cell("mid" + std::to_string(i), ">x0 >x1 i0 i1 i2"));
        for (int i = 0; i < 2; ++i)
            sects.push_back(t.cell("sect" + std::to_string(i), ">x0 >x1 i0 i1 i2"));

        // Bodies: the per-instance mux is wired as its paths say; the feed-throughs pass a to y.
        t.wire(pmuxn, "n: y i0 i1");
        t.instances(ft, "fb:BUF");
        t.wire(ft, "na: a fb.a; ny: y fb.y");
        t.wire(ft2, "n: y a");
        for (NLG_MODULE* m : mids) fill(m, {});
        for (NLG_MODULE* m : sects) fill(m, mids);
        std::vector<NLG_MODULE*> all = mids;
        all.insert(all.end(), sects.begin(), sects.end());
        fill(top, all);
        annotate();
    }

    int pick(int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); }
    std::string name(const char* prefix) { return prefix + std::to_string(m_names++); }

    // Children in order; each input pin takes a net driven by a module input or an earlier
    // child, so the netlist has no loop.
    void fill(NLG_MODULE* m, const std::vector<NLG_MODULE*>& blocks) {
        std::vector<SOURCE> sources;
        for (uint32_t i = 0; i < m->get_num_ports(); ++i)
            if (m->port(int32_t(i))->is_input())
                sources.push_back({t.net(m, name("n"), {m->port(int32_t(i))}), false, true, false});
        std::vector<NLG_MODULE*> kinds = {prim->inv, prim->buf, prim->tri, prim->odd, tmux, pmuxn,
                                          lmux,      pm,        lb,        lb,        ft,   ft2};
        kinds.insert(kinds.end(), blocks.begin(), blocks.end());
        kinds.insert(kinds.end(), blocks.begin(), blocks.end());
        int n_children = 6 + pick(6);
        for (int c = 0; c < n_children; ++c) {
            NLG_MODULE* def = kinds[size_t(pick(int(kinds.size())))];
            NLG_INSTANCE* inst = t.instance(m, name("u"), def);
            bool feed = def == ft || def == ft2;
            bool chain = def == prim->inv || def == prim->buf;
            bool from_input = false;
            for (uint32_t i = 0; i < def->get_num_ports(); ++i) {
                NLG_PORT* p = def->port(int32_t(i));
                if (!p->is_input()) continue;
                std::vector<size_t> choice;
                for (size_t s = 0; s < sources.size(); ++s)
                    if (!feed || sources[s].from_input) choice.push_back(s);
                if (choice.empty() || (!feed && pick(6) == 0)) continue;
                const SOURCE& src = sources[choice[size_t(pick(int(choice.size())))]];
                from_input = src.from_input;
                t.pin(inst, p->get_name().get_name(), src.net);
            }
            bool pure = def == lb || def == lmux || def == pm ||
                        std::find(blocks.begin(), blocks.end(), def) != blocks.end();
            for (uint32_t i = 0; i < def->get_num_ports(); ++i) {
                NLG_PORT* p = def->port(int32_t(i));
                if (!p->is_output()) continue;
                NLG_NET* n = t.net(m, name("n"));
                t.pin(inst, p->get_name().get_name(), n);
                sources.push_back({n, pure, chain && from_input, feed && from_input});
            }
            if (def == pmuxn) first_stage_insts.push_back(inst);
            if (def == lmux) later_stage_insts.push_back(inst);
        }
        for (uint32_t i = 0; i < m->get_num_ports(); ++i) {
            NLG_PORT* p = m->port(int32_t(i));
            if (!p->is_output()) continue;
            std::vector<size_t> choice;
            for (size_t s = 0; s < sources.size(); ++s)
                if (m == top && sources[s].feed_out) choice.push_back(s);
            // The top prefers feed-through outputs, to exercise compression.
            if (choice.empty())
                for (size_t s = 0; s < sources.size(); ++s)
                    if (sources[s].pure) choice.push_back(s);
            if (choice.empty()) continue;
            sources[choice[size_t(pick(int(choice.size())))]].net->connect_port(p);
        }
    }

    void mark_block_ports(NLG_MODULE* m) {
        for (uint32_t i = 0; i < m->get_num_ports(); ++i) {
            PB::ICDB_APORT& r = t.rec(m->port(int32_t(i)));
            int k = pick(10);
            if (k < 4) {
                r.set_re_name(PB::MUX_DESCRIPTION::MUXTYPE(5 + pick(4)));
            } else if (k < 7) {
                r.set_is_primary_port(true);
                r.set_merge_type(PB::ICDB_APORT::MERGE_TYPE(pick(3)));
            }
        }
    }

    void annotate() {
        t.set_mux(tmux, true, true, {{1, 0}, {2, 0}});
        t.set_mux(pmuxn, false, false, {{1, 0}, {2, 0}});
        t.set_mux(lmux, false, false, {{1, 0}});
        t.set_mux(pm, true, false, {});
        t.rec(pm).set_level(PB::ICDB_MODULE::PRIM_MUX);
        for (NLG_INSTANCE* i : first_stage_insts) t.set_instance_mux(i, true);
        for (NLG_INSTANCE* i : later_stage_insts) t.set_instance_mux(i, false);
        t.rec(lb).set_level(PB::ICDB_MODULE::TOP_LEVEL_IP);
        t.rec(lb->port(0)).set_re_name(PB::MUX_DESCRIPTION::H);
        t.rec(lb->port(1)).set_is_primary_port(true);
        t.rec(lb->port(2)).set_re_name(PB::MUX_DESCRIPTION::V);
        t.rec(lb->port(3)).set_is_primary_port(true);
        t.rec(lb->port(3)).set_merge_type(PB::ICDB_APORT::MERGE);
        t.rec(lb->port(4)).set_is_primary_port(true);
        t.rec(mids[1]).set_level(PB::ICDB_MODULE::TOP_LEVEL_IP);
        for (NLG_MODULE* m : mids) mark_block_ports(m);
        for (NLG_MODULE* m : sects) {
            t.rec(m).set_level(PB::ICDB_MODULE::SECTOR);
            mark_block_ports(m);
        }
    }

    // Every port of every occurrence, with the stack that leads to it.
    void for_each_start(NLG_MODULE* m, STACK& stack,
                        const std::function<void(const STACK&, NLG_PORT*)>& f) {
        for (uint32_t i = 0; i < m->get_num_ports(); ++i) f(stack, m->port(int32_t(i)));
        for (uint32_t i = 0; i < m->get_num_instances(); ++i) {
            NLG_INSTANCE* inst = m->instance(int32_t(i));
            stack.push_back(inst);
            for_each_start(inst->get_definition(), stack, f);
            stack.pop_back();
        }
    }
    // Modules that carry fan lists of their own ports.
    bool has_lists(NLG_IMODULE* m) { return !m->is_primitive() && !t.rec(m).has_mux_desc(); }
};

using KEY = std::tuple<STACK, NLG_IPORT*, bool, bool>;

std::vector<KEY> keys(const std::vector<TSL_TRACED_PORT>& results, bool marks) {
    std::vector<KEY> out;
    for (const TSL_TRACED_PORT& r : results)
        out.emplace_back(r.m_instances, r.m_port, marks && r.m_inverted, marks && r.m_through_path);
    std::sort(out.begin(), out.end());
    return out;
}

std::string show(const STACK& stack, NLG_IPORT* port) {
    std::string out;
    for (NLG_IINSTANCE* i : stack) out += "/" + i->get_name().get_name();
    return out + ":" + port->get_name().get_name();
}

std::string show(const std::vector<KEY>& ks) {
    std::string out;
    for (const KEY& k : ks) out += show(std::get<0>(k), std::get<1>(k)) + " ";
    return out;
}

using OP = void (TSL_RTL_ITRACE::*)(NLG_IPORT*);
const OP UP_IN = &TSL_RTL_ITRACE::trace_up_input;
const OP UP_OUT = &TSL_RTL_ITRACE::trace_up_output;
const OP DOWN_IN = &TSL_RTL_ITRACE::trace_down_input;
const OP DOWN_OUT = &TSL_RTL_ITRACE::trace_down_output;

struct COUNTS {
    size_t starts = 0;
    size_t results = 0;
};

// Runs both walks from every start in the given directions and compares what the lists say.
template <class LIST, class NET, class RESULTS>
void compare(RANDOM_DESIGN& d, LIST& list, NET& net, std::vector<OP> ops, bool marks,
             RESULTS results, COUNTS& counts, const char* label) {
    STACK stack;
    d.for_each_start(d.top, stack, [&](const STACK& at, NLG_PORT* port) {
        for (OP op : ops) {
            bool down = op == DOWN_IN || op == DOWN_OUT;
            if (down && !d.has_lists(port->get_parent())) continue;
            if (!down && at.empty()) continue;
            for (auto* tracer :
                 {static_cast<TSL_RTL_TRACER*>(&list), static_cast<TSL_RTL_TRACER*>(&net)}) {
                tracer->clear();
                tracer->set_instances(at);
                (tracer->*op)(port);
                EXPECT_EQ(tracer->get_instances(), at);
            }
            for (size_t k = 0; k < results(list).size(); ++k) {
                std::vector<KEY> a = keys(*results(list)[k], marks);
                std::vector<KEY> b = keys(*results(net)[k], marks);
                EXPECT_EQ(show(a), show(b)) << label << " from " << show(at, port);
                counts.results += a.size();
            }
            ++counts.starts;
        }
    });
}

template <class T>
std::vector<std::vector<TSL_TRACED_PORT>*> main_results(T& tracer) {
    return {&tracer.get_results()};
}

// With `flags`, the list walk reads its stop rule's records through the table of port flags,
// kept across every start, while the net walk reads the records themselves; with `kept`, the
// walks from port references are kept too and replayed at every later start.
template <class V, class... A>
void compare_variant(RANDOM_DESIGN& d, COUNTS& counts, const char* label, bool marks, bool flags,
                     bool kept, A... args) {
    V list(&d.t.annotations(), args...);
    if (flags) list.keep_port_flags();
    if (kept) list.keep_walks();
    NET_WALK<V> net(&d.t.annotations(), args...);
    const std::string name = std::string(label) + (kept    ? ", kept walks"
                                                   : flags ? ", port flags"
                                                           : "");
    compare(
        d, list, net, {UP_IN, UP_OUT, DOWN_IN, DOWN_OUT}, marks,
        [](TSL_RTL_TRACER& t) { return main_results(t); }, counts, name.c_str());
}

}  // namespace

TEST(TraceEquivalence, ListWalksMatchTheNetWalk) {
    size_t compressed = 0;
    for (unsigned seed = 1; seed <= 16; ++seed) {
        RANDOM_DESIGN d(seed);
        d.t.graph().populate_fanin_fanout(&d.t.annotations());
        // Outputs of the top are driven from blocks (fan-in of pins) or through a feed-through
        // block, which compression turns into fan-in from a port of the top.
        for (uint32_t i = 0; i < d.top->get_num_ports(); ++i)
            if (d.top->port(int32_t(i))->get_fanin_ports()) ++compressed;
        COUNTS counts;
        // The blc rule's warnings go to the standard output; keep them out of the test log.
        std::ostringstream warnings;
        std::streambuf* cout_buffer = std::cout.rdbuf(warnings.rdbuf());
        for (int mode : {0, 1, 2}) {
            const bool flags = mode > 0, kept = mode == 2;
            compare_variant<TSL_RTL_TRACER_SIMPLE>(d, counts, "simple", true, flags, kept);
            compare_variant<TSL_RTL_TRACER_SIMPLE_MUX>(d, counts, "simple mux", true, flags, kept);
        }
        compare_variant<TSL_RTL_TRACER_FOR_FCL>(d, counts, "fcl", true, false, false, false);
        compare_variant<TSL_RTL_TRACER_FOR_FCL>(d, counts, "fcl top", true, false, false, true);
        // The lists carry no marks: the walk's marks stay false, the net walk's need not.
        compare_variant<TSL_TRACER_FOR_BLC>(d, counts, "blc", false, false, false);
        std::vector<NLG_MODULE*> blocks = {d.top, d.lb};
        blocks.insert(blocks.end(), d.mids.begin(), d.mids.end());
        blocks.insert(blocks.end(), d.sects.begin(), d.sects.end());
        for (NLG_MODULE* m : blocks)
            compare_variant<TSL_RTL_TRACER_FOR_OPTIMIZE_FANIN>(d, counts, "optimize", true, false,
                                                               false, static_cast<NLG_IMODULE*>(m));
        {
            TSL_RTL_TRACER_FOR_BLC_NODE_GENERATOR list(&d.t.annotations());
            NET_WALK_BLC_NODE net(&d.t.annotations());
            compare(
                d, list, net, {UP_IN, DOWN_OUT}, true,
                [](TSL_RTL_TRACER& t) { return main_results(t); }, counts, "blc node");
        }
        {
            TSL_RTL_TRACER_FOR_CRF_NODE_GENERATOR list(&d.t.annotations());
            NET_WALK<TSL_RTL_TRACER_FOR_CRF_NODE_GENERATOR> net(&d.t.annotations());
            compare(
                d, list, net, {UP_OUT, DOWN_IN}, true,
                [](TSL_RTL_TRACER& t) {
                    auto& crf = static_cast<TSL_RTL_TRACER_FOR_CRF_NODE_GENERATOR&>(t);
                    return std::vector<std::vector<TSL_TRACED_PORT>*>{
                        &crf.get_traced_res(), &crf.get_traced_primary_ports()};
                },
                counts, "crf node");
        }
        // The list walk of the blc rule never sets a mark.
        TSL_TRACER_FOR_BLC blc(&d.t.annotations());
        STACK stack;
        d.for_each_start(d.top, stack, [&](const STACK& at, NLG_PORT* port) {
            if (at.empty()) return;
            blc.clear();
            blc.set_instances(at);
            blc.trace_up_input(port);
            for (const TSL_TRACED_PORT& r : blc.get_results())
                EXPECT_FALSE(r.m_inverted || r.m_through_path);
        });
        std::cout.rdbuf(cout_buffer);
        EXPECT_GT(counts.starts, 1000u) << "seed " << seed;
        EXPECT_GT(counts.results, 200u) << "seed " << seed;
    }
    EXPECT_GE(compressed, 8u);
}
