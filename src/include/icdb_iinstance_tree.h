// ICDB::IINSTANCE_TREE, the map from hierarchy node to flat placement record (grid and physical
// position, spare-row mark, uid, sector id), and the hierarchy that numbers those nodes. The
// records travel in the top module's ICDB record; ICDB::INSTANCE_TREE implements the map.
#pragma once

#include <cstdint>
#include <vector>

#include "nlg_iannss.h"
#include "util/util_hierarchy.h"

namespace PB {
class ICDB_FLAT_INSTANCE;
}

namespace ICDB {

class IINSTANCE_TREE {
  public:
    virtual ~IINSTANCE_TREE() = default;
    // Merges the placements listed in the top module's record into the map.
    virtual void load(NLG_ICDB_ANNS& reader) = 0;
    // Appends the map to the top module's record in node order, marks the given modules as
    // sectors and sets the grid bounds of the graph record.
    virtual bool store(NLG_ICDB_ANNS& reader, const std::vector<uint32_t>& sector_modules) = 0;
    virtual UTIL::IHIERARCHY* get_hierarchy() = 0;
    // The record of the node in the map, or null; it stays put while the map grows.
    virtual const PB::ICDB_FLAT_INSTANCE* get_flat_instance(uint64_t node) const = 0;
    // False, and no change, when the node has a record already.
    virtual bool add_flat_instance(uint64_t node, const PB::ICDB_FLAT_INSTANCE& record) = 0;
};

// A tree over the graph with a hierarchy of its own; the caller owns it.
IINSTANCE_TREE* create_instance_tree(NLG_IGRAPH* graph);

}  // namespace ICDB
