// The port map visitor.
//   1. One visitor per request: its parents are where the mux walk starts, its children the
//      mux ports to look at.
//   2. At each mux instance, each listed port is traced upward through the netlist; the trace
//      stops at, and keeps, ports of the parent module being walked.
//   3. A port that reached any parent port enters the map under its subnode relative to the
//      parent, with the parent ports sorted; a parent gets its record on its first such port.
#include "fab/fab_portmap_visitor.h"

#include <algorithm>

#include "util/util_assert.h"

namespace FAB {

PORTMAP_VISITOR::PORTMAP_VISITOR(const PORTMAP_CONTEXT* context,
                                 const PB::PORTMAPS::SPECIFICATIONS::PARENTS& parents,
                                 const PB::PORTMAPS::SPECIFICATIONS::CHILDREN& children)
    : m_context(context), m_traverse(nullptr), m_tracer(RTL::create_trace2(context->m_annss)) {
    m_tracer->set_visitor(this);
    m_traverse = new TSL_TRAVERSE_MUX(this, context->m_annss, nullptr);
    set_traverse(m_traverse);
    m_parents.assign(parents.parent_module_indexes().begin(),
                     parents.parent_module_indexes().end());
    m_module_to_ports.reserve(static_cast<size_t>(children.mports_size()));
    for (const auto& mports : children.mports()) {
        m_module_to_ports.emplace(
            static_cast<uint32_t>(mports.module_index()),
            std::vector<uint32_t>(mports.port_index().begin(), mports.port_index().end()));
    }
}

PORTMAP_VISITOR::~PORTMAP_VISITOR() {
    delete m_traverse;
    delete m_tracer;
}

void PORTMAP_VISITOR::run(PB::PORTMAPS::PORTMAP* portmap) {
    UTIL_ASSERT(m_traverse);
    UTIL_ASSERT(portmap);
    m_portmap = portmap;
    m_traverse->traverse_tops(m_context->m_graph, m_parents);
    m_portmap = nullptr;
    m_current = nullptr;
}

void PORTMAP_VISITOR::exit_instance(NLG_IINSTANCE& instance) {
    // The mux walk reports no module exits, so a new root also starts a new record.
    NLG_IMODULE* root = m_traverse->get_root();
    if (root != m_root) m_current = nullptr;
    m_root = root;
    m_found_ports.reserve(m_root->get_num_ports());
    NLG_IMODULE* module = instance.get_module();
    auto it = m_module_to_ports.find(static_cast<uint32_t>(module->get_index()));
    if (it == m_module_to_ports.end()) return;
    const TSL_ITRAVERSE::INSTANCES& stack = m_traverse->get_hier_blks();
    m_tracer->set_instances(stack);
    for (uint32_t index : it->second) {
        NLG_IPORT* p = module->get_port(static_cast<int32_t>(index));
        const int kind = p->is_input() ? RTL::ITRACE2::INPUT : RTL::ITRACE2::OUTPUT;
        m_found_ports.clear();
        m_tracer->trace(RTL::ITRACE2::UP, kind, p);
        if (m_found_ports.empty()) continue;
        m_context->m_path->set(&stack, p, m_root);
        uint32_t reached_module = 0;
        const uint64_t subnode =
            m_context->m_hierarchy->get_node(reached_module, *m_context->m_path);
        UTIL_ASSERT(subnode != UTIL::IHIERARCHY::INVALID_NODE);
        if (m_current == nullptr) {
            m_current = m_portmap->add_module_to_subnode_to_ports();
            m_current->set_parent_module_index(m_root->get_index());
        }
        PB::PORTMAPS::PORTMAP::SUBNODE_TO_PORTS* entry = m_current->add_subnode_to_ports();
        entry->set_child_subnode(static_cast<int64_t>(subnode));
        std::sort(m_found_ports.begin(), m_found_ports.end());
        auto* ports = entry->mutable_parent_ports();
        for (uint32_t found : m_found_ports) ports->add_ports(static_cast<int32_t>(found));
    }
}

void PORTMAP_VISITOR::exit_module(NLG_IMODULE& module) {
    if (&module == m_traverse->get_root()) m_current = nullptr;
}

bool PORTMAP_VISITOR::visit_port(NLG_IPORT* port) {
    if (port->get_parent() != m_root) return false;
    m_found_ports.push_back(static_cast<uint32_t>(port->get_index()));
    return true;
}

void generate_portmaps(NLG_IGRAPH* graph, NLG_IANNSS* annss, NLG_IGRAPH::IHPATH* path,
                       UTIL::IPORTMAPS_BUILDER& portmaps) {
    const PORTMAP_CONTEXT context{graph, annss, path, portmaps.get_hierarchy()};
    const PB::PORTMAPS::SPECIFICATIONS& s = portmaps.get_specifications();
    std::vector<PB::PORTMAPS::PORTMAP> maps(static_cast<size_t>(s.specs_size()));
    for (int i = 0; i < s.specs_size(); ++i) {
        const PB::PORTMAPS::SPECIFICATIONS::SPECIFICATION& spec = s.specs(i);
        PORTMAP_VISITOR visitor(&context, s.parents(spec.parents_index()),
                                s.children(spec.children_index()));
        visitor.run(&maps[static_cast<size_t>(i)]);
    }
    portmaps.add_portmaps(maps);
}

}  // namespace FAB
