// UTIL::IHIERARCHY: a dense 64-bit node for every occurrence of an instance or a port under the
// top module, computed from small per-module tables; UTIL::HIERARCHY implements it, UTIL::HPATH
// and UTIL::HPATH_SETTABLE are its path cursors. The hierarchy reads module definitions through
// IMODULES and owns none of them; the netlist adapters and the partition set live elsewhere.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <unordered_map>
#include <vector>

#include "fab_export.h"
#include "ns_symbol.h"

namespace UTIL {

using NS_SYMBOL::SYM;
class SYMBOL_TABLE;

class FAB_EXPORT IHIERARCHY {
  public:
    // The node with all bits set: no occurrence.
    static constexpr uint64_t INVALID_NODE = ~static_cast<uint64_t>(0);

    class FAB_EXPORT IPORT {
      public:
        virtual ~IPORT();
        virtual SYM get_name() const = 0;
        // 0 input, 1 output, 2 bidirectional.
        virtual int get_direction() const = 0;
    };

    class FAB_EXPORT IINSTANCE {
      public:
        virtual ~IINSTANCE();
        virtual SYM get_name() const = 0;
        // Name of the instantiated module; resolved by name when the hierarchy is built.
        virtual SYM get_module_name() const = 0;
    };

    class FAB_EXPORT IMODULE {
      public:
        static constexpr uint32_t PORT_INDEX_INVALID = 0xFFFFFFFFu;

        virtual ~IMODULE();
        virtual SYM get_name() const = 0;
        virtual uint32_t get_n_instances() const = 0;
        virtual const IINSTANCE* get_instance(uint32_t index) const = 0;
        virtual uint32_t get_n_ports() const = 0;
        virtual const IPORT* get_port(uint32_t index) const = 0;
    };

    // The description being numbered. Module 0 is the top module.
    class FAB_EXPORT IMODULES {
      public:
        // Invalid value of module, instance and port indexes alike.
        static constexpr uint32_t MODULE_INDEX_INVALID = 0xFFFFFFFFu;

        virtual ~IMODULES();
        // May be null when the description spans several tables.
        virtual SYMBOL_TABLE* get_symbol_table() const = 0;
        virtual uint32_t get_n_modules() const = 0;
        virtual const IMODULE* get_module(uint32_t index) const = 0;
    };

    // A path by names: instance names from the base module, and a port name that is
    // used only when it is a known symbol.
    struct NAME_PATH {
        std::vector<SYM> m_instances;
        SYM m_port;
    };

    // A read-only hierarchical position: instance indexes from the base module downwards,
    // and a port index, MODULE_INDEX_INVALID when the path ends at an instance.
    class FAB_EXPORT IPATH {
      public:
        virtual ~IPATH();
        virtual const IHIERARCHY* get_hierarchy() const = 0;
        virtual uint32_t size() const = 0;
        virtual uint32_t get_base_module_index() const = 0;
        virtual uint32_t get_instance(uint32_t position) const = 0;
        virtual uint32_t get_port_index() const = 0;
    };

    class FAB_EXPORT IPATH_SETTABLE : public IPATH {
      public:
        virtual void clear() = 0;
        virtual void add_instance(uint32_t instance_index) = 0;
        virtual void set_base_module_index(uint32_t module_index) = 0;
        virtual void set_port_index(uint32_t port_index) = 0;
        virtual void set_instances(const std::vector<uint32_t>& instances) = 0;
        // False when a name is not found; the path then holds what was resolved so far.
        virtual bool set_from_names(const NAME_PATH& names, uint32_t base_module_index) = 0;
        // Text of the form "a/b/c:port"; a leading "/" is dropped.
        virtual bool set_from_string(const std::string& text, uint32_t base_module_index) = 0;
    };

    // Receives each occurrence of visit_occurences with its first and last node; false
    // prunes the occurrence's subtree.
    class FAB_EXPORT IOCCURENCE {
      public:
        virtual ~IOCCURENCE();
        virtual bool visit_occurence(uint32_t module_index, uint64_t start, uint64_t end) = 0;
    };

    // The partition set over a hierarchy, defined with it.
    class IPARTITION;
    class IPARTITIONS;

    virtual ~IHIERARCHY();
    virtual const IMODULES* get_modules() const = 0;
    virtual uint32_t get_module_index(SYM name) const = 0;
    virtual uint32_t get_port_index(uint32_t module_index, SYM name) const = 0;
    virtual uint32_t get_instance_index(uint32_t module_index, SYM name) const = 0;
    // A new HPATH_SETTABLE over this hierarchy, owned by the caller.
    virtual IPATH_SETTABLE* create_path() const = 0;
    // A new UTIL::PARTITIONS over this hierarchy, owned by the caller.
    virtual IPARTITIONS* create_partitions() const = 0;
    // Node count of one occurrence of the module, truncated to its low 32 bits.
    virtual uint32_t get_num_nodes(uint32_t module_index) const = 0;
    virtual uint32_t get_num_nodes() const = 0;
    // Node of a path, INVALID_NODE when an instance index is bad; out_module_index is the
    // module reached by the instances (the owner of the port, if any).
    virtual uint64_t get_node(uint32_t& out_module_index, const IPATH& path) const = 0;
    virtual uint64_t get_node(const IPATH& path) const = 0;
    // Nodes of two paths of one base module and of their deepest common occurrence.
    virtual bool get_nodes(uint64_t& node1, uint64_t& node2, uint64_t& common_node,
                           uint32_t& common_module_index, const IPATH& path1,
                           const IPATH& path2) const = 0;
    // Deepest occurrence containing both nodes: its node goes to common_node, its path to
    // `path` when given, and its module is the result.
    virtual uint32_t get_common_path(IPATH_SETTABLE* path, uint64_t& common_node, uint64_t node1,
                                     uint64_t node2, uint32_t module_index) const = 0;
    virtual uint64_t get_child_node(uint32_t* out_module_index, uint32_t module_index,
                                    uint64_t node, uint32_t instance_index) const = 0;
    virtual uint64_t get_port_node(uint32_t module_index, uint64_t node,
                                   uint32_t port_index) const = 0;
    virtual uint64_t get_port_parent(uint32_t module_index, uint32_t port_index,
                                     uint64_t port_node) const = 0;
    // Module of an instance occurrence (its instance index in its parent goes out), or
    // MODULE_INDEX_INVALID when the node is a port.
    virtual uint32_t get_instance_of_node(uint32_t& instance_index, uint64_t node,
                                          uint32_t base_module_index) const = 0;
    virtual uint32_t get_instance_of_node(uint32_t& instance_index, uint64_t node) const = 0;
    // Module owning a port node (the port index goes out), or MODULE_INDEX_INVALID.
    virtual uint32_t get_port_of_node(uint32_t& port_index, uint64_t node,
                                      uint32_t base_module_index) const = 0;
    virtual uint32_t get_port_of_node(uint32_t& port_index, uint64_t node) const = 0;
    // Fills `path` (when given) from a node; the module at the end of the path, or
    // MODULE_INDEX_INVALID for a node past the end.
    virtual uint32_t get_path(IPATH_SETTABLE* path, uint64_t node,
                              uint32_t base_module_index) const = 0;
    virtual uint32_t get_path(IPATH_SETTABLE* path, uint64_t node) const = 0;
    // Depth-first over all occurrences from the top; the visitor prunes.
    virtual void visit_occurences(IOCCURENCE& visitor) const = 0;
};

class FAB_EXPORT HIERARCHY : public IHIERARCHY {
  public:
    struct MODULE_INFO {
        int64_t m_num_nodes = -1;
        // [0] is 0, [i + 1] the node count of instances 0..i, the last adds the ports.
        std::vector<uint64_t> m_sum_left;
        std::vector<uint32_t> m_instance_module_indexes;
        std::unordered_map<SYM, uint32_t> m_instance_map;
        std::unordered_map<SYM, uint32_t> m_port_map;
    };

    // Builds every table; a description that cannot be numbered ends the process.
    explicit HIERARCHY(const IMODULES* modules);
    ~HIERARCHY() override;

    const IMODULES* get_modules() const override { return m_modules; }
    uint32_t get_module_index(SYM name) const override;
    uint32_t get_port_index(uint32_t module_index, SYM name) const override;
    uint32_t get_instance_index(uint32_t module_index, SYM name) const override;
    IPATH_SETTABLE* create_path() const override;
    IPARTITIONS* create_partitions() const override;
    uint32_t get_num_nodes(uint32_t module_index) const override;
    uint32_t get_num_nodes() const override { return get_num_nodes(0); }
    uint64_t get_node(uint32_t& out_module_index, const IPATH& path) const override;
    uint64_t get_node(const IPATH& path) const override;
    bool get_nodes(uint64_t& node1, uint64_t& node2, uint64_t& common_node,
                   uint32_t& common_module_index, const IPATH& path1,
                   const IPATH& path2) const override;
    uint32_t get_common_path(IPATH_SETTABLE* path, uint64_t& common_node, uint64_t node1,
                             uint64_t node2, uint32_t module_index) const override;
    uint64_t get_child_node(uint32_t* out_module_index, uint32_t module_index, uint64_t node,
                            uint32_t instance_index) const override;
    uint64_t get_port_node(uint32_t module_index, uint64_t node,
                           uint32_t port_index) const override;
    uint64_t get_port_parent(uint32_t module_index, uint32_t port_index,
                             uint64_t port_node) const override;
    uint32_t get_instance_of_node(uint32_t& instance_index, uint64_t node,
                                  uint32_t base_module_index) const override;
    uint32_t get_instance_of_node(uint32_t& instance_index, uint64_t node) const override {
        return get_instance_of_node(instance_index, node, 0);
    }
    uint32_t get_port_of_node(uint32_t& port_index, uint64_t node,
                              uint32_t base_module_index) const override;
    uint32_t get_port_of_node(uint32_t& port_index, uint64_t node) const override {
        return get_port_of_node(port_index, node, 0);
    }
    uint32_t get_path(IPATH_SETTABLE* path, uint64_t node,
                      uint32_t base_module_index) const override;
    uint32_t get_path(IPATH_SETTABLE* path, uint64_t node) const override {
        return get_path(path, node, 0);
    }
    void visit_occurences(IOCCURENCE& visitor) const override;

    // Full 64-bit node count of one occurrence of the module.
    int64_t get_num_nodes_64(uint32_t module_index) const;
    const std::vector<MODULE_INFO>& get_module_infos() const { return m_module_infos; }
    const std::unordered_map<SYM, uint32_t>& get_module_map() const { return m_module_map; }

  private:
    // Where one module's first sum lies in m_walk_data, its number of instances, and where
    // the module indexes of its instances start, relative to the first sum.
    struct WALK_MODULE {
        uint64_t m_offset;
        uint32_t m_n_instances;
        uint32_t m_tail;  // position of the instance module indexes, after the sums' padding
    };

    int64_t checked_add(int64_t a, int64_t b);
    void fill_maps();
    void resolve_instance_modules();
    void count_nodes();
    int64_t count_module_nodes(uint32_t module_index);
    void fill_sum_left();
    void fill_walk_table();
    uint64_t step_into(uint32_t& module_index, uint64_t node, uint32_t instance_index) const;
    uint64_t walk_rest(const IPATH& path, uint32_t from, uint64_t node,
                       uint32_t module_index) const;
    uint32_t walk(IPATH_SETTABLE* path, uint64_t node, uint32_t module_index,
                  uint32_t& out_instance, uint32_t& out_port) const;
    void visit_from(IOCCURENCE& visitor, uint32_t module_index, uint64_t start) const;

    const IMODULES* m_modules;
    bool m_num_nodes_overflowed;
    std::vector<MODULE_INFO> m_module_infos;
    std::unordered_map<SYM, uint32_t> m_module_map;
    // The two look-ups on the inner path read a packed copy of m_sum_left and
    // m_instance_module_indexes: one small record per module and adjacent entries, so that a
    // level of a path costs one cache miss instead of three.
    std::vector<WALK_MODULE> m_walk_modules;
    std::vector<uint64_t> m_walk_data;
};

// The plain path: fields written by HPATH_SETTABLE and read through IPATH.
class FAB_EXPORT HPATH : public IHIERARCHY::IPATH {
  public:
    explicit HPATH(const IHIERARCHY* hierarchy);
    ~HPATH() override;

    const IHIERARCHY* get_hierarchy() const override { return m_hierarchy; }
    uint32_t size() const override { return static_cast<uint32_t>(m_instances.size()); }
    uint32_t get_base_module_index() const override { return m_base_module_index; }
    uint32_t get_instance(uint32_t position) const override;
    uint32_t get_port_index() const override { return m_port_index; }

    const std::vector<uint32_t>& get_instances() const { return m_instances; }

  private:
    friend class HPATH_SETTABLE;
    const IHIERARCHY* m_hierarchy;
    uint32_t m_base_module_index;
    uint32_t m_port_index;
    std::vector<uint32_t> m_instances;
};

// The path cursor of get_path and the parsers. A reused cursor allocates only when a path is
// deeper than any it held before.
class FAB_EXPORT HPATH_SETTABLE : public IHIERARCHY::IPATH_SETTABLE {
  public:
    explicit HPATH_SETTABLE(const IHIERARCHY* hierarchy);
    ~HPATH_SETTABLE() override;

    const IHIERARCHY* get_hierarchy() const override { return m_path.get_hierarchy(); }
    uint32_t size() const override { return m_path.size(); }
    uint32_t get_base_module_index() const override { return m_path.get_base_module_index(); }
    uint32_t get_instance(uint32_t position) const override {
        return m_path.get_instance(position);
    }
    uint32_t get_port_index() const override { return m_path.get_port_index(); }

    void clear() override;
    void add_instance(uint32_t instance_index) override {
        m_path.m_instances.push_back(instance_index);
    }
    void set_base_module_index(uint32_t module_index) override {
        m_path.m_base_module_index = module_index;
    }
    void set_port_index(uint32_t port_index) override { m_path.m_port_index = port_index; }
    void set_instances(const std::vector<uint32_t>& instances) override;
    bool set_from_names(const IHIERARCHY::NAME_PATH& names, uint32_t base_module_index) override;
    bool set_from_string(const std::string& text, uint32_t base_module_index) override;

    const HPATH& get_path() const { return m_path; }

  private:
    bool add_by_name(uint32_t& module_index, SYM name);

    HPATH m_path;
};

// Text forms on the indent stream; level 4 gives the statistics forms.
FAB_EXPORT std::ostream& operator<<(std::ostream& os, const IHIERARCHY& hierarchy);
FAB_EXPORT std::ostream& operator<<(std::ostream& os, const IHIERARCHY::IMODULES& modules);
// A path as "/a/b:port", the names read through the path's hierarchy.
FAB_EXPORT std::ostream& operator<<(std::ostream& os, const IHIERARCHY::IPATH& path);

}  // namespace UTIL
