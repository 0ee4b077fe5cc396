// NLG_HYBRID_GRAPH: a read-only view of a netlist graph and a block-level graph joined through
// a table of matched modules, behind the same interfaces as a real graph. It owns its small
// records (modules, instances, ports by value); it owns neither source graph nor the match.
#pragma once

#include <unordered_map>
#include <vector>

#include "nlg_igraph.h"
#include "nlg_imodule_match.h"

class NLG_HYBRID_GRAPH;
class NLG_HYBRID_MODULE;

// A port of a hybrid module: always a port of the module's own source.
class NLG_HYBRID_PORT : public NLG_IPORT {
  public:
    NLG_HYBRID_PORT(int32_t index, NLG_IPORT* port, NLG_HYBRID_MODULE* parent);

    void accept_enter(TSL_IVISITOR& visitor) override { m_port->accept_enter(visitor); }
    void accept_exit(TSL_IVISITOR& visitor) override { m_port->accept_exit(visitor); }
    NLG_ID get_id() const override;
    NS_SYMBOL::SYM get_name() const override { return m_port->get_name(); }
    const NLG_IFILELINE* get_fileline() const override { return m_port->get_fileline(); }

    NLG_IMODULE* get_parent() const override;
    int32_t get_index() const override { return m_index; }
    // A view has no nets.
    NLG_INET* get_net() const override { return nullptr; }
    uint32_t get_direction() const override { return m_port->get_direction(); }
    bool is_input() const override { return m_port->is_input(); }
    bool is_output() const override { return m_port->is_output(); }
    bool is_inout() const override { return m_port->is_inout(); }

  private:
    int32_t m_index;
    NLG_IPORT* m_port;
    NLG_HYBRID_MODULE* m_parent;
};

// An instance of the instance source of its parent, whose definition is found by name in the
// whole union.
class NLG_HYBRID_INSTANCE : public NLG_IINSTANCE {
  public:
    NLG_HYBRID_INSTANCE(int32_t index, NLG_IINSTANCE* instance, NLG_HYBRID_MODULE* parent,
                        NLG_HYBRID_MODULE* module);

    void accept_enter(TSL_IVISITOR& visitor) override { m_instance->accept_enter(visitor); }
    void accept_exit(TSL_IVISITOR& visitor) override { m_instance->accept_exit(visitor); }
    NLG_ID get_id() const override;
    NS_SYMBOL::SYM get_name() const override { return m_instance->get_name(); }
    const NLG_IFILELINE* get_fileline() const override { return m_instance->get_fileline(); }

    int32_t get_index() const override { return m_index; }
    NLG_IMODULE* get_parent() const override;
    NLG_IMODULE* get_module() const override;
    // A view has no port references.
    NLG_IPORT_REF* get_portref(const NLG_IPORT*) const override { return nullptr; }
    NLG_IPORT_REF* get_portref(int32_t) const override { return nullptr; }
    int32_t get_portref_index(const NLG_IPORT_REF*) const override { return -1; }
    uint32_t get_num_portrefs() const override { return 0; }
    bool is_leaf() const override { return m_instance->is_leaf(); }

  private:
    int32_t m_index;
    NLG_IINSTANCE* m_instance;
    NLG_HYBRID_MODULE* m_parent;
    NLG_HYBRID_MODULE* m_module;
};

// A module of the union: the name and ports of its own source, the instances of its twin when
// it has one (the instance source), else its own.
class NLG_HYBRID_MODULE : public NLG_IMODULE {
  public:
    // Entries are made first and initialised once the union's name map is complete.
    NLG_HYBRID_MODULE() = default;
    void init(int32_t index, NLG_HYBRID_GRAPH* hybrid_graph, NLG_IMODULE* module,
              NLG_IMODULE* match);

    // The visitor sees the source module.
    void accept_enter(TSL_IVISITOR& visitor) override { m_module->accept_enter(visitor); }
    void accept_exit(TSL_IVISITOR& visitor) override { m_module->accept_exit(visitor); }
    NLG_ID get_id() const override;
    NS_SYMBOL::SYM get_name() const override { return m_module->get_name(); }
    const NLG_IFILELINE* get_fileline() const override { return m_module->get_fileline(); }

    NLG_IGRAPH* get_graph() const override;
    int32_t get_index() const override { return m_index; }
    NLG_IPORT* get_port(NS_SYMBOL::SYM name) const override;
    NLG_IPORT* get_port(int32_t index) const override;
    NLG_INET* get_net(int32_t) const override { return nullptr; }
    NLG_IINSTANCE* get_instance(NS_SYMBOL::SYM name) const override;
    NLG_IINSTANCE* get_instance(int32_t index) const override;
    NLG_IINSTANCE* get_reference(int32_t) const override { return nullptr; }
    uint32_t get_num_ports() const override { return static_cast<uint32_t>(m_ports.size()); }
    uint32_t get_num_nets() const override;
    uint32_t get_num_instances() const override {
        return static_cast<uint32_t>(m_instances.size());
    }
    uint32_t get_num_references() const override;
    int32_t get_port_index(const NLG_IPORT* port) const override {
        return m_module->get_port_index(port);
    }
    int32_t get_instance_index(NS_SYMBOL::SYM name) const override {
        return source()->get_instance_index(name);
    }
    int32_t get_instance_index(const NLG_IINSTANCE* instance) const override {
        return source()->get_instance_index(instance);
    }
    int32_t get_net_index(const NLG_INET*) const override { return -1; }
    bool is_leaf() const override { return source()->is_leaf(); }
    bool is_primitive() const override { return source()->is_primitive(); }
    uint32_t get_primitive_type() const override { return source()->get_primitive_type(); }

    NLG_IMODULE* get_source_module() const { return m_module; }
    NLG_IMODULE* get_match() const { return m_match; }

  private:
    NLG_IMODULE* source() const { return m_match ? m_match : m_module; }

    int32_t m_index = -1;
    NLG_HYBRID_GRAPH* m_hybrid_graph = nullptr;
    NLG_IMODULE* m_module = nullptr;
    NLG_IMODULE* m_match = nullptr;
    std::vector<NLG_HYBRID_INSTANCE> m_instances;
    std::vector<NLG_HYBRID_PORT> m_ports;
};

// The netlist graph's modules at their own indexes, then the block-level modules that are no
// module's twin, in their index order. Names resolve across the whole union.
class NLG_HYBRID_GRAPH : public NLG_IGRAPH {
  public:
    NLG_HYBRID_GRAPH(NLG_IGRAPH* graph, NLG_IGRAPH* other, NLG_IMODULE_MATCH* match);
    // Modules point at each other inside m_modules.
    NLG_HYBRID_GRAPH(const NLG_HYBRID_GRAPH&) = delete;
    NLG_HYBRID_GRAPH& operator=(const NLG_HYBRID_GRAPH&) = delete;

    void accept_enter(TSL_IVISITOR&) override {}
    void accept_exit(TSL_IVISITOR&) override {}
    NLG_ID get_id() const override;
    NS_SYMBOL::SYM get_name() const override { return m_graph->get_name(); }
    const NLG_IFILELINE* get_fileline() const override { return m_graph->get_fileline(); }

    uint32_t get_num_modules() const override { return static_cast<uint32_t>(m_modules.size()); }
    NLG_IMODULE* get_top_module() const override;
    NLG_IMODULE* get_module(NS_SYMBOL::SYM name) const override;
    NLG_IMODULE* get_module(int32_t index) const override;
    int32_t get_module_index(NS_SYMBOL::SYM name) const override;
    // Two graphs, two tables: the view has none of its own.
    UTIL::SYMBOL_TABLE* get_symbol_table() const override { return nullptr; }
    NLG_IINSTANCE_PATHS* create_instance_paths() override { return nullptr; }
    NLG_IINSTANCE_TREE* create_instance_tree(bool instances_only) override;
    NLG_IGRAPH* create_hybrid_graph(NLG_IGRAPH*, NLG_IMODULE_MATCH*) override { return nullptr; }
    UTIL::IHIERARCHY::IMODULES* create_hmodules() override { return nullptr; }
    UTIL::IHIERARCHY::IMODULES* create_hymodules(NLG_IGRAPH*, NLG_IMODULE_MATCH*) override {
        return nullptr;
    }
    IHPATH* create_hpath() override { return nullptr; }
    void populate_fanin_fanout(NLG_IANNSS* annotations) override;

    // The entry of a module of the union by name, or null.
    NLG_HYBRID_MODULE* find_module(NS_SYMBOL::SYM name);
    NLG_IGRAPH* get_first_graph() const { return m_graph; }
    NLG_IGRAPH* get_other_graph() const { return m_other_graph; }

  private:
    NLG_IGRAPH* m_graph;
    NLG_IGRAPH* m_other_graph;
    std::unordered_map<NS_SYMBOL::SYM, int32_t> m_module_map;
    std::vector<NLG_HYBRID_MODULE> m_modules;
};
