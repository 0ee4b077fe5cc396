// Instance paths by name (NLG_INSTANCE_PATHS, NLG_INSTANCE_PATH) and the instance tree
// (NLG_INSTANCE_TREE, NLG_TREE_PATH) with the adapters that show a graph as typed-tree types
// (IT_TYPES, IT_TYPE, IT_PORT_OR_INST). Everything here reads the graph as it stands at
// construction and owns none of it; the tree owns its TTREE and its types.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "nlg_iinstance_paths.h"
#include "nlg_iinstance_tree.h"
#include "util/util_typedtree.h"

class NLG_INSTANCE_PATH : public NLG_IINSTANCE_PATHS::IPATH {
  public:
    explicit NLG_INSTANCE_PATH(const NLG_IGRAPH* graph) : m_graph(graph) {}

    uint32_t size() const override { return static_cast<uint32_t>(m_symbols.size()); }
    NS_SYMBOL::SYM get(uint32_t index) const override;
    void push(NS_SYMBOL::SYM name) override { m_symbols.push_back(name); }
    // Popping an empty path leaves it empty.
    void pop() override;
    void set(const std::vector<NS_SYMBOL::SYM>& names) override { m_symbols = names; }
    // All names or none: a name unknown to the graph's table leaves the path empty.
    bool set_from_string(const std::string& text, char delimiter = '/') override;

    const std::vector<NS_SYMBOL::SYM>& get_symbols() const { return m_symbols; }

  private:
    const NLG_IGRAPH* m_graph;
    std::vector<NS_SYMBOL::SYM> m_symbols;
};

class NLG_INSTANCE_PATHS : public NLG_IINSTANCE_PATHS {
  public:
    explicit NLG_INSTANCE_PATHS(const NLG_IGRAPH* graph);

    IPATH* create_path() const override;
    NLG_IINSTANCE* get_instance(const IPATH& path) const override;
    std::string to_string(const IPATH& path) const override;

  private:
    const NLG_IGRAPH* m_graph;
    NLG_IMODULE* m_top;
};

// One child of a module in the typed tree: an instance, or a port, which is a leaf.
class IT_PORT_OR_INST : public UTIL_ITYPEDTREE::IINSTANCE {
  public:
    explicit IT_PORT_OR_INST(const NLG_IINSTANCE* instance)
        : m_is_instance(true), m_instance(instance) {}
    explicit IT_PORT_OR_INST(const NLG_IPORT* port) : m_is_instance(false), m_port(port) {}

    NS_SYMBOL::SYM get_name() const override;
    NS_SYMBOL::SYM get_type_name() const override;
    int32_t get_type_index() const override;

    bool is_instance() const { return m_is_instance; }

  private:
    bool m_is_instance;
    union {
        const NLG_IINSTANCE* m_instance;
        const NLG_IPORT* m_port;
    };
};

// A module as a type: its instances in index order, followed in a port tree by its ports.
class IT_TYPE : public UTIL_ITYPEDTREE::ITYPE {
  public:
    IT_TYPE(const NLG_IMODULE* module, bool is_instance_tree);

    uint32_t get_n_instances() const override { return static_cast<uint32_t>(m_children.size()); }
    NS_SYMBOL::SYM get_name() const override { return m_module->get_name(); }
    const UTIL_ITYPEDTREE::IINSTANCE* get_instance(uint32_t index) const override;
    // Instance trees only: a port tree would need ports found by name as well.
    int32_t find_instance(NS_SYMBOL::SYM name) const override;

    const NLG_IMODULE* get_module() const { return m_module; }

  private:
    const NLG_IMODULE* m_module;
    bool m_is_instance_tree;
    uint32_t m_n_instances;
    std::vector<IT_PORT_OR_INST> m_children;
};

// The graph's modules as types; type index equals module index, so type 0 is the top module.
class IT_TYPES : public UTIL_ITYPEDTREE::ITYPES {
  public:
    IT_TYPES(const NLG_IGRAPH* graph, bool is_instance_tree);
    // The tree points into m_types.
    IT_TYPES(const IT_TYPES&) = delete;
    IT_TYPES& operator=(const IT_TYPES&) = delete;

    UTIL::SYMBOL_TABLE* get_symbol_table() const override { return m_graph->get_symbol_table(); }
    uint32_t get_n_types() const override { return static_cast<uint32_t>(m_types.size()); }
    const UTIL_ITYPEDTREE::ITYPE* get_type(uint32_t index) const override;

  private:
    const NLG_IGRAPH* m_graph;
    bool m_is_instance_tree;
    std::vector<IT_TYPE> m_types;
};

// A tree path that forwards to the TPATH it owns.
class NLG_TREE_PATH : public NLG_IINSTANCE_TREE::IPATH {
  public:
    // Takes ownership.
    explicit NLG_TREE_PATH(TPATH* path) : m_path(path) {}

    uint32_t size() const override { return m_path->size(); }
    NS_SYMBOL::SYM get(uint32_t index) const override { return m_path->get(index); }
    void push(NS_SYMBOL::SYM name) override { m_path->push(name); }
    void pop() override { m_path->pop(); }
    void set(const std::vector<NS_SYMBOL::SYM>& names) override { m_path->set(names); }
    bool set_from_string(const std::string& text, char delimiter = '/') override {
        return m_path->set_from_string(text, delimiter);
    }

    const TPATH& get_tpath() const { return *m_path; }
    TPATH& get_tpath() { return *m_path; }

  private:
    std::unique_ptr<TPATH> m_path;
};

class NLG_INSTANCE_TREE : public NLG_IINSTANCE_TREE {
  public:
    enum TREE_TYPE : uint32_t { INSTANCE_TREE = 0, PORT_TREE = 1 };

    NLG_INSTANCE_TREE(NLG_IGRAPH* graph, uint32_t tree_type);
    NLG_INSTANCE_TREE(const NLG_INSTANCE_TREE&) = delete;
    NLG_INSTANCE_TREE& operator=(const NLG_INSTANCE_TREE&) = delete;
    ~NLG_INSTANCE_TREE() override;

    NLG_IGRAPH* get_graph() const override { return m_graph; }
    IPATH* create_path() const override;
    void* get_reserved_0() const override { return nullptr; }
    void* get_reserved_1() const override { return nullptr; }
    NLG_IMODULE* get_module(int32_t index) const override { return m_graph->get_module(index); }
    NLG_IINSTANCE* get_instance(int32_t module_index, int32_t instance_index) const override {
        return get_module(module_index)->get_instance(instance_index);
    }
    uint32_t get_n_children(uint32_t module_index) const override {
        return m_ttree->get_n_children(module_index);
    }
    void get_child(uint32_t type, uint64_t node, uint32_t child_index, int32_t& out_type,
                   uint64_t& out_node) const override {
        m_ttree->get_child(type, node, child_index, out_type, out_node);
    }
    int32_t get_size() const override { return m_ttree->get_size(0); }
    uint64_t get_node(const std::vector<NLG_IINSTANCE*>& instances,
                      const NLG_IPORT* port) const override;
    uint64_t get_node(const IPATH& path) const override;
    bool set_path(IPATH& path, uint64_t node) const override;
    bool locate(uint64_t node, int32_t& out_parent_type, int32_t& out_type,
                int32_t& out_child_index) const override {
        return m_ttree->locate(node, out_parent_type, out_type, out_child_index);
    }

    uint32_t get_tree_type() const { return m_tree_type; }
    const TTREE& get_ttree() const { return *m_ttree; }

  private:
    void warn_foreign_port(const std::vector<NLG_IINSTANCE*>& instances,
                           const NLG_IPORT* port) const;

    NLG_IGRAPH* m_graph;
    IT_TYPES m_types;
    std::unique_ptr<TTREE> m_ttree;
    uint32_t m_tree_type;
};
