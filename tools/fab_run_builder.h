// The builder of fab_run, as a place-and-route tool would keep a routing graph: nodes with
// their attributes, edges by kind in compressed sparse row form, a check of the call sequence,
// and the text dump of the graph that tests compare with a reviewed expectation.
#pragma once

#include <algorithm>
#include <array>
#include <deque>
#include <cstdint>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "fab_irouting_graph.h"
#include "mux.pb.h"

namespace FAB_RUN {

// The builder of a place-and-route tool: nodes with their attributes, edges by kind in
// compressed sparse row form (offsets by source, targets), built when a kind ends.
class CSR_BUILDER : public FAB::ROUTING_GRAPH::IBUILDER {
  public:
    struct NODE_RECORD {
        uint32_t m_class;
        uint32_t m_type;  // the routing type, or the block name's symbol for block ports
        uint32_t m_direction;
        uint32_t m_port_direction;  // of the netlist port: 0 input, 1 output, 2 both
        uint32_t m_index;
        int32_t m_length;
        int32_t m_clipped;
        int32_t m_x, m_y, m_z;
        NS_SYMBOL::SYM m_module;
        NS_SYMBOL::SYM m_port;
    };
    struct CSR {
        std::vector<uint64_t> m_offsets;  // n_nodes + 1
        std::vector<uint32_t> m_targets;
        std::vector<bool> m_generated;
        // A fixed connection that no mux setting makes: among the CRF edges, the bridges (not
        // generated) and the edges at inserted REs, which the graph delivers after the bridges.
        std::vector<bool> m_fixed;
    };
    static constexpr int N_KINDS = 4;

    void begin_graph() override { m_calls += "G"; }
    void begin_nodes() override { m_calls += "N"; }
    uint32_t add_node(const FAB::ROUTING_GRAPH::NODE& node) override {
        NODE_RECORD r;
        r.m_class = node.get_re_class();
        r.m_type = r.m_class == 3 ? node.get_node_type() : node.get_block_name().get_value();
        r.m_direction = node.get_direction();
        r.m_port_direction = node.get_unique_port().get_direction();
        r.m_index = node.get_index();
        r.m_length = node.get_length();
        r.m_clipped = node.get_clipped_length();
        node.get_location(r.m_x, r.m_y, r.m_z);
        r.m_module = node.get_unique_port().get_module_name();
        r.m_port = node.get_unique_port().get_port_name();
        m_nodes.push_back(r);
        return static_cast<uint32_t>(m_nodes.size() - 1);
    }
    void end_nodes() override { m_calls += "n"; }
    void begin_edges(uint32_t kind) override {
        finish_kind();
        m_calls += "E" + std::to_string(kind);
        m_kind = static_cast<int>(kind);
        m_past_generated = false;
        if (kind >= N_KINDS) m_protocol_error = "edge kind " + std::to_string(kind);
    }
    void add_edge(const FAB::ROUTING_GRAPH::EDGE& edge) override {
        const uint32_t n = static_cast<uint32_t>(m_nodes.size());
        if (edge.get_src() >= n || edge.get_dst() >= n || m_kind < 0)
            m_protocol_error = "edge with an endpoint that is no node";
        else if (edge.get_src() == edge.get_dst())
            ++m_self_loops;
        if (!edge.is_generated()) m_past_generated = true;
        m_pending.push_back(
            {edge.get_src(), edge.get_dst(), edge.is_generated(), m_past_generated});
    }
    void end_edges() override {
        finish_kind();
        m_calls += "e";
    }
    void end_graph() override { m_calls += "g"; }

    // The sequence of calls must be G N n E0 E2 E1 E3 e g.
    bool protocol_ok() const { return m_protocol_error.empty() && m_calls == "GNnE0E2E1E3eg"; }
    const std::string& calls() const { return m_calls; }
    const std::vector<NODE_RECORD>& nodes() const { return m_nodes; }
    const CSR& kind(int k) const { return m_csr[k]; }
    uint64_t self_loops() const { return m_self_loops; }

  private:
    struct PENDING_EDGE {
        uint32_t m_src, m_dst;
        bool m_generated;
        bool m_fixed;
    };

    // Counting sort of the kind's edges by source into its CSR arrays.
    void finish_kind() {
        if (m_kind < 0 || m_kind >= N_KINDS) {
            m_pending.clear();
            return;
        }
        CSR& csr = m_csr[m_kind];
        const size_t n = m_nodes.size();
        csr.m_offsets.assign(n + 1, 0);
        for (const PENDING_EDGE& e : m_pending)
            if (e.m_src < n) ++csr.m_offsets[e.m_src + 1];
        for (size_t k = 0; k < n; ++k) csr.m_offsets[k + 1] += csr.m_offsets[k];
        csr.m_targets.resize(csr.m_offsets[n]);
        csr.m_generated.resize(csr.m_offsets[n]);
        csr.m_fixed.resize(csr.m_offsets[n]);
        std::vector<uint64_t> fill(csr.m_offsets.begin(), csr.m_offsets.end() - 1);
        for (const PENDING_EDGE& e : m_pending) {
            if (e.m_src >= n) continue;
            const uint64_t at = fill[e.m_src]++;
            csr.m_targets[at] = e.m_dst;
            csr.m_generated[at] = e.m_generated;
            csr.m_fixed[at] = e.m_fixed;
        }
        std::deque<PENDING_EDGE>().swap(m_pending);
        m_kind = -1;
    }

    std::vector<NODE_RECORD> m_nodes;
    std::array<CSR, N_KINDS> m_csr;
    // A deque: the CRF kind alone holds tens of millions of edges, and a vector's last growth
    // would hold the old and the new array at once, more than the finished graph.
    std::deque<PENDING_EDGE> m_pending;
    int m_kind = -1;
    // Set by the first edge of the kind that no trace made: every later edge is fixed.
    bool m_past_generated = false;
    std::string m_calls;
    std::string m_protocol_error;
    uint64_t m_self_loops = 0;
};

inline const char* const KIND_NAMES[CSR_BUILDER::N_KINDS] = {"CRF", "BLC", "FCD", "VIRTUAL"};
inline const char* const CLASS_NAMES[4] = {"atom_port", "block_port", "blc_internal",
                                           "core_routing"};

inline std::string type_name(uint32_t type) {
    if (!PB::MUX_DESCRIPTION::MUXTYPE_IsValid(static_cast<int>(type))) return std::to_string(type);
    return PB::MUX_DESCRIPTION::MUXTYPE_Name(static_cast<PB::MUX_DESCRIPTION::MUXTYPE>(type));
}

inline  // Nodes in the order of delivery; edges of a kind sorted, since the order within a mux is
        // not
    // stable across runs.
    void
    dump_graph(std::ostream& os, const CSR_BUILDER& builder) {
    const std::vector<CSR_BUILDER::NODE_RECORD>& nodes = builder.nodes();
    for (size_t k = 0; k < nodes.size(); ++k) {
        const CSR_BUILDER::NODE_RECORD& n = nodes[k];
        os << "node " << k << " (" << n.m_x << "," << n.m_y << "," << n.m_z << ") "
           << CLASS_NAMES[n.m_class < 4 ? n.m_class : 3] << " ";
        if (n.m_class == 3)
            os << type_name(n.m_type);
        else
            os << NS_SYMBOL::SYM(n.m_type);
        os << " " << n.m_index << " dir " << n.m_direction << " len " << n.m_length << "/"
           << n.m_clipped << " " << n.m_module << "." << n.m_port << "\n";
    }
    for (int kind : {0, 2, 1, 3}) {
        const CSR_BUILDER::CSR& csr = builder.kind(kind);
        for (size_t src = 0; src + 1 < csr.m_offsets.size(); ++src) {
            std::vector<std::pair<uint32_t, bool>> out;
            for (uint64_t e = csr.m_offsets[src]; e < csr.m_offsets[src + 1]; ++e)
                out.emplace_back(csr.m_targets[e], csr.m_generated[e]);
            std::sort(out.begin(), out.end());
            for (const auto& e : out)
                os << "edge " << KIND_NAMES[kind] << " " << src << " " << e.first
                   << (e.second ? "" : " bridge_or_virtual") << "\n";
        }
    }
}

}  // namespace FAB_RUN
