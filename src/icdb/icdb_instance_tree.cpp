// The flat placement table of the top module's record:
// 1. load merges each listed (node, record) pair into the map, so repeated nodes combine;
// 2. store appends the map to the list in ascending node order, so that two runs write the same
//    file, and records the largest grid row and column as the graph's bounds.
#include "icdb/icdb_instance_tree.h"

#include <algorithm>

#include "util/util_assert.h"

namespace ICDB {

INSTANCE_TREE::INSTANCE_TREE(NLG_IGRAPH* graph)
    : m_graph(graph), m_modules(graph->create_hmodules()), m_hierarchy(nullptr) {
    m_hierarchy = new UTIL::HIERARCHY(m_modules);
}

INSTANCE_TREE::INSTANCE_TREE(NLG_IGRAPH* graph, UTIL::IHIERARCHY* hierarchy)
    : m_graph(graph), m_modules(nullptr), m_hierarchy(hierarchy) {}

INSTANCE_TREE::~INSTANCE_TREE() {
    // The hierarchy reads the module view: it goes first.
    if (m_modules) {
        delete m_hierarchy;
        delete m_modules;
    }
}

void INSTANCE_TREE::load(NLG_ICDB_ANNS& reader) {
    const PB::ICDB::MODULE& top = reader.get_module(*m_graph->get_module(0));
    m_flat_instances.reserve(m_flat_instances.size() + top.flat_instance_nodes_size());
    m_index.reserve(m_flat_instances.size() + top.flat_instance_nodes_size());
    for (const PB::ICDB::FLAT_INSTANCE_NODE& entry : top.flat_instance_nodes()) {
        const uint64_t node = static_cast<uint64_t>(entry.node());
        PB::ICDB::FLAT_INSTANCE& record = m_flat_instances[node];
        record.MergeFrom(entry.instance());
        add_to_index(node, &record);
    }
}

bool INSTANCE_TREE::store(NLG_ICDB_ANNS& reader, const std::vector<uint32_t>& sector_modules) {
    std::vector<uint64_t> nodes;
    nodes.reserve(m_flat_instances.size());
    for (const auto& entry : m_flat_instances) nodes.push_back(entry.first);
    std::sort(nodes.begin(), nodes.end());

    PB::ICDB::MODULE& top = reader.get_module(*m_graph->get_module(0));
    top.mutable_flat_instance_nodes()->Reserve(top.flat_instance_nodes_size() +
                                               static_cast<int>(nodes.size()));
    int32_t max_row = 0;
    int32_t max_col = 0;
    for (uint64_t node : nodes) {
        const PB::ICDB::FLAT_INSTANCE& record = m_flat_instances.find(node)->second;
        PB::ICDB::FLAT_INSTANCE_NODE* entry = top.add_flat_instance_nodes();
        entry->set_node(static_cast<int64_t>(node));
        entry->mutable_instance()->MergeFrom(record);
        max_row = std::max(max_row, record.bposition().row());
        max_col = std::max(max_col, record.bposition().col());
    }
    for (uint32_t index : sector_modules)
        reader.get_module(*m_graph->get_module(static_cast<int32_t>(index)))
            .set_level(PB::ICDB::MODULE::SECTOR);
    PB::ICDB::GRAPH& graph_record = reader.get_graph();
    graph_record.set_max_brow(max_row);
    graph_record.set_max_bcol(max_col);
    return true;
}

UTIL::IHIERARCHY* INSTANCE_TREE::get_hierarchy() {
    UTIL_ASSERT(m_hierarchy != NULL);
    return m_hierarchy;
}

const PB::ICDB::FLAT_INSTANCE* INSTANCE_TREE::get_flat_instance(uint64_t node) const {
    if (m_filter.empty()) return nullptr;
    const size_t bit = filter_bit(node);
    if (!(m_filter[bit / 64] >> (bit % 64) & 1)) return nullptr;
    const PB::ICDB::FLAT_INSTANCE* const* record = m_index.find(node);
    return record ? *record : nullptr;
}

void INSTANCE_TREE::add_to_index(uint64_t node, const PB::ICDB::FLAT_INSTANCE* record) {
    if (!m_index.emplace(node, record).second) return;
    const size_t wanted_bits = 16 * m_index.size();
    if (64 * m_filter.size() < wanted_bits) {
        // Grown: the bits for the new count, refilled from the index.
        size_t bits = 64;
        while (bits < wanted_bits) bits *= 2;
        m_filter.assign(bits / 64, 0);
        m_filter_shift = 64;
        for (size_t b = bits; b > 1; b /= 2) --m_filter_shift;
        m_index.for_each([this](uint64_t key, const PB::ICDB::FLAT_INSTANCE*) {
            const size_t bit = filter_bit(key);
            m_filter[bit / 64] |= uint64_t(1) << (bit % 64);
        });
        return;
    }
    const size_t bit = filter_bit(node);
    m_filter[bit / 64] |= uint64_t(1) << (bit % 64);
}

bool INSTANCE_TREE::add_flat_instance(uint64_t node, const PB::ICDB::FLAT_INSTANCE& record) {
    auto inserted = m_flat_instances.try_emplace(node, record);
    if (inserted.second) add_to_index(node, &inserted.first->second);
    return inserted.second;
}

IINSTANCE_TREE* create_instance_tree(NLG_IGRAPH* graph) {
    return new INSTANCE_TREE(graph);
}

}  // namespace ICDB
