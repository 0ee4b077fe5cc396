// A builder that keeps what tests compare: one line per node, the edges by kind as a multiset
// (the order within a mux is not stable), the call sequence, and the raw node attributes.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "fab/fab_routing_graph.h"
#include "fab_irouting_graph.h"
#include "mux.pb.h"

namespace FAB_TEST {

using PB::MUX_DESCRIPTION;

// The HIPI shadow types: a shadow shares its mux output's place.
inline bool is_shadow(uint32_t type) {
    return type >= MUX_DESCRIPTION::HIPI_M_MUX && type <= MUX_DESCRIPTION::HIPI_LATCH;
}

// Keeps what a test compares: node lines and edges by kind, and the call sequence.
class RECORDING_BUILDER : public FAB::ROUTING_GRAPH::IBUILDER {
  public:
    using EDGES = std::multiset<std::tuple<uint32_t, uint32_t, uint32_t, bool>>;

    void begin_graph() override { m_calls += "G"; }
    void begin_nodes() override { m_calls += "N"; }
    struct NODE_DATA {
        uint32_t m_class, m_type, m_direction, m_index;
        int32_t m_length, m_clipped, m_x, m_y, m_z;
    };

    uint32_t add_node(const FAB::ROUTING_GRAPH::NODE& node) override {
        int32_t x, y, z;
        node.get_location(x, y, z);
        const uint32_t re_class = node.get_re_class();
        m_data.push_back({re_class, re_class == 3 ? node.get_node_type() : 0, node.get_direction(),
                          node.get_index(), node.get_length(), node.get_clipped_length(), x, y, z});
        std::ostringstream os;
        os << node.get_unique_port().get_module_name() << "."
           << node.get_unique_port().get_port_name() << " class " << node.get_re_class();
        if (node.get_re_class() == 3)
            os << " type "
               << MUX_DESCRIPTION::MUXTYPE_Name(
                      static_cast<MUX_DESCRIPTION::MUXTYPE>(node.get_node_type()));
        else
            os << " block " << node.get_block_name();
        os << " at " << x << "," << y << "," << z << " index " << node.get_index() << " length "
           << node.get_length() << "/" << node.get_clipped_length();
        m_nodes.push_back(os.str());
        return static_cast<uint32_t>(m_nodes.size() - 1);
    }
    void end_nodes() override { m_calls += "n"; }

    void begin_edges(uint32_t kind) override {
        m_calls += "E" + std::to_string(kind);
        m_kind = kind;
    }
    void add_edge(const FAB::ROUTING_GRAPH::EDGE& e) override {
        EXPECT_EQ(e.get_attribute(), 0u);
        m_edges.emplace(m_kind, e.get_src(), e.get_dst(), e.is_generated());
    }
    void end_edges() override { m_calls += "e"; }
    void end_graph() override { m_calls += "g"; }

    std::string m_calls;
    std::vector<std::string> m_nodes;
    std::vector<NODE_DATA> m_data;
    EDGES m_edges;
    uint32_t m_kind = 99;
};

}  // namespace FAB_TEST
