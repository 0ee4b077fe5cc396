// The walks over a netlist graph:
// 1. A walk enters the graph, then walks below each root with set_root/traverse_module/unset_root,
//    then exits the graph. Every call to the visitor goes through the object's dispatch.
// 2. traverse_module descends instance by instance: push_instance appends to the stack and,
//    with a flat source, moves to the child's hierarchy node and (with a position) reads that
//    node's flat record into the single current slot; pop_instance undoes the stack and node
//    and clears the slot.
// 3. The level walks replace traverse_module: they descend until the instance's module has the
//    level they stop at, visit that instance and do not descend into it.
// 4. The flat walk ignores the hierarchy and visits each definition once.
#include "nlg/nlg_graph_traverse.h"

#include "ann_icdb.pb.h"
#include "nlg/nlg_graph.h"
#include "util/util_assert.h"

namespace {

// Room for the instance stack of a deep device hierarchy without growth.
constexpr size_t HIER_BLKS_RESERVE = 20;

}  // namespace

TSL_ITRAVERSE* TSL_VISITOR_BASE::checked_traverse(const char* visitor_name) const {
    if (!m_traverse) UTIL_FAIL("Traverse is unset for visitor %s!", visitor_name);
    return m_traverse;
}

TSL_TRAVERSE_BASE::TSL_TRAVERSE_BASE(TSL_IVISITOR* visitor, ICDB::IINSTANCE_TREE* flat_source,
                                     bool walk_spare_rows)
    : m_visitor(visitor),
      m_root(nullptr),
      m_flat_source(flat_source),
      m_node(0),
      m_flat_instance(nullptr),
      m_is_spare_row(false),
      m_walk_spare_rows(walk_spare_rows),
      m_position(nullptr) {
    UTIL_ASSERT(m_visitor);
    m_hier_blks.reserve(HIER_BLKS_RESERVE);
    m_node_stack.reserve(HIER_BLKS_RESERVE);
}

TSL_TRAVERSE_BASE::~TSL_TRAVERSE_BASE() = default;

void TSL_TRAVERSE_BASE::traverse(NLG_IGRAPH* graph) {
    NLG_IMODULE* top = graph->get_top_module();
    traverse_tops(graph, std::vector<uint32_t>(1, static_cast<uint32_t>(top->get_index())));
}

void TSL_TRAVERSE_BASE::traverse_tops(NLG_IGRAPH* graph,
                                      const std::vector<uint32_t>& module_indexes) {
    graph->accept_enter(*m_visitor);
    for (uint32_t index : module_indexes) {
        NLG_IMODULE* module = graph->get_module(static_cast<int32_t>(index));
        set_root(module);
        traverse_module(module);
        unset_root();
    }
    graph->accept_exit(*m_visitor);
}

void TSL_TRAVERSE_BASE::traverse_subtree(NLG_IGRAPH*, const INSTANCES&) {
    UTIL_FAIL("Feature not supported!");
}

void TSL_TRAVERSE_BASE::traverse_flat(NLG_IGRAPH* graph) {
    graph->accept_enter(*m_visitor);
    const uint32_t n_modules = graph->get_num_modules();
    for (uint32_t m = 0; m < n_modules; ++m) {
        NLG_IMODULE* module = graph->get_module(static_cast<int32_t>(m));
        module->accept_enter(*m_visitor);
        const uint32_t n_ports = module->get_num_ports();
        for (uint32_t p = 0; p < n_ports; ++p) {
            NLG_IPORT* port = module->get_port(static_cast<int32_t>(p));
            port->accept_enter(*m_visitor);
            port->accept_exit(*m_visitor);
        }
        const uint32_t n_instances = module->get_num_instances();
        for (uint32_t i = 0; i < n_instances; ++i) {
            NLG_IINSTANCE* instance = module->get_instance(static_cast<int32_t>(i));
            instance->accept_enter(*m_visitor);
            const uint32_t n_refs = instance->get_num_portrefs();
            for (uint32_t r = 0; r < n_refs; ++r) {
                NLG_IPORT_REF* ref = instance->get_portref(static_cast<int32_t>(r));
                ref->accept_enter(*m_visitor);
                ref->accept_exit(*m_visitor);
            }
            instance->accept_exit(*m_visitor);
        }
        module->accept_exit(*m_visitor);
    }
    graph->accept_exit(*m_visitor);
}

NLG_IMODULE* TSL_TRAVERSE_BASE::get_root() const {
    UTIL_ASSERT(m_root);
    return m_root;
}

const PB::ICDB::POSITION& TSL_TRAVERSE_BASE::get_position() const {
    UTIL_ASSERT(m_position);
    return *m_position;
}

void TSL_TRAVERSE_BASE::set_root(NLG_IMODULE* module) {
    UTIL_ASSERT(!m_root);
    m_root = module;
}

void TSL_TRAVERSE_BASE::unset_root() {
    UTIL_ASSERT(m_root);
    m_root = nullptr;
}

void TSL_TRAVERSE_BASE::traverse_module(NLG_IMODULE* module) {
    module->accept_enter(*m_visitor);
    const uint32_t n_instances = module->get_num_instances();
    for (uint32_t i = 0; i < n_instances; ++i) {
        NLG_IINSTANCE* instance = module->get_instance(static_cast<int32_t>(i));
        push_instance(instance, true);
        if (m_walk_spare_rows || !m_is_spare_row) {
            instance->accept_enter(*m_visitor);
            traverse_module(instance->get_module());
            instance->accept_exit(*m_visitor);
        }
        pop_instance(true);
    }
    module->accept_exit(*m_visitor);
}

void TSL_TRAVERSE_BASE::push_instance(NLG_IINSTANCE* instance, bool with_position) {
    m_hier_blks.push_back(instance);
    if (!m_flat_source) return;

    uint32_t child_module = 0;
    const uint64_t child = m_flat_source->get_hierarchy()->get_child_node(
        &child_module, static_cast<uint32_t>(instance->get_parent()->get_index()), m_node,
        static_cast<uint32_t>(instance->get_index()));
    m_node_stack.push_back(m_node);
    m_node = child;

    if (!with_position) return;
    m_flat_instance = m_flat_source->get_flat_instance(m_node);
    if (!m_flat_instance) return;
    m_is_spare_row = m_flat_instance->is_spare_row();
    m_position = &m_flat_instance->bposition();
    if (m_flat_instance->has_uid()) m_uid = m_flat_instance->uid();
}

void TSL_TRAVERSE_BASE::pop_instance(bool with_position) {
    UTIL_ASSERT(m_hier_blks.size());
    m_hier_blks.pop_back();
    if (!m_flat_source) return;

    if (with_position && m_flat_instance) {
        m_flat_instance = nullptr;
        m_is_spare_row = false;
        m_uid.clear();
        m_position = nullptr;
    }
    m_node = m_node_stack.back();
    m_node_stack.pop_back();
}

// Level walks

TSL_TRAVERSE_SECTOR::TSL_TRAVERSE_SECTOR(TSL_IVISITOR* visitor, NLG_IANNSS* annss,
                                         ICDB::IINSTANCE_TREE* flat_source)
    : TSL_TRAVERSE_BASE(visitor, flat_source, false), m_anns(&annss->get_icdb()) {}

void TSL_TRAVERSE_SECTOR::traverse_module(NLG_IMODULE* module) {
    const uint32_t n_instances = module->get_num_instances();
    for (uint32_t i = 0; i < n_instances; ++i) {
        NLG_IINSTANCE* instance = module->get_instance(static_cast<int32_t>(i));
        NLG_IMODULE* child = instance->get_module();
        const bool stop = m_anns->get_module(*child).level() == PB::ICDB::MODULE::SECTOR;
        push_instance(instance, false);
        if (m_walk_spare_rows || !m_is_spare_row) {
            if (stop) {
                instance->accept_enter(*m_visitor);
                instance->accept_exit(*m_visitor);
            } else {
                traverse_module(child);
            }
        }
        pop_instance(false);
    }
}

TSL_TRAVERSE_TOP_IP::TSL_TRAVERSE_TOP_IP(TSL_IVISITOR* visitor, NLG_IANNSS* annss,
                                         ICDB::IINSTANCE_TREE* flat_source, bool walk_spare_rows)
    : TSL_TRAVERSE_BASE(visitor, flat_source, walk_spare_rows), m_anns(&annss->get_icdb()) {}

void TSL_TRAVERSE_TOP_IP::traverse_module(NLG_IMODULE* module) {
    const uint32_t n_instances = module->get_num_instances();
    for (uint32_t i = 0; i < n_instances; ++i) {
        NLG_IINSTANCE* instance = module->get_instance(static_cast<int32_t>(i));
        NLG_IMODULE* child = instance->get_module();
        const bool stop = m_anns->get_module(*child).level() == PB::ICDB::MODULE::TOP_LEVEL_IP;
        push_instance(instance, stop);
        if (m_walk_spare_rows || !m_is_spare_row) {
            if (stop) {
                instance->accept_enter(*m_visitor);
                instance->accept_exit(*m_visitor);
            } else {
                traverse_module(child);
            }
        }
        pop_instance(stop);
    }
}

TSL_TRAVERSE_MUX::TSL_TRAVERSE_MUX(TSL_IVISITOR* visitor, NLG_IANNSS* annss,
                                   ICDB::IINSTANCE_TREE* flat_source)
    : TSL_TRAVERSE_BASE(visitor, flat_source, false), m_anns(&annss->get_icdb()) {}

// A first stage belongs to the mux whose later stage drives it, so the walk hides it. The
// description is the module's when it is a template, else the instance's own.
void TSL_TRAVERSE_MUX::traverse_module(NLG_IMODULE* module) {
    const uint32_t n_instances = module->get_num_instances();
    for (uint32_t i = 0; i < n_instances; ++i) {
        NLG_IINSTANCE* instance = module->get_instance(static_cast<int32_t>(i));
        NLG_IMODULE* child = instance->get_module();
        const PB::ICDB::MODULE& record = m_anns->get_module(*child);
        const bool with_position = record.level() == PB::ICDB::MODULE::TOP_LEVEL_IP;
        push_instance(instance, with_position);
        if (!m_is_spare_row) {
            if (record.level() == PB::ICDB::MODULE::PRIM_MUX) {
                const PB::ICDB::MODULE::MUX_DESC& desc =
                    record.mux_desc().is_template() ? record.mux_desc()
                                                    : m_anns->get_instance(*instance).mux_desc();
                if (!desc.is_first_stage()) {
                    instance->accept_enter(*m_visitor);
                    instance->accept_exit(*m_visitor);
                }
            } else {
                traverse_module(child);
            }
        }
        pop_instance(with_position);
    }
}

void TSL_TRAVERSE_MULTI_TOP::traverse(NLG_IGRAPH* graph) {
    UTIL_ASSERT_MSG(graph->get_num_modules() != 0, "Graph is empty!");
    NLG_GRAPH* stored = dynamic_cast<NLG_GRAPH*>(graph);
    UTIL_ASSERT(stored != NULL);
    graph->accept_enter(*m_visitor);
    for (NLG_MODULE* module : stored->get_top_level_modules()) {
        set_root(module);
        traverse_module(module);
        unset_root();
    }
    graph->accept_exit(*m_visitor);
}

TSL_TRAVERSE_BASE* tsl_create_traverse_top_ip(TSL_IVISITOR* visitor, NLG_IANNSS* annss,
                                              ICDB::IINSTANCE_TREE* flat_source,
                                              bool walk_spare_rows) {
    return new TSL_TRAVERSE_TOP_IP(visitor, annss, flat_source, walk_spare_rows);
}

TSL_TRAVERSE_BASE* tsl_create_traverse_mux(TSL_IVISITOR* visitor, NLG_IANNSS* annss,
                                           ICDB::IINSTANCE_TREE* flat_source) {
    return new TSL_TRAVERSE_MUX(visitor, annss, flat_source);
}

TSL_TRAVERSE_BASE* tsl_create_traverse_sector(TSL_IVISITOR* visitor, NLG_IANNSS* annss,
                                              ICDB::IINSTANCE_TREE* flat_source) {
    return new TSL_TRAVERSE_SECTOR(visitor, annss, flat_source);
}

// Block sizes

TSL_BLOCK_SIZE_CALCULATOR::TSL_BLOCK_SIZE_CALCULATOR(NLG_IANNSS* annss)
    : m_anns(&annss->get_icdb()) {}

void TSL_BLOCK_SIZE_CALCULATOR::exit_module(NLG_IMODULE& module) {
    if (module.get_num_instances() != 0) return;
    PB::ICDB::MODULE& record = m_anns->get_module(module);
    record.set_pnr_height(1);
    record.set_pnr_width(1);
}

// Sizes only grow: a shared module is exited once per instantiation, and each update is a
// maximum.
void TSL_BLOCK_SIZE_CALCULATOR::exit_instance(NLG_IINSTANCE& instance) {
    NLG_IMODULE* child = instance.get_module();
    const PB::ICDB::MODULE& child_record = m_anns->get_module(*child);
    if (!(child_record.pnr_height() >= 1 && child_record.pnr_width() >= 1)) {
        const std::string name = child->get_name().str();
        UTIL_FAIL("Module %s has invalid size!", name.c_str());
    }
    const PB::ICDB::INSTANCE& place = m_anns->get_instance(instance);
    if (place.pnr_x() == -1 || place.pnr_y() == -1 || place.pnr_z() == -1) return;

    PB::ICDB::MODULE& parent = m_anns->get_module(*instance.get_parent());
    if (place.pnr_x() + child_record.pnr_width() > parent.pnr_width())
        parent.set_pnr_width(place.pnr_x() + child_record.pnr_width());
    if (place.pnr_y() + child_record.pnr_height() > parent.pnr_height())
        parent.set_pnr_height(place.pnr_y() + child_record.pnr_height());
}
