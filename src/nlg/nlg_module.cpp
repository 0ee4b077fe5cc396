// Module definitions: adding ports, nets and instances by copy, name look-ups, and the checked
// index access whose messages name the module.
#include "nlg/nlg_module.h"

#include <iostream>

#include "nlg/nlg_graph.h"
#include "nlg/nlg_graph_trace.h"
#include "tsl_ivisitor.h"
#include "util/util_assert.h"

NLG_MODULE::NLG_MODULE(NS_SYMBOL::SYM name, uint32_t primitive_type, NLG_ID id,
                       const NLG_FILELINE& fileline, bool unused_nonprimitive, uint32_t n_ports,
                       uint32_t n_nets, uint32_t n_instances)
    : m_graph(nullptr),
      m_id(id),
      m_name(name),
      m_primitive_type(primitive_type),
      m_index(-1),
      m_fileline(fileline),
      m_unused_nonprimitive(unused_nonprimitive) {
    // Vectors exist only when something goes into them: most modules of a device are leaves.
    if (n_ports != 0) reserve_ports(n_ports);
    if (n_nets != 0) reserve_nets(n_nets);
    if (n_instances != 0) reserve_instances(n_instances);
}

NLG_MODULE::~NLG_MODULE() = default;

void NLG_MODULE::accept_enter(TSL_IVISITOR& visitor) {
    visitor.enter_module(*this);
}

void NLG_MODULE::accept_exit(TSL_IVISITOR& visitor) {
    visitor.exit_module(*this);
}

NLG_IGRAPH* NLG_MODULE::get_graph() const {
    return m_graph;
}

const char* NLG_MODULE::slow_name(std::string& buffer) const {
    buffer = m_name.get_name();
    return buffer.c_str();
}

void NLG_MODULE::reserve_ports(size_t n) {
    if (!m_ports) m_ports.reset(new std::vector<NLG_PORT>());
    m_ports->reserve(n);
    m_port_map.reserve(n);
}

void NLG_MODULE::reserve_nets(size_t n) {
    if (!m_nets) m_nets.reset(new std::vector<NLG_NET>());
    m_nets->reserve(n);
}

void NLG_MODULE::reserve_instances(size_t n) {
    if (!m_instances) m_instances.reset(new std::vector<NLG_INSTANCE>());
    m_instances->reserve(n);
    m_instance_map.reserve(n);
}

NLG_PORT* NLG_MODULE::port(int32_t index) const {
    if (index < 0 || index >= static_cast<int32_t>(get_num_ports())) {
        std::string name;
        UTIL_FAIL("Port index %d is out of range (0 ~ %d) for module %s", index,
                  static_cast<int>(get_num_ports()) - 1, slow_name(name));
    }
    return &(*m_ports)[static_cast<size_t>(index)];
}

NLG_NET* NLG_MODULE::net(int32_t index) const {
    if (index < 0 || index >= static_cast<int32_t>(get_num_nets())) {
        std::string name;
        UTIL_FAIL("Net index %d is out of range (0 ~ %d) for module %s", index,
                  static_cast<int>(get_num_nets()) - 1, slow_name(name));
    }
    return &(*m_nets)[static_cast<size_t>(index)];
}

NLG_INSTANCE* NLG_MODULE::instance(int32_t index) const {
    if (index < 0 || index >= static_cast<int32_t>(get_num_instances())) {
        std::string name;
        UTIL_FAIL("Instance index %d is out of range (0 ~ %d) for module %s", index,
                  static_cast<int>(get_num_instances()) - 1, slow_name(name));
    }
    return &(*m_instances)[static_cast<size_t>(index)];
}

NLG_IPORT* NLG_MODULE::get_port(NS_SYMBOL::SYM name) const {
    auto it = m_port_map.find(name);
    return it == m_port_map.end() ? nullptr : port(it->second);
}

NLG_IPORT* NLG_MODULE::get_port(int32_t index) const {
    return port(index);
}

NLG_INET* NLG_MODULE::get_net(int32_t index) const {
    return net(index);
}

NLG_IINSTANCE* NLG_MODULE::get_instance(NS_SYMBOL::SYM name) const {
    auto it = m_instance_map.find(name);
    return it == m_instance_map.end() ? nullptr : instance(it->second);
}

NLG_IINSTANCE* NLG_MODULE::get_instance(int32_t index) const {
    return instance(index);
}

NLG_IINSTANCE* NLG_MODULE::get_reference(int32_t index) const {
    if (index < 0 || index >= static_cast<int32_t>(get_num_references())) {
        std::string name;
        UTIL_FAIL("Reference index %d is out of range (0 ~ %d) for module %s", index,
                  static_cast<int>(get_num_references()) - 1, slow_name(name));
    }
    const REFERENCE& reference = (*m_references)[static_cast<size_t>(index)];
    return m_graph->get_module(static_cast<int32_t>(reference.first))
        ->get_instance(static_cast<int32_t>(reference.second));
}

int32_t NLG_MODULE::get_port_index(const NLG_IPORT* port) const {
    UTIL_ASSERT(m_ports);
    return static_cast<int32_t>(static_cast<const NLG_PORT*>(port) - m_ports->data());
}

int32_t NLG_MODULE::get_instance_index(NS_SYMBOL::SYM name) const {
    auto it = m_instance_map.find(name);
    return it == m_instance_map.end() ? -1 : it->second;
}

int32_t NLG_MODULE::get_instance_index(const NLG_IINSTANCE* instance) const {
    UTIL_ASSERT(m_instances);
    return static_cast<int32_t>(static_cast<const NLG_INSTANCE*>(instance) - m_instances->data());
}

int32_t NLG_MODULE::get_net_index(const NLG_INET* net) const {
    UTIL_ASSERT(m_nets);
    return static_cast<int32_t>(static_cast<const NLG_NET*>(net) - m_nets->data());
}

bool NLG_MODULE::is_leaf() const {
    return get_num_instances() == 0 && get_num_nets() == 0;
}

template <class PORT>
void NLG_MODULE::add_port_as(PORT&& p) {
    if (!m_ports) m_ports.reset(new std::vector<NLG_PORT>());
    UTIL_ASSERT(!p.get_parent());
    UTIL_ASSERT(p.get_name().is_known());
    int32_t index = static_cast<int32_t>(m_ports->size());
    m_port_map[p.get_name()] = index;
    m_ports->push_back(std::forward<PORT>(p));
    NLG_PORT& copy = m_ports->back();
    copy.m_parent = this;
    copy.m_index = index;
}

template <class NET>
void NLG_MODULE::add_net_as(NET&& n) {
    if (!m_nets) m_nets.reset(new std::vector<NLG_NET>());
    UTIL_ASSERT(!n.get_parent());
    UTIL_ASSERT(n.get_name().is_known());
    m_nets->push_back(std::forward<NET>(n));
    m_nets->back().m_parent = this;
}

template <class INSTANCE>
void NLG_MODULE::add_instance_as(INSTANCE&& inst, bool reference) {
    if (!m_instances) m_instances.reset(new std::vector<NLG_INSTANCE>());
    UTIL_ASSERT(!inst.get_parent());
    int32_t index = static_cast<int32_t>(m_instances->size());
    m_instances->push_back(std::forward<INSTANCE>(inst));
    NLG_INSTANCE& copy = m_instances->back();
    copy.m_parent = this;
    copy.m_index = index;
    for (NLG_PORT_REF& pr : copy.m_portrefs) pr.m_parent = this;
    NLG_MODULE* definition = copy.m_module;
    if (reference && definition) {
        if (!definition->m_references) definition->m_references.reset(new std::vector<REFERENCE>());
        definition->m_references->emplace_back(m_id.get_serial(), static_cast<uint32_t>(index));
    }
    m_instance_map[copy.get_name()] = index;
}

NLG_MODULE::REFERENCE* NLG_MODULE::append_references(size_t n) {
    if (!m_references) m_references.reset(new std::vector<REFERENCE>());
    size_t first = m_references->size();
    m_references->resize(first + n);
    return m_references->data() + first;
}

void NLG_MODULE::add_port(NLG_PORT& p) {
    add_port_as(p);
}

void NLG_MODULE::add_port(NLG_PORT&& p) {
    add_port_as(std::move(p));
}

void NLG_MODULE::add_net(NLG_NET& n) {
    add_net_as(n);
}

void NLG_MODULE::add_net(NLG_NET&& n) {
    add_net_as(std::move(n));
}

void NLG_MODULE::add_instance(NLG_INSTANCE& inst) {
    add_instance_as(inst, true);
}

void NLG_MODULE::add_instance(NLG_INSTANCE&& inst) {
    add_instance_as(std::move(inst), true);
}

void NLG_MODULE::add_instance_unreferenced(NLG_INSTANCE&& inst) {
    add_instance_as(std::move(inst), false);
}

// Fan-list pass.
//  1. Each port: a trace into the module from it (forward unless an output, backward unless
//     an input) with an empty stack; its ends are this module's ports or its instances' pins.
//  2. Each reference of each instance: a trace out of the instance with that instance as the
//     stack, which ends at the same kinds of neighbour.
//  3. Compression: a port whose fan-in is one reference of a feed-through block gets the
//     module port behind that block as its fan-in instead.

NLG_PORT* NLG_MODULE::own_port(NLG_IPORT* port) const {
    int32_t this_port_index = port->get_index();
    bool owned = port->get_parent() == this && this_port_index >= 0 &&
                 this_port_index < static_cast<int32_t>(get_num_ports());
    UTIL_ASSERT_MSG(owned && get_port(this_port_index) == port,
                    "get_port(this_port_index) == t_re.m_port");
    return this->port(this_port_index);
}

NLG_PORT_REF* NLG_MODULE::instance_ref(const TSL_TRACED_PORT& t_re) const {
    if (t_re.m_instances.size() != 1) {
        for (NLG_IINSTANCE* inst : t_re.m_instances)
            std::cout << "/" << inst->get_name().get_name();
        std::cout << std::endl;
    }
    UTIL_ASSERT(t_re.m_instances.size() == 1);
    return static_cast<NLG_PORT_REF*>(t_re.m_instances[0]->get_portref(t_re.m_port));
}

template <class OBJ>
void NLG_MODULE::add_fan(OBJ& obj, bool fanin, const std::vector<TSL_TRACED_PORT>& ends) {
    for (const TSL_TRACED_PORT& t_re : ends) {
        if (t_re.m_instances.empty()) {
            NLG_PORT* port = own_port(t_re.m_port);
            if (fanin)
                obj.add_fanin_port(port);
            else
                obj.add_fanout_port(port);
        } else {
            NLG_PORT_REF* ref = instance_ref(t_re);
            if (fanin)
                obj.add_fanin_ref(ref);
            else
                obj.add_fanout_ref(ref);
        }
    }
}

void NLG_MODULE::add_fan_ports(NLG_PORT& port, bool fanin,
                               const std::vector<TSL_TRACED_PORT>& ends) {
    add_fan(port, fanin, ends);
}

void NLG_MODULE::add_fan_ports(NLG_PORT_REF& ref, bool fanin,
                               const std::vector<TSL_TRACED_PORT>& ends) {
    add_fan(ref, fanin, ends);
}

void NLG_MODULE::populate_fanin_fanout(TSL_RTL_TRACER& tracer) {
    for (uint32_t i = 0; i < get_num_ports(); ++i) {
        NLG_PORT& port = (*m_ports)[i];
        if (!port.is_output()) {
            tracer.clear();
            tracer.set_instances({});
            tracer.trace_down_input(&port);
            add_fan(port, false, tracer.get_results());
        }
        if (!port.is_input()) {
            tracer.clear();
            tracer.set_instances({});
            tracer.trace_down_output(&port);
            add_fan(port, true, tracer.get_results());
        }
    }
    for (uint32_t i = 0; i < get_num_instances(); ++i) {
        NLG_INSTANCE& inst = (*m_instances)[i];
        for (uint32_t r = 0; r < inst.get_num_portrefs(); ++r) {
            NLG_PORT_REF& ref = *inst.portref(static_cast<int32_t>(r));
            if (!ref.is_output()) {
                tracer.clear();
                tracer.set_instances({&inst});
                tracer.trace_up_input(ref.get_port());
                add_fan(ref, true, tracer.get_results());
            }
            if (!ref.is_input()) {
                tracer.clear();
                tracer.set_instances({&inst});
                tracer.trace_up_output(ref.get_port());
                add_fan(ref, false, tracer.get_results());
            }
        }
    }
}

void NLG_MODULE::optimize_fanin(TSL_RTL_TRACER& tracer) {
    for (uint32_t i = 0; i < get_num_ports(); ++i) {
        NLG_PORT& port = (*m_ports)[i];
        if (port.is_input() || port.get_fanin_ports()) continue;
        const NLG_FAN::REFS* refs = port.get_fanin_refs();
        if (!refs || refs->size() != 1) continue;
        tracer.clear();
        tracer.set_instances({});
        tracer.trace_down_output(&port);
        const std::vector<TSL_TRACED_PORT>& ends = tracer.get_results();
        if (ends.size() > 1) continue;
        for (const TSL_TRACED_PORT& t_re : ends) {
            UTIL_ASSERT_MSG(t_re.m_instances.empty(), "Should not reach here!");
            port.delete_fanin_refs();
            port.add_fanin_port(own_port(t_re.m_port));
        }
    }
}
