// The hybrid view over a netlist graph and a block-level graph.
//
// 1. Name map: each netlist module under its own index, then each block-level module that is
//    no module's twin under the next number. A twin thus has no entry of its own.
// 2. The module vector is sized once to that count, so that instances can point at any entry.
// 3. Each entry takes its ports from its own source and its instances from its twin when it
//    has one; an instance's definition is looked up by name in the complete map.
// Operations that a view cannot answer (ids, nets, references, fan lists) stop the process.
#include "nlg/nlg_hybrid_graph.h"

#include <cstddef>
#include <unordered_set>

#include "nlg/nlg_instance_tree.h"
#include "util/util_assert.h"

// ---------------------------------------------------------------------------------------------
// Port and instance

NLG_HYBRID_PORT::NLG_HYBRID_PORT(int32_t index, NLG_IPORT* port, NLG_HYBRID_MODULE* parent)
    : m_index(index), m_port(port), m_parent(parent) {
    UTIL_ASSERT(port != NULL);
    UTIL_ASSERT(parent != NULL);
}

NLG_ID NLG_HYBRID_PORT::get_id() const {
    UTIL_ASSERT(false);
    return NLG_ID();
}

NLG_IMODULE* NLG_HYBRID_PORT::get_parent() const {
    return m_parent;
}

NLG_HYBRID_INSTANCE::NLG_HYBRID_INSTANCE(int32_t index, NLG_IINSTANCE* instance,
                                         NLG_HYBRID_MODULE* parent, NLG_HYBRID_MODULE* module)
    : m_index(index), m_instance(instance), m_parent(parent), m_module(module) {
    UTIL_ASSERT(instance != NULL);
    UTIL_ASSERT(parent != NULL);
    UTIL_ASSERT(module != NULL);
}

NLG_ID NLG_HYBRID_INSTANCE::get_id() const {
    UTIL_ASSERT(false);
    return NLG_ID();
}

NLG_IMODULE* NLG_HYBRID_INSTANCE::get_parent() const {
    return m_parent;
}

NLG_IMODULE* NLG_HYBRID_INSTANCE::get_module() const {
    return m_module;
}

// ---------------------------------------------------------------------------------------------
// Module

void NLG_HYBRID_MODULE::init(int32_t index, NLG_HYBRID_GRAPH* hybrid_graph, NLG_IMODULE* module,
                             NLG_IMODULE* match) {
    m_index = index;
    m_hybrid_graph = hybrid_graph;
    m_module = module;
    m_match = match;

    const NLG_IMODULE* instance_source = source();
    const uint32_t n_instances = instance_source->get_num_instances();
    m_instances.reserve(n_instances);
    for (uint32_t i = 0; i < n_instances; ++i) {
        NLG_IINSTANCE* instance = instance_source->get_instance(static_cast<int32_t>(i));
        const NS_SYMBOL::SYM definition = instance->get_module()->get_name();
        NLG_HYBRID_MODULE* hybrid_definition = hybrid_graph->find_module(definition);
        if (!hybrid_definition)
            UTIL_FAIL("Unable to find module named %s", definition.str().c_str());
        m_instances.emplace_back(static_cast<int32_t>(i), instance, this, hybrid_definition);
    }

    const uint32_t n_ports = module->get_num_ports();
    m_ports.reserve(n_ports);
    for (uint32_t p = 0; p < n_ports; ++p) {
        m_ports.emplace_back(static_cast<int32_t>(p), module->get_port(static_cast<int32_t>(p)),
                             this);
    }
}

NLG_ID NLG_HYBRID_MODULE::get_id() const {
    UTIL_ASSERT(false);
    return NLG_ID();
}

NLG_IGRAPH* NLG_HYBRID_MODULE::get_graph() const {
    return m_hybrid_graph;
}

NLG_IPORT* NLG_HYBRID_MODULE::get_port(NS_SYMBOL::SYM name) const {
    const NLG_IPORT* port = m_module->get_port(name);
    if (!port) return nullptr;
    return const_cast<NLG_HYBRID_PORT*>(&UTIL::at(m_ports, static_cast<size_t>(port->get_index())));
}

NLG_IPORT* NLG_HYBRID_MODULE::get_port(int32_t index) const {
    return const_cast<NLG_HYBRID_PORT*>(&UTIL::at(m_ports, static_cast<size_t>(index)));
}

NLG_IINSTANCE* NLG_HYBRID_MODULE::get_instance(NS_SYMBOL::SYM name) const {
    const int32_t index = source()->get_instance_index(name);
    if (index == -1) return nullptr;
    return get_instance(index);
}

NLG_IINSTANCE* NLG_HYBRID_MODULE::get_instance(int32_t index) const {
    return const_cast<NLG_HYBRID_INSTANCE*>(&UTIL::at(m_instances, static_cast<size_t>(index)));
}

uint32_t NLG_HYBRID_MODULE::get_num_nets() const {
    UTIL_ASSERT(false);
    return 0;
}

uint32_t NLG_HYBRID_MODULE::get_num_references() const {
    UTIL_ASSERT(false);
    return 0;
}

// ---------------------------------------------------------------------------------------------
// Graph

namespace {

// A netlist module with a twin should be empty: its structure comes from the twin. The port
// symbols are asked so that the match pairs the ports of the pair; no port is compared.
void check_pair(const NLG_IMODULE* module, const NLG_IMODULE_MATCH& match) {
    UTIL_WARNING_MSG(module->get_num_instances() == 0,
                     "Module %s has a match, but does not have zero instances",
                     module->get_name().str().c_str());
    std::vector<NS_SYMBOL::SYM> port_symbols;
    match.get_port_symbols(module, port_symbols);
}

}  // namespace

NLG_HYBRID_GRAPH::NLG_HYBRID_GRAPH(NLG_IGRAPH* graph, NLG_IGRAPH* other, NLG_IMODULE_MATCH* match)
    : m_graph(graph), m_other_graph(other) {
    const uint32_t n_graph = graph->get_num_modules();
    const uint32_t n_other = other->get_num_modules();
    std::unordered_set<const NLG_IMODULE*> twins;
    m_module_map.reserve(n_graph + n_other);
    for (uint32_t i = 0; i < n_graph; ++i) {
        const NLG_IMODULE* module = graph->get_module(static_cast<int32_t>(i));
        const NLG_IMODULE* twin = match->get_match(module);
        m_module_map[module->get_name()] = static_cast<int32_t>(i);
        if (!twin) continue;
        twins.insert(twin);
        check_pair(module, *match);
    }
    int32_t next = static_cast<int32_t>(n_graph);
    for (uint32_t b = 0; b < n_other; ++b) {
        const NLG_IMODULE* module = other->get_module(static_cast<int32_t>(b));
        if (!twins.count(module)) m_module_map[module->get_name()] = next++;
    }

    m_modules.resize(n_graph + n_other - twins.size());
    for (uint32_t i = 0; i < n_graph; ++i) {
        NLG_IMODULE* module = graph->get_module(static_cast<int32_t>(i));
        m_modules[i].init(static_cast<int32_t>(i), this, module, match->get_match(module));
    }
    size_t entry = n_graph;
    for (uint32_t b = 0; b < n_other; ++b) {
        NLG_IMODULE* module = other->get_module(static_cast<int32_t>(b));
        if (twins.count(module)) continue;
        m_modules[entry].init(static_cast<int32_t>(entry), this, module, nullptr);
        ++entry;
    }
}

NLG_ID NLG_HYBRID_GRAPH::get_id() const {
    UTIL_ASSERT(false);
    return NLG_ID();
}

NLG_IMODULE* NLG_HYBRID_GRAPH::get_top_module() const {
    return get_module(0);
}

NLG_IMODULE* NLG_HYBRID_GRAPH::get_module(NS_SYMBOL::SYM name) const {
    const int32_t index = get_module_index(name);
    return index == -1 ? nullptr : get_module(index);
}

NLG_IMODULE* NLG_HYBRID_GRAPH::get_module(int32_t index) const {
    return const_cast<NLG_HYBRID_MODULE*>(&UTIL::at(m_modules, static_cast<size_t>(index)));
}

int32_t NLG_HYBRID_GRAPH::get_module_index(NS_SYMBOL::SYM name) const {
    auto it = m_module_map.find(name);
    return it == m_module_map.end() ? -1 : it->second;
}

NLG_HYBRID_MODULE* NLG_HYBRID_GRAPH::find_module(NS_SYMBOL::SYM name) {
    const int32_t index = get_module_index(name);
    return index == -1 ? nullptr : &UTIL::at(m_modules, static_cast<size_t>(index));
}

// The flag is true for a tree of instances only, which is tree type 0.
NLG_IINSTANCE_TREE* NLG_HYBRID_GRAPH::create_instance_tree(bool instances_only) {
    return new NLG_INSTANCE_TREE(this, !instances_only);
}

void NLG_HYBRID_GRAPH::populate_fanin_fanout(NLG_IANNSS*) {
    UTIL_ASSERT(false);
}
