// The netlist graph as the description that UTIL::HIERARCHY numbers: NLG::HMODULES for one
// graph, NLG::HYMODULES for the union of a netlist graph and a block-level graph, and
// NLG::HPATH, a path cursor that reads a traversal's instance stack in place. All views hold
// raw pointers into the graphs and own none of it; a graph must outlive the views made from it.
#pragma once

#include <vector>

#include "nlg_igraph.h"
#include "nlg_ihpath.h"
#include "nlg_imodule_match.h"
#include "util/util_hierarchy.h"

namespace NLG {

class HPORT : public UTIL::IHIERARCHY::IPORT {
  public:
    explicit HPORT(const NLG_IPORT* port) : m_port(port) {}
    ~HPORT() override;

    NS_SYMBOL::SYM get_name() const override { return m_port->get_name(); }
    // 0, 1 or 2; any other direction is an internal error.
    int get_direction() const override;

  private:
    const NLG_IPORT* m_port;
};

class HINSTANCE : public UTIL::IHIERARCHY::IINSTANCE {
  public:
    explicit HINSTANCE(const NLG_IINSTANCE* instance) : m_instance(instance) {}
    ~HINSTANCE() override;

    NS_SYMBOL::SYM get_name() const override { return m_instance->get_name(); }
    // The name of the instantiated module, in that module's own graph.
    NS_SYMBOL::SYM get_module_name() const override { return m_instance->get_module()->get_name(); }

  private:
    const NLG_IINSTANCE* m_instance;
};

class HMODULE : public UTIL::IHIERARCHY::IMODULE {
  public:
    explicit HMODULE(const NLG_IMODULE* module);
    ~HMODULE() override;

    NS_SYMBOL::SYM get_name() const override { return m_module->get_name(); }
    uint32_t get_n_instances() const override { return static_cast<uint32_t>(m_instances.size()); }
    const UTIL::IHIERARCHY::IINSTANCE* get_instance(uint32_t index) const override;
    uint32_t get_n_ports() const override { return static_cast<uint32_t>(m_ports.size()); }
    const UTIL::IHIERARCHY::IPORT* get_port(uint32_t index) const override;

  private:
    const NLG_IMODULE* m_module;
    std::vector<HINSTANCE> m_instances;
    std::vector<HPORT> m_ports;
};

// Module indexes equal the graph's.
class HMODULES : public UTIL::IHIERARCHY::IMODULES {
  public:
    explicit HMODULES(const NLG_IGRAPH* graph);
    ~HMODULES() override;

    UTIL::SYMBOL_TABLE* get_symbol_table() const override { return m_graph->get_symbol_table(); }
    uint32_t get_n_modules() const override { return static_cast<uint32_t>(m_modules.size()); }
    const UTIL::IHIERARCHY::IMODULE* get_module(uint32_t index) const override;

  private:
    const NLG_IGRAPH* m_graph;
    std::vector<HMODULE> m_modules;
};

// A module of the union: its own name and ports, and the instances of its block-level twin
// when it has one.
class HYMODULE : public UTIL::IHIERARCHY::IMODULE {
  public:
    HYMODULE(const NLG_IMODULE* module, const NLG_IMODULE* match);
    ~HYMODULE() override;

    NS_SYMBOL::SYM get_name() const override { return m_module->get_name(); }
    uint32_t get_n_instances() const override { return static_cast<uint32_t>(m_instances.size()); }
    const UTIL::IHIERARCHY::IINSTANCE* get_instance(uint32_t index) const override;
    uint32_t get_n_ports() const override { return static_cast<uint32_t>(m_ports.size()); }
    const UTIL::IHIERARCHY::IPORT* get_port(uint32_t index) const override;

    const NLG_IMODULE* get_match() const { return m_match; }

  private:
    const NLG_IMODULE* m_module;
    const NLG_IMODULE* m_match;
    std::vector<HINSTANCE> m_instances;
    std::vector<HPORT> m_ports;
};

// The netlist graph's modules at their own indexes, then the block-level modules that are no
// module's twin, in their index order.
class HYMODULES : public UTIL::IHIERARCHY::IMODULES {
  public:
    HYMODULES(const NLG_IGRAPH* graph, const NLG_IGRAPH* other, const NLG_IMODULE_MATCH* match);
    ~HYMODULES() override;

    // Names come from two tables, so there is no one table to look them up in.
    UTIL::SYMBOL_TABLE* get_symbol_table() const override { return nullptr; }
    uint32_t get_n_modules() const override { return static_cast<uint32_t>(m_modules.size()); }
    const UTIL::IHIERARCHY::IMODULE* get_module(uint32_t index) const override;

  private:
    const NLG_IGRAPH* m_graph;
    const NLG_IGRAPH* m_other_graph;
    std::vector<HYMODULE> m_modules;
};

class HPATH : public NLG_IGRAPH::IHPATH {
  public:
    explicit HPATH(const NLG_IGRAPH* graph) : m_graph(graph) {}
    ~HPATH() override;

    const UTIL::IHIERARCHY* get_hierarchy() const override { return m_hierarchy; }
    // An unset stack reads as empty.
    uint32_t size() const override {
        return m_instances ? static_cast<uint32_t>(m_instances->size()) : 0;
    }
    uint32_t get_base_module_index() const override { return m_base_module_index; }
    // The index of the instance at that place in its parent module.
    uint32_t get_instance(uint32_t position) const override;
    uint32_t get_port_index() const override { return m_port_index; }

    void set_hierarchy(const UTIL::IHIERARCHY* hierarchy) override { m_hierarchy = hierarchy; }
    void set(const INSTANCES* instances) override { set(instances, PORT_INDEX_INVALID, 0u); }
    void set(const INSTANCES* instances, const NLG_IPORT* port, const NLG_IMODULE* module) override;
    void set(const INSTANCES* instances, uint32_t port_index, uint32_t base_module_index) override;
    const INSTANCES* get_instances() const override { return m_instances; }

    const NLG_IGRAPH* get_graph() const { return m_graph; }

  private:
    static constexpr uint32_t PORT_INDEX_INVALID = UTIL::IHIERARCHY::IMODULE::PORT_INDEX_INVALID;

    const NLG_IGRAPH* m_graph;
    const UTIL::IHIERARCHY* m_hierarchy = nullptr;
    uint32_t m_port_index = PORT_INDEX_INVALID;
    uint32_t m_base_module_index = 0;
    // The caller's stack: neither owned nor copied.
    const INSTANCES* m_instances = nullptr;
};

}  // namespace NLG
