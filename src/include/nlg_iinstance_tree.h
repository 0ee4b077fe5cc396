// NLG_IINSTANCE_TREE: a dense 64-bit node for every occurrence of an instance (and, in a port
// tree, of a port) under the top module, numbered through the typed tree. It reads the graph
// and owns neither the graph nor the paths it creates. The implementation lives in
// nlg/nlg_instance_tree.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <vector>

#include "fab_export.h"
#include "nlg_igraph.h"
#include "util/util_typedtree.h"

class NLG_IINSTANCE_TREE {
  public:
    // A path of child indexes from the top module.
    class IPATH : public NS_SYMBOL::PATH {};

    virtual ~NLG_IINSTANCE_TREE();
    virtual NLG_IGRAPH* get_graph() const = 0;
    // A new empty path, owned by the caller.
    virtual IPATH* create_path() const = 0;
    // Two slots that this implementation answers with null; nothing uses them.
    virtual void* get_reserved_0() const = 0;
    virtual void* get_reserved_1() const = 0;
    virtual NLG_IMODULE* get_module(int32_t index) const = 0;
    virtual NLG_IINSTANCE* get_instance(int32_t module_index, int32_t instance_index) const = 0;
    virtual uint32_t get_n_children(uint32_t module_index) const = 0;
    virtual void get_child(uint32_t type, uint64_t node, uint32_t child_index, int32_t& out_type,
                           uint64_t& out_node) const = 0;
    // Nodes in the whole tree.
    virtual int32_t get_size() const = 0;
    // Node of an instance stack (outermost first), and of a port under its last instance
    // when `port` is not null; ports have nodes in a port tree only.
    virtual uint64_t get_node(const std::vector<NLG_IINSTANCE*>& instances,
                              const NLG_IPORT* port) const = 0;
    virtual uint64_t get_node(const IPATH& path) const = 0;
    virtual bool set_path(IPATH& path, uint64_t node) const = 0;
    // False for a node past the end; see UTIL_ITYPEDTREE::locate.
    virtual bool locate(uint64_t node, int32_t& out_parent_type, int32_t& out_type,
                        int32_t& out_child_index) const = 0;
};

// The child names of the path joined by "/".
FAB_EXPORT std::ostream& operator<<(std::ostream& os, const NLG_IINSTANCE_TREE::IPATH& path);
// The typed tree: one line per module with its size and child offsets.
FAB_EXPORT std::ostream& operator<<(std::ostream& os, const NLG_IINSTANCE_TREE& tree);
