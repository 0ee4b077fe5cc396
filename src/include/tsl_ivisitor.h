// TSL_IVISITOR: one enter and one exit operation per kind of graph object; TSL_VISITOR_BASE,
// the visitor that does nothing and keeps its traversal; TSL_ITRAVERSE, the walk that drives a
// visitor and tells it where it is. Graph objects dispatch to the visitor through
// accept_enter/accept_exit, so that a traversal never calls a visitor directly. The walks
// themselves live in nlg/nlg_graph_traverse.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

class TSL_ITRAVERSE;
class NLG_IPORT_REF;
class NLG_IPORT;
class NLG_INET;
class NLG_IINSTANCE;
class NLG_IMODULE;
class NLG_IGRAPH;

namespace PB {
class ICDB_POSITION;
}

class TSL_IVISITOR {
  public:
    virtual ~TSL_IVISITOR() = default;
    virtual void enter_port_ref(NLG_IPORT_REF& port_ref) = 0;
    virtual void enter_port(NLG_IPORT& port) = 0;
    virtual void enter_net(NLG_INET& net) = 0;
    virtual void enter_instance(NLG_IINSTANCE& instance) = 0;
    virtual void enter_module(NLG_IMODULE& module) = 0;
    virtual void enter_graph(NLG_IGRAPH& graph) = 0;
    virtual void exit_port_ref(NLG_IPORT_REF& port_ref) = 0;
    virtual void exit_port(NLG_IPORT& port) = 0;
    virtual void exit_net(NLG_INET& net) = 0;
    virtual void exit_instance(NLG_IINSTANCE& instance) = 0;
    virtual void exit_module(NLG_IMODULE& module) = 0;
    virtual void exit_graph(NLG_IGRAPH& graph) = 0;
    // The traversal that drives this visitor; not owned.
    virtual void set_traverse(TSL_ITRAVERSE* traverse) = 0;
};

class TSL_ITRAVERSE {
  public:
    // The instance stack from the root to the current place, outermost first.
    using INSTANCES = std::vector<NLG_IINSTANCE*>;

    virtual ~TSL_ITRAVERSE() = default;
    virtual void traverse_tops(NLG_IGRAPH* graph, const std::vector<uint32_t>& module_indexes) = 0;
    virtual void traverse(NLG_IGRAPH* graph) = 0;
    // Walk below one place only; no walk of the library supports it.
    virtual void traverse_subtree(NLG_IGRAPH* graph, const INSTANCES& path) = 0;
    // Each module definition once, with its ports, instances and port references.
    virtual void traverse_flat(NLG_IGRAPH* graph) = 0;
    virtual const INSTANCES& get_hier_blks() const = 0;
    // Hierarchy node of the current place, 0 at the root.
    virtual uint64_t get_node() const = 0;
    virtual bool is_spare_row() const = 0;
    virtual const std::string& get_uid() const = 0;
    virtual NLG_IMODULE* get_root() const = 0;
    virtual const PB::ICDB_POSITION& get_position() const = 0;
};

// Every enter and exit does nothing; a concrete visitor overrides what it needs. The owner
// of the pair gives the visitor its traversal after making both.
class TSL_VISITOR_BASE : public TSL_IVISITOR {
  public:
    void enter_port_ref(NLG_IPORT_REF&) override {}
    void enter_port(NLG_IPORT&) override {}
    void enter_net(NLG_INET&) override {}
    void enter_instance(NLG_IINSTANCE&) override {}
    void enter_module(NLG_IMODULE&) override {}
    void enter_graph(NLG_IGRAPH&) override {}
    void exit_port_ref(NLG_IPORT_REF&) override {}
    void exit_port(NLG_IPORT&) override {}
    void exit_net(NLG_INET&) override {}
    void exit_instance(NLG_IINSTANCE&) override {}
    void exit_module(NLG_IMODULE&) override {}
    void exit_graph(NLG_IGRAPH&) override {}
    void set_traverse(TSL_ITRAVERSE* traverse) override { m_traverse = traverse; }

  protected:
    // The traversal, or the fatal "Traverse is unset for visitor <name>!" when none was
    // given: for visitors that ask where the walk is.
    TSL_ITRAVERSE* checked_traverse(const char* visitor_name) const;

    TSL_ITRAVERSE* m_traverse = nullptr;
};
