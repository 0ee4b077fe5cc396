// FAB::ROUTING_GRAPH, the routing graph as the place-and-route tool sees it: a generator that
// pushes every node and edge of a device into the tool's IBUILDER, with the NODE, EDGE and
// UNIQUE_PORT views that live only during one builder call. The graph itself is never held here;
// the implementation and its generators live in fab/fab_routing_graph and fab/fab_graph_traverse.
#pragma once

#include <cstdint>

#include "fab_export.h"
#include "ns_symbol.h"

namespace FAB {

class FAB_EXPORT ROUTING_GRAPH {
  public:
    // Edge kinds, in the order in which they arrive: CRF, FCD, BLC, VIRTUAL.
    enum EDGE_KIND : uint32_t { CRF = 0, BLC = 1, FCD = 2, VIRTUAL = 3 };
    // The number a builder must never answer.
    static constexpr uint32_t INVALID_ID = 0xffffffffu;

    class FAB_EXPORT UNIQUE_PORT {
      public:
        virtual ~UNIQUE_PORT();
        // Always fatal: "Feature not supported!".
        virtual const char* get_full_name() const = 0;
        // 0 input, 1 output, 2 bidirectional.
        virtual uint32_t get_direction() const = 0;
        virtual NS_SYMBOL::SYM get_logical_name() const = 0;
        virtual NS_SYMBOL::SYM get_block_logical_name() const = 0;
        virtual NS_SYMBOL::SYM get_port_name() const = 0;
        virtual NS_SYMBOL::SYM get_module_name() const = 0;
    };

    class FAB_EXPORT NODE {
      public:
        virtual ~NODE();
        // 0 atom port, 1 block port, 2 block-internal, 3 core routing.
        virtual uint32_t get_re_class() const = 0;
        // A routing resource type; fatal unless the class is 3.
        virtual uint32_t get_node_type() const = 0;
        virtual uint32_t get_direction() const = 0;
        // Fatal when the class is 3.
        virtual NS_SYMBOL::SYM get_block_name() const = 0;
        virtual uint32_t get_index() const = 0;
        virtual int32_t get_length() const = 0;
        virtual int32_t get_clipped_length() const = 0;
        virtual void get_location(int32_t& x, int32_t& y, int32_t& z) const = 0;
        // Points into the node: valid as long as the node.
        virtual const UNIQUE_PORT& get_unique_port() const = 0;
    };

    class FAB_EXPORT EDGE {
      public:
        virtual ~EDGE();
        virtual uint32_t get_src() const = 0;
        virtual uint32_t get_dst() const = 0;
        virtual uint32_t get_attribute() const = 0;
        // False for the bridge and VIRTUAL edges, which no trace made.
        virtual bool is_generated() const = 0;
    };

    // Implemented by the caller. Nodes and edges are lent for the time of one call only.
    class FAB_EXPORT IBUILDER {
      public:
        virtual ~IBUILDER();
        virtual void begin_graph() = 0;
        virtual void begin_nodes() = 0;
        // The caller's own number for the node, never INVALID_ID.
        virtual uint32_t add_node(const NODE& node) = 0;
        virtual void end_nodes() = 0;
        virtual void begin_edges(uint32_t kind) = 0;
        virtual void add_edge(const EDGE& edge) = 0;
        virtual void end_edges() = 0;
        virtual void end_graph() = 0;
    };

    virtual ~ROUTING_GRAPH();
    // Once per object: every node, then the edges by kind 0, 2, 1, 3.
    virtual void generate(IBUILDER& builder) = 0;
};

}  // namespace FAB
