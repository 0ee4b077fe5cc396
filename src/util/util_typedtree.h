// UTIL_ITYPEDTREE: dense numbering of a tree that is stored folded, every type listing its
// children; TTREE implements it from per-type sizes and child offsets, TPATH is a path in it,
// NS_SYMBOL::PATH the named-path interface they share. The types are read through ITYPES and
// are not owned; the netlist's view of itself as types lives in the instance tree.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <utility>
#include <vector>

#include "fab_export.h"
#include "ns_symbol.h"

namespace UTIL {
class SYMBOL_TABLE;
}

namespace NS_SYMBOL {

// A path of names.
class FAB_EXPORT PATH {
  public:
    virtual ~PATH();
    virtual uint32_t size() const = 0;
    virtual SYM get(uint32_t index) const = 0;
    virtual void push(SYM name) = 0;
    virtual void pop() = 0;
    virtual void set(const std::vector<SYM>& names) = 0;
    virtual bool set_from_string(const std::string& text, char delimiter = '/') = 0;
};

}  // namespace NS_SYMBOL

class FAB_EXPORT UTIL_ITYPEDTREE {
  public:
    class FAB_EXPORT IINSTANCE {
      public:
        virtual ~IINSTANCE();
        virtual NS_SYMBOL::SYM get_name() const = 0;
        virtual NS_SYMBOL::SYM get_type_name() const = 0;
        // Negative for a leaf.
        virtual int32_t get_type_index() const = 0;
    };

    class FAB_EXPORT ITYPE {
      public:
        virtual ~ITYPE();
        virtual uint32_t get_n_instances() const = 0;
        virtual NS_SYMBOL::SYM get_name() const = 0;
        virtual const IINSTANCE* get_instance(uint32_t index) const = 0;
        // Index of the child of that name, -1 if absent.
        virtual int32_t find_instance(NS_SYMBOL::SYM name) const = 0;
    };

    // Type 0 is the root.
    class FAB_EXPORT ITYPES {
      public:
        virtual ~ITYPES();
        virtual UTIL::SYMBOL_TABLE* get_symbol_table() const = 0;
        virtual uint32_t get_n_types() const = 0;
        virtual const ITYPE* get_type(uint32_t index) const = 0;
    };

    class FAB_EXPORT IPATH : public NS_SYMBOL::PATH {};

    // One child: its type index (-1 for a leaf) and its offset from the parent's node.
    using CHILD = std::pair<int32_t, uint32_t>;

    virtual ~UTIL_ITYPEDTREE();
    // A new path, owned by the caller.
    virtual IPATH* create_path() const = 0;
    virtual uint32_t get_n_children(uint32_t type) const = 0;
    virtual void get_child(uint32_t type, uint64_t node, uint32_t child_index, int32_t& out_type,
                           uint64_t& out_node) const = 0;
    virtual const std::vector<CHILD>& get_children(uint32_t type) const = 0;
    // Nodes of one occurrence of the type, itself included.
    virtual int32_t get_size(uint32_t type) const = 0;
    virtual uint64_t get_node(const IPATH& path) const = 0;
    virtual bool set_path(IPATH& path, uint64_t node) const = 0;
    // False for a node past the end; otherwise the node's parent type (-1 at the root), its
    // type (-1 for a leaf) and its index among the parent's children.
    virtual bool locate(uint64_t node, int32_t& out_parent_type, int32_t& out_type,
                        int32_t& out_child_index) const = 0;
};

class TTREE;

// A path of child indexes from the root. Of the named-path operations only
// set_from_string acts; the others are inert.
class FAB_EXPORT TPATH : public UTIL_ITYPEDTREE::IPATH {
  public:
    explicit TPATH(const TTREE* tree);
    ~TPATH() override;

    uint32_t size() const override { return 0; }
    NS_SYMBOL::SYM get(uint32_t) const override { return NS_SYMBOL::SYM(); }
    void push(NS_SYMBOL::SYM) override {}
    void pop() override {}
    void set(const std::vector<NS_SYMBOL::SYM>&) override {}
    bool set_from_string(const std::string& text, char delimiter = '/') override;

    const TTREE* get_tree() const { return m_tree; }
    uint32_t get_top_index() const { return m_top_index; }
    const std::vector<uint32_t>& get_indexes() const { return m_path; }

  private:
    friend class TTREE;
    void clear();

    const TTREE* m_tree;
    uint32_t m_top_index;
    std::vector<uint32_t> m_path;
};

class FAB_EXPORT TTREE : public UTIL_ITYPEDTREE {
  public:
    struct TNODE {
        const ITYPE* m_type = nullptr;
        int32_t m_size = -1;
        std::vector<CHILD> m_children;
    };

    explicit TTREE(const ITYPES* types);
    ~TTREE() override;

    IPATH* create_path() const override;
    uint32_t get_n_children(uint32_t type) const override;
    void get_child(uint32_t type, uint64_t node, uint32_t child_index, int32_t& out_type,
                   uint64_t& out_node) const override;
    const std::vector<CHILD>& get_children(uint32_t type) const override;
    int32_t get_size(uint32_t type) const override;
    uint64_t get_node(const IPATH& path) const override;
    bool set_path(IPATH& path, uint64_t node) const override;
    bool locate(uint64_t node, int32_t& out_parent_type, int32_t& out_type,
                int32_t& out_child_index) const override;

    const ITYPES* get_types() const { return m_types; }
    const std::vector<TNODE>& get_tnodes() const { return m_tnodes; }

  private:
    int32_t compute_size(uint32_t type, std::vector<bool>& in_progress);
    void compute_offsets(uint32_t type, std::vector<bool>& done);
    const TNODE& tnode(int32_t type) const;

    const ITYPES* m_types;
    std::vector<TNODE> m_tnodes;
};

FAB_EXPORT std::ostream& operator<<(std::ostream& os, const TPATH& path);
FAB_EXPORT std::ostream& operator<<(std::ostream& os, const TTREE::TNODE& tnode);
FAB_EXPORT std::ostream& operator<<(std::ostream& os, const TTREE& tree);
