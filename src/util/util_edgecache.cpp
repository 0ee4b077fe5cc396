// Build, query, file form and print forms of the edge cache.
// Build of one module's graph from its fedges, with one call of get_fedge per fedge:
//  1. Number the distinct subnodes in order of first sight (destination before source) and
//     note each fedge as (destination number, source number, path, mux).
//  2. Sort the subnodes; the sorted position is the node index.
//  3. Count the edges into each node and check that one destination has one mux.
//  4. A running sum of the counts gives each node its first edge; place each edge at its
//     destination in fedge order, so the edges of a node keep the order of the fedges.
//  5. Index the nodes by subnode.
// A query finds both nodes, builds the destination's source map on first use, and looks up
// the source in it.
#include "util/util_edgecache.h"

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl.h>
#include <google/protobuf/wire_format_lite.h>

#include <algorithm>
#include <numeric>

#include "edgecache.pb.h"
#include "util/util_assert.h"
#include "util/util_indent.h"

namespace UTIL {

namespace {

// One fedge during a build, its subnodes numbered in order of first sight.
struct EC_PENDING {
    uint32_t m_dst;
    uint32_t m_src;
    uint16_t m_ipath_index;
    uint16_t m_mux_index;
};

}  // namespace

void EC_GRAPH::build(uint32_t module_index, EDGECACHE_BUILDER* cache, IEDGECACHE::IFEDGES& fedges) {
    m_module_index = module_index;
    m_cache = cache;
    const int32_t n = std::max(fedges.get_n_fedges(), 0);

    // 1. Distinct subnodes by first sight; one node for about five edges in.
    std::vector<uint64_t> keys;
    keys.reserve(static_cast<size_t>(n / 5));
    std::vector<EC_PENDING> pending(static_cast<size_t>(n));
    {
        EC_INDEX seen;
        seen.reset(static_cast<size_t>(n / 5));
        auto key_at = [&keys](uint32_t p) { return keys[p]; };
        auto intern = [&](uint64_t subnode) {
            uint32_t p = seen.find(subnode, key_at);
            if (p != EC_INDEX::ABSENT) return p;
            p = static_cast<uint32_t>(keys.size());
            keys.push_back(subnode);
            seen.insert(subnode, p, key_at);
            return p;
        };
        for (int32_t i = 0; i < n; ++i) {
            const FEDGE& f = fedges.get_fedge(i);
            EC_PENDING& e = pending[static_cast<size_t>(i)];
            e.m_dst = intern(f.m_dst);
            e.m_src = intern(f.m_src);
            e.m_ipath_index = f.m_ipath_index;
            e.m_mux_index = f.m_mux_index;
        }
    }

    // 2. Node index = sorted position of the subnode.
    const size_t k = keys.size();
    std::vector<uint32_t> order(k);
    std::iota(order.begin(), order.end(), 0u);
    std::sort(order.begin(), order.end(),
              [&keys](uint32_t a, uint32_t b) { return keys[a] < keys[b]; });
    std::vector<uint32_t> rank(k);
    for (size_t r = 0; r < k; ++r) rank[order[r]] = static_cast<uint32_t>(r);
    m_nodes = std::make_unique<std::vector<EC_NODE>>(k);
    m_edges = std::make_unique<std::vector<EC_EDGE>>(static_cast<size_t>(n));
    std::vector<EC_NODE>& nodes = *m_nodes;
    for (size_t r = 0; r < k; ++r) nodes[r].m_subnode = keys[order[r]];
    std::vector<uint64_t>().swap(keys);

    // 3. Edge counts and the one mux of each destination.
    for (const EC_PENDING& fedge : pending) {
        EC_NODE& node = nodes[rank[fedge.m_dst]];
        node.m_edge_count += 1;
        if (node.m_mux_index == EC_NONE16) {
            node.m_mux_index = fedge.m_mux_index;
        } else {
            UTIL_ASSERT(node.m_mux_index == fedge.m_mux_index);
        }
    }

    // 4. First edge of each node, then the edges in fedge order; `order` becomes the fill
    // position of each node.
    uint32_t sum = 0;
    for (size_t r = 0; r < k; ++r) {
        nodes[r].m_edge_index = sum;
        order[r] = sum;
        sum += static_cast<uint32_t>(nodes[r].m_edge_count);
    }
    std::vector<EC_EDGE>& edges = *m_edges;
    for (const EC_PENDING& fedge : pending) {
        EC_EDGE& edge = edges[order[rank[fedge.m_dst]]++];
        edge.m_src_index = static_cast<int32_t>(rank[fedge.m_src]);
        edge.m_ipath_index = fedge.m_ipath_index;
    }

    // 5.
    make_index();
}

void EC_GRAPH::make_index() {
    const std::vector<EC_NODE>& nodes = *m_nodes;
    auto key_at = [&nodes](uint32_t p) { return nodes[p].m_subnode; };
    m_subnode_to_node_index = std::make_unique<EC_INDEX>();
    m_subnode_to_node_index->reset(nodes.size());
    for (size_t i = 0; i < nodes.size(); ++i) {
        m_subnode_to_node_index->insert(nodes[i].m_subnode, static_cast<uint32_t>(i), key_at);
    }
}

uint32_t EC_GRAPH::find_node(uint64_t subnode) const {
    const std::vector<EC_NODE>& nodes = *m_nodes;
    return m_subnode_to_node_index->find(subnode,
                                         [&nodes](uint32_t p) { return nodes[p].m_subnode; });
}

bool EC_GRAPH::get_fedge_info(FEDGE& fedge) {
    const uint32_t src = find_node(fedge.m_src);
    if (src == EC_INDEX::ABSENT) return false;
    const uint32_t dst = find_node(fedge.m_dst);
    if (dst == EC_INDEX::ABSENT) return false;
    EC_NODE& node = (*m_nodes)[dst];
    const std::vector<EC_EDGE>& edges = *m_edges;
    auto src_at = [&edges](uint32_t e) { return static_cast<uint64_t>(edges[e].m_src_index); };
    if (!node.m_src_index_to_edge) {
        // Most nodes are never queried, so the source map of a node is made on first use.
        auto map = std::make_unique<EC_INDEX>();
        const uint32_t end = node.m_edge_index + static_cast<uint32_t>(node.m_edge_count);
        map->reset(static_cast<size_t>(node.m_edge_count), end);
        for (uint32_t e = node.m_edge_index; e < end; ++e) {
            // A parallel edge leaves the first in place.
            const uint64_t src_index = src_at(e);
            if (map->find(src_index, src_at) == EC_INDEX::ABSENT) map->insert(src_index, e, src_at);
        }
        node.m_src_index_to_edge = std::move(map);
    }
    const uint32_t e = node.m_src_index_to_edge->find(static_cast<uint64_t>(src), src_at);
    if (e == EC_INDEX::ABSENT) return false;
    fedge.m_mux_index = node.m_mux_index;
    fedge.m_ipath_index = edges[e].m_ipath_index;
    return true;
}

size_t EC_GRAPH::memory_bytes() const {
    return sizeof(*this) + sizeof(*m_nodes) + sizeof(*m_edges) + sizeof(*m_subnode_to_node_index) +
           m_nodes->capacity() * sizeof(EC_NODE) + m_edges->capacity() * sizeof(EC_EDGE) +
           m_subnode_to_node_index->memory_bytes();
}

void EC_GRAPH::to_message(::PB::UTIL::EC_GRAPH* pb) const {
    // Clear keeps the records of the last graph for reuse.
    pb->Clear();
    pb->mutable_nodes()->Reserve(static_cast<int>(m_nodes->size()));
    for (const EC_NODE& node : *m_nodes) {
        ::PB::UTIL::EC_NODE* out = pb->add_nodes();
        out->set_subnode(static_cast<uint32_t>(node.m_subnode));
        out->set_mux_index(node.m_mux_index);
        out->set_edge_index(node.m_edge_index);
        out->set_edge_count(static_cast<uint32_t>(node.m_edge_count));
    }
    pb->mutable_edges()->Reserve(static_cast<int>(m_edges->size()));
    for (const EC_EDGE& edge : *m_edges) {
        ::PB::UTIL::EC_EDGE* out = pb->add_edges();
        out->set_ipath_index(edge.m_ipath_index);
        out->set_src_index(static_cast<uint32_t>(edge.m_src_index));
    }
}

namespace {

// A stored node or edge as its fields read, absent ones 0 as the message reads them.
struct EC_NODE_FIELDS {
    uint32_t subnode = 0, mux_index = 0, edge_index = 0, edge_count = 0;
};
struct EC_EDGE_FIELDS {
    uint32_t ipath_index = 0, src_index = 0;
};

// A stored graph's nodes and edges as they are read, in whatever order the frame holds them.
// What one element shows is checked at once; what needs both lists waits for forms_graph().
class EC_GRAPH_READ {
  public:
    void node(const EC_NODE_FIELDS& in) {
        // Nodes ascending, each naming the edges that follow those of the node before it.
        if ((!m_nodes.empty() && in.subnode <= m_nodes.back().m_subnode) ||
            in.mux_index > EC_NONE16 || in.edge_index != m_sum) {
            m_ok = false;
        }
        m_sum += in.edge_count;
        EC_NODE& node = m_nodes.emplace_back();
        node.m_subnode = in.subnode;
        node.m_mux_index = static_cast<uint16_t>(in.mux_index);
        node.m_edge_index = in.edge_index;
        node.m_edge_count = static_cast<int32_t>(in.edge_count);
    }
    // `bytes_left`: what the frame still holds, which bounds the edges it can hold.
    void edge(const EC_EDGE_FIELDS& in, int64_t bytes_left) {
        if (m_edges.empty()) {
            // Every edge takes at least two bytes, its tag and its length.
            const uint64_t room = static_cast<uint64_t>(std::max<int64_t>(bytes_left, 0)) / 2 + 1;
            m_edges.reserve(static_cast<size_t>(std::min(m_sum, room)));
        }
        if (in.ipath_index > EC_NONE16) m_ok = false;
        m_max_src = std::max(m_max_src, in.src_index);
        m_edges.push_back(
            EC_EDGE{static_cast<uint16_t>(in.ipath_index), static_cast<int32_t>(in.src_index)});
    }
    bool forms_graph() const {
        return m_ok && m_sum == m_edges.size() && (m_edges.empty() || m_max_src < m_nodes.size());
    }

    std::vector<EC_NODE> m_nodes;
    std::vector<EC_EDGE> m_edges;

  private:
    bool m_ok = true;
    uint64_t m_sum = 0;      // edges named by the nodes so far
    uint32_t m_max_src = 0;  // largest source node index of the edges so far
};

using google::protobuf::internal::WireFormatLite;
using google::protobuf::io::CodedInputStream;

// Reads one embedded message whose known fields are the uint32 fields 1..N into `fields`, in
// field order: the outcome of the message's own parser (later values win, fields of another
// number or wire type are skipped), without its per-message set-up, which would dominate for
// millions of two-field messages.
template <size_t N>
bool read_uint32_fields(CodedInputStream& coded, uint32_t (&fields)[N]) {
    int length = 0;
    if (!coded.ReadVarintSizeAsInt(&length)) return false;
    std::pair<CodedInputStream::Limit, int> limit =
        coded.IncrementRecursionDepthAndPushLimit(length);
    if (limit.second < 0) return false;
    for (uint32_t tag = coded.ReadTag(); tag != 0; tag = coded.ReadTag()) {
        const uint32_t number = WireFormatLite::GetTagFieldNumber(tag);
        if (number >= 1 && number <= N &&
            WireFormatLite::GetTagWireType(tag) == WireFormatLite::WIRETYPE_VARINT) {
            if (!coded.ReadVarint32(&fields[number - 1])) return false;
        } else if (!WireFormatLite::SkipField(&coded, tag)) {
            return false;
        }
    }
    return coded.DecrementRecursionDepthAndPopLimit(limit.first);
}

// Hands each node and edge of one binary EC_GRAPH frame to `read` without making the message:
// a graph of millions of edges would otherwise stand in memory twice, once as messages.
bool read_graph_fields(google::protobuf::io::ZeroCopyInputStream* input, EC_GRAPH_READ& read) {
    constexpr uint32_t NODES = WireFormatLite::MakeTag(::PB::UTIL::EC_GRAPH::kNodesFieldNumber,
                                                       WireFormatLite::WIRETYPE_LENGTH_DELIMITED);
    constexpr uint32_t EDGES = WireFormatLite::MakeTag(::PB::UTIL::EC_GRAPH::kEdgesFieldNumber,
                                                       WireFormatLite::WIRETYPE_LENGTH_DELIMITED);
    return read_binary_fields(input, [&](uint32_t tag, CodedInputStream& coded) {
        if (tag == NODES) {
            uint32_t f[4] = {};
            if (!read_uint32_fields(coded, f)) return false;
            read.node(EC_NODE_FIELDS{f[0], f[1], f[2], f[3]});
            return true;
        }
        if (tag == EDGES) {
            uint32_t f[2] = {};
            if (!read_uint32_fields(coded, f)) return false;
            read.edge(EC_EDGE_FIELDS{f[0], f[1]}, coded.BytesUntilLimit());
            return true;
        }
        // Fields the schema does not know are skipped, as the message's own parser does.
        return WireFormatLite::SkipField(&coded, tag);
    });
}

}  // namespace

bool EC_GRAPH::fill(uint32_t module_index, EDGECACHE_BUILDER* cache,
                    google::protobuf::io::ZeroCopyInputStream* input, uint32_t format) {
    // A stored graph is taken only if it keeps the invariants the queries rely on: nodes
    // ascending, edges contiguous in node order, sources inside the node list.
    EC_GRAPH_READ read;
    if (format == PB_BIN) {
        if (!read_graph_fields(input, read)) return false;
    } else {
        ::PB::UTIL::EC_GRAPH pb;
        if (!read_message(input, &pb, format)) return false;
        for (const ::PB::UTIL::EC_NODE& n : pb.nodes()) {
            read.node(EC_NODE_FIELDS{n.subnode(), n.mux_index(), n.edge_index(), n.edge_count()});
        }
        for (const ::PB::UTIL::EC_EDGE& e : pb.edges()) {
            read.edge(EC_EDGE_FIELDS{e.ipath_index(), e.src_index()}, 2 * pb.edges_size());
        }
    }
    if (!read.forms_graph()) return false;
    m_nodes = std::make_unique<std::vector<EC_NODE>>(std::move(read.m_nodes));
    m_edges = std::make_unique<std::vector<EC_EDGE>>(std::move(read.m_edges));
    make_index();
    m_module_index = module_index;
    m_cache = cache;
    return true;
}

// ---------------------------------------------------------------------------------------

EC_FEDGE::const_iterator::const_iterator(const EC_GRAPH* graph, uint32_t node_index)
    : m_graph(graph), m_node_index(node_index) {
    skip_empty_nodes();
    load();
}

void EC_FEDGE::const_iterator::skip_empty_nodes() {
    const std::vector<EC_NODE>& nodes = m_graph->get_nodes();
    while (m_node_index < nodes.size() && nodes[m_node_index].m_edge_count == 0) ++m_node_index;
}

void EC_FEDGE::const_iterator::load() {
    const std::vector<EC_NODE>& nodes = m_graph->get_nodes();
    if (m_node_index >= nodes.size()) return;
    const EC_NODE& node = nodes[m_node_index];
    UTIL_ASSERT(node.m_edge_count > 0);
    const EC_EDGE& edge =
        m_graph->get_edges()[node.m_edge_index + static_cast<uint32_t>(m_edge_count)];
    m_fedge.m_dst = node.m_subnode;
    m_fedge.m_mux_index = node.m_mux_index;
    m_fedge.m_src = nodes[static_cast<size_t>(edge.m_src_index)].m_subnode;
    m_fedge.m_ipath_index = edge.m_ipath_index;
}

EC_FEDGE::const_iterator& EC_FEDGE::const_iterator::operator++() {
    const std::vector<EC_NODE>& nodes = m_graph->get_nodes();
    if (m_node_index >= nodes.size()) return *this;
    if (++m_edge_count >= nodes[m_node_index].m_edge_count) {
        m_edge_count = 0;
        ++m_node_index;
        skip_empty_nodes();
    }
    load();
    return *this;
}

// ---------------------------------------------------------------------------------------

bool EDGECACHE_BUILDER::add_module(uint32_t module_index, IFEDGES& fedges) {
    auto inserted = m_graphs.emplace(module_index, EC_GRAPH());
    if (!inserted.second) return false;
    inserted.first->second.build(module_index, this, fedges);
    return true;
}

const EC_GRAPH* EDGECACHE_BUILDER::get_graph(uint32_t module_index) const {
    auto it = m_graphs.find(module_index);
    return it == m_graphs.end() ? nullptr : &it->second;
}

bool EDGECACHE_BUILDER::get_fedge_info(FEDGE& fedge, uint32_t module_index) {
    auto it = m_graphs.find(module_index);
    if (it == m_graphs.end()) return false;
    return it->second.get_fedge_info(fedge);
}

std::vector<uint32_t> EDGECACHE_BUILDER::get_module_indexes() const {
    std::vector<uint32_t> modules;
    modules.reserve(m_graphs.size());
    for (const auto& entry : m_graphs) modules.push_back(entry.first);
    std::sort(modules.begin(), modules.end());
    return modules;
}

size_t EDGECACHE_BUILDER::memory_bytes() const {
    size_t bytes = m_graphs.bucket_count() * sizeof(void*);
    for (const auto& entry : m_graphs) bytes += 2 * sizeof(void*) + entry.second.memory_bytes();
    return bytes;
}

bool EDGECACHE_BUILDER::write(std::ostream& output, uint32_t format) {
    const std::vector<uint32_t> modules = get_module_indexes();
    ::PB::UTIL::EDGECACHE head;
    for (uint32_t m : modules) head.add_modules(m);
    if (!write_message(head, output, format)) return false;
    ::PB::UTIL::EC_GRAPH pb;
    for (uint32_t m : modules) {
        m_graphs.at(m).to_message(&pb);
        if (!write_message(pb, output, format)) return false;
    }
    return true;
}

bool EDGECACHE_BUILDER::read_stream(google::protobuf::io::ZeroCopyInputStream* input,
                                    uint32_t format) {
    ::PB::UTIL::EDGECACHE head;
    if (!read_message(input, &head, format)) UTIL_FAIL("Error reading pb_edgecache");
    // The writer lists each module once, ascending.
    for (int i = 1; i < head.modules_size(); ++i) {
        if (head.modules(i) <= head.modules(i - 1)) UTIL_FAIL("Error reading pb_edgecache");
    }
    m_graphs.reserve(m_graphs.size() + static_cast<size_t>(head.modules_size()));
    for (uint32_t m : head.modules()) m_graphs[m] = EC_GRAPH();
    for (uint32_t m : head.modules()) {
        if (!m_graphs[m].fill(m, this, input, format)) UTIL_FAIL("Error reading pb_graph");
    }
    return true;
}

bool EDGECACHE_BUILDER::read(std::istream& input, uint32_t format) {
    google::protobuf::io::IstreamInputStream zero_copy(&input);
    return read_stream(&zero_copy, format);
}

bool EDGECACHE_BUILDER::read(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format) {
    return read_stream(input, format);
}

// ---------------------------------------------------------------------------------------
// Print forms

std::ostream& operator<<(std::ostream& os, const FEDGE& fedge) {
    return os << "FEDGE { m_src = " << fedge.m_src << " m_dst = " << fedge.m_dst
              << " m_ipath_index = " << fedge.m_ipath_index
              << " m_mux_index = " << fedge.m_mux_index << " }";
}

std::ostream& operator<<(std::ostream& os, const EC_NODE& node) {
    return os << "EC_NODE { "
              << "m_subnode = " << node.m_subnode << " "
              << "m_mux_index = " << node.m_mux_index << " "
              << "m_edge_index = " << node.m_edge_index << " "
              << "m_edge_count = " << node.m_edge_count << " "
              << "}";
}

std::ostream& operator<<(std::ostream& os, const EC_EDGE& edge) {
    return os << "EC_EDGE { "
              << "m_ipath_index = " << edge.m_ipath_index << " "
              << "m_src_index = " << edge.m_src_index << " "
              << "}";
}

std::ostream& operator<<(std::ostream& os, const EC_GRAPH& graph) {
    INDENT guard(os, 3);
    os << "EC_GRAPH {" << std::endl << indent;
    os << "m_nodes = " << std::endl << indent;
    const std::vector<EC_NODE>& nodes = graph.get_nodes();
    for (size_t i = 0; i < nodes.size(); ++i) os << "[" << i << "] = " << nodes[i] << std::endl;
    os << outdent << "m_edges = " << std::endl << indent;
    const std::vector<EC_EDGE>& edges = graph.get_edges();
    for (size_t i = 0; i < edges.size(); ++i) os << "[" << i << "] = " << edges[i] << std::endl;
    return os << outdent << outdent << "}";
}

std::ostream& operator<<(std::ostream& os, const EC_FEDGE::const_iterator& it) {
    return os << "EC_FEDGE::const iterator { = "
              << "m_node_index = " << it.m_node_index << " "
              << "m_edge_count = " << it.m_edge_count << " }";
}

std::ostream& operator<<(std::ostream& os, const EC_FEDGE& fedges) {
    INDENT guard(os, 3);
    if (get_detail(os) >= 4) {
        size_t n = 0;
        for (auto it = fedges.begin(); it != fedges.end(); ++it) ++n;
        return os << "EC_FGRAPH_STATISTICS { "
                  << "n_fedges = " << n << " }";
    }
    os << "EC_FGRAPH { " << std::endl << indent;
    for (const FEDGE& fedge : fedges) os << fedge << std::endl;
    return os << outdent << "}";
}

std::ostream& operator<<(std::ostream& os, const IEDGECACHE& cache) {
    INDENT guard(os, 3);
    const EDGECACHE_BUILDER* builder = dynamic_cast<const EDGECACHE_BUILDER*>(&cache);
    std::vector<uint32_t> modules;
    if (builder != nullptr) modules = builder->get_module_indexes();
    if (get_detail(os) >= 4) {
        size_t n_nodes = 0, n_edges = 0;
        for (uint32_t m : modules) {
            n_nodes += builder->get_graph(m)->get_nodes().size();
            n_edges += builder->get_graph(m)->get_edges().size();
        }
        os << "IEDGECACHE_STATISTICS ("
           << "n_nodes = " << n_nodes << ", n_edges = " << n_edges << ") "
           << "{";
        for (uint32_t m : modules) {
            const EC_GRAPH* g = builder->get_graph(m);
            os << " [" << m << "] = "
               << "(nodes = " << g->get_nodes().size() << ", edges = " << g->get_edges().size()
               << ")";
        }
        return os << "}";
    }
    os << "IEDGECACHE (" << modules.size() << ")"
       << "{" << std::endl
       << indent;
    for (uint32_t m : modules) os << "[" << m << "] = " << *builder->get_graph(m) << std::endl;
    return os << outdent << "}";
}

}  // namespace UTIL
