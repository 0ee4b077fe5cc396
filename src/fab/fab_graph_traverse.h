// Visitors of the fabric core under the walks: the two that feed the floorplan with the placed
// top-level blocks (TSL_TOP_IP_COUNTER counts them so that the instance list is sized once,
// TSL_TOP_IP_GENERATOR adds them), and the visitors that make the routing graph: three node
// generators (block ports and block-internal REs, inserted REs, mux outputs with their merge
// decisions and HIPI shadows) and four edge generators (CRF with its per-module memo of traced
// edges, FCD, BLC, and the edges at inserted REs), with the working state of one generate call that
// they share. The model of nodes and edges is fab/fab_routing_graph; the walks are
// nlg/nlg_graph_traverse and fab/fab_full_traverse; the traces are nlg/nlg_graph_trace.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <ostream>
#include <map>
#include <memory>
#include <set>
#include <unordered_map>
#include <vector>

#include "fab/fab_full_traverse.h"
#include "fab/fab_routing_graph.h"
#include "fab/fab_serializer.h"
#include "fab_iposition.h"
#include "icdb_iinstance_tree.h"
#include "nlg_iannss.h"
#include "nlg/nlg_graph_trace.h"
#include "util/util_assert.h"
#include "util/util_edgecache.h"
#include "util/util_hash64.h"

class RTL_TO_BLC_MATCH;
namespace UTIL {
class SYMBOL_TABLE;
}

// Counts the instances of non-routing top-level blocks that the walk visits.
class TSL_TOP_IP_COUNTER : public FAB_VISITOR_BASE {
  public:
    TSL_TOP_IP_COUNTER(NLG_IANNSS* rtl_annss, uint32_t* count)
        : m_rtl_annss(rtl_annss), m_count(count) {}
    void exit_instance(NLG_IINSTANCE& instance) override;

  private:
    NLG_IANNSS* m_rtl_annss;
    uint32_t* m_count;
};

// For each top-level block the walk visits: makes its place current in the position, records
// it for a translate object, and, unless it is a routing block, adds it to the floorplan with
// its grid place, physical place and uid.
class TSL_TOP_IP_GENERATOR : public FAB_VISITOR_BASE {
  public:
    TSL_TOP_IP_GENERATOR(ICDB::IINSTANCE_TREE* instance_tree, FAB_IPOSITION* position,
                         NLG_IANNSS* rtl_annss, FAB_ISERIALIZER* serializer,
                         FAB::ITRANSLATE_BUILDER* translate, UTIL::SYMBOL_TABLE* rtl_symbols)
        : m_instance_tree(instance_tree),
          m_position(position),
          m_rtl_annss(rtl_annss),
          m_serializer(serializer),
          m_translate(translate),
          m_rtl_symbols(rtl_symbols) {}
    void exit_instance(NLG_IINSTANCE& instance) override;

  private:
    void add_top_level_block(NLG_IINSTANCE& instance, uint64_t node);

    // Held as given; the walk that drives this visitor is the one that reads the tree.
    [[maybe_unused]] ICDB::IINSTANCE_TREE* m_instance_tree;
    FAB_IPOSITION* m_position;
    NLG_IANNSS* m_rtl_annss;
    FAB_ISERIALIZER* m_serializer;
    FAB::ITRANSLATE_BUILDER* m_translate;
    UTIL::SYMBOL_TABLE* m_rtl_symbols;
};

// What the generators of one generate call share: the builder, the two id maps, the per-cell
// indexes, the merge map and the pair lists, and the inputs they read.
struct FAB_GENERATE_STATE {
    FAB_GENERATE_STATE(const UTIL::IHIERARCHY* hierarchy, uint32_t cells, uint32_t hipi_places);

    FAB::ROUTING_GRAPH::IBUILDER* m_builder = nullptr;
    NODE_ID_MAP m_main_ids;
    NODE_ID_MAP m_hipi_ids;
    FAB_NODE_INDEX m_node_index;
    FAB_MUX_TO_BLC_NODE_MAP m_mux_to_blc_node_map;
    FAB_ID_PAIRS m_hipi_pairs;
    FAB_ID_PAIRS m_bridge_pairs;

    NLG_IGRAPH* m_rtl_graph = nullptr;
    NLG_IGRAPH* m_blc_graph = nullptr;
    NLG_IANNSS* m_rtl_annss = nullptr;
    NLG_IANNSS* m_blc_annss = nullptr;
    ICDB::IINSTANCE_TREE* m_instance_tree = nullptr;
    FAB_IPOSITION* m_position = nullptr;
    RTL_TO_BLC_MATCH* m_match = nullptr;
    FAB::ITRANSLATE_BUILDER* m_translate = nullptr;
    bool m_no_cache = false;
};

// The builder's number for a node; a builder that answers the invalid number is refused.
uint32_t fab_add_node(FAB::ROUTING_GRAPH::IBUILDER& builder, const NODE_IMPL& node);

// The flat record of the top-level block that holds the place, or null.
const PB::ICDB::FLAT_INSTANCE* find_flat_instance(ICDB::IINSTANCE_TREE* tree, NLG_ICDB_ANNS& anns,
                                                  const FAB_INSTANCES& instances);
// The instance stack of a hierarchy node, rebuilt from the graph.
void get_instance_path(const UTIL::IHIERARCHY* hierarchy, UTIL::IHIERARCHY::IPATH_SETTABLE* path,
                       uint64_t node, NLG_IGRAPH* graph, FAB_INSTANCES& out);

// Node generators

class FAB_BLC_NODE_GENERATOR : public FAB_VISITOR_BASE {
  public:
    explicit FAB_BLC_NODE_GENERATOR(FAB_GENERATE_STATE& state);
    // The owner gives the concrete walk, whose location data this visitor reads; the generic
    // set_traverse is refused.
    void set_blc_traverse(FAB_FULL_TRAVERSE_BLC* traverse) { m_blc_traverse = traverse; }
    void set_traverse(TSL_ITRAVERSE* traverse) override;
    void set_annss(NLG_ICDB_ANNS* anns) override { m_anns = anns; }
    void enter_instance(NLG_IINSTANCE& instance) override;

  private:
    FAB_GENERATE_STATE& m_state;
    FAB_FULL_TRAVERSE_BLC* m_blc_traverse = nullptr;
    NLG_ICDB_ANNS* m_anns = nullptr;
    NLG_ICDB_ANNS* m_rtl_anns;
    std::unique_ptr<TSL_RTL_TRACER_FOR_BLC_NODE_GENERATOR> m_tracer;
};

class FAB_INSERT_NODE_GENERATOR : public FAB_VISITOR_BASE {
  public:
    explicit FAB_INSERT_NODE_GENERATOR(FAB_GENERATE_STATE& state);
    void enter_instance(NLG_IINSTANCE& instance) override;

  private:
    // A single mux output reached from the inserted RE is told that it may be this RE, or,
    // when told so by the annotations, is mapped to it.
    void apply_merge_rule(uint64_t node);

    FAB_GENERATE_STATE& m_state;
    NLG_ICDB_ANNS* m_anns;
    std::unique_ptr<TSL_RTL_TRACER_FOR_BLC_NODE_GENERATOR> m_tracer;
};

class FAB_MUX_NODE_GENERATOR : public FAB_VISITOR_BASE {
  public:
    explicit FAB_MUX_NODE_GENERATOR(FAB_GENERATE_STATE& state);
    void enter_instance(NLG_IINSTANCE& instance) override;

  private:
    struct MUX_KIND {
        uint32_t m_type = 0;
        uint32_t m_direction = 0;
        int32_t m_length = 0;
        uint32_t m_hipi_type = 0;
    };
    struct DECISION {
        bool m_create = true;
        uint64_t m_blc_node = UTIL::IHIERARCHY::INVALID_NODE;
        uint64_t m_bridge_from = UTIL::IHIERARCHY::INVALID_NODE;
        uint64_t m_bridge_to = UTIL::IHIERARCHY::INVALID_NODE;
    };
    DECISION decide(const FAB_INSTANCES& path, NLG_IPORT* port, const PB::ICDB::APORT& record,
                    uint64_t mux_node);
    void add_output(const FAB_INSTANCES& path, NLG_IPORT* port, const PB::ICDB::MODULE& an,
                    const MUX_KIND& kind, const FAB_LOCATION& place);

    FAB_GENERATE_STATE& m_state;
    NLG_ICDB_ANNS* m_anns;
    std::unique_ptr<TSL_RTL_TRACER_FOR_CRF_NODE_GENERATOR> m_tracer;
};

// Edge generators

class FAB_EDGE_GENERATOR : public FAB_VISITOR_BASE {
  public:
    FAB_EDGE_GENERATOR(FAB_GENERATE_STATE& state, NLG_ICDB_ANNS* anns);
    ~FAB_EDGE_GENERATOR() override;

    // The builder's number of a traced place, or INVALID_ID with a notice.
    virtual uint32_t get_id(const FAB_INSTANCES& instances, NLG_IPORT* port);
    virtual void add_edge_by_node(uint64_t src_node, uint64_t dst_node, const TSL_TRACED_PORT& src,
                                  const TSL_TRACED_PORT& dst, bool is_hipi);
    virtual void add_edge_by_port(const TSL_TRACED_PORT& src, const TSL_TRACED_PORT& dst);

  protected:
    void add_edge(uint32_t src, uint32_t dst, const TSL_TRACED_PORT& s, const TSL_TRACED_PORT& t);
    static TSL_TRACED_PORT traced(const FAB_INSTANCES& instances, NLG_IPORT* port);
    bool on_spare_row(const TSL_TRACED_PORT& port) const;

    FAB_GENERATE_STATE& m_state;
    NLG_ICDB_ANNS* m_anns;
    std::unique_ptr<TSL_RTL_TRACER> m_tracer;

  private:
    // The answers of on_spare_row by block: the ends traced from one place lie in few blocks,
    // and each answer otherwise costs a walk of the hierarchy and a look-up in the instance
    // tree. A small table, one entry per slot, keyed by the instance stack down to the block.
    struct SPARE_ROW_ANSWER {
        FAB_INSTANCES m_block;
        bool m_valid = false;
        bool m_spare = false;
    };
    static constexpr size_t SPARE_ROW_SLOTS = 64;
    mutable std::vector<SPARE_ROW_ANSWER> m_spare_rows;
};

// One traced mux path kept at the smallest module that holds both its ends, as offsets from
// that module's node, so that every other occurrence of the module replays it.
struct CACHED_EDGE {
    int32_t m_mux_offset;
    int16_t m_path_index;
    uint64_t m_src_offset;
    uint64_t m_dst_offset;
    uint16_t m_mux_index;
    // Every edge of the path is kept at this one module, so a replay makes the whole path. A
    // path whose sources lie under different modules is replayed edge by edge and traced again.
    bool m_whole_path;
};

class FAB_CRF_EDGE_GENERATOR : public FAB_EDGE_GENERATOR {
  public:
    using EDGE_CACHE = std::unordered_map<const NLG_IMODULE*, std::vector<CACHED_EDGE>>;
    // The whole paths that replays made, as a set of (mux node, path index): one bit per path
    // in words of 64 paths, kept in a flat table by mux node and word. Every replayed edge
    // enters the set and leaves it again, and each mux asks it about each of its paths, so the
    // set is on the hot path of the pass.
    class REPLAYED_PATHS {
      public:
        // The edges of one path, and the paths of one mux, come one after the other in a
        // replay: the word last inserted into is kept, until the table next changes shape.
        void insert(uint64_t mux_node, int32_t path) {
            const uint64_t k = key(mux_node, path);
            if (!m_last_word || k != m_last_key) {
                m_last_key = k;
                m_last_word = m_words.emplace(k, 0).first;
            }
            *m_last_word |= bit(path);
        }
        // The bits of the word of 64 paths that holds the path, 0 when none is set.
        uint64_t word(uint64_t mux_node, int32_t path) const {
            const uint64_t* word = m_words.find(key(mux_node, path));
            return word ? *word : 0;
        }
        static uint64_t bit(int32_t path) {
            return uint64_t{1} << (static_cast<uint32_t>(path) & 63);
        }
        void erase(uint64_t mux_node, int32_t path) {
            const uint64_t k = key(mux_node, path);
            uint64_t* word = m_words.find(k);
            if (!word) return;
            *word &= ~bit(path);
            if (*word != 0) return;
            m_words.erase(k);
            m_last_word = nullptr;
        }
        bool empty() const { return m_words.empty(); }

      private:
        // The node takes the bits above the 26 of the word number of a 32-bit path index.
        static uint64_t key(uint64_t mux_node, int32_t path) {
            UTIL_ASSERT(mux_node >> 38 == 0);
            return mux_node << 26 | static_cast<uint32_t>(path) >> 6;
        }
        UTIL::HASH64_MAP<uint64_t> m_words;
        uint64_t m_last_key = 0;
        uint64_t* m_last_word = nullptr;
    };
    // What replays made: whole paths, and single edges of split paths by mux node and (path,
    // source node).
    struct PENDING {
        REPLAYED_PATHS m_paths;
        std::unordered_map<uint64_t, std::set<std::pair<int32_t, uint64_t>>> m_edges;
    };

    explicit FAB_CRF_EDGE_GENERATOR(FAB_GENERATE_STATE& state);
    void enter_graph(NLG_IGRAPH& graph) override;
    void enter_instance(NLG_IINSTANCE& instance) override;
    void exit_instance(NLG_IINSTANCE& instance) override;

    const EDGE_CACHE& get_edge_cache() const { return m_edge_cache; }
    const EDGE_CACHE& get_hipi_edge_cache() const { return m_hipi_edge_cache; }

  private:
    // The ends of the mux's open paths, by port index of the mux module; kept between muxes so
    // that their storage is reused. Only the entries of `m_ports` are current.
    struct ENDS {
        // The ports at the ends of the open paths, in pointer order.
        std::vector<NLG_IPORT*> m_ports;
        std::vector<uint64_t> m_end_node;
        std::vector<TSL_TRACED_PORT> m_end_re;
        std::vector<uint64_t> m_own_node;
        std::vector<std::vector<TSL_TRACED_PORT>> m_sources;
    };
    // Traces the paths of a mux that no replay has made.
    void make_paths(NLG_IINSTANCE& instance, const PB::ICDB::MODULE& an, const FAB_INSTANCES& path,
                    uint64_t mux_node);
    // The memo's entries of one module, by module index, or null: every instance of the walk
    // asks for its module's, and most have none.
    using CACHE_INDEX = std::vector<const std::vector<CACHED_EDGE>*>;
    static const std::vector<CACHED_EDGE>* cached(const CACHE_INDEX& index,
                                                  const NLG_IMODULE* module) {
        const size_t at = static_cast<size_t>(module->get_index());
        return at < index.size() ? index[at] : nullptr;
    }
    void replay(const std::vector<CACHED_EDGE>* edges, PENDING& pending, const NODE_ID_MAP& target,
                const FAB_INSTANCES& path);
    void forget(const std::vector<CACHED_EDGE>* edges, PENDING& pending, uint64_t mux_node);
    void find_ends(const FAB_INSTANCES& path);
    void check_node(uint64_t node, const NLG_IMODULE* module, const FAB_INSTANCES& path,
                    const NLG_IPORT* port) const;
    // The edge as kept at the smallest module that holds both ends, and that module.
    std::pair<const NLG_IMODULE*, CACHED_EDGE> memoise(const TSL_TRACED_PORT& src,
                                                       const TSL_TRACED_PORT& dst,
                                                       const FAB_INSTANCES& path, uint64_t mux_node,
                                                       uint64_t src_node, uint64_t dst_node,
                                                       int32_t path_index, uint32_t mux_index);

    EDGE_CACHE m_edge_cache;
    EDGE_CACHE m_hipi_edge_cache;
    CACHE_INDEX m_edge_index;
    CACHE_INDEX m_hipi_edge_index;
    PENDING m_pending;
    PENDING m_hipi_pending;
    std::unique_ptr<UTIL::IHIERARCHY::IPATH_SETTABLE> m_rebuild_path;
    FAB_INSTANCES m_common;
    std::vector<std::pair<const NLG_IMODULE*, CACHED_EDGE>> m_path_memo;
    std::vector<int32_t> m_open_paths;
    ENDS m_ends;
};

class FAB_INSERTED_EDGE_GENERATOR : public FAB_EDGE_GENERATOR {
  public:
    explicit FAB_INSERTED_EDGE_GENERATOR(FAB_GENERATE_STATE& state);
    void exit_instance(NLG_IINSTANCE& instance) override;
};

class FAB_FCD_EDGE_GENERATOR : public FAB_EDGE_GENERATOR {
  public:
    explicit FAB_FCD_EDGE_GENERATOR(FAB_GENERATE_STATE& state);
    void exit_instance(NLG_IINSTANCE& instance) override;
};

class FAB_BLC_EDGE_GENERATOR : public FAB_EDGE_GENERATOR {
  public:
    explicit FAB_BLC_EDGE_GENERATOR(FAB_GENERATE_STATE& state);
    // The concrete walk, which pairs block modules with their block-level modules.
    void set_blc_traverse(FAB_FULL_TRAVERSE_BLC* traverse) {
        m_blc_traverse = traverse;
        set_traverse(traverse);
    }
    void set_annss(NLG_ICDB_ANNS* anns) override { m_anns = anns; }
    void exit_instance(NLG_IINSTANCE& instance) override;
    // A block's boundary is known to the hybrid hierarchy by its netlist ports.
    uint32_t get_id(const FAB_INSTANCES& instances, NLG_IPORT* port) override;

  private:
    void block_boundary(NLG_IMODULE* module, const FAB_INSTANCES& path);

    FAB_FULL_TRAVERSE_BLC* m_blc_traverse = nullptr;
    NLG_ICDB_ANNS* m_blc_anns;
};

// The generators under their walks, in the order in which generate calls them.
void fab_generate_blc_nodes(FAB_GENERATE_STATE& state);
void fab_generate_insert_nodes(FAB_GENERATE_STATE& state);
void fab_generate_mux_nodes(FAB_GENERATE_STATE& state);
// The CRF generator is handed back, since its memo becomes the database's edge cache.
std::unique_ptr<FAB_CRF_EDGE_GENERATOR> fab_generate_crf_edges(FAB_GENERATE_STATE& state);
void fab_generate_inserted_edges(FAB_GENERATE_STATE& state);
void fab_generate_fcd_edges(FAB_GENERATE_STATE& state);
void fab_generate_blc_edges(FAB_GENERATE_STATE& state);

// Translation database feed: a run with a translate object records the GID of each node that
// has one, tells the alias table which netlist points stand for each mux output, hands the CRF
// memo over as the edge cache and finishes the node map. The routing graph speaks of the
// hybrid hierarchy and the database of the netlist's: the conversions are made here. A run
// without a translate object calls none of it.
void fab_translate_record_gid(FAB_GENERATE_STATE& state, const NODE_IMPL& node, uint64_t node_id,
                              uint64_t& base_node);
void fab_translate_remap_nodes(FAB_GENERATE_STATE& state);
void fab_translate_take_edge_cache(FAB_GENERATE_STATE& state, const FAB_CRF_EDGE_GENERATOR& crf);
void fab_translate_finish(FAB_GENERATE_STATE& state);

// Under the mux walk of the netlist: the REs that a mux output reaches directly are that output
// in the alias table, so that the node map resolves them to it when it is sealed.
class FAB_MUX_TO_NODE_CACHE : public FAB_VISITOR_BASE {
  public:
    FAB_MUX_TO_NODE_CACHE(NLG_IANNSS* rtl_annss, ICDB::IINSTANCE_TREE* instance_tree,
                          FAB::ITRANSLATE_BUILDER* translate);
    void exit_instance(NLG_IINSTANCE& instance) override;

  private:
    void remap(const TSL_TRACED_PORT& traced, uint32_t port_index);
    // Prints the alias table, the failed step and the nodes with their places, and fails.
    [[noreturn]] void report(const char* text, std::initializer_list<uint64_t> nodes) const;

    NLG_IANNSS* m_rtl_annss;
    // Held as given; the walk that drives this visitor is the one that reads the tree.
    [[maybe_unused]] ICDB::IINSTANCE_TREE* m_instance_tree;
    FAB::ITRANSLATE_BUILDER* m_translate;
    std::unique_ptr<TSL_RTL_TRACER_SIMPLE> m_tracer;
    uint32_t m_module_index = UTIL::IHIERARCHY::IMODULES::MODULE_INDEX_INVALID;
    uint64_t m_base_node = UTIL::IHIERARCHY::INVALID_NODE;
};

// One module's memoised CRF edges as the edge cache takes them: offsets in the hybrid hierarchy
// become subnodes of the netlist's; an offset without a netlist place becomes -1, with a notice.
class FAB_CACHE_FEDGES : public UTIL::IEDGECACHE::IFEDGES {
  public:
    FAB_CACHE_FEDGES(const std::vector<CACHED_EDGE>& edges, const UTIL::IHIERARCHY* hybrid,
                     uint32_t base_module_index, const UTIL::IHIERARCHY* rtl);
    int32_t get_n_fedges() override { return static_cast<int32_t>(m_edges.size()); }
    const UTIL::FEDGE& get_fedge(int32_t index) override;

  private:
    // The last offset of each end that converted, and its node: the edges of one path share
    // their target and follow each other, so most targets convert once.
    struct LAST {
        bool m_valid = false;
        uint64_t m_offset = 0;
        uint64_t m_node = 0;
    };
    uint64_t convert(uint64_t offset, LAST& last);
    uint64_t convert_source(uint64_t offset);
    uint64_t convert(uint64_t offset);
    void dump_path(std::ostream& os) const;

    const std::vector<CACHED_EDGE>& m_edges;
    std::unique_ptr<UTIL::IHIERARCHY::IPATH_SETTABLE> m_path;
    uint32_t m_base_module_index;
    const UTIL::IHIERARCHY* m_hybrid_hierarchy;
    const UTIL::IHIERARCHY* m_rtl_hierarchy;
    UTIL::FEDGE m_fedge;
    LAST m_last_src;
    LAST m_last_dst;
    // A source feeds many muxes of the module, far from each other in the list: the sources
    // that converted, by offset. The table stops growing at a bound that keeps it to 2 MB, as
    // the hand-over of the largest module comes close to the run's peak of memory.
    static constexpr size_t MAX_KEPT_SOURCES = size_t{1} << 16;
    UTIL::HASH64_MAP<uint64_t> m_sources;
};
