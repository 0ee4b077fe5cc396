// Tracers on a hand-checked netlist: the net walk with its marks, first-stage muxes and
// primitives, each variant's stop rule, the list walk's buffers, and the fatal texts of bad
// input. What the fan lists hold is swept by the list-walk equivalence on random netlists.
#include <gtest/gtest.h>

#include <algorithm>

#include "print_form.h"
#include "nlg/nlg_graph_trace.h"
#include "nlg_builders.h"

using NLG_TEST::PRIMITIVES;
using NLG_TEST::TRACE_GRAPH;

namespace {

// top: T_in -> mid0.ti, mid0.to -> T_out; T_in2 -> ft0 (feed-through: a -> BUF -> y) -> T_out2.
// mid (ti RE LL, to RE WM):
//   ti -> u_inv -> u_buf -> n2;  ti -> u_inv2 -> u_inv3 -> b6.i
//   n2 loads, in this order: o0 (primitive of type 9), m0.i2 (template mux, no path),
//     b0.i, t0.en (tri-state) -> b2.i, m0.i1 -> m0.y -> b1.i,
//     p0.i0 (per-instance first-stage mux, leaf) -> p0.y -> b3.i,
//     p1.i0 (per-instance mux, not first stage, output RE) -> p1.y -> b4.i
//   b5.o -> to
// lb: leaf block, o out RE H, i in RE V.
struct MID_GRAPH {
    TRACE_GRAPH t;
    NLG_MODULE *top, *mid, *lb, *tmux, *pmux, *lmux, *ft;
    NLG_INSTANCE *mid0, *ft0, *b0, *b1, *b2, *b3, *b4, *b5, *b6;
    NLG_PORT *ti, *to, *lb_i, *lb_o, *t_in, *ft_a;

    MID_GRAPH() {
        top = t.cell("top", "T_in >T_out T_in2 >T_out2");
        PRIMITIVES prim(t);
        mid = t.cell("mid", "ti >to");
        lb = t.cell("lb", ">o i");
        tmux = t.cell("tmux", ">y i0 i1 i2");
        pmux = t.cell("pmux", ">y i0");
        lmux = t.cell("lmux", ">y i0");
        ft = t.cell("ft", "a >y");
        t.instances(ft, "fb0:BUF");
        t.wire(ft, "na: a fb0.a; ny: y fb0.y");
        t.instances(top, "mid0:mid ft0:ft");
        t.wire(top,
               "nt_in: T_in mid0.ti; nt_out: T_out mid0.to; nt_in2: T_in2 ft0.a;"
               "nt_out2: T_out2 ft0.y");
        t.instances(mid,
                    "u_inv:INV u_buf:BUF o0:ODD t0:TRI m0:tmux p0:pmux p1:lmux u_inv2:INV "
                    "u_inv3:INV b0:lb b1:lb b2:lb b3:lb b4:lb b5:lb b6:lb");
        t.wire(mid,
               "n_ti: ti u_inv.a u_inv2.a; n1: u_inv.y u_buf.a;"
               "n2: u_buf.y o0.a m0.i2 b0.i t0.en m0.i1 p0.i0 p1.i0; n3: t0.y b2.i; n4: m0.y b1.i;"
               "n6: p0.y b3.i; n7: p1.y b4.i; n8: u_inv2.y u_inv3.a; n9: u_inv3.y b6.i; n_to: to "
               "b5.o");
        mid0 = t.inst(top, "mid0");
        ft0 = t.inst(top, "ft0");
        NLG_INSTANCE** blocks[] = {&b0, &b1, &b2, &b3, &b4, &b5, &b6};
        for (int i = 0; i < 7; ++i) *blocks[i] = t.inst(mid, "b" + std::to_string(i));
        ti = mid->port(0), to = mid->port(1), lb_o = lb->port(0), lb_i = lb->port(1);
        t_in = top->port(0), ft_a = ft->port(0);

        t.rec(lb_o).set_re_name(PB::MUX_DESCRIPTION::H);
        t.rec(lb_i).set_re_name(PB::MUX_DESCRIPTION::V);
        t.rec(ti).set_re_name(PB::MUX_DESCRIPTION::LL);
        t.rec(to).set_re_name(PB::MUX_DESCRIPTION::WM);
        t.rec(lmux->get_port(0)).set_re_name(PB::MUX_DESCRIPTION::CLOCK_SPINE);
        t.set_mux(tmux, true, true, {{1, 0}, {2, 0}});
        t.set_mux(pmux, false, false, {{1, 0}});
        t.set_mux(lmux, false, false, {{1, 0}});
        t.set_instance_mux(t.inst(mid, "p0"), true);
        t.set_instance_mux(t.inst(mid, "p1"), false);
    }
    NLG_ANNSS* annss() { return &t.annotations(); }
};

using STACK = std::vector<NLG_IINSTANCE*>;

// The results as text: "/inst/inst:port" and the marks.
std::string show(const std::vector<TSL_TRACED_PORT>& results) {
    std::string out;
    for (const TSL_TRACED_PORT& r : results) {
        for (NLG_IINSTANCE* i : r.m_instances) out += "/" + i->get_name().get_name();
        out += ":" + r.m_port->get_name().get_name();
        if (r.m_inverted) out += " inv";
        if (r.m_through_path) out += " path";
        out += "; ";
    }
    return out;
}

template <class TRACER>
std::string run(TRACER& tracer, STACK stack, void (TSL_RTL_ITRACE::*op)(NLG_IPORT*),
                NLG_IPORT* port) {
    tracer.clear();
    tracer.set_instances(stack);
    (tracer.*op)(port);
    return show(tracer.get_results());
}

}  // namespace

TEST(Trace, NetWalkMarksMuxesAndPrimitives) {
    MID_GRAPH g;
    TSL_RTL_TRACER tracer(g.annss());
    // Forward: marks follow the walk, not the branch; the mux input without a path, the other
    // primitive and the per-instance muxes end their branches quietly.
    EXPECT_EQ(run(tracer, {g.mid0}, &TSL_RTL_ITRACE::trace_down_input, g.ti),
              "/mid0/b0:i inv; /mid0/b2:i inv; /mid0/b1:i inv path; /mid0/b6:i inv path; ");
    // Backward through the template mux, buffer and inverter.
    EXPECT_EQ(run(tracer, {g.mid0, g.b1}, &TSL_RTL_ITRACE::trace_up_input, g.lb_i),
              "/mid0:ti inv path; ");
    // Backward through a per-instance first-stage mux.
    EXPECT_EQ(run(tracer, {g.mid0, g.b3}, &TSL_RTL_ITRACE::trace_up_input, g.lb_i),
              "/mid0:ti inv path; ");
    // A mux instance that is not first-stage ends the branch, though its output is an RE.
    EXPECT_EQ(run(tracer, {g.mid0, g.b4}, &TSL_RTL_ITRACE::trace_up_input, g.lb_i), "");
    // Two inverters in series cancel.
    EXPECT_EQ(run(tracer, {g.mid0, g.b6}, &TSL_RTL_ITRACE::trace_up_input, g.lb_i), "/mid0:ti; ");
    EXPECT_EQ(run(tracer, {g.mid0}, &TSL_RTL_ITRACE::trace_down_output, g.to), "/mid0/b5:o; ");
    EXPECT_EQ(run(tracer, {}, &TSL_RTL_ITRACE::trace_down_input, g.t_in), "/mid0:ti; ");
    // Climbing out of the start stack ends without a record; so does an empty start stack.
    EXPECT_EQ(run(tracer, {g.mid0}, &TSL_RTL_ITRACE::trace_up_output, g.to), "");
    EXPECT_EQ(run(tracer, {}, &TSL_RTL_ITRACE::trace_up_input, g.lb_i), "");
    // Wrong direction: nothing.
    EXPECT_EQ(run(tracer, {g.mid0, g.b5}, &TSL_RTL_ITRACE::trace_up_input, g.lb_o), "");
    // The stack is exact after a walk; each start above clears the marks of the one before.
    tracer.set_instances({g.mid0});
    tracer.trace_down_input(g.ti);
    EXPECT_EQ(tracer.get_instances(), STACK({g.mid0}));
}

TEST(Trace, ListWalkReusesItsBuffers) {
    MID_GRAPH g;
    NLG_GRAPH& graph = g.t.graph();
    graph.populate_fanin_fanout(g.annss());
    EXPECT_TRUE(graph.get_fanin_fanout_done());
    // A second call adds nothing.
    graph.populate_fanin_fanout(g.annss());

    // What the lists hold is swept against the net walk on random netlists; here the list walk
    // itself: no marks, and the per-instance first-stage mux is passed forward.
    TSL_RTL_TRACER_SIMPLE simple(g.annss());
    EXPECT_EQ(run(simple, {g.mid0}, &TSL_RTL_ITRACE::trace_down_input, g.ti),
              "/mid0/b0:i; /mid0/b2:i; /mid0/b1:i; /mid0/b3:i; /mid0/b6:i; ");
    // Results keep their buffers across starts: the same walk again reuses every vector.
    simple.clear();
    simple.set_instances({g.mid0});
    simple.trace_down_input(g.ti);
    std::vector<const void*> buffers;
    for (const TSL_TRACED_PORT& r : simple.get_results()) buffers.push_back(r.m_instances.data());
    const void* results_buffer = simple.get_results().data();
    const void* stack_buffer = simple.get_instances().data();
    simple.clear();
    simple.set_instances({g.mid0});
    simple.trace_down_input(g.ti);
    std::vector<const void*> again;
    for (const TSL_TRACED_PORT& r : simple.get_results()) again.push_back(r.m_instances.data());
    std::sort(buffers.begin(), buffers.end());
    std::sort(again.begin(), again.end());
    EXPECT_EQ(buffers, again);
    EXPECT_EQ(simple.get_results().data(), results_buffer);
    EXPECT_EQ(simple.get_instances().data(), stack_buffer);
}

TEST(Trace, StopRulesOfVariants) {
    MID_GRAPH g;
    NLG_MODULE* lb = g.lb;
    g.t.rec(g.mid).set_level(PB::ICDB_MODULE::SECTOR);
    g.t.rec(lb).set_level(PB::ICDB_MODULE::TOP_LEVEL_IP);
    g.t.graph().populate_fanin_fanout(g.annss());

    // Ends at the ports of one module only.
    TSL_RTL_TRACER_FOR_OPTIMIZE_FANIN optimize(g.annss(), g.mid);
    EXPECT_EQ(run(optimize, {g.mid0, g.b1}, &TSL_RTL_ITRACE::trace_up_input, g.lb_i), "/mid0:ti; ");

    // Primary ports and merge types.
    g.t.rec(g.lb_i).clear_re_name();
    g.t.rec(g.lb_i).set_is_primary_port(true);
    TSL_RTL_TRACER_SIMPLE_MUX simple_mux(g.annss());
    EXPECT_EQ(run(simple_mux, {g.mid0}, &TSL_RTL_ITRACE::trace_down_input, g.ti),
              "/mid0/b0:i; /mid0/b2:i; /mid0/b1:i; /mid0/b3:i; /mid0/b6:i; ");
    g.t.rec(g.lb_i).set_merge_type(PB::ICDB_APORT::MERGE);
    EXPECT_EQ(run(simple_mux, {g.mid0}, &TSL_RTL_ITRACE::trace_down_input, g.ti), "");
    g.t.rec(g.lb_i).set_re_name(PB::MUX_DESCRIPTION::V);
    EXPECT_EQ(run(simple_mux, {g.mid0, g.b1}, &TSL_RTL_ITRACE::trace_up_input, g.lb_i),
              "/mid0:ti; ");

    // Node generators: REs and primary ports into two lists; the backward one ends silently at
    // REs and climbs without asking.
    TSL_RTL_TRACER_FOR_CRF_NODE_GENERATOR crf(g.annss());
    crf.clear();
    crf.set_instances({g.mid0});
    crf.trace_down_input(g.ti);
    EXPECT_TRUE(crf.get_results().empty());
    EXPECT_EQ(show(crf.get_traced_res()),
              "/mid0/b0:i; /mid0/b2:i; /mid0/b1:i; /mid0/b3:i; /mid0/b6:i; ");
    EXPECT_TRUE(crf.get_traced_primary_ports().empty());
    crf.clear();
    EXPECT_TRUE(crf.get_traced_res().empty());

    TSL_RTL_TRACER_FOR_BLC_NODE_GENERATOR blc_node(g.annss());
    g.t.rec(g.t_in).set_is_primary_port(true);
    // ti is an RE but is climbed through unasked; the top port is primary.
    EXPECT_EQ(run(blc_node, {g.mid0, g.b1}, &TSL_RTL_ITRACE::trace_up_input, g.lb_i), "");
    g.t.rec(g.b5->get_definition()->port(0)).clear_re_name();
    g.t.rec(g.b5->get_definition()->port(0)).set_is_primary_port(true);
    EXPECT_EQ(run(blc_node, {g.mid0}, &TSL_RTL_ITRACE::trace_down_output, g.to), "/mid0/b5:o; ");
}

TEST(Trace, BlcRuleWarnsAndMapsMuxInputs) {
    MID_GRAPH g;
    g.t.rec(g.lb).set_level(PB::ICDB_MODULE::TOP_LEVEL_IP);
    g.t.rec(g.lb_i).clear_re_name();
    g.t.rec(g.lmux).set_level(PB::ICDB_MODULE::PRIM_MUX);
    g.t.graph().populate_fanin_fanout(g.annss());
    TSL_TRACER_FOR_BLC blc(g.annss());
    EXPECT_EQ(stdout_of([&] {
                  EXPECT_EQ(run(blc, {g.mid0, g.b0}, &TSL_RTL_ITRACE::trace_up_input, g.lb_i),
                            "/mid0:ti; ");
              }),
              "");
    // Forward: top-level ports without RE warn and end; the input of a PRIM_MUX stands for its
    // output, port 0.
    const std::string out = stdout_of([&] {
        EXPECT_EQ(run(blc, {g.mid0}, &TSL_RTL_ITRACE::trace_down_input, g.ti), "/mid0/p1:y; ");
    });
    EXPECT_EQ(out.substr(0, out.find('\n') + 1),
              "Warning: top-level port i on module lb does not have an RE associated with it!\n");
    EXPECT_NE(out.find("\n/mid0/b0\n"), std::string::npos);

    // Port 0 of a PRIM_MUX must be its output: the feed-through's port 0 is its input.
    g.t.rec(g.ft).set_level(PB::ICDB_MODULE::PRIM_MUX);
    EXPECT_FATAL(
        {
            blc.set_instances({g.ft0});
            blc.stop_at_port(g.ft_a);
        },
        "this_module->get_port(0)->is_output()");
}

TEST(Trace, Trace2ForwardsToTheVisitor) {
    MID_GRAPH g;
    struct VISITOR : RTL::ITRACE2::IVISITOR {
        std::vector<std::string> seen;
        bool visit_port(NLG_IPORT* port) override {
            seen.push_back(port->get_name().get_name());
            return port->get_name().get_name() == "i";
        }
    } visitor;
    std::unique_ptr<RTL::ITRACE2> trace(RTL::create_trace2(g.annss()));
    trace->set_visitor(&visitor);
    trace->clear();
    trace->set_instances({g.mid0, g.b1});
    trace->trace(RTL::ITRACE2::UP, RTL::ITRACE2::INPUT, g.lb_i);
    // The visitor decides, with no stack test: ti and the top port are visited too.
    EXPECT_EQ(visitor.seen, (std::vector<std::string>{"y", "y", "y", "ti", "T_in"}));
    EXPECT_EQ(trace->get_instances(), STACK({g.mid0, g.b1}));
    EXPECT_FATAL(trace->trace(2, 0, g.lb_i), "false");
    EXPECT_FATAL(trace->trace(0, 2, g.lb_i), "false");
}

TEST(Trace, BadInput) {
    MID_GRAPH g;
    // A pin without a net, reached by climbing from inside its instance.
    NLG_INSTANCE* loose = g.t.instance(g.mid, "loose", g.lb);
    g.t.pin(loose, "i", nullptr);
    g.t.pin(loose, "o", nullptr);
    TSL_RTL_TRACER tracer(g.annss());
    EXPECT_FATAL(run(tracer, {g.mid0, loose}, &TSL_RTL_ITRACE::trace_up_input, g.lb_i), "net_in");
    EXPECT_FATAL(run(tracer, {g.mid0, loose}, &TSL_RTL_ITRACE::trace_up_output, g.lb_o), "net_out");
    // A net walk started at a pin with an empty stack pops nothing.
    EXPECT_FATAL(
        {
            tracer.set_instances({});
            tracer.trace_net_fanin(g.b1->portref_of_port(1));
        },
        "!m_instances.empty()");
    // The fan-list walk needs its instance.
    TSL_RTL_TRACER_FOR_POPULATE_FANIN_FANOUT populate(g.annss());
    EXPECT_FATAL(run(populate, {}, &TSL_RTL_ITRACE::trace_up_input, g.lb_i),
                 "!m_instances.empty()");
    // Stubs of the list walks.
    TSL_RTL_TRACER_SIMPLE simple(g.annss());
    NLG_PORT_REF* ref = g.b1->portref_of_port(1);
    EXPECT_FATAL(simple.trace_net_fanin(ref), "Should not get here");
    EXPECT_FATAL(simple.trace_net_fanout(ref), "Should not get here");
    EXPECT_FATAL(simple.trace_ref_fanin(ref), "Should not get here");
    EXPECT_FATAL(populate.trace_ref_fanin(ref), "Should not get here");
    TSL_RTL_TRACER_FOR_BLC_NODE_GENERATOR blc_node(g.annss());
    EXPECT_FATAL(blc_node.trace_up_output(g.lb_o), "Should not get here");
    EXPECT_FATAL(blc_node.trace_down_input(g.ti), "Should not get here");
    TSL_RTL_TRACER_FOR_CRF_NODE_GENERATOR crf(g.annss());
    EXPECT_FATAL(crf.trace_up_input(g.lb_i), "Should not get here");
    EXPECT_FATAL(crf.trace_down_output(g.to), "Should not get here");
    EXPECT_FATAL(crf.trace_net_fanout(ref), "Should not get here");

    // Ends of the fan-list pass that cannot come from a sound netlist.
    TSL_TRACED_PORT deep;
    deep.m_instances = {g.mid0, g.b1};
    deep.m_port = g.lb_i;
    stdout_of([&] {
        EXPECT_FATAL(g.mid->add_fan_ports(*g.ti, false, {deep}), "t_re.m_instances.size() == 1");
    });
    TSL_TRACED_PORT foreign;
    foreign.m_port = g.lb_i;
    EXPECT_FATAL(g.mid->add_fan_ports(*g.ti, false, {foreign}),
                 "get_port(this_port_index) == t_re.m_port");
    // A compression walk that ends below the module.
    struct BELOW : TSL_RTL_TRACER_SIMPLE {
        NLG_INSTANCE* inst;
        NLG_IPORT* port;
        BELOW(NLG_IANNSS* a, NLG_INSTANCE* i, NLG_IPORT* p)
            : TSL_RTL_TRACER_SIMPLE(a), inst(i), port(p) {}
        void trace_down_output(NLG_IPORT*) override {
            push(inst);
            record(port, false, false);
            pop();
        }
    } below(g.annss(), g.b5, g.lb_o);
    g.to->add_fanin_ref(g.b5->portref_of_port(0));
    EXPECT_FATAL(g.mid->optimize_fanin(below), "Should not reach here!");
}

TEST(Trace, UnknownPrimitiveEndsQuietly) {
    MID_GRAPH g;
    TSL_RTL_TRACER tracer(g.annss());
    NLG_MODULE* odd = static_cast<NLG_MODULE*>(g.t.graph().get_module(g.t.sym("ODD")));
    tracer.set_instances({g.mid0});
    tracer.trace_primitive_fanout(odd->port(0));
    tracer.trace_primitive_fanin(odd->port(1));
    EXPECT_TRUE(tracer.get_results().empty());
    EXPECT_EQ(tracer.get_instances(), STACK({g.mid0}));
}
