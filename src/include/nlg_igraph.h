// The read interface of the netlist graph: NLG_ID, the base NLG_IGRAPH_NODE and the six object
// kinds (graph, module, port, net, instance, port reference) plus the file-line. Every analysis
// walks a graph through these interfaces only. The concrete classes live in src/nlg.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <vector>

#include "fab_export.h"
#include "ns_symbol.h"
#include "util/util_hierarchy.h"

namespace UTIL {
class SYMBOL_TABLE;
}

class TSL_IVISITOR;
class NLG_GRAPH;
class NLG_IGRAPH;
class NLG_IMODULE;
class NLG_IPORT;
class NLG_INET;
class NLG_IINSTANCE;
class NLG_IPORT_REF;
class NLG_IANNSS;
class NLG_IMODULE_MATCH;
class NLG_IINSTANCE_PATHS;
class NLG_IINSTANCE_TREE;

// Id of a graph object, shaped like a SYM: the kind in the high 8 bits, a serial in the low 24.
class NLG_ID {
  public:
    enum KIND : uint32_t { GRAPH = 0, MODULE = 1, PORT = 2, NET = 3, INSTANCE = 4, PORT_REF = 5 };
    static constexpr uint32_t SERIAL_MASK = 0xFFFFFFu;

    NLG_ID() : m_value(0) {}
    explicit NLG_ID(uint32_t value) : m_value(value) {}
    NLG_ID(KIND kind, uint32_t serial) : m_value((uint32_t(kind) << 24) | (serial & SERIAL_MASK)) {}

    uint32_t get_value() const { return m_value; }
    uint32_t get_kind() const { return m_value >> 24; }
    uint32_t get_serial() const { return m_value & SERIAL_MASK; }

    bool operator==(NLG_ID other) const { return m_value == other.m_value; }
    bool operator!=(NLG_ID other) const { return m_value != other.m_value; }

  private:
    uint32_t m_value;
};

class NLG_IFILELINE {
  public:
    virtual ~NLG_IFILELINE() = default;
    virtual NS_SYMBOL::SYM get_file(const NLG_GRAPH& graph) const = 0;
    virtual uint32_t get_line() const = 0;
};

class NLG_IGRAPH_NODE {
  public:
    virtual ~NLG_IGRAPH_NODE() = default;
    // Double dispatch: calls the visitor's enter (exit) operation for this kind with itself.
    virtual void accept_enter(TSL_IVISITOR& visitor) = 0;
    virtual void accept_exit(TSL_IVISITOR& visitor) = 0;
    virtual NLG_ID get_id() const = 0;
    virtual NS_SYMBOL::SYM get_name() const = 0;
    // Not owned by the caller.
    virtual const NLG_IFILELINE* get_fileline() const = 0;
};

class NLG_IPORT : public NLG_IGRAPH_NODE {
  public:
    enum DIRECTION : uint32_t { INPUT = 0, OUTPUT = 1, INOUT = 2 };

    virtual NLG_IMODULE* get_parent() const = 0;
    virtual int32_t get_index() const = 0;
    // Null when the port is not connected inside its module.
    virtual NLG_INET* get_net() const = 0;
    virtual uint32_t get_direction() const = 0;
    virtual bool is_input() const = 0;
    virtual bool is_output() const = 0;
    virtual bool is_inout() const = 0;
};

class NLG_INET : public NLG_IGRAPH_NODE {
  public:
    virtual NLG_IMODULE* get_parent() const = 0;
    virtual uint32_t get_num_ports() const = 0;
    virtual uint32_t get_num_portrefs() const = 0;
    virtual NLG_IPORT* get_port(int32_t index) const = 0;
    virtual NLG_IPORT_REF* get_portref(int32_t index) const = 0;
};

class NLG_IINSTANCE : public NLG_IGRAPH_NODE {
  public:
    virtual int32_t get_index() const = 0;
    // The module that contains the instance.
    virtual NLG_IMODULE* get_parent() const = 0;
    // The module that it instantiates.
    virtual NLG_IMODULE* get_module() const = 0;
    // Null when the port is not connected at this instance.
    virtual NLG_IPORT_REF* get_portref(const NLG_IPORT* port) const = 0;
    virtual NLG_IPORT_REF* get_portref(int32_t index) const = 0;
    virtual int32_t get_portref_index(const NLG_IPORT_REF* portref) const = 0;
    virtual uint32_t get_num_portrefs() const = 0;
    virtual bool is_leaf() const = 0;
};

// A port reference has neither a name nor a file-line: asking for them is an internal error.
class NLG_IPORT_REF : public NLG_IGRAPH_NODE {
  public:
    virtual NLG_IPORT* get_port() const = 0;
    // Null when the instance port is not connected.
    virtual NLG_INET* get_net() const = 0;
    virtual NLG_IINSTANCE* get_instance() const = 0;
    virtual bool is_input() const = 0;
    virtual bool is_output() const = 0;
    virtual bool is_inout() const = 0;
};

class NLG_IMODULE : public NLG_IGRAPH_NODE {
  public:
    virtual NLG_IGRAPH* get_graph() const = 0;
    virtual int32_t get_index() const = 0;
    virtual NLG_IPORT* get_port(NS_SYMBOL::SYM name) const = 0;
    virtual NLG_IPORT* get_port(int32_t index) const = 0;
    virtual NLG_INET* get_net(int32_t index) const = 0;
    virtual NLG_IINSTANCE* get_instance(NS_SYMBOL::SYM name) const = 0;
    virtual NLG_IINSTANCE* get_instance(int32_t index) const = 0;
    // An instance of this module, anywhere in the graph.
    virtual NLG_IINSTANCE* get_reference(int32_t index) const = 0;
    virtual uint32_t get_num_ports() const = 0;
    virtual uint32_t get_num_nets() const = 0;
    virtual uint32_t get_num_instances() const = 0;
    virtual uint32_t get_num_references() const = 0;
    virtual int32_t get_port_index(const NLG_IPORT* port) const = 0;
    virtual int32_t get_instance_index(NS_SYMBOL::SYM name) const = 0;
    virtual int32_t get_instance_index(const NLG_IINSTANCE* instance) const = 0;
    virtual int32_t get_net_index(const NLG_INET* net) const = 0;
    virtual bool is_leaf() const = 0;
    virtual bool is_primitive() const = 0;
    virtual uint32_t get_primitive_type() const = 0;
};

class NLG_IGRAPH : public NLG_IGRAPH_NODE {
  public:
    // Path cursor over this graph for the hierarchy; defined with the hierarchy adapters.
    class IHPATH;

    virtual uint32_t get_num_modules() const = 0;
    // The module at index 0.
    virtual NLG_IMODULE* get_top_module() const = 0;
    virtual NLG_IMODULE* get_module(NS_SYMBOL::SYM name) const = 0;
    virtual NLG_IMODULE* get_module(int32_t index) const = 0;
    virtual int32_t get_module_index(NS_SYMBOL::SYM name) const = 0;
    virtual UTIL::SYMBOL_TABLE* get_symbol_table() const = 0;
    // Factories of views over this graph; the caller owns what they return.
    virtual NLG_IINSTANCE_PATHS* create_instance_paths() = 0;
    virtual NLG_IINSTANCE_TREE* create_instance_tree(bool instances_only) = 0;
    virtual NLG_IGRAPH* create_hybrid_graph(NLG_IGRAPH* other, NLG_IMODULE_MATCH* match) = 0;
    virtual UTIL::IHIERARCHY::IMODULES* create_hmodules() = 0;
    virtual UTIL::IHIERARCHY::IMODULES* create_hymodules(NLG_IGRAPH* other,
                                                         NLG_IMODULE_MATCH* match) = 0;
    virtual IHPATH* create_hpath() = 0;
    // Fills the fan-in and fan-out lists of ports and port references, once.
    virtual void populate_fanin_fanout(NLG_IANNSS* annotations) = 0;
};

// Print forms of the graph objects, on the indenting filter. Ids print in decimal; a net lists
// its ports by pointer value. A module's form ends without a line end.
FAB_EXPORT std::ostream& operator<<(std::ostream& os, const NLG_IGRAPH& graph);
FAB_EXPORT std::ostream& operator<<(std::ostream& os, const NLG_IMODULE& module);
FAB_EXPORT std::ostream& operator<<(std::ostream& os, const NLG_IINSTANCE& instance);
FAB_EXPORT std::ostream& operator<<(std::ostream& os, const NLG_INET& net);
FAB_EXPORT std::ostream& operator<<(std::ostream& os, const NLG_IPORT& port);
