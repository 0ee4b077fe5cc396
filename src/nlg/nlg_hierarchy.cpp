// The netlist graph as a hierarchy description, and its path cursor.
//
// 1. HMODULES: one HMODULE per graph module, at the module's own index; an HMODULE lists the
//    module's instances and ports in index order.
// 2. HYMODULES: ask the match for every netlist module's twin; the netlist modules come first,
//    each with its twin's instances when it has one, then every block-level module that is no
//    module's twin. A twin is thus reached only through its netlist module.
// 3. HPATH: reads the caller's instance stack in place; the instance index of a place is the
//    instance's index in its parent.
#include "nlg/nlg_hierarchy.h"

#include <unordered_set>

#include "util/util_assert.h"

namespace NLG {

// Both vectors are sized once: the hierarchy keeps pointers into them.
static void add_instances(const NLG_IMODULE* module, std::vector<HINSTANCE>& instances) {
    const uint32_t n = module->get_num_instances();
    instances.reserve(n);
    for (uint32_t i = 0; i < n; ++i) {
        instances.emplace_back(module->get_instance(static_cast<int32_t>(i)));
    }
}

static void add_ports(const NLG_IMODULE* module, std::vector<HPORT>& ports) {
    const uint32_t n = module->get_num_ports();
    ports.reserve(n);
    for (uint32_t i = 0; i < n; ++i) ports.emplace_back(module->get_port(static_cast<int32_t>(i)));
}

HPORT::~HPORT() = default;

int HPORT::get_direction() const {
    const uint32_t direction = m_port->get_direction();
    if (direction > NLG_IPORT::INOUT) UTIL_FAIL("Unknown direction");
    return static_cast<int>(direction);
}

HINSTANCE::~HINSTANCE() = default;

HMODULE::HMODULE(const NLG_IMODULE* module) : m_module(module) {
    add_instances(module, m_instances);
    add_ports(module, m_ports);
}

HMODULE::~HMODULE() = default;

const UTIL::IHIERARCHY::IINSTANCE* HMODULE::get_instance(uint32_t index) const {
    return &UTIL::at(m_instances, index);
}

const UTIL::IHIERARCHY::IPORT* HMODULE::get_port(uint32_t index) const {
    return &UTIL::at(m_ports, index);
}

HMODULES::HMODULES(const NLG_IGRAPH* graph) : m_graph(graph) {
    const uint32_t n = graph->get_num_modules();
    m_modules.reserve(n);
    for (uint32_t i = 0; i < n; ++i)
        m_modules.emplace_back(graph->get_module(static_cast<int32_t>(i)));
}

HMODULES::~HMODULES() = default;

const UTIL::IHIERARCHY::IMODULE* HMODULES::get_module(uint32_t index) const {
    return &UTIL::at(m_modules, index);
}

HYMODULE::HYMODULE(const NLG_IMODULE* module, const NLG_IMODULE* match)
    : m_module(module), m_match(match) {
    add_instances(match ? match : module, m_instances);
    add_ports(module, m_ports);
}

HYMODULE::~HYMODULE() = default;

const UTIL::IHIERARCHY::IINSTANCE* HYMODULE::get_instance(uint32_t index) const {
    return &UTIL::at(m_instances, index);
}

const UTIL::IHIERARCHY::IPORT* HYMODULE::get_port(uint32_t index) const {
    return &UTIL::at(m_ports, index);
}

HYMODULES::HYMODULES(const NLG_IGRAPH* graph, const NLG_IGRAPH* other,
                     const NLG_IMODULE_MATCH* match)
    : m_graph(graph), m_other_graph(other) {
    const uint32_t n_graph = graph->get_num_modules();
    const uint32_t n_other = other->get_num_modules();
    // Twins by netlist module index; several netlist modules may share one twin.
    std::vector<const NLG_IMODULE*> twins(n_graph, nullptr);
    std::unordered_set<const NLG_IMODULE*> twin_set;
    for (uint32_t i = 0; i < n_graph; ++i) {
        const NLG_IMODULE* twin = match->get_match(graph->get_module(static_cast<int32_t>(i)));
        if (!twin) continue;
        twins[i] = twin;
        twin_set.insert(twin);
    }
    m_modules.reserve(n_graph + n_other - twin_set.size());
    for (uint32_t i = 0; i < n_graph; ++i) {
        m_modules.emplace_back(graph->get_module(static_cast<int32_t>(i)), twins[i]);
    }
    for (uint32_t i = 0; i < n_other; ++i) {
        const NLG_IMODULE* module = other->get_module(static_cast<int32_t>(i));
        if (!twin_set.count(module)) m_modules.emplace_back(module, nullptr);
    }
}

HYMODULES::~HYMODULES() = default;

const UTIL::IHIERARCHY::IMODULE* HYMODULES::get_module(uint32_t index) const {
    return &UTIL::at(m_modules, index);
}

HPATH::~HPATH() = default;

uint32_t HPATH::get_instance(uint32_t position) const {
    return static_cast<uint32_t>(UTIL::at(*m_instances, position)->get_index());
}

void HPATH::set(const INSTANCES* instances, const NLG_IPORT* port, const NLG_IMODULE* module) {
    set(instances, port ? static_cast<uint32_t>(port->get_index()) : PORT_INDEX_INVALID,
        module ? static_cast<uint32_t>(module->get_index()) : 0u);
}

void HPATH::set(const INSTANCES* instances, uint32_t port_index, uint32_t base_module_index) {
    m_instances = instances;
    m_port_index = port_index;
    m_base_module_index = base_module_index;
}

}  // namespace NLG
