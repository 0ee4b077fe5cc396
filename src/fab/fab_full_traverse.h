// The walk over both views of a device: FAB_FULL_TRAVERSE_BASE walks the netlist from the top
// and, at each non-routing top-level block, crosses into the block's module of the block-level
// graph and back, with one instance stack and one visitor throughout. FAB_FULL_TRAVERSE sums
// grid offsets down the stack; FAB_FULL_TRAVERSE_BLC shows its visitor only what lies inside
// the blocks. FAB_VISITOR_BASE is the base of every visitor of the fabric core. The walks own
// neither graphs, annotation sets, visitor, instance tree nor position.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "fab_iposition.h"
#include "icdb_iinstance_tree.h"
#include "nlg_iannss.h"
#include "tsl_ivisitor.h"

// A visitor of the fabric core: every enter and exit does nothing, and set_annss tells it
// which annotation records are in force whenever a walk moves between the two views.
class FAB_VISITOR_BASE : public TSL_VISITOR_BASE {
  public:
    // The ICDB reader of the netlist set outside a block, of the block-level set inside.
    virtual void set_annss(NLG_ICDB_ANNS* anns) { (void)anns; }
};

class FAB_FULL_TRAVERSE_BASE : public TSL_ITRAVERSE {
  public:
    FAB_FULL_TRAVERSE_BASE(FAB_VISITOR_BASE* visitor, NLG_IANNSS* rtl_annss, NLG_IANNSS* blc_annss,
                           ICDB::IINSTANCE_TREE* instance_tree, FAB_IPOSITION* position);
    FAB_FULL_TRAVERSE_BASE(const FAB_FULL_TRAVERSE_BASE&) = delete;
    FAB_FULL_TRAVERSE_BASE& operator=(const FAB_FULL_TRAVERSE_BASE&) = delete;
    ~FAB_FULL_TRAVERSE_BASE() override;

    // The walk: pairs every non-routing block module with its block-level module by name, then
    // walks the netlist from its top module.
    void traverse(NLG_IGRAPH* rtl_graph, NLG_IGRAPH* blc_graph);

    // The walks over one graph do not apply here.
    void traverse_tops(NLG_IGRAPH* graph, const std::vector<uint32_t>& module_indexes) override;
    void traverse(NLG_IGRAPH* graph) override;
    void traverse_subtree(NLG_IGRAPH* graph, const INSTANCES& path) override;
    void traverse_flat(NLG_IGRAPH* graph) override;
    const INSTANCES& get_hier_blks() const override { return m_hier_blks; }
    // Hierarchy node of the netlist place; -1 (all bits set) inside a block.
    uint64_t get_node() const override;
    bool is_spare_row() const override { return m_is_spare_row; }
    const std::string& get_uid() const override { return m_uid; }
    NLG_IMODULE* get_root() const override;
    const PB::ICDB_POSITION& get_position() const override;

    virtual void enter_hook(NLG_IINSTANCE* instance) = 0;
    virtual void exit_hook(NLG_IINSTANCE* instance) = 0;
    virtual void push_instance(NLG_IINSTANCE* instance, bool is_top);
    virtual void pop_instance(NLG_IINSTANCE* instance, bool is_top);

    // False while the walk is below the top instance of a block.
    bool is_at_block() const { return m_at_block; }
    // The block-level module of a non-routing block module, or null.
    NLG_IMODULE* get_blc_module(const NLG_IMODULE* rtl_module) const;

  protected:
    void map_blocks();
    void walk_module(NLG_IMODULE* module);

    FAB_VISITOR_BASE* m_visitor;
    NLG_IGRAPH* m_rtl_graph = nullptr;
    NLG_IGRAPH* m_blc_graph = nullptr;
    NLG_IANNSS* m_rtl_annss;
    NLG_IANNSS* m_blc_annss;
    INSTANCES m_hier_blks;
    NLG_IMODULE* m_root = nullptr;
    bool m_in_blc = false;
    bool m_at_block = true;
    std::map<const NLG_IMODULE*, NLG_IMODULE*> m_rtl2blc_map;
    ICDB::IINSTANCE_TREE* m_instance_tree;
    FAB_IPOSITION* m_position;
    std::vector<uint64_t> m_node_stack;
    uint64_t m_node = 0;
    bool m_is_spare_row = false;
    std::string m_uid;
};

// Sums the grid position of each block and the offsets of the instances inside it, so that
// the current place has an absolute location.
class FAB_FULL_TRAVERSE : public FAB_FULL_TRAVERSE_BASE {
  public:
    using FAB_FULL_TRAVERSE_BASE::FAB_FULL_TRAVERSE_BASE;

    void enter_hook(NLG_IINSTANCE* instance) override;
    void exit_hook(NLG_IINSTANCE* instance) override;
    void push_instance(NLG_IINSTANCE* instance, bool is_top) override;
    void pop_instance(NLG_IINSTANCE* instance, bool is_top) override;

    const FAB_LOCATION& get_location_data() const { return m_location; }

  protected:
    FAB_LOCATION m_location = {0, 0, 0};
};

// Shows its visitor the top instance of each non-routing block and everything below it, and
// nothing of the netlist around the blocks.
class FAB_FULL_TRAVERSE_BLC : public FAB_FULL_TRAVERSE {
  public:
    using FAB_FULL_TRAVERSE::FAB_FULL_TRAVERSE;

    void enter_hook(NLG_IINSTANCE* instance) override;
    void exit_hook(NLG_IINSTANCE* instance) override;
};
