// The walk over both views:
// 1. Each non-routing top-level block module of the netlist is paired with the first
//    block-level module named after its logical name (and implementation, unless DEFAULT).
// 2. The netlist is walked from its top module, instance by instance. A non-routing block
//    instance is entered, then its block-level module is walked in its place with the
//    block-level annotation reader in force, then it is exited. A block on a spare row is cut
//    off whole: no hook, no descent.
// 3. Outside the blocks the walk follows the netlist hierarchy node by node; inside a block
//    the node is -1 and positions come from the block-level instance records.
// 4. FAB_FULL_TRAVERSE adds each block's grid position and each inner instance's offsets to a
//    running location on the way down and subtracts them on the way up.
#include "fab/fab_full_traverse.h"

#include "ann_icdb.pb.h"
#include "util/util_assert.h"
#include "util/util_symbol.h"

namespace {

// Room for the instance stack of a deep device hierarchy without growth.
constexpr size_t HIER_BLKS_RESERVE = 20;
constexpr uint64_t BLC_NODE = UTIL::IHIERARCHY::INVALID_NODE;

// The block-level module name of a block: its logical name, joined with "__" and its
// implementation unless that is DEFAULT.
std::string blc_module_name(const PB::ICDB::MODULE& record) {
    const std::string& name = UTIL::fast_name(NS_SYMBOL::SYM(record.logical_name().value()));
    const std::string& impl = UTIL::fast_name(NS_SYMBOL::SYM(record.logical_impl().value()));
    if (impl == "DEFAULT") return name;
    return name + "__" + impl;
}

}  // namespace

FAB_FULL_TRAVERSE_BASE::FAB_FULL_TRAVERSE_BASE(FAB_VISITOR_BASE* visitor, NLG_IANNSS* rtl_annss,
                                               NLG_IANNSS* blc_annss,
                                               ICDB::IINSTANCE_TREE* instance_tree,
                                               FAB_IPOSITION* position)
    : m_visitor(visitor),
      m_rtl_annss(rtl_annss),
      m_blc_annss(blc_annss),
      m_instance_tree(instance_tree),
      m_position(position) {
    m_hier_blks.reserve(HIER_BLKS_RESERVE);
    m_node_stack.reserve(HIER_BLKS_RESERVE);
}

FAB_FULL_TRAVERSE_BASE::~FAB_FULL_TRAVERSE_BASE() = default;

void FAB_FULL_TRAVERSE_BASE::traverse_tops(NLG_IGRAPH*, const std::vector<uint32_t>&) {
    UTIL_FAIL("Illegal call!");
}

void FAB_FULL_TRAVERSE_BASE::traverse(NLG_IGRAPH*) {
    UTIL_FAIL("Illegal call!");
}

void FAB_FULL_TRAVERSE_BASE::traverse_subtree(NLG_IGRAPH*, const INSTANCES&) {
    UTIL_FAIL("Illegal call!");
}

void FAB_FULL_TRAVERSE_BASE::traverse_flat(NLG_IGRAPH*) {
    UTIL_FAIL("Illegal call!");
}

uint64_t FAB_FULL_TRAVERSE_BASE::get_node() const {
    return m_in_blc ? BLC_NODE : m_node;
}

NLG_IMODULE* FAB_FULL_TRAVERSE_BASE::get_root() const {
    UTIL_ASSERT(m_root);
    return m_root;
}

const PB::ICDB::POSITION& FAB_FULL_TRAVERSE_BASE::get_position() const {
    UTIL_FAIL("Illegal call! Call get_location_data() instead.");
}

NLG_IMODULE* FAB_FULL_TRAVERSE_BASE::get_blc_module(const NLG_IMODULE* rtl_module) const {
    auto it = m_rtl2blc_map.find(rtl_module);
    return it == m_rtl2blc_map.end() ? nullptr : it->second;
}

void FAB_FULL_TRAVERSE_BASE::map_blocks() {
    m_rtl2blc_map.clear();
    NLG_ICDB_ANNS& rtl = m_rtl_annss->get_icdb();
    const UTIL::SYMBOL_TABLE* blc_symbols = m_blc_graph->get_symbol_table();
    const uint32_t n_modules = m_rtl_graph->get_num_modules();
    for (uint32_t m = 0; m < n_modules; ++m) {
        NLG_IMODULE* module = m_rtl_graph->get_module(static_cast<int32_t>(m));
        const PB::ICDB::MODULE& a = rtl.get_module(*module);
        if (a.level() != PB::ICDB::MODULE::TOP_LEVEL_IP || a.is_routing()) continue;
        // Module names are unique in a graph, so the name index finds the first one.
        const NS_SYMBOL::SYM name = blc_symbols->find(blc_module_name(a));
        NLG_IMODULE* blc_module = name.is_known() ? m_blc_graph->get_module(name) : nullptr;
        UTIL_ASSERT(blc_module);
        m_rtl2blc_map[module] = blc_module;
    }
}

void FAB_FULL_TRAVERSE_BASE::traverse(NLG_IGRAPH* rtl_graph, NLG_IGRAPH* blc_graph) {
    m_rtl_graph = rtl_graph;
    m_blc_graph = blc_graph;
    map_blocks();
    m_rtl_graph->accept_enter(*m_visitor);
    m_visitor->set_annss(&m_rtl_annss->get_icdb());
    NLG_IMODULE* top = m_rtl_graph->get_top_module();
    UTIL_ASSERT(!m_root);
    m_root = top;
    walk_module(top);
    UTIL_ASSERT(m_root);
    m_root = nullptr;
    m_rtl_graph->accept_exit(*m_visitor);
}

void FAB_FULL_TRAVERSE_BASE::walk_module(NLG_IMODULE* module) {
    NLG_ICDB_ANNS& rtl = m_rtl_annss->get_icdb();
    const uint32_t n_instances = module->get_num_instances();
    for (uint32_t n = 0; n < n_instances; ++n) {
        NLG_IINSTANCE* i = module->get_instance(static_cast<int32_t>(n));
        NLG_IMODULE* this_module = i->get_module();
        bool is_top = false;
        bool routing = false;
        if (!m_in_blc) {
            const PB::ICDB::MODULE& a = rtl.get_module(*this_module);
            is_top = a.level() == PB::ICDB::MODULE::TOP_LEVEL_IP;
            routing = a.is_routing();
        }
        push_instance(i, is_top);
        if (!m_is_spare_row) {
            if (m_in_blc || !is_top || routing) {
                // Inside a block, and around the blocks, the walk follows the graph it is in;
                // routing blocks are walked in the netlist like any module.
                enter_hook(i);
                walk_module(this_module);
                exit_hook(i);
            } else {
                m_in_blc = true;
                enter_hook(i);
                m_at_block = false;
                UTIL_ASSERT(m_rtl2blc_map.count(this_module));
                m_visitor->set_annss(&m_blc_annss->get_icdb());
                walk_module(m_rtl2blc_map[this_module]);
                m_visitor->set_annss(&rtl);
                m_at_block = true;
                exit_hook(i);
                m_in_blc = false;
            }
        }
        pop_instance(i, is_top);
    }
}

void FAB_FULL_TRAVERSE_BASE::push_instance(NLG_IINSTANCE* i, bool is_top) {
    if (!m_in_blc) {
        uint32_t child_module = 0;
        const uint64_t child = m_instance_tree->get_hierarchy()->get_child_node(
            &child_module, static_cast<uint32_t>(i->get_parent()->get_index()), m_node,
            static_cast<uint32_t>(i->get_index()));
        m_node_stack.push_back(m_node);
        m_node = child;
        if (!is_top) {
            m_hier_blks.push_back(i);
            return;
        }
    }
    m_position->set(i, get_node());
    if (!m_in_blc && m_position->is_valid()) {
        m_is_spare_row = m_position->get_spare_row();
        m_position->get_uid(m_uid);
    }
    m_hier_blks.push_back(i);
}

void FAB_FULL_TRAVERSE_BASE::pop_instance(NLG_IINSTANCE* i, bool is_top) {
    // An unbalanced pop has nothing on either stack: stop before touching them.
    UTIL_ASSERT(m_hier_blks.size());
    // Set again so that a subclass reads the record of this place, not of the last child.
    if (is_top || m_in_blc) m_position->set(i, get_node());
    if (!m_in_blc) {
        if (is_top && m_position->is_valid()) {
            m_is_spare_row = false;
            m_uid.clear();
        }
        m_node = m_node_stack.back();
        m_node_stack.pop_back();
    }
    m_hier_blks.pop_back();
}

// Running location

void FAB_FULL_TRAVERSE::enter_hook(NLG_IINSTANCE* instance) {
    instance->accept_enter(*m_visitor);
}

void FAB_FULL_TRAVERSE::exit_hook(NLG_IINSTANCE* instance) {
    instance->accept_exit(*m_visitor);
}

void FAB_FULL_TRAVERSE::push_instance(NLG_IINSTANCE* instance, bool is_top) {
    FAB_FULL_TRAVERSE_BASE::push_instance(instance, is_top);
    if (!is_top && !m_in_blc) return;
    FAB_LOCATION offset = {-1, -1, -1};
    if (m_position->get_block_position(offset.x, offset.y, offset.z)) {
        m_location.x += offset.x;
        m_location.y += offset.y;
        m_location.z += offset.z;
    }
}

void FAB_FULL_TRAVERSE::pop_instance(NLG_IINSTANCE* instance, bool is_top) {
    FAB_FULL_TRAVERSE_BASE::pop_instance(instance, is_top);
    if (!is_top && !m_in_blc) return;
    FAB_LOCATION offset = {-1, -1, -1};
    if (m_position->get_block_position(offset.x, offset.y, offset.z)) {
        m_location.x -= offset.x;
        m_location.y -= offset.y;
        m_location.z -= offset.z;
    }
}

void FAB_FULL_TRAVERSE_BLC::enter_hook(NLG_IINSTANCE* instance) {
    if (m_in_blc) instance->accept_enter(*m_visitor);
}

void FAB_FULL_TRAVERSE_BLC::exit_hook(NLG_IINSTANCE* instance) {
    if (m_in_blc) instance->accept_exit(*m_visitor);
}
