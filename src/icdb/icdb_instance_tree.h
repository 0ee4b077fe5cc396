// ICDB::INSTANCE_TREE: flat placement records by hierarchy node, in a hash map read from and
// written to the top module's ICDB record, with a flat index beside it for the look-ups. It owns
// the hierarchy (and its module view) only when it made them itself; it never owns the graph or
// the annotation records.
#pragma once

#include <unordered_map>
#include <vector>

#include "ann_icdb.pb.h"
#include "icdb_iinstance_tree.h"
#include "util/util_hash64.h"

namespace ICDB {

class INSTANCE_TREE : public IINSTANCE_TREE {
  public:
    // Numbers the graph with a hierarchy of its own over the graph's module view.
    explicit INSTANCE_TREE(NLG_IGRAPH* graph);
    // Uses the caller's hierarchy, which must outlive the tree.
    INSTANCE_TREE(NLG_IGRAPH* graph, UTIL::IHIERARCHY* hierarchy);
    INSTANCE_TREE(const INSTANCE_TREE&) = delete;
    INSTANCE_TREE& operator=(const INSTANCE_TREE&) = delete;
    ~INSTANCE_TREE() override;

    void load(NLG_ICDB_ANNS& reader) override;
    bool store(NLG_ICDB_ANNS& reader, const std::vector<uint32_t>& sector_modules) override;
    UTIL::IHIERARCHY* get_hierarchy() override;
    const PB::ICDB::FLAT_INSTANCE* get_flat_instance(uint64_t node) const override;
    bool add_flat_instance(uint64_t node, const PB::ICDB::FLAT_INSTANCE& record) override;

    size_t size() const { return m_flat_instances.size(); }

  private:
    NLG_IGRAPH* m_graph;
    UTIL::IHIERARCHY::IMODULES* m_modules;
    UTIL::IHIERARCHY* m_hierarchy;
    std::unordered_map<uint64_t, PB::ICDB::FLAT_INSTANCE> m_flat_instances;
    // The same records by node in one flat array: the walks ask for every instance they pass,
    // nearly always for a node that has no record, and a miss here costs one or two probes of
    // adjacent slots instead of a division and a chain of scattered nodes. The records stay in
    // the map, whose values never move.
    UTIL::HASH64_MAP<const PB::ICDB::FLAT_INSTANCE*> m_index;
    // Sixteen to thirty-two bits per record, the bit of each node that has a record set:
    // small enough to stay in the nearest caches, it turns away nearly all misses before
    // the index is touched.
    std::vector<uint64_t> m_filter;
    unsigned m_filter_shift = 64;

    void add_to_index(uint64_t node, const PB::ICDB::FLAT_INSTANCE* record);
    size_t filter_bit(uint64_t node) const {
        return static_cast<size_t>((node * 0x9E3779B97F4A7C15ULL) >> m_filter_shift);
    }
};

}  // namespace ICDB
