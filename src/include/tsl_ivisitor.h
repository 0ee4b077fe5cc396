// TSL_IVISITOR: one enter and one exit operation per kind of graph object. Graph objects
// dispatch to it through accept_enter/accept_exit, so that a traversal never calls a visitor
// directly. The traversals themselves are not declared here.
#pragma once

class TSL_ITRAVERSE;
class NLG_IPORT_REF;
class NLG_IPORT;
class NLG_INET;
class NLG_IINSTANCE;
class NLG_IMODULE;
class NLG_IGRAPH;

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
