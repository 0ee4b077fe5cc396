// The floorplan pair runs under the top-level block walk without spare rows, each visit at the
// exit of a block instance, and both count exactly the non-routing blocks.
// The node and edge generators of the routing graph:
//  1. Block nodes: every RE port of a block's top instance and of the block-level instances
//     inside, located by the summed offsets; a mux that drives a block input may be that input.
//  2. Inserted REs, numbered per cell and type; a mux output they reach is told to merge.
//  3. Mux outputs: a merged output gets no node and maps to the RE it is; one merged only in part
//     gets a node and a bridge edge; a HIPI mux gets a shadow node and a VIRTUAL pair.
//  4. CRF edges trace each open path of each mux, memoised at the smallest module holding both
//     ends and replayed in every later occurrence of that module.
//  5. FCD edges from block outputs (one fly-over across a spare row), BLC edges inside blocks,
//     and the edges at inserted REs, all by tracing from each RE port.
#include "fab/fab_graph_traverse.h"

#include <algorithm>
#include <iostream>
#include <sstream>
#include <string>

#include "ann_icdb.pb.h"
#include "fab/tsl_fab.h"
#include "fab_itranslate.h"
#include "util/util_symbol.h"
#include "icdb_iinstance_tree.h"
#include "nlg/nlg_graph_traverse.h"
#include "util/util_aliases.h"
#include "util/util_assert.h"
#include "util/util_gid.h"
#include "util/util_hierarchy.h"

namespace {

using MODULE = PB::ICDB::MODULE;
using APORT = PB::ICDB::APORT;

void write_path(std::ostream& os, const FAB_INSTANCES& instances) {
    for (const NLG_IINSTANCE* instance : instances) os << "/" << instance->get_name();
}

NS_SYMBOL::SYM symbol(const PB::SYMBOL& s) {
    return NS_SYMBOL::SYM(s.value());
}

bool is_merge(const APORT& r, APORT::MERGE_TYPE type) {
    return r.has_merge_type() && r.merge_type() == type;
}

}  // namespace

// Floorplan visitors

void TSL_TOP_IP_COUNTER::exit_instance(NLG_IINSTANCE& instance) {
    const PB::ICDB::MODULE& record = m_rtl_annss->get_icdb().get_module(*instance.get_module());
    if (record.level() == PB::ICDB::MODULE::TOP_LEVEL_IP && !record.is_routing()) ++*m_count;
}

void TSL_TOP_IP_GENERATOR::exit_instance(NLG_IINSTANCE& instance) {
    const PB::ICDB::MODULE& record = m_rtl_annss->get_icdb().get_module(*instance.get_module());
    if (record.level() != PB::ICDB::MODULE::TOP_LEVEL_IP) return;
    TSL_ITRAVERSE* walk = checked_traverse("TSL_TOP_IP_GENERATOR");
    const uint64_t node = walk->get_node();
    m_position->set(&instance, node);
    // Routing blocks are recorded for the translate object too.
    if (m_translate) add_top_level_block(instance, node);
    if (record.is_routing()) return;

    FAB_LOCATION location = {-1, -1, -1};
    m_position->get_block_position(location.x, location.y, location.z);
    float phys_x = -1.0f;
    float phys_y = -1.0f;
    m_position->get_physical_position(phys_x, phys_y);
    const std::string uid = walk->get_uid();
    m_serializer->add_rtl_module_instance(&instance, record, location, phys_x, phys_y, uid);
}

// The block's name is its uid, else its module name with its grid place.
void TSL_TOP_IP_GENERATOR::add_top_level_block(NLG_IINSTANCE& instance, uint64_t node) {
    std::ostringstream name;
    if (!m_position->write_name(name, instance.get_module()->get_name())) return;
    const NS_SYMBOL::SYM symbol = m_rtl_symbols->add(name.str());
    m_translate->get_tlblocks_builder()->add_instance(
        static_cast<uint32_t>(instance.get_module()->get_index()), node, symbol);
}

// Working state of generate

FAB_GENERATE_STATE::FAB_GENERATE_STATE(const UTIL::IHIERARCHY* hierarchy, uint32_t cells,
                                       uint32_t hipi_places)
    : m_main_ids(hierarchy, fab_hash_reserve(cells * 1500.0)),
      m_hipi_ids(hierarchy, fab_hash_reserve(hipi_places)),
      m_node_index(cells) {
    // Few mux outputs merge: the flat table grows as they come, from a small start at most.
    m_mux_to_blc_node_map.reserve(std::min(fab_hash_reserve(cells * 180.0), size_t{1} << 16));
    m_hipi_pairs.reserve(hipi_places);
    m_bridge_pairs.reserve(2 * static_cast<size_t>(cells));
}

uint32_t fab_add_node(FAB::ROUTING_GRAPH::IBUILDER& builder, const NODE_IMPL& node) {
    const uint32_t id = builder.add_node(node);
    if (id == FAB::ROUTING_GRAPH::INVALID_ID) {
        std::string path;
        if (node.m_path)
            for (const NLG_IINSTANCE* instance : *node.m_path)
                path += "/" + instance->get_name().str();
        UTIL_FAIL("Builder answered 0x%x for the node of port %s of module %s at %s", id,
                  node.m_port.m_port->get_name().str().c_str(),
                  node.m_port.m_port->get_parent()->get_name().str().c_str(), path.c_str());
    }
    return id;
}

namespace {

// How many entries of the stack lead down to its deepest top-level block; 0 when none is one.
size_t block_depth(NLG_ICDB_ANNS& anns, const FAB_INSTANCES& instances) {
    for (size_t k = instances.size(); k > 0; --k)
        if (anns.get_module(*instances[k - 1]->get_module()).level() == MODULE::TOP_LEVEL_IP)
            return k;
    return 0;
}

}  // namespace

const PB::ICDB::FLAT_INSTANCE* find_flat_instance(ICDB::IINSTANCE_TREE* tree, NLG_ICDB_ANNS& anns,
                                                  const FAB_INSTANCES& instances) {
    const size_t keep = block_depth(anns, instances);
    // The prefix lives on the stack of this call; a thread-local buffer spares the allocation.
    static thread_local FAB_INSTANCES s_prefix;
    s_prefix.assign(instances.begin(), instances.begin() + static_cast<std::ptrdiff_t>(keep));
    const UTIL::IHIERARCHY* hierarchy = tree->get_hierarchy();
    RE_PATH path(hierarchy, &s_prefix, nullptr);
    return tree->get_flat_instance(hierarchy->get_node(path));
}

void get_instance_path(const UTIL::IHIERARCHY* hierarchy, UTIL::IHIERARCHY::IPATH_SETTABLE* path,
                       uint64_t node, NLG_IGRAPH* graph, FAB_INSTANCES& out) {
    out.clear();
    hierarchy->get_path(path, node);
    NLG_IMODULE* m = graph->get_module(static_cast<int32_t>(path->get_base_module_index()));
    for (uint32_t k = 0; k < path->size(); ++k) {
        NLG_IINSTANCE* inst = m->get_instance(static_cast<int32_t>(path->get_instance(k)));
        out.push_back(inst);
        m = inst->get_module();
    }
}

// Block nodes

FAB_BLC_NODE_GENERATOR::FAB_BLC_NODE_GENERATOR(FAB_GENERATE_STATE& state)
    : m_state(state),
      m_rtl_anns(&state.m_rtl_annss->get_icdb()),
      m_tracer(tsl_create_rtl_tracer<TSL_RTL_TRACER_FOR_BLC_NODE_GENERATOR>(state.m_rtl_annss)) {}

void FAB_BLC_NODE_GENERATOR::set_traverse(TSL_ITRAVERSE*) {
    UTIL_FAIL("Illegal call");
}

void FAB_BLC_NODE_GENERATOR::enter_instance(NLG_IINSTANCE& instance) {
    if (!m_blc_traverse) UTIL_FAIL("Traverse is unset for visitor FAB_BLC_NODE_GENERATOR!");
    NLG_IMODULE* m = instance.get_module();
    const MODULE& an = m_anns->get_module(*m);
    const FAB_INSTANCES& path = m_blc_traverse->get_hier_blks();
    const bool is_block = an.level() == MODULE::TOP_LEVEL_IP;
    for (uint32_t k = 0; k < m->get_num_ports(); ++k) {
        NLG_IPORT* p = m->get_port(static_cast<int32_t>(k));
        const APORT& r = m_anns->get_port(*p);
        if (!r.has_re_name()) continue;
        if (r.has_is_route_type_normal() && !r.is_route_type_normal()) continue;
        const FAB_LOCATION& at = m_blc_traverse->get_location_data();
        if (at.x == -1 || at.y == -1) {
            std::cout << "Warning: Invalid offset found! port " << p->get_name() << " module "
                      << m->get_name() << " at ";
            write_path(std::cout, path);
            std::cout << std::endl;
            return;
        }
        const uint64_t fab_id = m_state.m_main_ids.get_node(path, p);
        UTIL_ASSERT(fab_id != UTIL::IHIERARCHY::INVALID_NODE);
        // A block-internal mux belongs to the element around it.
        const MODULE& an_node =
            an.level() == MODULE::PRIM_MUX ? m_anns->get_module(*instance.get_parent()) : an;
        NODE_IMPL node;
        node.m_path = &path;
        node.m_port.m_port = p;
        node.m_port.m_logical_name = symbol(r.logical_name());
        node.m_port.m_an_module = &an_node;
        node.m_type = static_cast<uint32_t>(r.re_name());
        node.m_x = at.x;
        node.m_y = at.y;
        node.m_z = at.z;
        node.m_direction = 0;
        node.m_length = -1;
        node.m_index = static_cast<uint32_t>(r.re_index());
        node.m_in_translate = m_blc_traverse->is_at_block();
        m_state.m_main_ids.insert(fab_id, fab_add_node(*m_state.m_builder, node));
        if (m_state.m_translate && node.m_in_translate) {
            uint64_t base = UTIL::IHIERARCHY::INVALID_NODE;
            fab_translate_record_gid(m_state, node, fab_id, base);
        }
        // A mux that drives a block input is told that its output may be this input.
        if (is_block && !p->is_output()) {
            m_tracer->clear();
            m_tracer->set_instances(path);
            m_tracer->trace_up_input(p);
            std::vector<TSL_TRACED_PORT>& res = m_tracer->get_results();
            if (!res.empty()) {
                UTIL_ASSERT_MSG(res.size() == 1, "m_tracer->get_res().size() == 1");
                m_rtl_anns->get_port(*res[0].m_port).set_merge_type(APORT::POTENTIAL_MERGE);
            }
        }
    }
}

// Inserted REs

FAB_INSERT_NODE_GENERATOR::FAB_INSERT_NODE_GENERATOR(FAB_GENERATE_STATE& state)
    : m_state(state),
      m_anns(&state.m_rtl_annss->get_icdb()),
      m_tracer(tsl_create_rtl_tracer<TSL_RTL_TRACER_FOR_BLC_NODE_GENERATOR>(state.m_rtl_annss)) {}

void FAB_INSERT_NODE_GENERATOR::enter_instance(NLG_IINSTANCE& instance) {
    // The text names the block node generator, as it always has.
    TSL_ITRAVERSE* traverse = checked_traverse("FAB_BLC_NODE_GENERATOR");
    NLG_IMODULE* m = instance.get_module();
    const MODULE& an = m_anns->get_module(*m);
    const FAB_INSTANCES& path = traverse->get_hier_blks();
    for (uint32_t k = 0; k < m->get_num_ports(); ++k) {
        NLG_IPORT* p = m->get_port(static_cast<int32_t>(k));
        const APORT& r = m_anns->get_port(*p);
        if (!r.is_inserted_re()) continue;
        const PB::ICDB::POSITION& cur_position = traverse->get_position();
        UTIL_ASSERT(cur_position.col() != -1 && cur_position.row() != -1);
        m_tracer->set_instances(path);
        const uint64_t fab_id = m_state.m_main_ids.get_node(path, p);
        UTIL_ASSERT(fab_id != UTIL::IHIERARCHY::INVALID_NODE);
        NODE_IMPL node;
        node.m_path = &path;
        node.m_port.m_port = p;
        node.m_port.m_an_module = &an;
        node.m_type = static_cast<uint32_t>(r.re_name());
        node.m_x = cur_position.col();
        node.m_y = cur_position.row();
        node.m_z = 0;
        node.m_index = get_node_index(node.m_x, node.m_y, m_state.m_node_index, node.m_type);
        node.m_in_translate = true;
        m_state.m_main_ids.insert(fab_id, fab_add_node(*m_state.m_builder, node));
        if (m_state.m_translate) {
            uint64_t base = UTIL::IHIERARCHY::INVALID_NODE;
            fab_translate_record_gid(m_state, node, fab_id, base);
        }
        if (!p->is_input()) {
            m_tracer->clear();
            m_tracer->trace_down_output(p);
            apply_merge_rule(fab_id);
        }
        if (!p->is_output()) {
            m_tracer->clear();
            m_tracer->trace_up_input(p);
            apply_merge_rule(fab_id);
        }
    }
}

void FAB_INSERT_NODE_GENERATOR::apply_merge_rule(uint64_t node) {
    std::vector<TSL_TRACED_PORT>& res = m_tracer->get_results();
    if (res.empty()) return;
    UTIL_ASSERT_MSG(res.size() == 1, "m_tracer->get_res().size() == 1");
    const TSL_TRACED_PORT& t = res[0];
    APORT& q = m_anns->get_port(*t.m_port);
    if (is_merge(q, APORT::MERGE))
        *m_state.m_mux_to_blc_node_map
             .emplace(m_state.m_main_ids.get_node(t.m_instances, t.m_port), node)
             .first = node;
    else
        q.set_merge_type(APORT::POTENTIAL_MERGE);
}

// Mux outputs

FAB_MUX_NODE_GENERATOR::FAB_MUX_NODE_GENERATOR(FAB_GENERATE_STATE& state)
    : m_state(state),
      m_anns(&state.m_rtl_annss->get_icdb()),
      m_tracer(tsl_create_rtl_tracer<TSL_RTL_TRACER_FOR_CRF_NODE_GENERATOR>(state.m_rtl_annss)) {}

void FAB_MUX_NODE_GENERATOR::enter_instance(NLG_IINSTANCE& instance) {
    TSL_ITRAVERSE* traverse = checked_traverse("FAB_NODE_GENERATOR");
    NLG_IMODULE* m = instance.get_module();
    const MODULE& an_module = m_anns->get_module(*m);
    UTIL_ASSERT(an_module.level() == PB::ICDB::MODULE::PRIM_MUX);

    // A template's description is the module's; any other mux's is its instance's.
    const MODULE::MUX_DESC& d = an_module.mux_desc();
    if (d.is_first_stage()) return;
    MUX_KIND kind;
    const MODULE::MUX_DESC& own = d.is_template() ? d : m_anns->get_instance(instance).mux_desc();
    kind.m_type = static_cast<uint32_t>(own.mux_type());
    kind.m_direction = static_cast<uint32_t>(own.dir());
    kind.m_length = own.length();
    if (d.is_template() && d.has_hipi_mux_type())
        kind.m_hipi_type = static_cast<uint32_t>(d.hipi_mux_type());

    const FAB_INSTANCES& path = traverse->get_hier_blks();
    const PB::ICDB::POSITION& cur_position = traverse->get_position();
    UTIL_ASSERT(cur_position.col() != -1 && cur_position.row() != -1);
    const FAB_LOCATION place = {cur_position.col(), cur_position.row(), 0};
    for (uint32_t k = 0; k < m->get_num_ports(); ++k) {
        NLG_IPORT* p = m->get_port(static_cast<int32_t>(k));
        if (p->is_input()) continue;
        if (m_anns->get_port(*p).is_primary_port()) add_output(path, p, an_module, kind, place);
    }
}

FAB_MUX_NODE_GENERATOR::DECISION FAB_MUX_NODE_GENERATOR::decide(const FAB_INSTANCES& path,
                                                                NLG_IPORT* port,
                                                                const APORT& record,
                                                                uint64_t mux_node) {
    DECISION d;
    if (is_merge(record, APORT::POTENTIAL_MERGE)) {
        m_tracer->clear();
        m_tracer->set_instances(path);
        m_tracer->trace_up_output(port);
        const std::vector<TSL_TRACED_PORT>& res = m_tracer->get_traced_res();
        const std::vector<TSL_TRACED_PORT>& prim = m_tracer->get_traced_primary_ports();
        if (res.empty()) return d;
        if (prim.empty() && res.size() == 1) {
            // The mux output is the same wire as that RE.
            d.m_create = false;
            d.m_blc_node = m_state.m_main_ids.get_node(res[0].m_instances, res[0].m_port);
            *m_state.m_mux_to_blc_node_map.emplace(mux_node, d.m_blc_node).first = d.m_blc_node;
        } else if (prim.empty()) {
            // Only the last RE reached gets a bridge.
            for (const TSL_TRACED_PORT& t : res)
                d.m_blc_node = m_state.m_main_ids.get_node(t.m_instances, t.m_port);
            d.m_bridge_from = mux_node;
            d.m_bridge_to = d.m_blc_node;
        } else {
            if (res.size() != 1) UTIL_FAIL("m_tracer->m_blc_res.size() == 1");
            d.m_blc_node = m_state.m_main_ids.get_node(res[0].m_instances, res[0].m_port);
            d.m_bridge_from = mux_node;
            d.m_bridge_to = d.m_blc_node;
        }
    } else if (is_merge(record, APORT::MERGE)) {
        d.m_create = false;
        const uint64_t* blc_node = m_state.m_mux_to_blc_node_map.find(mux_node);
        if (!blc_node) UTIL_FAIL("blc_node_iter != m_mux_to_blc_node_map->end()");
        d.m_blc_node = *blc_node;
    }
    return d;
}

void FAB_MUX_NODE_GENERATOR::add_output(const FAB_INSTANCES& path, NLG_IPORT* port,
                                        const MODULE& an, const MUX_KIND& kind,
                                        const FAB_LOCATION& place) {
    const uint64_t mux_node = m_state.m_main_ids.get_node(path, port);
    UTIL_ASSERT(mux_node != UTIL::IHIERARCHY::INVALID_NODE);
    const DECISION d = decide(path, port, m_anns->get_port(*port), mux_node);

    NODE_IMPL node;
    node.m_path = &path;
    node.m_port.m_port = port;
    node.m_port.m_an_module = &an;
    node.m_x = place.x;
    node.m_y = place.y;
    node.m_z = place.z;
    uint32_t node_id = FAB::ROUTING_GRAPH::INVALID_ID;
    if (d.m_create) {
        node.m_type = kind.m_type;
        node.m_direction = kind.m_direction;
        node.m_length = kind.m_length;
        node.m_index = FAB::ROUTING_GRAPH::INVALID_ID;
        node.m_in_translate = true;
        // A wire is numbered in the cell of its low end.
        FAB_LOCATION low;
        node.get_location(low.x, low.y, low.z);
        node.m_index = get_node_index(low.x, low.y, m_state.m_node_index, kind.m_type);
        node_id = fab_add_node(*m_state.m_builder, node);
        m_state.m_main_ids.insert(mux_node, node_id);
        if (d.m_bridge_from != UTIL::IHIERARCHY::INVALID_NODE &&
            d.m_bridge_to != UTIL::IHIERARCHY::INVALID_NODE)
            m_state.m_bridge_pairs.emplace_back(m_state.m_main_ids.find_id(d.m_bridge_from),
                                                m_state.m_main_ids.find_id(d.m_bridge_to));
        if (m_state.m_translate) {
            uint64_t base = UTIL::IHIERARCHY::INVALID_NODE;
            fab_translate_record_gid(m_state, node, mux_node, base);
        }
    } else {
        const uint64_t blc_node = d.m_blc_node;
        UTIL_ASSERT(blc_node != UTIL::IHIERARCHY::INVALID_NODE);
        node_id = m_state.m_main_ids.find_id(blc_node);
    }
    UTIL_ASSERT(node_id != 0xffffffff);

    if (kind.m_hipi_type != 0) {
        NODE_IMPL shadow;
        shadow.m_path = &path;
        shadow.m_port.m_port = port;
        shadow.m_port.m_an_module = &an;
        shadow.m_type = kind.m_hipi_type;
        shadow.m_x = place.x;
        shadow.m_y = place.y;
        shadow.m_z = place.z;
        shadow.m_direction = 0;
        shadow.m_length = -1;
        shadow.m_index = get_node_index(place.x, place.y, m_state.m_node_index, kind.m_hipi_type);
        shadow.m_in_translate = false;
        const uint32_t hipi_id = fab_add_node(*m_state.m_builder, shadow);
        m_state.m_hipi_ids.insert(mux_node, hipi_id);
        m_state.m_hipi_pairs.emplace_back(hipi_id, node_id);
    }
}

// Edge generators: shared operations

FAB_EDGE_GENERATOR::FAB_EDGE_GENERATOR(FAB_GENERATE_STATE& state, NLG_ICDB_ANNS* anns)
    : m_state(state),
      m_anns(anns),
      m_tracer(tsl_create_rtl_tracer<TSL_RTL_TRACER>(state.m_rtl_annss)) {}

FAB_EDGE_GENERATOR::~FAB_EDGE_GENERATOR() = default;

TSL_TRACED_PORT FAB_EDGE_GENERATOR::traced(const FAB_INSTANCES& instances, NLG_IPORT* port) {
    TSL_TRACED_PORT t;
    t.m_instances = instances;
    t.m_port = port;
    return t;
}

// The instance tree does not change while edges are made, so an answer holds for the run.
bool FAB_EDGE_GENERATOR::on_spare_row(const TSL_TRACED_PORT& port) const {
    NLG_ICDB_ANNS& anns = m_state.m_rtl_annss->get_icdb();
    const FAB_INSTANCES& instances = port.m_instances;
    const size_t keep = block_depth(anns, instances);
    uint64_t hash = keep;
    for (size_t k = 0; k < keep; ++k)
        hash = (hash ^ reinterpret_cast<uintptr_t>(instances[k])) * 0x9E3779B97F4A7C15ULL;
    if (m_spare_rows.empty()) m_spare_rows.resize(SPARE_ROW_SLOTS);
    SPARE_ROW_ANSWER& answer = m_spare_rows[(hash >> 32) % SPARE_ROW_SLOTS];
    if (answer.m_valid && answer.m_block.size() == keep &&
        std::equal(answer.m_block.begin(), answer.m_block.end(), instances.begin()))
        return answer.m_spare;
    const PB::ICDB::FLAT_INSTANCE* flat =
        find_flat_instance(m_state.m_instance_tree, anns, instances);
    answer.m_block.assign(instances.begin(), instances.begin() + static_cast<std::ptrdiff_t>(keep));
    answer.m_valid = true;
    answer.m_spare = flat && flat->is_spare_row();
    return answer.m_spare;
}

uint32_t FAB_EDGE_GENERATOR::get_id(const FAB_INSTANCES& instances, NLG_IPORT* port) {
    const uint64_t node = m_state.m_main_ids.get_node(instances, port);
    if (node == UTIL::IHIERARCHY::INVALID_NODE) {
        std::cout << "Warning: invalid path!\n";
        return FAB::ROUTING_GRAPH::INVALID_ID;
    }
    return m_state.m_main_ids.find_id(node);
}

namespace {

void report_invalid(const char* which, const TSL_TRACED_PORT& t) {
    std::cout << which;
    if (t.m_port) {
        std::cout << "port " << t.m_port->get_name() << ", module "
                  << t.m_port->get_parent()->get_name() << " at ";
        write_path(std::cout, t.m_instances);
    }
}

}  // namespace

void FAB_EDGE_GENERATOR::add_edge(uint32_t src, uint32_t dst, const TSL_TRACED_PORT& s,
                                  const TSL_TRACED_PORT& t) {
    if (src != FAB::ROUTING_GRAPH::INVALID_ID && dst != FAB::ROUTING_GRAPH::INVALID_ID) {
        m_state.m_builder->add_edge(EDGE_IMPL(src, dst, true));
        return;
    }
    if (dst == FAB::ROUTING_GRAPH::INVALID_ID) report_invalid("Invalid dst node found! ", t);
    if (src == FAB::ROUTING_GRAPH::INVALID_ID) report_invalid("Invalid src node found! ", s);
    std::cout << std::endl;
}

void FAB_EDGE_GENERATOR::add_edge_by_port(const TSL_TRACED_PORT& s, const TSL_TRACED_PORT& t) {
    const uint32_t src = get_id(s.m_instances, s.m_port);
    const uint32_t dst = get_id(t.m_instances, t.m_port);
    add_edge(src, dst, s, t);
}

void FAB_EDGE_GENERATOR::add_edge_by_node(uint64_t src_node, uint64_t dst_node,
                                          const TSL_TRACED_PORT& s, const TSL_TRACED_PORT& t,
                                          bool is_hipi) {
    const uint32_t src = m_state.m_main_ids.find_id(src_node);
    const uint32_t dst =
        is_hipi ? m_state.m_hipi_ids.find_id(dst_node) : m_state.m_main_ids.find_id(dst_node);
    add_edge(src, dst, s, t);
}

// CRF edges

FAB_CRF_EDGE_GENERATOR::FAB_CRF_EDGE_GENERATOR(FAB_GENERATE_STATE& state)
    : FAB_EDGE_GENERATOR(state, &state.m_rtl_annss->get_icdb()),
      m_rebuild_path(state.m_main_ids.get_hierarchy()->create_path()) {
    m_tracer.reset(tsl_create_rtl_tracer<TSL_RTL_TRACER_SIMPLE_MUX>(state.m_rtl_annss));
    // The node passes have set every merge type: the records stay as they are from here.
    m_tracer->keep_port_flags();
}

void FAB_CRF_EDGE_GENERATOR::enter_graph(NLG_IGRAPH& graph) {
    m_edge_cache.reserve(graph.get_num_modules());
    m_edge_index.assign(graph.get_num_modules(), nullptr);
    m_hipi_edge_index.assign(graph.get_num_modules(), nullptr);
}

void FAB_CRF_EDGE_GENERATOR::enter_instance(NLG_IINSTANCE& instance) {
    if (m_state.m_no_cache) return;
    const FAB_INSTANCES& path = m_traverse->get_hier_blks();
    const NLG_IMODULE* m = instance.get_module();
    replay(cached(m_edge_index, m), m_pending, m_state.m_main_ids, path);
    replay(cached(m_hipi_edge_index, m), m_hipi_pending, m_state.m_hipi_ids, path);
}

// The edges of one path follow each other with one target: the last target is kept. The id
// tables do not change during a replay.
void FAB_CRF_EDGE_GENERATOR::replay(const std::vector<CACHED_EDGE>* entry, PENDING& pending,
                                    const NODE_ID_MAP& target, const FAB_INSTANCES& path) {
    if (!entry) return;
    const uint64_t base = m_state.m_main_ids.get_node(path, nullptr);
    const std::vector<CACHED_EDGE>& edges = *entry;
    bool has_last_dst = false;
    uint64_t last_dst_offset = 0;
    uint32_t last_dst = FAB::ROUTING_GRAPH::INVALID_ID;
    for (const CACHED_EDGE& e : edges) {
        const uint32_t src = m_state.m_main_ids.find_id(base + e.m_src_offset);
        if (src == FAB::ROUTING_GRAPH::INVALID_ID) continue;
        if (!has_last_dst || e.m_dst_offset != last_dst_offset) {
            has_last_dst = true;
            last_dst_offset = e.m_dst_offset;
            last_dst = target.find_id(base + e.m_dst_offset);
        }
        const uint32_t dst = last_dst;
        if (dst == FAB::ROUTING_GRAPH::INVALID_ID) continue;
        m_state.m_builder->add_edge(EDGE_IMPL(src, dst, true));
        const uint64_t mux_node = base + static_cast<int64_t>(e.m_mux_offset);
        if (e.m_whole_path)
            pending.m_paths.insert(mux_node, e.m_path_index);
        else
            pending.m_edges[mux_node].emplace(e.m_path_index, base + e.m_src_offset);
    }
}

void FAB_CRF_EDGE_GENERATOR::forget(const std::vector<CACHED_EDGE>* entry, PENDING& pending,
                                    uint64_t mux_node) {
    if (!entry) return;
    for (const CACHED_EDGE& e : *entry) {
        const uint64_t k = mux_node + static_cast<int64_t>(e.m_mux_offset);
        if (e.m_whole_path) {
            pending.m_paths.erase(k, e.m_path_index);
        } else {
            auto it = pending.m_edges.find(k);
            if (it == pending.m_edges.end()) continue;
            it->second.erase({e.m_path_index, mux_node + e.m_src_offset});
            if (it->second.empty()) pending.m_edges.erase(it);
        }
    }
}

void FAB_CRF_EDGE_GENERATOR::exit_instance(NLG_IINSTANCE& instance) {
    NLG_IMODULE* m = instance.get_module();
    const FAB_INSTANCES& path = m_traverse->get_hier_blks();
    const MODULE& an = m_anns->get_module(*m);
    const bool is_mux =
        an.level() == MODULE::PRIM_MUX &&
        !(an.mux_desc().is_template() ? an.mux_desc().is_first_stage()
                                      : m_anns->get_instance(instance).mux_desc().is_first_stage());
    const bool has_cached = !m_state.m_no_cache && (cached(m_edge_index, m) != nullptr ||
                                                    cached(m_hipi_edge_index, m) != nullptr);
    // Most instances are neither muxes nor owners of cached edges: their node is not needed.
    if (!is_mux && !has_cached) return;
    const uint64_t mux_node = m_state.m_main_ids.get_node(path, nullptr);
    if (is_mux) make_paths(instance, an, path, mux_node);
    // The replayed paths of this instance are forgotten once its own paths are made: a path
    // between two ports of one mux is kept at the mux's own module and replayed into it.
    if (!m_state.m_no_cache) {
        forget(cached(m_edge_index, m), m_pending, mux_node);
        forget(cached(m_hipi_edge_index, m), m_hipi_pending, mux_node);
    }
}

void FAB_CRF_EDGE_GENERATOR::make_paths(NLG_IINSTANCE& instance, const PB::ICDB::MODULE& an,
                                        const FAB_INSTANCES& path, uint64_t mux_node) {
    NLG_IMODULE* m = instance.get_module();
    // The paths that no replay has made, and the ports at their ends.
    std::vector<int32_t>& open_paths = m_open_paths;
    std::vector<NLG_IPORT*>& ports = m_ends.m_ports;
    open_paths.clear();
    ports.clear();
    // The replayed bits of this mux, looked up once per word of 64 paths and kind of path
    // (plain, HIPI), as the paths come in index order.
    uint64_t replayed_words[2] = {0, 0};
    int32_t replayed_at[2] = {-1, -1};
    for (int k = 0; k < an.paths_size(); ++k) {
        const MODULE::PATH& p = an.paths(k);
        if (!m_state.m_no_cache) {
            const int kind = p.is_hipi_path() ? 1 : 0;
            const PENDING& pending = kind ? m_hipi_pending : m_pending;
            if (!pending.m_paths.empty()) {
                if (replayed_at[kind] != k >> 6) {
                    replayed_at[kind] = k >> 6;
                    replayed_words[kind] = pending.m_paths.word(mux_node, k);
                }
                if (replayed_words[kind] & REPLAYED_PATHS::bit(k)) continue;
            }
        }
        open_paths.push_back(k);
        ports.push_back(m->get_port(p.in()));
        ports.push_back(m->get_port(p.out()));
    }
    if (open_paths.empty()) return;
    std::sort(ports.begin(), ports.end());
    ports.erase(std::unique(ports.begin(), ports.end()), ports.end());

    m_tracer->set_instances(path);
    find_ends(path);
    ENDS& ends = m_ends;

    const uint32_t mux_index = an.mux_index();
    for (int32_t k : open_paths) {
        const MODULE::PATH& p = an.paths(k);
        NLG_IPORT* in = m->get_port(p.in());
        NLG_IPORT* out = m->get_port(p.out());
        const size_t in_at = static_cast<size_t>(in->get_index());
        const size_t out_at = static_cast<size_t>(out->get_index());
        // The sources of an input, or the single end of an output.
        const TSL_TRACED_PORT* list = &ends.m_end_re[in_at];
        size_t list_size = 1;
        if (in->is_input()) {
            const std::vector<TSL_TRACED_PORT>& sources = ends.m_sources[in_at];
            if (sources.empty()) continue;
            list = sources.data();
            list_size = sources.size();
        }
        const bool is_hipi = p.has_is_hipi_path() && p.is_hipi_path();
        // A HIPI path goes to the mux's shadow node, even when the output merged.
        const uint64_t dst_node = is_hipi ? ends.m_own_node[out_at] : ends.m_end_node[out_at];
        const TSL_TRACED_PORT& dst = ends.m_end_re[out_at];
        // Edges of a split path that a replay made are not made again.
        const PENDING& pending = is_hipi ? m_hipi_pending : m_pending;
        auto replayed = pending.m_edges.find(mux_node);
        bool whole = true;
        m_path_memo.clear();
        for (size_t n = 0; n < list_size; ++n) {
            const TSL_TRACED_PORT& t = list[n];
            const uint64_t src_node = in->is_input()
                                          ? m_state.m_main_ids.get_node(t.m_instances, t.m_port)
                                          : ends.m_end_node[in_at];
            check_node(src_node, m, path, t.m_port);
            check_node(dst_node, m, path, out);
            if (replayed != pending.m_edges.end() && replayed->second.count({k, src_node})) {
                whole = false;
                continue;
            }
            add_edge_by_node(src_node, dst_node, t, dst, is_hipi);
            if (!m_state.m_no_cache)
                m_path_memo.push_back(
                    memoise(t, dst, path, mux_node, src_node, dst_node, k, mux_index));
        }
        for (const auto& kept : m_path_memo)
            if (kept.first != m_path_memo.front().first ||
                kept.second.m_mux_offset != m_path_memo.front().second.m_mux_offset)
                whole = false;
        for (auto& kept : m_path_memo) {
            kept.second.m_whole_path = whole;
            std::vector<CACHED_EDGE>& edges =
                (is_hipi ? m_hipi_edge_cache : m_edge_cache)[kept.first];
            edges.push_back(kept.second);
            // The map's entries stay where they are as it grows, so the index may point at them.
            CACHE_INDEX& index = is_hipi ? m_hipi_edge_index : m_edge_index;
            const size_t at = static_cast<size_t>(kept.first->get_index());
            if (at >= index.size()) index.resize(at + 1, nullptr);
            index[at] = &edges;
        }
    }
}

// A port that is at no end keeps the empty values: no node, no traced port, no sources.
void FAB_CRF_EDGE_GENERATOR::find_ends(const FAB_INSTANCES& path) {
    ENDS& ends = m_ends;
    const size_t n_ports =
        ends.m_ports.empty() ? 0 : ends.m_ports.front()->get_parent()->get_num_ports();
    if (ends.m_end_node.size() < n_ports) {
        ends.m_end_node.resize(n_ports);
        ends.m_end_re.resize(n_ports);
        ends.m_own_node.resize(n_ports);
        ends.m_sources.resize(n_ports);
    }
    for (NLG_IPORT* q : ends.m_ports) {
        const size_t at = static_cast<size_t>(q->get_index());
        ends.m_end_node[at] = 0;
        ends.m_end_re[at].m_instances.clear();
        ends.m_end_re[at].m_port = nullptr;
        ends.m_end_re[at].m_inverted = false;
        ends.m_end_re[at].m_through_path = false;
        ends.m_own_node[at] = 0;
        std::vector<TSL_TRACED_PORT>& sources = ends.m_sources[at];
        sources.clear();
        if (q->is_input()) {
            m_tracer->clear();
            m_tracer->trace_up_input(q);
            for (TSL_TRACED_PORT& t : m_tracer->get_results())
                if (!on_spare_row(t)) sources.push_back(std::move(t));
            continue;
        }
        const APORT& r = m_anns->get_port(*q);
        const uint64_t own = m_state.m_main_ids.get_node(path, q);
        ends.m_own_node[at] = own;
        // Only a merging output uses its entry, and the table is large: a look-up for every
        // output would miss the processor's caches for nothing.
        const bool may_merge = is_merge(r, APORT::POTENTIAL_MERGE) || is_merge(r, APORT::MERGE);
        const uint64_t* merged = may_merge ? m_state.m_mux_to_blc_node_map.find(own) : nullptr;
        const bool potential = is_merge(r, APORT::POTENTIAL_MERGE) && merged;
        if (is_merge(r, APORT::MERGE) && !merged)
            UTIL_FAIL("m_mux_to_blc_node_map->count(out_node)");
        if (potential || is_merge(r, APORT::MERGE)) {
            // The output has no node of its own: edges into it go to the RE it merged with.
            get_instance_path(m_state.m_main_ids.get_hierarchy(), m_rebuild_path.get(), *merged,
                              m_state.m_rtl_graph, ends.m_end_re[at].m_instances);
            ends.m_end_node[at] = *merged;
        } else {
            ends.m_end_re[at].m_instances = path;
            ends.m_end_re[at].m_port = q;
            ends.m_end_node[at] = own;
        }
    }
}

void FAB_CRF_EDGE_GENERATOR::check_node(uint64_t node, const NLG_IMODULE* module,
                                        const FAB_INSTANCES& path, const NLG_IPORT* port) const {
    if (node != UTIL::IHIERARCHY::INVALID_NODE) return;
    std::cout << "Invalid ID found (" << std::hex << node << std::dec << ")! module "
              << module->get_name() << " at ";
    write_path(std::cout, path);
    std::cout << ":" << (port ? port->get_name().str() : std::string()) << std::endl;
    UTIL_FAIL("Abort due to invalid node ID!");
}

std::pair<const NLG_IMODULE*, CACHED_EDGE> FAB_CRF_EDGE_GENERATOR::memoise(
    const TSL_TRACED_PORT& src, const TSL_TRACED_PORT& dst, const FAB_INSTANCES& path,
    uint64_t mux_node, uint64_t src_node, uint64_t dst_node, int32_t path_index,
    uint32_t mux_index) {
    auto common_prefix = [](const FAB_INSTANCES& a, const FAB_INSTANCES& b) {
        size_t n = 0;
        while (n < a.size() && n < b.size() && a[n] == b[n]) ++n;
        return n;
    };
    size_t n = common_prefix(src.m_instances, dst.m_instances);
    if (n == src.m_instances.size()) n = common_prefix(src.m_instances, path);
    m_common.assign(src.m_instances.begin(),
                    src.m_instances.begin() + static_cast<std::ptrdiff_t>(n));
    const NLG_IMODULE* owner =
        m_common.empty() ? m_traverse->get_root() : m_common.back()->get_module();
    const uint64_t base = m_state.m_main_ids.get_node(m_common, nullptr);
    CACHED_EDGE e;
    e.m_mux_offset = static_cast<int32_t>(mux_node - base);
    e.m_path_index = static_cast<int16_t>(path_index);
    e.m_src_offset = src_node - base;
    e.m_dst_offset = dst_node - base;
    e.m_mux_index = static_cast<uint16_t>(mux_index);
    e.m_whole_path = true;
    return {owner, e};
}

// Edges at inserted REs

FAB_INSERTED_EDGE_GENERATOR::FAB_INSERTED_EDGE_GENERATOR(FAB_GENERATE_STATE& state)
    : FAB_EDGE_GENERATOR(state, &state.m_rtl_annss->get_icdb()) {
    m_tracer.reset(tsl_create_rtl_tracer<TSL_RTL_TRACER_SIMPLE>(state.m_rtl_annss));
    m_tracer->keep_port_flags();
}

void FAB_INSERTED_EDGE_GENERATOR::exit_instance(NLG_IINSTANCE& instance) {
    NLG_IMODULE* m = instance.get_module();
    if (!m_anns->get_module(*m).has_port_with_re()) return;
    TSL_ITRAVERSE* traverse = checked_traverse("TSL_MCFS_GENERATOR");
    const FAB_INSTANCES& path = traverse->get_hier_blks();
    m_tracer->set_instances(path);
    for (uint32_t k = 0; k < m->get_num_ports(); ++k) {
        NLG_IPORT* p = m->get_port(static_cast<int32_t>(k));
        if (!m_anns->get_port(*p).is_inserted_re()) continue;
        const TSL_TRACED_PORT self = traced(path, p);
        m_tracer->clear();
        if (!p->is_input()) m_tracer->trace_up_output(p);
        for (const TSL_TRACED_PORT& t : m_tracer->get_results()) {
            if (on_spare_row(t)) continue;
            if (p->is_input())
                add_edge_by_port(t, self);
            else
                add_edge_by_port(self, t);
        }
        m_tracer->clear();
        if (!p->is_output()) m_tracer->trace_down_input(p);
        for (const TSL_TRACED_PORT& t : m_tracer->get_results()) {
            if (on_spare_row(t)) continue;
            if (p->is_input())
                add_edge_by_port(self, t);
            else
                add_edge_by_port(t, self);
        }
    }
}

// FCD edges

FAB_FCD_EDGE_GENERATOR::FAB_FCD_EDGE_GENERATOR(FAB_GENERATE_STATE& state)
    : FAB_EDGE_GENERATOR(state, &state.m_rtl_annss->get_icdb()) {
    m_tracer.reset(tsl_create_rtl_tracer<TSL_RTL_TRACER_SIMPLE>(state.m_rtl_annss));
    m_tracer->keep_port_flags();
}

void FAB_FCD_EDGE_GENERATOR::exit_instance(NLG_IINSTANCE& instance) {
    NLG_IMODULE* m = instance.get_module();
    const MODULE& an_module = m_anns->get_module(*m);
    UTIL_ASSERT(an_module.level() == PB::ICDB::MODULE::TOP_LEVEL_IP);
    TSL_ITRAVERSE* traverse = checked_traverse("TSL_MCFS_GENERATOR");
    if (an_module.is_routing()) return;
    const FAB_INSTANCES& path = traverse->get_hier_blks();
    for (uint32_t k = 0; k < m->get_num_ports(); ++k) {
        NLG_IPORT* p = m->get_port(static_cast<int32_t>(k));
        if (p->is_input() || !m_anns->get_port(*p).has_re_name()) continue;
        const TSL_TRACED_PORT self = traced(path, p);
        m_tracer->clear();
        m_tracer->set_instances(path);
        m_tracer->trace_up_output(p);
        // The list is walked by position: a fly-over replaces it with its own, of at most one
        // entry, and the walk then ends.
        std::vector<TSL_TRACED_PORT>& res = m_tracer->get_results();
        for (size_t n = 0; n < res.size(); ++n) {
            const TSL_TRACED_PORT t = res[n];
            if (!on_spare_row(t)) {
                add_edge_by_port(self, t);
                continue;
            }
            const APORT& r = m_anns->get_port(*t.m_port);
            if (!r.has_spare_row_flyover_out()) continue;
            NLG_IPORT* o = t.m_port->get_parent()->get_port(r.spare_row_flyover_out());
            m_tracer->set_instances(t.m_instances);
            m_tracer->clear();
            m_tracer->trace_up_output(o);
            if (res.empty()) continue;
            if (res.size() > 1) UTIL_FAIL("Unexpected connection in spare row!");
            add_edge_by_port(self, res[0]);
        }
    }
}

// BLC edges

FAB_BLC_EDGE_GENERATOR::FAB_BLC_EDGE_GENERATOR(FAB_GENERATE_STATE& state)
    : FAB_EDGE_GENERATOR(state, &state.m_rtl_annss->get_icdb()),
      m_blc_anns(&state.m_blc_annss->get_icdb()) {
    m_tracer.reset(tsl_create_rtl_tracer<TSL_TRACER_FOR_BLC>(state.m_blc_annss));
}

uint32_t FAB_BLC_EDGE_GENERATOR::get_id(const FAB_INSTANCES& instances, NLG_IPORT* port) {
    NLG_IPORT* rtl_port = m_state.m_match->get_rtl_port(port);
    return FAB_EDGE_GENERATOR::get_id(instances, rtl_port ? rtl_port : port);
}

void FAB_BLC_EDGE_GENERATOR::exit_instance(NLG_IINSTANCE& instance) {
    NLG_IMODULE* m = instance.get_module();
    if (m->is_primitive()) return;
    TSL_ITRAVERSE* traverse = checked_traverse("TSL_MCFS_GENERATOR");
    const MODULE& an = m_anns->get_module(*m);
    const FAB_INSTANCES& path = traverse->get_hier_blks();
    if (an.level() == MODULE::TOP_LEVEL_IP) {
        block_boundary(m, path);
        return;
    }
    for (uint32_t k = 0; k < m->get_num_ports(); ++k) {
        NLG_IPORT* p = m->get_port(static_cast<int32_t>(k));
        const APORT& r = m_anns->get_port(*p);
        if (!r.is_route_type_normal() && an.level() != MODULE::PRIM_MUX) continue;
        const TSL_TRACED_PORT self = traced(path, p);
        if (!p->is_input()) {
            if (!r.has_re_name())
                UTIL_FAIL("port %s on module %s in BLC doesn't have valid RE name!",
                          p->get_name().str().c_str(), m->get_name().str().c_str());
            m_tracer->set_instances(path);
            m_tracer->trace_up_output(p);
            for (const TSL_TRACED_PORT& t : m_tracer->get_results()) add_edge_by_port(self, t);
            m_tracer->clear();
        }
        if (!p->is_output()) {
            m_tracer->set_instances(path);
            m_tracer->trace_down_input(p);
            for (const TSL_TRACED_PORT& t : m_tracer->get_results()) add_edge_by_port(self, t);
            m_tracer->clear();
        }
    }
}

// Block inputs reach into the block from here; block outputs were done by FCD.
void FAB_BLC_EDGE_GENERATOR::block_boundary(NLG_IMODULE* m, const FAB_INSTANCES& path) {
    NLG_IMODULE* b = m_blc_traverse->get_blc_module(m);
    if (!b) UTIL_FAIL("m");
    NLG_ICDB_ANNS* outer = m_anns;
    m_anns = m_blc_anns;
    for (uint32_t k = 0; k < b->get_num_ports(); ++k) {
        NLG_IPORT* p = b->get_port(static_cast<int32_t>(k));
        const APORT& r = m_anns->get_port(*p);
        if (!r.is_route_type_normal()) continue;
        if (!r.has_re_name())
            UTIL_FAIL("port %s on module %s doesn't have valid RE name!",
                      p->get_name().str().c_str(), b->get_name().str().c_str());
        if (p->is_output()) continue;
        const TSL_TRACED_PORT self = traced(path, p);
        m_tracer->set_instances(path);
        m_tracer->trace_down_input(p);
        for (const TSL_TRACED_PORT& t : m_tracer->get_results()) add_edge_by_port(self, t);
        m_tracer->clear();
    }
    m_anns = outer;
}

// Drivers

void fab_generate_blc_nodes(FAB_GENERATE_STATE& state) {
    FAB_BLC_NODE_GENERATOR generator(state);
    FAB_FULL_TRAVERSE_BLC walk(&generator, state.m_rtl_annss, state.m_blc_annss,
                               state.m_instance_tree, state.m_position);
    generator.set_blc_traverse(&walk);
    walk.traverse(state.m_rtl_graph, state.m_blc_graph);
}

void fab_generate_insert_nodes(FAB_GENERATE_STATE& state) {
    FAB_INSERT_NODE_GENERATOR generator(state);
    TSL_TRAVERSE_TOP_IP walk(&generator, state.m_rtl_annss, state.m_instance_tree, false);
    generator.set_traverse(&walk);
    walk.traverse(state.m_rtl_graph);
}

void fab_generate_mux_nodes(FAB_GENERATE_STATE& state) {
    FAB_MUX_NODE_GENERATOR generator(state);
    TSL_TRAVERSE_MUX walk(&generator, state.m_rtl_annss, state.m_instance_tree);
    generator.set_traverse(&walk);
    walk.traverse(state.m_rtl_graph);
}

std::unique_ptr<FAB_CRF_EDGE_GENERATOR> fab_generate_crf_edges(FAB_GENERATE_STATE& state) {
    std::unique_ptr<FAB_CRF_EDGE_GENERATOR> generator(new FAB_CRF_EDGE_GENERATOR(state));
    TSL_TRAVERSE_BASE walk(generator.get(), state.m_instance_tree, false);
    generator->set_traverse(&walk);
    walk.traverse(state.m_rtl_graph);
    generator->set_traverse(nullptr);
    return generator;
}

void fab_generate_inserted_edges(FAB_GENERATE_STATE& state) {
    FAB_INSERTED_EDGE_GENERATOR generator(state);
    TSL_TRAVERSE_TOP_IP walk(&generator, state.m_rtl_annss, state.m_instance_tree, false);
    generator.set_traverse(&walk);
    walk.traverse(state.m_rtl_graph);
}

void fab_generate_fcd_edges(FAB_GENERATE_STATE& state) {
    FAB_FCD_EDGE_GENERATOR generator(state);
    TSL_TRAVERSE_TOP_IP walk(&generator, state.m_rtl_annss, state.m_instance_tree, false);
    generator.set_traverse(&walk);
    walk.traverse(state.m_rtl_graph);
}

void fab_generate_blc_edges(FAB_GENERATE_STATE& state) {
    FAB_BLC_EDGE_GENERATOR generator(state);
    FAB_FULL_TRAVERSE_BLC walk(&generator, state.m_rtl_annss, state.m_blc_annss,
                               state.m_instance_tree, state.m_position);
    generator.set_blc_traverse(&walk);
    walk.traverse(state.m_rtl_graph, state.m_blc_graph);
}

// Translation database feed

// The node's place in the netlist hierarchy: the port of the module at the end of its stack. A
// mux's ports share its base node, which the caller keeps between them.
void fab_translate_record_gid(FAB_GENERATE_STATE& state, const NODE_IMPL& node, uint64_t,
                              uint64_t& base_node) {
    FAB::ITRANSLATE_BUILDER& translate = *state.m_translate;
    const UTIL::IHIERARCHY& hierarchy = *translate.get_hierarchy();
    const NLG_IPORT* port = node.m_port.m_port;
    uint32_t module_index = static_cast<uint32_t>(port->get_parent()->get_index());
    if (base_node == UTIL::IHIERARCHY::INVALID_NODE) {
        NLG_IGRAPH::IHPATH* cursor = translate.get_path_a();
        cursor->set(node.m_path);
        base_node = hierarchy.get_node(module_index, *cursor);
    }
    const uint64_t port_node =
        hierarchy.get_port_node(module_index, base_node, static_cast<uint32_t>(port->get_index()));
    UTIL::BASE_GID_CONVERTER converter;
    translate.fill_gid_fields(converter, node);
    translate.add_gid(port_node, converter);
}

void fab_translate_remap_nodes(FAB_GENERATE_STATE& state) {
    FAB_MUX_TO_NODE_CACHE visitor(state.m_rtl_annss, state.m_instance_tree, state.m_translate);
    std::unique_ptr<TSL_TRAVERSE_BASE> walk(
        tsl_create_traverse_mux(&visitor, state.m_rtl_annss, state.m_instance_tree));
    visitor.set_traverse(walk.get());
    walk->traverse(state.m_rtl_graph);
}

// Only the plain memo goes over: edges to HIPI shadows have no GID at their end.
void fab_translate_take_edge_cache(FAB_GENERATE_STATE& state, const FAB_CRF_EDGE_GENERATOR& crf) {
    FAB::ITRANSLATE_BUILDER& translate = *state.m_translate;
    for (const auto& entry : crf.get_edge_cache()) {
        const uint32_t module_index = static_cast<uint32_t>(entry.first->get_index());
        FAB_CACHE_FEDGES fedges(entry.second, state.m_main_ids.get_hierarchy(), module_index,
                                translate.get_hierarchy());
        translate.add_module_edges(module_index, fedges);
    }
}

void fab_translate_finish(FAB_GENERATE_STATE& state) {
    state.m_translate->finish_nodes();
}

FAB_MUX_TO_NODE_CACHE::FAB_MUX_TO_NODE_CACHE(NLG_IANNSS* rtl_annss,
                                             ICDB::IINSTANCE_TREE* instance_tree,
                                             FAB::ITRANSLATE_BUILDER* translate)
    : m_rtl_annss(rtl_annss),
      m_instance_tree(instance_tree),
      m_translate(translate),
      m_tracer(tsl_create_rtl_tracer<TSL_RTL_TRACER_SIMPLE>(rtl_annss)) {
    // It runs after the node passes, which set the merge types: the records stay as they are,
    // and the walk from a mux output is the same in every place of the module around the mux.
    m_tracer->keep_walks();
}

void FAB_MUX_TO_NODE_CACHE::exit_instance(NLG_IINSTANCE& instance) {
    TSL_ITRAVERSE* walk = checked_traverse("TSL_MCFS_GENERATOR");
    NLG_ICDB_ANNS& anns = m_rtl_annss->get_icdb();
    NLG_IMODULE* module = instance.get_module();
    const PB::ICDB::MODULE& an_module = anns.get_module(*module);
    UTIL_ASSERT(an_module.level() == PB::ICDB::MODULE::PRIM_MUX);
    const FAB_INSTANCES& path = walk->get_hier_blks();
    m_tracer->set_instances(path);
    NLG_IGRAPH::IHPATH* cursor = m_translate->get_path_a();
    m_module_index = UTIL::IHIERARCHY::IMODULES::MODULE_INDEX_INVALID;
    cursor->set(&path);
    m_base_node = m_translate->get_hierarchy()->get_node(m_module_index, *cursor);
    for (uint32_t k = 0; k < module->get_num_ports(); ++k) {
        NLG_IPORT* p = module->get_port(static_cast<int32_t>(k));
        if (p->is_input() || !anns.get_port(*p).is_primary_port()) continue;
        if (!m_tracer->stop_at_port(p)) m_tracer->trace_up_output(p);
        for (const TSL_TRACED_PORT& traced : m_tracer->get_results()) remap(traced, k);
        m_tracer->clear();
    }
}

void FAB_MUX_TO_NODE_CACHE::remap(const TSL_TRACED_PORT& traced, uint32_t port_index) {
    UTIL::ALIASES_BUILDER& aliases = *m_translate->get_aliases_builder();
    const UTIL::IHIERARCHY& hierarchy = *m_translate->get_hierarchy();
    NLG_IGRAPH::IHPATH* cursor = m_translate->get_path_b();
    cursor->set(&traced.m_instances, traced.m_port, nullptr);
    const uint64_t old_node = hierarchy.get_node(*cursor);
    const uint64_t new_node = hierarchy.get_port_node(m_module_index, m_base_node, port_index);
    if (!aliases.add_driver(new_node)) {
        std::cout << "old_node = " << old_node << " new_node = " << new_node;
        report("add_driver", {new_node});
    }
    if (old_node == new_node) return;
    if (!aliases.add_alias(old_node)) {
        std::cout << "old_node = " << old_node << " new_node = " << new_node;
        report("add_alias", {old_node});
    }
    if (!aliases.add_connection(old_node, new_node)) {
        report("add_alias_to_driver", {old_node, new_node});
    }
}

void FAB_MUX_TO_NODE_CACHE::report(const char* text, std::initializer_list<uint64_t> nodes) const {
    const UTIL::IHIERARCHY& hierarchy = *m_translate->get_hierarchy();
    std::unique_ptr<UTIL::IHIERARCHY::IPATH_SETTABLE> path(hierarchy.create_path());
    std::cout << "m_aliases = " << *m_translate->get_aliases_builder() << "FAIL: " << text;
    for (uint64_t node : nodes) {
        hierarchy.get_path(path.get(), node);
        std::cout << node << ":" << *path << " ";
    }
    std::cout << std::endl;
    UTIL_FAIL("false");
}

FAB_CACHE_FEDGES::FAB_CACHE_FEDGES(const std::vector<CACHED_EDGE>& edges,
                                   const UTIL::IHIERARCHY* hybrid, uint32_t base_module_index,
                                   const UTIL::IHIERARCHY* rtl)
    : m_edges(edges),
      m_path(hybrid->create_path()),
      m_base_module_index(base_module_index),
      m_hybrid_hierarchy(hybrid),
      m_rtl_hierarchy(rtl) {}

const UTIL::FEDGE& FAB_CACHE_FEDGES::get_fedge(int32_t index) {
    const CACHED_EDGE& edge = UTIL::at(m_edges, static_cast<size_t>(index));
    m_fedge.m_src = convert_source(edge.m_src_offset);
    m_fedge.m_dst = convert(edge.m_dst_offset, m_last_dst);
    m_fedge.m_ipath_index = static_cast<uint16_t>(edge.m_path_index);
    m_fedge.m_mux_index = 0;
    return m_fedge;
}

// Only a conversion that succeeded is kept: a failing one prints its notice each time.
uint64_t FAB_CACHE_FEDGES::convert(uint64_t offset, LAST& last) {
    if (last.m_valid && offset == last.m_offset) return last.m_node;
    const uint64_t node = convert(offset);
    if (node != UTIL::IHIERARCHY::INVALID_NODE) last = {true, offset, node};
    return node;
}

uint64_t FAB_CACHE_FEDGES::convert_source(uint64_t offset) {
    if (m_last_src.m_valid && offset == m_last_src.m_offset) return m_last_src.m_node;
    const uint64_t* kept = m_sources.find(offset);
    const uint64_t node = kept ? *kept : convert(offset);
    if (node != UTIL::IHIERARCHY::INVALID_NODE) {
        m_last_src = {true, offset, node};
        if (!kept && m_sources.size() < MAX_KEPT_SOURCES) m_sources.emplace(offset, node);
    }
    return node;
}

uint64_t FAB_CACHE_FEDGES::convert(uint64_t offset) {
    const char* warning = nullptr;
    uint64_t node = UTIL::IHIERARCHY::INVALID_NODE;
    if (m_hybrid_hierarchy->get_path(m_path.get(), offset, m_base_module_index) ==
        UTIL::IHIERARCHY::IMODULES::MODULE_INDEX_INVALID) {
        warning = "WARNING: Unable to convert hybrid_subnode to legal path: ";
    } else {
        node = m_rtl_hierarchy->get_node(*m_path);
        if (node == UTIL::IHIERARCHY::INVALID_NODE) {
            warning = "WARNING: Unable to convert hybrid path to rtl path: ";
        }
    }
    if (warning == nullptr) return node;
    std::cout << warning << std::endl
              << "base_module_index = " << m_base_module_index << std::endl
              << "hybrid_subnode = " << offset << std::endl;
    dump_path(std::cout);
    return UTIL::IHIERARCHY::INVALID_NODE;
}

void FAB_CACHE_FEDGES::dump_path(std::ostream& os) const {
    const UTIL::IHIERARCHY::IMODULES& hybrid = *m_hybrid_hierarchy->get_modules();
    const UTIL::IHIERARCHY::IMODULES& rtl = *m_rtl_hierarchy->get_modules();
    const uint32_t base = m_path->get_base_module_index();
    os << "hybrid_path = " << *m_path << std::endl << "base_module_index = " << base << std::endl;
    if (base >= hybrid.get_n_modules()) return;
    const UTIL::IHIERARCHY::IMODULE* module = hybrid.get_module(base);
    os << "hybrid_base_module = " << UTIL::fast_name(module->get_name()) << std::endl;
    for (uint32_t k = 0; k < m_path->size(); ++k) {
        const uint32_t instance_index = m_path->get_instance(k);
        os << "instance_index = " << instance_index << std::endl;
        if (instance_index >= module->get_n_instances()) return;
        const UTIL::IHIERARCHY::IINSTANCE* instance = module->get_instance(instance_index);
        const uint32_t mi = m_hybrid_hierarchy->get_module_index(instance->get_module_name());
        os << "hybrid_instance = " << UTIL::fast_name(instance->get_name()) << std::endl
           << "hybrid_module = " << UTIL::fast_name(instance->get_module_name()) << std::endl
           << "hybrid_module_index = " << mi << std::endl;
        if (mi >= hybrid.get_n_modules()) return;
        if (mi < rtl.get_n_modules()) {
            os << "rtl module = " << UTIL::fast_name(rtl.get_module(mi)->get_name()) << std::endl;
        } else {
            os << "ERROR: Unable to find rtl module with mi = " << mi << std::endl;
        }
        module = hybrid.get_module(mi);
    }
    os << "hybrid_port_index = " << m_path->get_port_index() << std::endl;
}
