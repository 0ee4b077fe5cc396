// The routing graph model and the run of generate:
//  1. make the working state (id maps, per-cell indexes, merge map, pair lists), sized by grid;
//  2. populate the fan lists of the netlist, which every tracer below follows;
//  3. nodes: block ports and block-internal REs, then inserted REs, then mux outputs;
//  4. edges by kind: CRF (traced, then bridges, then at inserted REs), FCD, BLC, VIRTUAL;
//  5. the translation database, when present, is fed at marked points along the way.
#include "fab/fab_routing_graph.h"

#include <algorithm>
#include <memory>
#include <set>
#include <string>

#include "fab/fab_graph_traverse.h"
#include "fab/tsl_fab.h"
#include "fab_itranslate.h"
#include "icdb_iinstance_tree.h"
#include "nlg/nlg_graph_traverse.h"
#include "nlg_iannss.h"
#include "util/util_assert.h"
#include "util/util_timer.h"

FAB::ROUTING_GRAPH::~ROUTING_GRAPH() = default;
FAB::ROUTING_GRAPH::IBUILDER::~IBUILDER() = default;
FAB::ROUTING_GRAPH::NODE::~NODE() = default;
FAB::ROUTING_GRAPH::EDGE::~EDGE() = default;
FAB::ROUTING_GRAPH::UNIQUE_PORT::~UNIQUE_PORT() = default;

// Views lent to the builder

const char* UNIQUE_PORT_IMPL::get_full_name() const {
    UTIL_FAIL("Feature not supported!");
}

uint32_t UNIQUE_PORT_IMPL::get_direction() const {
    if (m_port->is_input()) return 0;
    return m_port->is_output() ? 1 : 2;
}

NS_SYMBOL::SYM UNIQUE_PORT_IMPL::get_block_logical_name() const {
    return NS_SYMBOL::SYM(m_an_module->logical_name().value());
}

uint32_t NODE_IMPL::get_re_class() const {
    switch (m_type) {
        case PB::MUX_DESCRIPTION::BLOCK_PORT:
            return 1;
        case PB::MUX_DESCRIPTION::ATOM_INPUT:
        case PB::MUX_DESCRIPTION::ATOM_OUTPUT:
            return 0;
        case PB::MUX_DESCRIPTION::BLC_INTERNAL_RE:
            return 2;
        default:
            return 3;
    }
}

uint32_t NODE_IMPL::get_node_type() const {
    if (get_re_class() != 3) UTIL_FAIL("Can't query node type on block port REs!");
    return m_type;
}

NS_SYMBOL::SYM NODE_IMPL::get_block_name() const {
    if (get_re_class() == 3) UTIL_FAIL("Can't query block name on core routing REs!");
    return m_port.get_block_logical_name();
}

// A wire is clipped where it would leave the grid; signed arithmetic, since a far end may lie
// past either border.
int32_t NODE_IMPL::get_clipped_length() const {
    const int32_t length = m_length;
    if (length < 1) return length;
    switch (m_direction) {
        case PB::ICDB::NET::LEFT:
            return m_x - length < g_min_x ? m_x - g_min_x : length;
        case PB::ICDB::NET::RIGHT:
            return m_x + length > g_max_x ? g_max_x - m_x : length;
        case PB::ICDB::NET::DOWN:
            return m_y - length < g_min_y ? m_y - g_min_y : length;
        case PB::ICDB::NET::UP:
            return m_y + length > g_max_y ? g_max_y - m_y : length;
        default:
            return length;
    }
}

// A wire is stored at its driving mux and located at its low end.
void NODE_IMPL::get_location(int32_t& x, int32_t& y, int32_t& z) const {
    x = m_x;
    y = m_y;
    z = m_z;
    if (m_type == PB::MUX_DESCRIPTION::LL && m_direction == PB::ICDB::NET::RIGHT) {
        if (m_x != g_max_x) x = m_x + 1;
    } else if (get_length() < 1) {
        return;
    } else if (m_direction == PB::ICDB::NET::LEFT) {
        x = m_x - get_clipped_length();
    } else if (m_direction == PB::ICDB::NET::DOWN) {
        y = m_y - get_clipped_length();
    }
}

// Paths and ids

uint32_t RE_PATH::get_instance(uint32_t position) const {
    return static_cast<uint32_t>(UTIL::at(*m_instances, position)->get_index());
}

uint32_t RE_PATH::get_port_index() const {
    return m_port ? static_cast<uint32_t>(m_port->get_index())
                  : UTIL::IHIERARCHY::IMODULE::PORT_INDEX_INVALID;
}

size_t fab_hash_reserve(double elements) {
    const double max_load_factor = 1.0;
    return static_cast<size_t>(elements / max_load_factor + 0.5);
}

NODE_ID_MAP::NODE_ID_MAP(const UTIL::IHIERARCHY* hierarchy, size_t reserve)
    : m_hierarchy(hierarchy) {
    // The bound is far above the real count on a large device (it allows 1500 nodes per grid
    // cell), and the flat table doubles as it fills: only a small bound is taken at once.
    m_ids.reserve(std::min(reserve, MAX_INITIAL_RESERVE));
}

void NODE_ID_MAP::seal() {
    if (m_sealed) return;
    m_sealed = true;
    m_size = m_ids.size();
    // Sparse numbers stay in the hash table.
    if (m_bound / 8 > MAX_BIT_BYTES_PER_ID * (m_ids.size() + 1)) m_bound = 0;
    if (m_bound == 0) return;
    const size_t words = static_cast<size_t>((m_bound + 63) / 64);
    m_bits.assign(words, 0);
    UTIL::HASH64_MAP<uint32_t> above;
    m_ids.for_each([this, &above](uint64_t node, uint32_t id) {
        if (node < m_bound)
            m_bits[static_cast<size_t>(node >> 6)] |= uint64_t{1} << (node & 63);
        else
            above.emplace(node, id);
    });
    m_ranks.resize(words);
    uint32_t rank = 0;
    for (size_t k = 0; k < words; ++k) {
        m_ranks[k] = rank;
        rank += popcount(m_bits[k]);
    }
    m_ranked_ids.resize(rank);
    m_ids.for_each([this](uint64_t node, uint32_t id) {
        if (node < m_bound) m_ranked_ids[rank_of(node)] = id;
    });
    m_ids = std::move(above);
}

// The walk of the hierarchy's get_node from the top module, continued below the levels that
// the stack shares with the last one asked. A bad instance index ends it as INVALID_NODE and
// leaves the levels above it kept.
uint64_t NODE_ID_MAP::get_node(const FAB_INSTANCES& instances, const NLG_IPORT* port) const {
    const size_t n = instances.size();
    size_t shared = 0;
    while (shared < n && shared < m_levels.size() &&
           m_levels[shared].m_instance == instances[shared])
        ++shared;
    m_levels.resize(shared);
    uint64_t node = shared ? m_levels[shared - 1].m_node : 0;
    uint32_t module_index = shared ? m_levels[shared - 1].m_module_index : 0;
    for (size_t k = shared; k < n; ++k) {
        const uint32_t instance_index = static_cast<uint32_t>(instances[k]->get_index());
        node = m_hierarchy->get_child_node(&module_index, module_index, node, instance_index);
        if (node == UTIL::IHIERARCHY::INVALID_NODE) return node;
        m_levels.push_back({instances[k], node, module_index});
    }
    if (!port) return node;
    const uint32_t port_index = static_cast<uint32_t>(port->get_index());
    if (port_index == UTIL::IHIERARCHY::IMODULE::PORT_INDEX_INVALID) return node;
    return m_hierarchy->get_port_node(module_index, node, port_index);
}

uint32_t get_node_index(int32_t x, int32_t y, FAB_NODE_INDEX& node_index, uint32_t type) {
    const int32_t cell = (g_max_x + 1) * y + x;
    const int32_t size = static_cast<int32_t>(node_index.size());
    if (cell < 0 || cell >= size) {
        if (!PB::MUX_DESCRIPTION::MUXTYPE_IsValid(static_cast<int>(type)) || type == 0)
            UTIL_FAIL("Unsupported node type %d!", static_cast<int>(type));
        std::cout << "node type is "
                  << PB::MUX_DESCRIPTION::MUXTYPE_Name(
                         static_cast<PB::MUX_DESCRIPTION::MUXTYPE>(type))
                  << std::endl;
        UTIL_FAIL("requesting at x = %d, y = %d, index = %d where size is %dx%d=%d", x, y, cell,
                  g_max_x + 1, g_max_y + 1, size);
    }
    std::map<uint32_t, uint32_t>& counts = node_index[static_cast<size_t>(cell)];
    auto it = counts.find(type);
    if (it == counts.end()) {
        counts.emplace(type, 0);
        return 0;
    }
    return ++it->second;
}

// The routing graph

FAB_ROUTING_GRAPH_IMPL::FAB_ROUTING_GRAPH_IMPL(NLG_IGRAPH* rtl_graph, NLG_IANNSS* rtl_annss,
                                               NLG_IGRAPH* blc_graph, NLG_IANNSS* blc_annss,
                                               ICDB::IINSTANCE_TREE* instance_tree,
                                               FAB_IPOSITION* position,
                                               FAB::ITRANSLATE_BUILDER* translate,
                                               RTL_TO_BLC_MATCH* match, bool timers)
    : m_rtl_graph(rtl_graph),
      m_rtl_annss(rtl_annss),
      m_blc_graph(blc_graph),
      m_blc_annss(blc_annss),
      m_instance_tree(instance_tree),
      m_position(position),
      m_translate(translate),
      m_match(match),
      m_hybrid_modules(rtl_graph->create_hymodules(blc_graph, match)),
      m_hybrid_hierarchy(new UTIL::HIERARCHY(m_hybrid_modules)),
      m_timers(timers) {}

FAB_ROUTING_GRAPH_IMPL::~FAB_ROUTING_GRAPH_IMPL() {
    delete m_hybrid_hierarchy;
    delete m_hybrid_modules;
}

uint32_t FAB_ROUTING_GRAPH_IMPL::get_num_occurrences(const NLG_IMODULE* module) {
    const uint32_t n_refs = module->get_num_references();
    if (n_refs == 0) return 1;
    uint32_t sum = 0;
    for (uint32_t r = 0; r < n_refs; ++r)
        sum += get_num_occurrences(module->get_reference(static_cast<int32_t>(r))->get_parent());
    return sum;
}

uint32_t FAB_ROUTING_GRAPH_IMPL::get_num_hipi_places() const {
    NLG_ICDB_ANNS& anns = m_rtl_annss->get_icdb();
    uint32_t places = 0;
    for (uint32_t i = 0; i < m_rtl_graph->get_num_modules(); ++i) {
        NLG_IMODULE* m = m_rtl_graph->get_module(static_cast<int32_t>(i));
        const PB::ICDB::MODULE& an = anns.get_module(*m);
        if (an.level() == PB::ICDB::MODULE::PRIM_MUX && an.mux_desc().has_hipi_mux_type())
            places += get_num_occurrences(m);
    }
    return places;
}

namespace {

// A block is known by its logical name, and by its implementation unless that is DEFAULT.
std::string block_name(const PB::ICDB::MODULE& an) {
    const std::string name = NS_SYMBOL::SYM(an.logical_name().value()).str();
    const std::string impl = NS_SYMBOL::SYM(an.logical_impl().value()).str();
    return impl == "DEFAULT" ? name : name + "__" + impl;
}

}  // namespace

uint64_t FAB_ROUTING_GRAPH_IMPL::estimate_n_nodes() const {
    NLG_ICDB_ANNS& rtl = m_rtl_annss->get_icdb();
    std::map<std::string, uint64_t> m_blc_ref_count;
    uint64_t n_nodes = 0;
    for (uint32_t i = 0; i < m_rtl_graph->get_num_modules(); ++i) {
        NLG_IMODULE* m = m_rtl_graph->get_module(static_cast<int32_t>(i));
        const PB::ICDB::MODULE& an = rtl.get_module(*m);
        if (an.level() == PB::ICDB::MODULE::PRIM_MUX && !an.mux_desc().is_first_stage())
            n_nodes += get_num_occurrences(m);
        if (an.level() == PB::ICDB::MODULE::TOP_LEVEL_IP)
            m_blc_ref_count[block_name(an)] = get_num_occurrences(m);
    }
    for (uint32_t i = 0; i < m_blc_graph->get_num_modules(); ++i) {
        NLG_IMODULE* m = m_blc_graph->get_module(static_cast<int32_t>(i));
        const uint64_t n_ports = m->get_num_ports();
        if (m->get_num_references() > 0) {
            uint64_t parents = 0;
            for (uint32_t r = 0; r < m->get_num_references(); ++r)
                parents +=
                    get_num_occurrences(m->get_reference(static_cast<int32_t>(r))->get_parent());
            n_nodes += n_ports * parents;
        } else {
            UTIL_ASSERT(m_blc_ref_count.count(m->get_name().str()));
            n_nodes += n_ports * m_blc_ref_count[m->get_name().str()];
        }
    }
    return n_nodes;
}

namespace {

// A step timer that exists only when the run was made with timers.
std::unique_ptr<SCOPE_TIMER> step_timer(bool timers, const char* label) {
    return std::unique_ptr<SCOPE_TIMER>(timers ? new SCOPE_TIMER(label) : nullptr);
}

}  // namespace

void FAB_ROUTING_GRAPH_IMPL::generate(IBUILDER& builder) {
    // 1. Working state, sized by the grid.
    const uint32_t cells = static_cast<uint32_t>((g_max_x + 1) * (g_max_y + 1));
    const uint32_t hipi_places = get_num_hipi_places();
    FAB_GENERATE_STATE state(m_hybrid_hierarchy, cells, hipi_places);
    state.m_builder = &builder;
    state.m_rtl_graph = m_rtl_graph;
    state.m_blc_graph = m_blc_graph;
    state.m_rtl_annss = m_rtl_annss;
    state.m_blc_annss = m_blc_annss;
    state.m_instance_tree = m_instance_tree;
    state.m_position = m_position;
    state.m_match = m_match;
    state.m_translate = m_translate;
    state.m_no_cache = m_no_cache;

    // 2. Fan lists of the netlist.
    {
        auto timer = step_timer(m_timers, "populate fanin and fanout array takes: ");
        m_rtl_graph->populate_fanin_fanout(m_rtl_annss);
    }
    builder.begin_graph();
    {
        auto timer = step_timer(m_timers, "generate nodes takes: ");
        builder.begin_nodes();
        fab_generate_blc_nodes(state);
        fab_generate_insert_nodes(state);
        fab_generate_mux_nodes(state);
        builder.end_nodes();
    }
    // Every node has its number: from here the maps are only read.
    state.m_main_ids.seal();
    state.m_hipi_ids.seal();
    if (m_translate) {
        auto timer = step_timer(m_timers, "remap nodes takes: ");
        fab_translate_remap_nodes(state);
    }
    {
        auto timer = step_timer(m_timers, "generate CRF edges takes: ");
        builder.begin_edges(CRF);
        std::unique_ptr<FAB_CRF_EDGE_GENERATOR> crf = fab_generate_crf_edges(state);
        for (const auto& pair : state.m_bridge_pairs)
            builder.add_edge(EDGE_IMPL(pair.first, pair.second, false));
        if (m_translate) fab_translate_take_edge_cache(state, *crf);
        fab_generate_inserted_edges(state);
    }
    {
        auto timer = step_timer(m_timers, "generate FCD edges takes: ");
        builder.begin_edges(FCD);
        fab_generate_fcd_edges(state);
    }
    {
        auto timer = step_timer(m_timers, "generate BLC edges takes: ");
        builder.begin_edges(BLC);
        fab_generate_blc_edges(state);
    }
    {
        auto timer = step_timer(m_timers, "generate VIRTUAL edges takes: ");
        builder.begin_edges(VIRTUAL);
        for (const auto& pair : state.m_hipi_pairs)
            builder.add_edge(EDGE_IMPL(pair.first, pair.second, false));
    }
    builder.end_edges();
    builder.end_graph();
    // A translate object is finished at most once.
    if (m_translate) {
        fab_translate_finish(state);
        m_translate = nullptr;
    }
}
