// The routing graph model: the node, edge and port views lent to the caller's builder, the path
// adapter and the map from hybrid hierarchy node to builder number, the working state of one
// generate call, and FAB_ROUTING_GRAPH_IMPL, which runs the generators in their fixed order.
// The generators themselves live in fab/fab_graph_traverse; the floorplan and the pairing of
// the two views are made before, in fab/tsl_fab.
#pragma once

#include <cstdint>
#include <map>
#include <unordered_map>
#include <utility>
#include <vector>

#include "ann_icdb.pb.h"
#include "fab_irouting_graph.h"
#include "nlg_igraph.h"
#include "nlg_ihpath.h"
#include "util/util_assert.h"
#include "util/util_hash64.h"
#include "util/util_hierarchy.h"

class NLG_IANNSS;
class FAB_IPOSITION;
class RTL_TO_BLC_MATCH;
namespace ICDB {
class IINSTANCE_TREE;
}
namespace FAB {
class ITRANSLATE_BUILDER;
}

// Bounds of the grid, written by create_floorplan and read by every node: a node learns the
// size of the device without holding a pointer to anything. Shared by all runs of a process.
extern int32_t g_min_x;
extern int32_t g_min_y;
extern int32_t g_max_x;
extern int32_t g_max_y;

using FAB_INSTANCES = std::vector<NLG_IINSTANCE*>;

class UNIQUE_PORT_IMPL : public FAB::ROUTING_GRAPH::UNIQUE_PORT {
  public:
    const char* get_full_name() const override;
    uint32_t get_direction() const override;
    NS_SYMBOL::SYM get_logical_name() const override { return m_logical_name; }
    NS_SYMBOL::SYM get_block_logical_name() const override;
    NS_SYMBOL::SYM get_port_name() const override { return m_port->get_name(); }
    NS_SYMBOL::SYM get_module_name() const override { return m_port->get_parent()->get_name(); }

    NLG_IPORT* m_port = nullptr;
    NS_SYMBOL::SYM m_logical_name;
    const PB::ICDB::MODULE* m_an_module = nullptr;
};

class NODE_IMPL : public FAB::ROUTING_GRAPH::NODE {
  public:
    uint32_t get_re_class() const override;
    uint32_t get_node_type() const override;
    uint32_t get_direction() const override { return m_direction; }
    NS_SYMBOL::SYM get_block_name() const override;
    uint32_t get_index() const override { return m_index; }
    int32_t get_length() const override { return m_length; }
    int32_t get_clipped_length() const override;
    void get_location(int32_t& x, int32_t& y, int32_t& z) const override;
    const FAB::ROUTING_GRAPH::UNIQUE_PORT& get_unique_port() const override { return m_port; }

    // The instance stack of the place; valid during add_node only.
    const FAB_INSTANCES* m_path = nullptr;
    UNIQUE_PORT_IMPL m_port;
    uint32_t m_type = 0;
    int32_t m_x = 0;
    int32_t m_y = 0;
    int32_t m_z = 0;
    uint32_t m_direction = 0;
    int32_t m_length = -1;
    uint32_t m_index = 0;
    // This node gets a GID in the translation database.
    bool m_in_translate = false;
};

class EDGE_IMPL : public FAB::ROUTING_GRAPH::EDGE {
  public:
    EDGE_IMPL(uint32_t src, uint32_t dst, bool is_generated)
        : m_src(src), m_dst(dst), m_is_generated(is_generated) {}
    uint32_t get_src() const override { return m_src; }
    uint32_t get_dst() const override { return m_dst; }
    uint32_t get_attribute() const override { return m_attribute; }
    bool is_generated() const override { return m_is_generated; }

    uint32_t m_src;
    uint32_t m_dst;
    uint32_t m_attribute = 0;
    bool m_is_generated;
};

// An instance stack seen as a hierarchy path, without copying or allocating: every flat
// instance lookup goes through one.
class RE_PATH : public UTIL::IHIERARCHY::IPATH {
  public:
    RE_PATH(const UTIL::IHIERARCHY* hierarchy, const FAB_INSTANCES* instances,
            const NLG_IPORT* port)
        : m_hierarchy(hierarchy), m_instances(instances), m_port(port) {}
    const UTIL::IHIERARCHY* get_hierarchy() const override { return m_hierarchy; }
    uint32_t size() const override { return static_cast<uint32_t>(m_instances->size()); }
    uint32_t get_base_module_index() const override { return 0; }
    uint32_t get_instance(uint32_t position) const override;
    uint32_t get_port_index() const override;

  private:
    const UTIL::IHIERARCHY* m_hierarchy;
    const FAB_INSTANCES* m_instances;
    const NLG_IPORT* m_port;
};

// Hybrid hierarchy node to builder number, in a flat table: every edge asks it for both ends.
class NODE_ID_MAP {
  public:
    // `reserve` is the caller's bound on the number of nodes.
    NODE_ID_MAP(const UTIL::IHIERARCHY* hierarchy, size_t reserve);
    void insert(uint64_t node, uint32_t id) {
        UTIL_ASSERT(!m_sealed);
        *m_ids.emplace(node, id).first = id;
        if (node != UTIL::HASH64_MAP<uint32_t>::EMPTY) m_bound = std::max(m_bound, node + 1);
    }
    // The builder's number, or INVALID_ID.
    uint32_t find_id(uint64_t node) const {
        if (m_sealed && node < m_bound) {
            if (!(m_bits[node >> 6] & uint64_t{1} << (node & 63)))
                return FAB::ROUTING_GRAPH::INVALID_ID;
            return m_ranked_ids[rank_of(node)];
        }
        const uint32_t* id = m_ids.find(node);
        return id ? *id : FAB::ROUTING_GRAPH::INVALID_ID;
    }
    // Ends the inserts. The numbers are laid out in node order, found through a bit per node
    // and the count of bits before each word: the nodes of one module occurrence are near each
    // other, and so are their numbers, where the hash table scatters them.
    void seal();
    // Node of the port at the end of the stack (of the last instance for a null port).
    uint64_t get_node(const FAB_INSTANCES& instances, const NLG_IPORT* port) const;
    const UTIL::IHIERARCHY* get_hierarchy() const { return m_hierarchy; }
    size_t size() const { return m_sealed ? m_size : m_ids.size(); }

  private:
    static constexpr size_t MAX_INITIAL_RESERVE = size_t{1} << 20;
    // The number of set bits below the node's bit.
    uint32_t rank_of(uint64_t node) const {
        const size_t word = static_cast<size_t>(node >> 6);
        const uint64_t below = (uint64_t{1} << (node & 63)) - 1;
        return m_ranks[word] + popcount(m_bits[word] & below);
    }
    // Without a target that has the instruction, the builtin is a library call.
    static uint32_t popcount(uint64_t x) {
        x = x - ((x >> 1) & 0x5555555555555555ull);
        x = (x & 0x3333333333333333ull) + ((x >> 2) & 0x3333333333333333ull);
        x = (x + (x >> 4)) & 0x0f0f0f0f0f0f0f0full;
        return static_cast<uint32_t>((x * 0x0101010101010101ull) >> 56);
    }

    // The bit table is laid out only when it costs at most this many bytes per number.
    static constexpr uint64_t MAX_BIT_BYTES_PER_ID = 64;

    // One level of the last stack asked: its instance, node and module. Consecutive questions
    // come from one place or its neighbours and share most of their stack, so a walk starts
    // below the shared part instead of at the top.
    struct LEVEL {
        const NLG_IINSTANCE* m_instance;
        uint64_t m_node;
        uint32_t m_module_index;
    };

    const UTIL::IHIERARCHY* m_hierarchy;
    // All numbers until sealed; then those of nodes from m_bound on.
    UTIL::HASH64_MAP<uint32_t> m_ids;
    size_t m_size = 0;
    bool m_sealed = false;
    // Above every node inserted; once sealed, 0 when the numbers stayed in the hash table.
    uint64_t m_bound = 0;
    // Sealed: a bit per node below m_bound, the bits set before each word, and the numbers of
    // the set bits in node order.
    UTIL::HUGE_PAGE_VECTOR<uint64_t> m_bits;
    UTIL::HUGE_PAGE_VECTOR<uint32_t> m_ranks;
    UTIL::HUGE_PAGE_VECTOR<uint32_t> m_ranked_ids;
    mutable std::vector<LEVEL> m_levels;
};

// Next index per grid cell and type.
using FAB_NODE_INDEX = std::vector<std::map<uint32_t, uint32_t>>;
// A mux output merged into another RE: its node to that RE's node.
using FAB_MUX_TO_BLC_NODE_MAP = UTIL::HASH64_MAP<uint64_t>;
using FAB_ID_PAIRS = std::vector<std::pair<uint32_t, uint32_t>>;

// Reservation of a hash table of load factor 1.0 for a number of elements.
size_t fab_hash_reserve(double elements);

// The next index for a type in the cell (x, y); fatal outside the grid.
uint32_t get_node_index(int32_t x, int32_t y, FAB_NODE_INDEX& node_index, uint32_t type);

class FAB_ROUTING_GRAPH_IMPL : public FAB::ROUTING_GRAPH {
  public:
    FAB_ROUTING_GRAPH_IMPL(NLG_IGRAPH* rtl_graph, NLG_IANNSS* rtl_annss, NLG_IGRAPH* blc_graph,
                           NLG_IANNSS* blc_annss, ICDB::IINSTANCE_TREE* instance_tree,
                           FAB_IPOSITION* position, FAB::ITRANSLATE_BUILDER* translate,
                           RTL_TO_BLC_MATCH* match, bool timers);
    FAB_ROUTING_GRAPH_IMPL(const FAB_ROUTING_GRAPH_IMPL&) = delete;
    FAB_ROUTING_GRAPH_IMPL& operator=(const FAB_ROUTING_GRAPH_IMPL&) = delete;
    ~FAB_ROUTING_GRAPH_IMPL() override;

    void generate(IBUILDER& builder) override;

    // Nodes a caller may expect, counted from the annotations without a walk.
    uint64_t estimate_n_nodes() const;
    // Places of a module in the flattened design.
    static uint32_t get_num_occurrences(const NLG_IMODULE* module);
    uint32_t get_num_hipi_places() const;

    const UTIL::IHIERARCHY* get_hybrid_hierarchy() const { return m_hybrid_hierarchy; }
    // Test hook: trace every mux instead of replaying memoised edges.
    bool m_no_cache = false;

  private:
    NLG_IGRAPH* m_rtl_graph;
    NLG_IANNSS* m_rtl_annss;
    NLG_IGRAPH* m_blc_graph;
    NLG_IANNSS* m_blc_annss;
    ICDB::IINSTANCE_TREE* m_instance_tree;
    FAB_IPOSITION* m_position;
    FAB::ITRANSLATE_BUILDER* m_translate;
    RTL_TO_BLC_MATCH* m_match;
    UTIL::IHIERARCHY::IMODULES* m_hybrid_modules;
    UTIL::IHIERARCHY* m_hybrid_hierarchy;
    bool m_timers;
};
