// The edge cache: per module, one compact graph of the module's fedges (edges between two
// subnodes of the module) with the mux path of each edge and the mux of each destination.
// It does not know the hierarchy beyond holding a pointer to it, and does not make fedges.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <ostream>
#include <unordered_map>
#include <vector>

#include "fab_export.h"
#include "util/util_hash64.h"
#include "util/util_protobuf.h"

namespace PB::UTIL {
class EC_GRAPH;
}

namespace UTIL {

class IHIERARCHY;
class EDGECACHE_BUILDER;

// An edge between two subnodes of one module.
struct FEDGE {
    uint64_t m_src = ~0ull;
    uint64_t m_dst = ~0ull;
    uint16_t m_ipath_index = 0xFFFF;  // path through the mux
    uint16_t m_mux_index = 0xFFFF;    // mux description of the destination
};

std::ostream& operator<<(std::ostream& os, const FEDGE& fedge);

class IEDGECACHE {
  public:
    using FEDGE = UTIL::FEDGE;

    // A module's fedges, as the caller presents them.
    class IFEDGES {
      public:
        virtual ~IFEDGES() = default;
        virtual int32_t get_n_fedges() = 0;
        // Valid until the next call.
        virtual const FEDGE& get_fedge(int32_t index) = 0;
    };

    virtual ~IEDGECACHE() = default;
    virtual const IHIERARCHY* get_hierarchy() const = 0;
    // In: m_src, m_dst. Out on success: m_mux_index, m_ipath_index. False leaves the fedge
    // alone. Not const in effect: the first query of a destination builds its source map.
    virtual bool get_fedge_info(FEDGE& fedge, uint32_t module_index) = 0;
};

FAB_EXPORT std::ostream& operator<<(std::ostream& os, const IEDGECACHE& cache);

constexpr uint16_t EC_NONE16 = 0xFFFF;

// An incoming edge, stored at its destination node.
struct EC_EDGE {
    uint16_t m_ipath_index = EC_NONE16;
    int32_t m_src_index = -1;  // node index of the source
};

std::ostream& operator<<(std::ostream& os, const EC_EDGE& edge);

struct EC_NODE {
    uint64_t m_subnode = 0;
    uint16_t m_mux_index = EC_NONE16;  // mux of the edges into this node; 65535 is none
    uint32_t m_edge_index = 0;         // first incoming edge in the graph's m_edges
    int32_t m_edge_count = 0;
    // Source node index -> edge position; made on the first query of this node.
    std::unique_ptr<EC_INDEX> m_src_index_to_edge;
};

std::ostream& operator<<(std::ostream& os, const EC_NODE& node);

class EC_GRAPH {
  public:
    EC_GRAPH() = default;
    EC_GRAPH(EC_GRAPH&&) = default;
    EC_GRAPH& operator=(EC_GRAPH&&) = default;

    // Builds the graph from a module's fedges; two mux indexes into one destination end the
    // process.
    void build(uint32_t module_index, EDGECACHE_BUILDER* cache, IEDGECACHE::IFEDGES& fedges);
    // Reads one stored graph frame; false if it does not read or its nodes and edges do not
    // form a graph.
    bool fill(uint32_t module_index, EDGECACHE_BUILDER* cache,
              google::protobuf::io::ZeroCopyInputStream* input, uint32_t format);
    void to_message(::PB::UTIL::EC_GRAPH* pb) const;

    // Node index of `subnode`, or EC_INDEX::ABSENT.
    uint32_t find_node(uint64_t subnode) const;
    bool get_fedge_info(FEDGE& fedge);

    uint32_t get_module_index() const { return m_module_index; }
    const std::vector<EC_NODE>& get_nodes() const { return *m_nodes; }
    const std::vector<EC_EDGE>& get_edges() const { return *m_edges; }
    size_t memory_bytes() const;

  private:
    void make_index();

    uint32_t m_module_index = 0xFFFFFFFFu;
    EDGECACHE_BUILDER* m_cache = nullptr;
    std::unique_ptr<std::vector<EC_NODE>> m_nodes = std::make_unique<std::vector<EC_NODE>>();
    std::unique_ptr<std::vector<EC_EDGE>> m_edges = std::make_unique<std::vector<EC_EDGE>>();
    std::unique_ptr<EC_INDEX> m_subnode_to_node_index = std::make_unique<EC_INDEX>();
};

std::ostream& operator<<(std::ostream& os, const EC_GRAPH& graph);

// A graph seen as a sequence of fedges, destination by destination in node order, and the
// edges of one destination in the order of the fedges it was built from.
class EC_FEDGE {
  public:
    class const_iterator {
      public:
        const_iterator(const EC_GRAPH* graph, uint32_t node_index);
        const FEDGE& operator*() const { return m_fedge; }
        const FEDGE* operator->() const { return &m_fedge; }
        const_iterator& operator++();
        bool operator==(const const_iterator& o) const {
            return m_node_index == o.m_node_index && m_edge_count == o.m_edge_count;
        }
        bool operator!=(const const_iterator& o) const { return !(*this == o); }
        friend std::ostream& operator<<(std::ostream& os, const const_iterator& it);

      private:
        void skip_empty_nodes();
        void load();

        const EC_GRAPH* m_graph;
        uint32_t m_node_index;
        int32_t m_edge_count = 0;  // edge number inside the node
        FEDGE m_fedge;
    };

    explicit EC_FEDGE(const EC_GRAPH& graph) : m_graph(&graph) {}
    const_iterator begin() const { return const_iterator(m_graph, 0); }
    const_iterator end() const {
        return const_iterator(m_graph, static_cast<uint32_t>(m_graph->get_nodes().size()));
    }
    const EC_GRAPH& get_graph() const { return *m_graph; }

  private:
    const EC_GRAPH* m_graph;
};

std::ostream& operator<<(std::ostream& os, const EC_FEDGE& fedges);

class EDGECACHE_BUILDER : public IEDGECACHE, public ISERIALIZABLE {
  public:
    const IHIERARCHY* get_hierarchy() const override { return m_hierarchy; }
    bool get_fedge_info(FEDGE& fedge, uint32_t module_index) override;

    void set_hierarchy(const IHIERARCHY* hierarchy) { m_hierarchy = hierarchy; }
    // False, with nothing changed, if the module already has a graph.
    bool add_module(uint32_t module_index, IFEDGES& fedges);
    const EC_GRAPH* get_graph(uint32_t module_index) const;
    // A section that cannot be read ends the process.
    bool read_stream(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format);

    using ISERIALIZABLE::read;
    bool read(std::istream& input, uint32_t format) override;
    bool read(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format) override;
    bool write(std::ostream& output, uint32_t format) override;

    // Module indexes ascending: the order of the file and of the print forms.
    std::vector<uint32_t> get_module_indexes() const;
    // Heap bytes of all graphs, the lazy source maps excluded.
    size_t memory_bytes() const;

  private:
    const IHIERARCHY* m_hierarchy = nullptr;
    std::unordered_map<uint32_t, EC_GRAPH> m_graphs;
};

}  // namespace UTIL
