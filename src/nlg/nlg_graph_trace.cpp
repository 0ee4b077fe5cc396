// The tracers' walks.
//  1. A directional operation (up/down, input/output) checks the port's direction, then moves
//     one hierarchy level: up through the top instance's reference and the parent's net, down
//     through the port's net inside its module.
//  2. On each neighbour the stop rule (stop_at_port) is asked; when it says go on, the walk
//     continues from there. Primitives and first-stage muxes are stepped through in place.
//  3. The instance stack is popped before working in the parent and pushed back afterwards, so
//     that it is exact on return. The list walk does the same over the fan lists.
#include "nlg/nlg_graph_trace.h"

#include <algorithm>
#include <iostream>

#include "nlg/nlg_instance.h"
#include "nlg/nlg_port_ref.h"
#include "util/util_hash64.h"
#include "util/util_assert.h"

namespace {

enum PRIMITIVE : uint32_t { INVERTER = 5, TRISTATE = 6, BUFFER = 7 };

}  // namespace

TSL_RTL_TRACER::TSL_RTL_TRACER(NLG_IANNSS* annss)
    : m_through_path(false), m_anns(&annss->get_icdb()), m_inverted(false) {
    m_res.reserve(32);
    m_instances.reserve(20);
    m_spare.reserve(32);
}

TSL_RTL_TRACER::~TSL_RTL_TRACER() = default;

void TSL_RTL_TRACER::set_instances(std::vector<NLG_IINSTANCE*> instances) {
    // Copy into the stack so that it keeps its own capacity.
    m_instances.assign(instances.begin(), instances.end());
}

void TSL_RTL_TRACER::clear() {
    recycle(m_res);
    m_inverted = false;
    m_through_path = false;
}

void TSL_RTL_TRACER::set_verbose(bool verbose) {
    if (!m_trace_log) m_trace_log.reset(new TSL_TRACE_LOG(std::cout));
    m_trace_log->m_enabled = verbose;
}

void TSL_RTL_TRACER::set_trace_log(std::ostream& os) {
    m_trace_log.reset(new TSL_TRACE_LOG(os));
    m_trace_log->m_enabled = true;
}

void TSL_RTL_TRACER::pop() {
    UTIL_ASSERT(!m_instances.empty());
    m_instances.pop_back();
}

NLG_IPORT_REF* TSL_RTL_TRACER::top_ref(NLG_IPORT* port) const {
    return m_instances.empty() ? nullptr : m_instances.back()->get_portref(port);
}

TSL_TRACED_PORT& TSL_RTL_TRACER::add_result(std::vector<TSL_TRACED_PORT>& list) {
    if (m_spare.empty()) {
        list.emplace_back();
    } else {
        list.push_back(std::move(m_spare.back()));
        m_spare.pop_back();
    }
    return list.back();
}

void TSL_RTL_TRACER::record(std::vector<TSL_TRACED_PORT>& list, NLG_IPORT* port, bool inverted,
                            bool through_path) {
    TSL_TRACED_PORT& traced = add_result(list);
    traced.m_instances.assign(m_instances.begin(), m_instances.end());
    traced.m_port = port;
    traced.m_inverted = inverted;
    traced.m_through_path = through_path;
}

void TSL_RTL_TRACER::recycle(std::vector<TSL_TRACED_PORT>& list) {
    for (TSL_TRACED_PORT& traced : list) m_spare.push_back(std::move(traced));
    list.clear();
}

const PB::ICDB_APORT& TSL_RTL_TRACER::port_record(NLG_IPORT* port) const {
    return m_anns->get_port(*port);
}

const PB::ICDB_MODULE& TSL_RTL_TRACER::module_record(NLG_IMODULE* module) const {
    return m_anns->get_module(*module);
}

bool TSL_RTL_TRACER::is_re(NLG_IPORT* port) const {
    if (m_keep_port_flags) return (port_flags(port) & PORT_RE) != 0;
    return port_record(port).has_re_name();
}

uint8_t TSL_RTL_TRACER::port_flags(NLG_IPORT* port) const {
    const size_t serial = port->get_id().get_serial();
    if (serial >= m_port_flags.size())
        m_port_flags.resize(std::max(serial + 1, 2 * m_port_flags.size()), 0);
    uint8_t& flags = m_port_flags[serial];
    if (flags == 0) {
        const PB::ICDB_APORT& record = port_record(port);
        flags = PORT_KNOWN;
        if (record.has_re_name()) flags |= PORT_RE;
        if (record.is_primary_port()) flags |= PORT_PRIMARY;
        if (record.merge_type() == PB::ICDB_APORT::MERGE) flags |= PORT_MERGE;
    }
    return flags;
}

// Net walk.

void TSL_RTL_TRACER::trace_up_input(NLG_IPORT* port) {
    if (logging()) log_step("trace_up_input: ", port);
    if (port->is_output()) {
        if (logging()) log_line("<-- hit output");
        return;
    }
    NLG_IPORT_REF* ref = top_ref(port);
    if (ref) trace_net_fanin(ref);
}

void TSL_RTL_TRACER::trace_up_output(NLG_IPORT* port) {
    if (logging()) log_step("trace_up_output: ", port);
    if (port->is_input()) {
        if (logging()) log_line("<-- hit input");
        return;
    }
    NLG_IPORT_REF* ref = top_ref(port);
    if (ref) trace_net_fanout(ref);
}

void TSL_RTL_TRACER::trace_net_fanin(NLG_IPORT_REF* ref) {
    NLG_INET* net_in = ref->get_net();
    UTIL_ASSERT(net_in);
    NLG_IINSTANCE* inst = ref->get_instance();
    for (uint32_t i = 0, n = net_in->get_num_ports(); i < n; ++i) {
        NLG_IPORT* p = net_in->get_port(static_cast<int32_t>(i));
        if (p->is_output()) continue;
        pop();
        if (!stop_at_port(p)) trace_up_input(p);
        push(inst);
    }
    for (uint32_t i = 0, n = net_in->get_num_portrefs(); i < n; ++i) {
        NLG_IPORT_REF* q = net_in->get_portref(static_cast<int32_t>(i));
        if (q->is_input() || q == ref) continue;
        pop();
        push(q->get_instance());
        trace_ref_fanin(q);
        pop();
        push(inst);
    }
}

void TSL_RTL_TRACER::trace_net_fanout(NLG_IPORT_REF* ref) {
    NLG_INET* net_out = ref->get_net();
    UTIL_ASSERT(net_out);
    NLG_IINSTANCE* inst = ref->get_instance();
    for (uint32_t i = 0, n = net_out->get_num_ports(); i < n; ++i) {
        NLG_IPORT* p = net_out->get_port(static_cast<int32_t>(i));
        if (p->is_input()) continue;
        pop();
        if (!stop_at_port(p)) trace_up_output(p);
        push(inst);
    }
    for (uint32_t i = 0, n = net_out->get_num_portrefs(); i < n; ++i) {
        NLG_IPORT_REF* q = net_out->get_portref(static_cast<int32_t>(i));
        if (q->is_output() || q == ref) continue;
        pop();
        push(q->get_instance());
        NLG_IPORT* qp = q->get_port();
        if (!stop_at_port(qp)) trace_down_input(qp);
        pop();
        push(inst);
    }
}

// Towards drivers an instance may carry its own mux description; a mux that is not first-stage
// is a driver in its own right and ends the branch unrecorded.
void TSL_RTL_TRACER::trace_ref_fanin(NLG_IPORT_REF* ref) {
    NLG_IINSTANCE* inst = ref->get_instance();
    const PB::ICDB_INSTANCE& record = m_anns->get_instance(*inst);
    if (record.has_mux_desc()) {
        if (record.mux_desc().is_first_stage())
            trace_mux_fanin(ref->get_port(), module_record(inst->get_module()));
        return;
    }
    NLG_IPORT* port = ref->get_port();
    if (!stop_at_port(port)) trace_down_output(port);
}

static bool is_first_stage_template(const PB::ICDB_MODULE& record) {
    return record.has_mux_desc() && record.mux_desc().is_template() &&
           record.mux_desc().is_first_stage();
}

void TSL_RTL_TRACER::trace_down_input(NLG_IPORT* port) {
    if (logging()) log_step("trace_down_input: ", port);
    if (port->is_output()) {
        if (logging()) log_line("<-- hit output");
        return;
    }
    NLG_IMODULE* module = port->get_parent();
    if (module->is_primitive()) {
        trace_primitive_fanout(port);
        return;
    }
    const PB::ICDB_MODULE& record = module_record(module);
    if (is_first_stage_template(record)) {
        trace_mux_fanout(port, record);
        return;
    }
    NLG_INET* net = port->get_net();
    if (!net) return;
    for (uint32_t i = 0, n = net->get_num_ports(); i < n; ++i) {
        NLG_IPORT* p = net->get_port(static_cast<int32_t>(i));
        if (p->is_input() || p == port || stop_at_port(p)) continue;
        trace_up_output(p);
    }
    for (uint32_t i = 0, n = net->get_num_portrefs(); i < n; ++i) {
        NLG_IPORT_REF* q = net->get_portref(static_cast<int32_t>(i));
        if (q->is_output()) continue;
        push(q->get_instance());
        NLG_IPORT* qp = q->get_port();
        if (!stop_at_port(qp)) trace_down_input(qp);
        pop();
    }
}

void TSL_RTL_TRACER::trace_down_output(NLG_IPORT* port) {
    if (logging()) log_step("trace_down_output: ", port);
    if (port->is_input()) {
        if (logging()) log_line("<-- hit input");
        return;
    }
    NLG_IMODULE* module = port->get_parent();
    if (module->is_primitive()) {
        trace_primitive_fanin(port);
        return;
    }
    const PB::ICDB_MODULE& record = module_record(module);
    if (is_first_stage_template(record)) {
        trace_mux_fanin(port, record);
        return;
    }
    NLG_INET* net = port->get_net();
    if (!net) return;
    for (uint32_t i = 0, n = net->get_num_ports(); i < n; ++i) {
        NLG_IPORT* p = net->get_port(static_cast<int32_t>(i));
        if (p->is_output() || p == port || stop_at_port(p)) continue;
        trace_up_input(p);
    }
    for (uint32_t i = 0, n = net->get_num_portrefs(); i < n; ++i) {
        NLG_IPORT_REF* q = net->get_portref(static_cast<int32_t>(i));
        if (q->is_input()) continue;
        push(q->get_instance());
        trace_ref_fanin(q);
        pop();
    }
}

// Whatever input the trace came by (data or enable), it leaves by the output.
void TSL_RTL_TRACER::trace_primitive_fanout(NLG_IPORT* port) {
    NLG_IMODULE* module = port->get_parent();
    switch (module->get_primitive_type()) {
        case INVERTER:
            if (logging()) log_primitive("trace inv output ", module->get_port(1));
            m_inverted = !m_inverted;
            trace_up_output(module->get_port(1));
            break;
        case TRISTATE:
            if (logging()) log_primitive("trace tri output ", module->get_port(2));
            trace_up_output(module->get_port(2));
            break;
        case BUFFER:
            if (logging()) log_primitive("trace buf output ", module->get_port(1));
            trace_up_output(module->get_port(1));
            break;
        default:
            if (logging()) log_primitive("trace stopped at unsupported primitive module", nullptr);
            break;
    }
}

void TSL_RTL_TRACER::trace_primitive_fanin(NLG_IPORT* port) {
    NLG_IMODULE* module = port->get_parent();
    switch (module->get_primitive_type()) {
        case INVERTER:
            if (logging()) log_primitive("trace inv input ", module->get_port(0));
            m_inverted = !m_inverted;
            trace_up_input(module->get_port(0));
            break;
        case TRISTATE:
            if (logging()) log_primitive("trace tri input ", module->get_port(0));
            trace_up_input(module->get_port(0));
            break;
        case BUFFER:
            if (logging()) log_primitive("trace buf input ", module->get_port(0));
            trace_up_input(module->get_port(0));
            break;
        default:
            if (logging()) log_primitive("trace stopped at unsupported primitive module", nullptr);
            break;
    }
}

void TSL_RTL_TRACER::trace_mux_fanout(NLG_IPORT* port, const PB::ICDB_MODULE& module) {
    if (logging()) log_step("trace first stage mux input: ", port);
    NLG_IMODULE* mux = port->get_parent();
    int32_t index = port->get_index();
    for (const PB::ICDB_MODULE_PATH& path : module.paths()) {
        if (path.in() != index) continue;
        m_through_path = true;
        trace_up_output(mux->get_port(path.out()));
    }
}

void TSL_RTL_TRACER::trace_mux_fanin(NLG_IPORT* port, const PB::ICDB_MODULE& module) {
    if (logging()) log_step("trace first stage mux input: ", port);
    NLG_IMODULE* mux = port->get_parent();
    int32_t index = port->get_index();
    for (const PB::ICDB_MODULE_PATH& path : module.paths()) {
        if (path.out() != index) continue;
        m_through_path = true;
        trace_up_input(mux->get_port(path.in()));
    }
}

bool TSL_RTL_TRACER::stop_at_port(NLG_IPORT* port) {
    // An empty stack: the trace has climbed out of the place where it started.
    if (m_instances.empty()) return true;
    if (!is_re(port)) return false;
    if (logging()) log_re(port);
    record(port, m_inverted, m_through_path);
    return true;
}

// List walk. The fan lists belong to the graph's own port and reference objects.

void TSL_RTL_TRACER::list_up_input(NLG_IPORT* port, bool ask_ports) {
    if (logging()) log_step("trace_up_input: ", port);
    NLG_PORT_REF* ref = static_cast<NLG_PORT_REF*>(top_ref(port));
    if (!ref) return;
    NLG_IINSTANCE* inst = ref->get_nlg_instance();
    if (const NLG_FAN::PORTS* ports = ref->get_fanin_ports()) {
        for (NLG_PORT* p : *ports) {
            pop();
            if (m_climbs && m_instances.empty())
                m_climbs->push_back({p, m_res.size()});
            else if (!ask_ports || !stop_at_port(p))
                trace_up_input(p);
            push(inst);
        }
    }
    if (const NLG_FAN::REFS* refs = ref->get_fanin_refs()) {
        for (NLG_PORT_REF* q : *refs) {
            pop();
            push(q->get_nlg_instance());
            NLG_IPORT* qp = q->get_nlg_port();
            if (!stop_at_port(qp)) trace_down_output(qp);
            pop();
            push(inst);
        }
    }
}

void TSL_RTL_TRACER::list_up_output(NLG_IPORT* port) {
    if (logging()) log_step("trace_up_output: ", port);
    NLG_PORT_REF* ref = static_cast<NLG_PORT_REF*>(top_ref(port));
    if (!ref) return;
    NLG_IINSTANCE* inst = ref->get_nlg_instance();
    if (const NLG_FAN::PORTS* ports = ref->get_fanout_ports()) {
        for (NLG_PORT* p : *ports) {
            pop();
            if (m_climbs && m_instances.empty())
                m_climbs->push_back({p, m_res.size()});
            else if (!stop_at_port(p))
                trace_up_output(p);
            push(inst);
        }
    }
    if (const NLG_FAN::REFS* refs = ref->get_fanout_refs()) {
        for (NLG_PORT_REF* q : *refs) {
            pop();
            push(q->get_nlg_instance());
            NLG_IPORT* qp = q->get_nlg_port();
            if (!stop_at_port(qp)) trace_down_input(qp);
            pop();
            push(inst);
        }
    }
}

void TSL_RTL_TRACER::list_down_input(NLG_IPORT* port) {
    if (logging()) log_step("trace_down_input: ", port);
    NLG_PORT* start = static_cast<NLG_PORT*>(port);
    if (const NLG_FAN::PORTS* ports = start->get_fanout_ports()) {
        for (NLG_PORT* p : *ports)
            if (!stop_at_port(p)) trace_up_output(p);
    }
    if (const NLG_FAN::REFS* refs = start->get_fanout_refs()) {
        for (NLG_PORT_REF* q : *refs) {
            push(q->get_nlg_instance());
            NLG_IPORT* qp = q->get_nlg_port();
            if (!stop_at_port(qp)) trace_down_input(qp);
            pop();
        }
    }
}

void TSL_RTL_TRACER::list_down_output(NLG_IPORT* port, bool ask_ports) {
    if (logging()) log_step("trace_down_output: ", port);
    NLG_PORT* start = static_cast<NLG_PORT*>(port);
    if (const NLG_FAN::PORTS* ports = start->get_fanin_ports()) {
        for (NLG_PORT* p : *ports)
            if (!ask_ports || !stop_at_port(p)) trace_up_input(p);
    }
    if (const NLG_FAN::REFS* refs = start->get_fanin_refs()) {
        for (NLG_PORT_REF* q : *refs) {
            push(q->get_nlg_instance());
            NLG_IPORT* qp = q->get_nlg_port();
            if (!stop_at_port(qp)) trace_down_output(qp);
            pop();
        }
    }
}

// Debug log.

void TSL_RTL_TRACER::log_path() {
    std::ostream& os = *m_trace_log->m_os;
    for (NLG_IINSTANCE* inst : m_instances) os << "/" << inst->get_name().get_name();
}

void TSL_RTL_TRACER::log_step(const char* tag, NLG_IPORT* port) {
    std::ostream& os = *m_trace_log->m_os;
    os << tag << port->get_name().get_name() << " ";
    log_path();
    os << std::endl;
}

void TSL_RTL_TRACER::log_line(const char* text) {
    *m_trace_log->m_os << text << std::endl;
}

void TSL_RTL_TRACER::log_primitive(const char* text, NLG_IPORT* port) {
    std::ostream& os = *m_trace_log->m_os;
    os << text;
    if (port) os << port->get_name().get_name();
    os << std::endl;
    log_path();
    os << std::endl;
}

void TSL_RTL_TRACER::log_re(NLG_IPORT* port) {
    std::cout << "<-- Found RE " << PB::MUX_DESCRIPTION_MUXTYPE_Name(port_record(port).re_name())
              << std::endl;
}

// Variants of the list walk. Nets and reference fan-in are not part of it.

void TSL_RTL_TRACER_SIMPLE::trace_net_fanin(NLG_IPORT_REF*) {
    UTIL_FAIL("Should not get here");
}

void TSL_RTL_TRACER_SIMPLE::trace_net_fanout(NLG_IPORT_REF*) {
    UTIL_FAIL("Should not get here");
}

void TSL_RTL_TRACER_SIMPLE::trace_ref_fanin(NLG_IPORT_REF*) {
    UTIL_FAIL("Should not get here");
}

// What keep_walks keeps: per port reference and direction, a run of steps. A step is a result
// recorded inside the module of the reference, with the instances below the module's place, or
// a port of that module by which the walk climbs out of it.
struct TSL_RTL_TRACER_SIMPLE::KEPT_WALKS {
    struct STEP {
        NLG_IPORT* m_port;
        // The step's instances in m_instances; none for a climb.
        uint32_t m_first;
        uint16_t m_count;
        bool m_climb;
        bool m_inverted;
        bool m_through_path;
    };
    // Reference pointer with the direction in bit 0, to the first step and the step count.
    UTIL::HASH64_MAP<uint64_t> m_index;
    std::vector<STEP> m_steps;
    std::vector<NLG_IINSTANCE*> m_instances;
    // The state of the walk that asked for a walk to be kept, put aside meanwhile.
    std::vector<NLG_IINSTANCE*> m_outer_instances;
    std::vector<TSL_TRACED_PORT> m_outer_res;
    std::vector<CLIMB> m_climbs;
};

TSL_RTL_TRACER_SIMPLE::TSL_RTL_TRACER_SIMPLE(NLG_IANNSS* annss) : TSL_RTL_TRACER(annss) {}

TSL_RTL_TRACER_SIMPLE::~TSL_RTL_TRACER_SIMPLE() = default;

void TSL_RTL_TRACER_SIMPLE::keep_walks() {
    keep_port_flags();
    if (!m_kept_walks) m_kept_walks.reset(new KEPT_WALKS);
}

// As the list walks, with the part inside the module of the reference replayed: only the
// climbs out of it are walked, each again through its own kept walk.
void TSL_RTL_TRACER_SIMPLE::walk_kept(NLG_IPORT* port, bool forward) {
    if (logging()) {
        if (forward)
            list_up_output(port);
        else
            list_up_input(port, true);
        return;
    }
    NLG_PORT_REF* ref = static_cast<NLG_PORT_REF*>(top_ref(port));
    if (!ref) return;
    const uint64_t key = reinterpret_cast<uintptr_t>(ref) | (forward ? 1 : 0);
    std::pair<uint32_t, uint32_t> steps;
    if (const uint64_t* kept = m_kept_walks->m_index.find(key)) {
        steps = {static_cast<uint32_t>(*kept >> 32), static_cast<uint32_t>(*kept)};
    } else {
        steps = keep_walk(port, forward);
        m_kept_walks->m_index.emplace(key, uint64_t{steps.first} << 32 | steps.second);
    }
    NLG_IINSTANCE* inst = ref->get_nlg_instance();
    const auto outer = static_cast<std::ptrdiff_t>(m_instances.size() - 1);
    for (uint32_t k = steps.first; k < steps.first + steps.second; ++k) {
        // A copy: a climb may keep new walks, which moves the steps.
        const KEPT_WALKS::STEP step = m_kept_walks->m_steps[k];
        if (step.m_climb) {
            pop();
            if (!stop_at_port(step.m_port)) {
                if (forward)
                    trace_up_output(step.m_port);
                else
                    trace_up_input(step.m_port);
            }
            push(inst);
            continue;
        }
        TSL_TRACED_PORT& traced = add_result(m_res);
        traced.m_instances.assign(m_instances.begin(), m_instances.begin() + outer);
        const auto first = m_kept_walks->m_instances.begin() + step.m_first;
        traced.m_instances.insert(traced.m_instances.end(), first, first + step.m_count);
        traced.m_port = step.m_port;
        traced.m_inverted = step.m_inverted;
        traced.m_through_path = step.m_through_path;
    }
}

std::pair<uint32_t, uint32_t> TSL_RTL_TRACER_SIMPLE::keep_walk(NLG_IPORT* port, bool forward) {
    // The walk runs on a stack that holds only the reference's instance, so that it stops
    // where it would leave the module; the caller's stack and results wait aside, and the
    // walks inside it are not kept on their own.
    std::unique_ptr<KEPT_WALKS> kept = std::move(m_kept_walks);
    kept->m_outer_instances.swap(m_instances);
    m_instances.assign(1, kept->m_outer_instances.back());
    kept->m_outer_res.swap(m_res);
    kept->m_climbs.clear();
    m_climbs = &kept->m_climbs;
    if (forward)
        list_up_output(port);
    else
        list_up_input(port, true);
    m_climbs = nullptr;

    const size_t first = kept->m_steps.size();
    size_t climb = 0;
    for (size_t n = 0; n <= m_res.size(); ++n) {
        for (; climb < kept->m_climbs.size() && kept->m_climbs[climb].m_results == n; ++climb)
            kept->m_steps.push_back({kept->m_climbs[climb].m_port, 0, 0, true, false, false});
        if (n == m_res.size()) break;
        const TSL_TRACED_PORT& traced = m_res[n];
        UTIL_ASSERT(traced.m_instances.size() <= UINT16_MAX);
        kept->m_steps.push_back({traced.m_port, static_cast<uint32_t>(kept->m_instances.size()),
                                 static_cast<uint16_t>(traced.m_instances.size()), false,
                                 traced.m_inverted, traced.m_through_path});
        kept->m_instances.insert(kept->m_instances.end(), traced.m_instances.begin(),
                                 traced.m_instances.end());
    }
    UTIL_ASSERT(kept->m_steps.size() <= UINT32_MAX && kept->m_instances.size() <= UINT32_MAX);
    recycle(m_res);
    m_res.swap(kept->m_outer_res);
    m_instances.swap(kept->m_outer_instances);
    m_kept_walks = std::move(kept);
    return {static_cast<uint32_t>(first),
            static_cast<uint32_t>(m_kept_walks->m_steps.size() - first)};
}

bool TSL_RTL_TRACER_SIMPLE::stop_at_port(NLG_IPORT* port) {
    if (m_instances.empty()) return true;
    if (!is_re(port)) return false;
    if (logging()) log_re(port);
    record(port, false, false);
    return true;
}

bool TSL_RTL_TRACER_SIMPLE_MUX::stop_at_port(NLG_IPORT* port) {
    if (m_instances.empty()) return true;
    if (m_keep_port_flags) {
        const uint8_t flags = port_flags(port);
        if (flags & PORT_RE) {
            if (logging()) log_re(port);
        } else if (!(flags & PORT_PRIMARY)) {
            return false;
        } else if (flags & PORT_MERGE) {
            return true;
        }
        record(port, false, false);
        return true;
    }
    const PB::ICDB_APORT& record_of_port = port_record(port);
    if (record_of_port.has_re_name()) {
        if (logging()) log_re(port);
        record(port, false, false);
        return true;
    }
    if (!record_of_port.is_primary_port()) return false;
    if (record_of_port.merge_type() == PB::ICDB_APORT::MERGE) return true;
    record(port, false, false);
    return true;
}

bool TSL_RTL_TRACER_FOR_OPTIMIZE_FANIN::stop_at_port(NLG_IPORT* port) {
    if (port->get_parent() != m_module) return false;
    record(port, false, false);
    return true;
}

bool TSL_RTL_TRACER_FOR_FCL::stop_at_port(NLG_IPORT* port) {
    if (!m_instances.empty()) {
        if (module_record(port->get_parent()).level() != PB::ICDB_MODULE::TOP_LEVEL_IP)
            return false;
    } else if (!m_record_top) {
        return true;
    }
    record(port, false, false);
    return true;
}

bool TSL_TRACER_FOR_BLC::stop_at_port(NLG_IPORT* port) {
    if (m_instances.empty()) return true;
    if (is_re(port)) {
        if (logging()) log_re(port);
        record(port, m_inverted, m_through_path);
        return true;
    }
    NLG_IMODULE* this_module = port->get_parent();
    PB::ICDB_MODULE::LEVEL level = module_record(this_module).level();
    if (level == PB::ICDB_MODULE::TOP_LEVEL_IP) {
        std::cout << "Warning: top-level port " << port->get_name().get_name() << " on module "
                  << this_module->get_name().get_name()
                  << " does not have an RE associated with it!" << std::endl;
        for (NLG_IINSTANCE* inst : m_instances) std::cout << "/" << inst->get_name().get_name();
        std::cout << std::endl;
        return true;
    }
    if (level != PB::ICDB_MODULE::PRIM_MUX) return false;
    if (!port->is_input()) return false;
    // A trace that reaches a mux input is reported as the mux output.
    UTIL_ASSERT(this_module->get_port(0)->is_output());
    record(this_module->get_port(0), m_inverted, m_through_path);
    return true;
}

// The fan-list pass: a net walk that ends at the nearest ports of real blocks.

void TSL_RTL_TRACER_FOR_POPULATE_FANIN_FANOUT::trace_net_fanin(NLG_IPORT_REF*) {
    UTIL_FAIL("Should not get here");
}

void TSL_RTL_TRACER_FOR_POPULATE_FANIN_FANOUT::trace_net_fanout(NLG_IPORT_REF*) {
    UTIL_FAIL("Should not get here");
}

void TSL_RTL_TRACER_FOR_POPULATE_FANIN_FANOUT::trace_ref_fanin(NLG_IPORT_REF*) {
    UTIL_FAIL("Should not get here");
}

const PB::ICDB_MODULE_MUX_DESC* TSL_RTL_TRACER_FOR_POPULATE_FANIN_FANOUT::mux_desc(
    NLG_IMODULE* module) const {
    const PB::ICDB_MODULE& record = module_record(module);
    if (!record.has_mux_desc()) return nullptr;
    if (record.mux_desc().is_template()) return &record.mux_desc();
    UTIL_ASSERT(!m_instances.empty());
    return &m_anns->get_instance(*m_instances.back()).mux_desc();
}

bool TSL_RTL_TRACER_FOR_POPULATE_FANIN_FANOUT::is_first_stage(NLG_IMODULE* module) const {
    const PB::ICDB_MODULE_MUX_DESC* desc = mux_desc(module);
    return desc && desc->is_first_stage();
}

bool TSL_RTL_TRACER_FOR_POPULATE_FANIN_FANOUT::stop_at_port(NLG_IPORT* port) {
    NLG_IMODULE* module = port->get_parent();
    if (module->is_primitive() || is_first_stage(module)) return false;
    record(port, false, false);
    return true;
}

void TSL_RTL_TRACER_FOR_POPULATE_FANIN_FANOUT::trace_up_input(NLG_IPORT* port) {
    if (logging()) log_step("trace_up_input: ", port);
    UTIL_ASSERT(!m_instances.empty());
    if (port->is_output()) {
        if (logging()) log_line("<-- hit output");
        return;
    }
    NLG_IPORT_REF* ref = m_instances.back()->get_portref(port);
    if (!ref) return;
    NLG_INET* net_in = ref->get_net();
    UTIL_ASSERT(net_in);
    NLG_IINSTANCE* inst = ref->get_instance();
    for (uint32_t i = 0, n = net_in->get_num_ports(); i < n; ++i) {
        NLG_IPORT* p = net_in->get_port(static_cast<int32_t>(i));
        if (p->is_output()) continue;
        pop();
        record(p, false, false);
        push(inst);
    }
    for (uint32_t i = 0, n = net_in->get_num_portrefs(); i < n; ++i) {
        NLG_IPORT_REF* q = net_in->get_portref(static_cast<int32_t>(i));
        if (q->is_input() || q == ref) continue;
        pop();
        push(q->get_instance());
        NLG_IPORT* qp = q->get_port();
        if (!stop_at_port(qp)) trace_down_output(qp);
        pop();
        push(inst);
    }
}

void TSL_RTL_TRACER_FOR_POPULATE_FANIN_FANOUT::trace_up_output(NLG_IPORT* port) {
    if (logging()) log_step("trace_up_output: ", port);
    UTIL_ASSERT(!m_instances.empty());
    if (port->is_input()) {
        if (logging()) log_line("<-- hit input");
        return;
    }
    NLG_IPORT_REF* ref = m_instances.back()->get_portref(port);
    if (!ref) return;
    NLG_INET* net_out = ref->get_net();
    UTIL_ASSERT(net_out);
    NLG_IINSTANCE* inst = ref->get_instance();
    for (uint32_t i = 0, n = net_out->get_num_ports(); i < n; ++i) {
        NLG_IPORT* p = net_out->get_port(static_cast<int32_t>(i));
        if (p->is_input()) continue;
        pop();
        record(p, false, false);
        push(inst);
    }
    for (uint32_t i = 0, n = net_out->get_num_portrefs(); i < n; ++i) {
        NLG_IPORT_REF* q = net_out->get_portref(static_cast<int32_t>(i));
        if (q->is_output() || q == ref) continue;
        pop();
        push(q->get_instance());
        NLG_IPORT* qp = q->get_port();
        if (!stop_at_port(qp)) trace_down_input(qp);
        pop();
        push(inst);
    }
}

void TSL_RTL_TRACER_FOR_POPULATE_FANIN_FANOUT::trace_down_input(NLG_IPORT* port) {
    if (logging()) log_step("trace_down_input: ", port);
    if (port->is_output()) {
        if (logging()) log_line("<-- hit output");
        return;
    }
    NLG_IMODULE* module = port->get_parent();
    if (module->is_primitive()) {
        trace_primitive_fanout(port);
        return;
    }
    if (is_first_stage(module)) {
        trace_mux_fanout(port, module_record(module));
        return;
    }
    NLG_INET* net = port->get_net();
    if (!net) return;
    for (uint32_t i = 0, n = net->get_num_ports(); i < n; ++i) {
        NLG_IPORT* p = net->get_port(static_cast<int32_t>(i));
        if (p->is_input() || p == port) continue;
        record(p, false, false);
    }
    for (uint32_t i = 0, n = net->get_num_portrefs(); i < n; ++i) {
        NLG_IPORT_REF* q = net->get_portref(static_cast<int32_t>(i));
        if (q->is_output()) continue;
        push(q->get_instance());
        NLG_IPORT* qp = q->get_port();
        if (!stop_at_port(qp)) trace_down_input(qp);
        pop();
    }
}

void TSL_RTL_TRACER_FOR_POPULATE_FANIN_FANOUT::trace_down_output(NLG_IPORT* port) {
    if (logging()) log_step("trace_down_output: ", port);
    if (port->is_input()) {
        if (logging()) log_line("<-- hit input");
        return;
    }
    NLG_IMODULE* module = port->get_parent();
    if (module->is_primitive()) {
        trace_primitive_fanin(port);
        return;
    }
    if (is_first_stage(module)) {
        trace_mux_fanin(port, module_record(module));
        return;
    }
    NLG_INET* net = port->get_net();
    if (!net) return;
    for (uint32_t i = 0, n = net->get_num_ports(); i < n; ++i) {
        NLG_IPORT* p = net->get_port(static_cast<int32_t>(i));
        if (p->is_output() || p == port) continue;
        record(p, false, false);
    }
    for (uint32_t i = 0, n = net->get_num_portrefs(); i < n; ++i) {
        NLG_IPORT_REF* q = net->get_portref(static_cast<int32_t>(i));
        if (q->is_input()) continue;
        push(q->get_instance());
        NLG_IPORT* qp = q->get_port();
        if (!stop_at_port(qp)) trace_down_output(qp);
        pop();
    }
}

// Node generators: each walks the lists in one direction only.

void TSL_RTL_TRACER_FOR_BLC_NODE_GENERATOR::trace_net_fanin(NLG_IPORT_REF*) {
    UTIL_FAIL("Should not get here");
}

void TSL_RTL_TRACER_FOR_BLC_NODE_GENERATOR::trace_net_fanout(NLG_IPORT_REF*) {
    UTIL_FAIL("Should not get here");
}

void TSL_RTL_TRACER_FOR_BLC_NODE_GENERATOR::trace_ref_fanin(NLG_IPORT_REF*) {
    UTIL_FAIL("Should not get here");
}

void TSL_RTL_TRACER_FOR_BLC_NODE_GENERATOR::trace_up_input(NLG_IPORT* port) {
    // No stop rule tests the stack here, so climbing out of it ends the branch.
    if (m_instances.empty()) return;
    list_up_input(port, false);
}

void TSL_RTL_TRACER_FOR_BLC_NODE_GENERATOR::trace_up_output(NLG_IPORT*) {
    UTIL_FAIL("Should not get here");
}

void TSL_RTL_TRACER_FOR_BLC_NODE_GENERATOR::trace_down_input(NLG_IPORT*) {
    UTIL_FAIL("Should not get here");
}

bool TSL_RTL_TRACER_FOR_BLC_NODE_GENERATOR::stop_at_port(NLG_IPORT* port) {
    const PB::ICDB_APORT& record_of_port = port_record(port);
    if (record_of_port.has_re_name()) return true;
    if (!record_of_port.is_primary_port()) return false;
    record(port, false, false);
    return true;
}

void TSL_RTL_TRACER_FOR_CRF_NODE_GENERATOR::trace_net_fanin(NLG_IPORT_REF*) {
    UTIL_FAIL("Should not get here");
}

void TSL_RTL_TRACER_FOR_CRF_NODE_GENERATOR::trace_net_fanout(NLG_IPORT_REF*) {
    UTIL_FAIL("Should not get here");
}

void TSL_RTL_TRACER_FOR_CRF_NODE_GENERATOR::trace_ref_fanin(NLG_IPORT_REF*) {
    UTIL_FAIL("Should not get here");
}

void TSL_RTL_TRACER_FOR_CRF_NODE_GENERATOR::trace_up_input(NLG_IPORT*) {
    UTIL_FAIL("Should not get here");
}

void TSL_RTL_TRACER_FOR_CRF_NODE_GENERATOR::trace_down_output(NLG_IPORT*) {
    UTIL_FAIL("Should not get here");
}

bool TSL_RTL_TRACER_FOR_CRF_NODE_GENERATOR::stop_at_port(NLG_IPORT* port) {
    if (m_instances.empty()) return true;
    const PB::ICDB_APORT& record_of_port = port_record(port);
    if (record_of_port.has_re_name()) {
        if (logging()) log_re(port);
        record(m_traced_res, port, false, false);
        return true;
    }
    if (!record_of_port.is_primary_port()) return false;
    record(m_traced_primary_ports, port, false, false);
    return true;
}

void TSL_RTL_TRACER_FOR_CRF_NODE_GENERATOR::clear() {
    TSL_RTL_TRACER::clear();
    recycle(m_traced_res);
    recycle(m_traced_primary_ports);
}

bool TSL_RTL_TRACER_FOR_SECTOR_FCL::stop_at_port(NLG_IPORT* port) {
    if (m_instances.empty()) return true;
    if (module_record(port->get_parent()).level() != PB::ICDB_MODULE::SECTOR) return false;
    record(port, false, false);
    return true;
}

namespace RTL {

bool TRACER2::stop_at_port(NLG_IPORT* port) {
    UTIL_ASSERT(m_visitor);
    return m_visitor->visit_port(port);
}

void TRACE2::set_instances(std::vector<NLG_IINSTANCE*> instances) {
    m_tracer.set_instances(std::move(instances));
}

void TRACE2::trace(int direction, int kind, NLG_IPORT* port) {
    if (direction == UP && kind == INPUT) {
        m_tracer.trace_up_input(port);
    } else if (direction == UP && kind == OUTPUT) {
        m_tracer.trace_up_output(port);
    } else if (direction == DOWN && kind == INPUT) {
        m_tracer.trace_down_input(port);
    } else if (direction == DOWN && kind == OUTPUT) {
        m_tracer.trace_down_output(port);
    } else {
        UTIL_ASSERT(false);
    }
}

ITRACE2* create_trace2(NLG_IANNSS* annss) {
    return new TRACE2(annss);
}

}  // namespace RTL
