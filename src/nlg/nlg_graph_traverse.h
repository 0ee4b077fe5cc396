// The walks over a netlist graph: TSL_TRAVERSE_BASE (depth-first over every occurrence, with the
// instance stack, the hierarchy node and the flat record of the current place), the level walks
// that stop at sectors, top-level IP blocks or primitive muxes, the walk from every top-level
// module, and TSL_BLOCK_SIZE_CALCULATOR. A walk owns neither its visitor, its flat source nor
// its annotation set. The full walk with physical positions lives in the fabric core.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "icdb_iinstance_tree.h"
#include "nlg_iannss.h"
#include "tsl_ivisitor.h"

namespace PB {
class ICDB_MODULE;
}

class TSL_TRAVERSE_BASE : public TSL_ITRAVERSE {
  public:
    // A null flat source tracks neither nodes nor flat records.
    TSL_TRAVERSE_BASE(TSL_IVISITOR* visitor, ICDB::IINSTANCE_TREE* flat_source,
                      bool walk_spare_rows);
    TSL_TRAVERSE_BASE(const TSL_TRAVERSE_BASE&) = delete;
    TSL_TRAVERSE_BASE& operator=(const TSL_TRAVERSE_BASE&) = delete;
    ~TSL_TRAVERSE_BASE() override;

    void traverse_tops(NLG_IGRAPH* graph, const std::vector<uint32_t>& module_indexes) override;
    void traverse(NLG_IGRAPH* graph) override;
    void traverse_subtree(NLG_IGRAPH* graph, const INSTANCES& path) override;
    void traverse_flat(NLG_IGRAPH* graph) override;
    const INSTANCES& get_hier_blks() const override { return m_hier_blks; }
    uint64_t get_node() const override { return m_node; }
    bool is_spare_row() const override { return m_is_spare_row; }
    const std::string& get_uid() const override { return m_uid; }
    NLG_IMODULE* get_root() const override;
    const PB::ICDB_POSITION& get_position() const override;

    // Depth-first below the module, entering everything.
    virtual void traverse_module(NLG_IMODULE* module);
    virtual void set_root(NLG_IMODULE* module);
    // Steps into the instance; with a position, the flat record of the new place becomes
    // current.
    virtual void push_instance(NLG_IINSTANCE* instance, bool with_position);
    virtual void pop_instance(bool with_position);
    virtual void unset_root();

  protected:
    TSL_IVISITOR* m_visitor;
    INSTANCES m_hier_blks;
    NLG_IMODULE* m_root;
    ICDB::IINSTANCE_TREE* m_flat_source;
    std::vector<uint64_t> m_node_stack;
    uint64_t m_node;
    // One slot, not a stack: leaving a child clears it rather than restoring the parent's.
    const PB::ICDB_FLAT_INSTANCE* m_flat_instance;
    bool m_is_spare_row;
    std::string m_uid;
    bool m_walk_spare_rows;
    const PB::ICDB_POSITION* m_position;
};

// Visits only the sectors: instances whose module is at level SECTOR. Flat records are not
// read on the way.
class TSL_TRAVERSE_SECTOR : public TSL_TRAVERSE_BASE {
  public:
    TSL_TRAVERSE_SECTOR(TSL_IVISITOR* visitor, NLG_IANNSS* annss,
                        ICDB::IINSTANCE_TREE* flat_source);
    void traverse_module(NLG_IMODULE* module) override;

  protected:
    NLG_ICDB_ANNS* m_anns;
};

// Visits only the top-level IP blocks, with their flat records current.
class TSL_TRAVERSE_TOP_IP : public TSL_TRAVERSE_BASE {
  public:
    TSL_TRAVERSE_TOP_IP(TSL_IVISITOR* visitor, NLG_IANNSS* annss, ICDB::IINSTANCE_TREE* flat_source,
                        bool walk_spare_rows);
    void traverse_module(NLG_IMODULE* module) override;

  protected:
    NLG_ICDB_ANNS* m_anns;
};

// Visits only the primitive muxes that are not first stages, never in spare rows; the flat
// record of the enclosing top-level IP block stays current.
class TSL_TRAVERSE_MUX : public TSL_TRAVERSE_BASE {
  public:
    TSL_TRAVERSE_MUX(TSL_IVISITOR* visitor, NLG_IANNSS* annss, ICDB::IINSTANCE_TREE* flat_source);
    void traverse_module(NLG_IMODULE* module) override;

  protected:
    NLG_ICDB_ANNS* m_anns;
};

// The base walk from each module that nothing instantiates.
class TSL_TRAVERSE_MULTI_TOP : public TSL_TRAVERSE_BASE {
  public:
    using TSL_TRAVERSE_BASE::TSL_TRAVERSE_BASE;
    void traverse(NLG_IGRAPH* graph) override;
};

// Factories of the level walks; the caller owns the result.
TSL_TRAVERSE_BASE* tsl_create_traverse_top_ip(TSL_IVISITOR* visitor, NLG_IANNSS* annss,
                                              ICDB::IINSTANCE_TREE* flat_source,
                                              bool walk_spare_rows);
TSL_TRAVERSE_BASE* tsl_create_traverse_mux(TSL_IVISITOR* visitor, NLG_IANNSS* annss,
                                           ICDB::IINSTANCE_TREE* flat_source);
TSL_TRAVERSE_BASE* tsl_create_traverse_sector(TSL_IVISITOR* visitor, NLG_IANNSS* annss,
                                              ICDB::IINSTANCE_TREE* flat_source);

// Grows pnr_height and pnr_width of the ICDB module records so that each module holds its
// placed instances; a module without instances is 1 by 1.
class TSL_BLOCK_SIZE_CALCULATOR : public TSL_VISITOR_BASE {
  public:
    explicit TSL_BLOCK_SIZE_CALCULATOR(NLG_IANNSS* annss);
    void exit_instance(NLG_IINSTANCE& instance) override;
    void exit_module(NLG_IMODULE& module) override;

  private:
    NLG_ICDB_ANNS* m_anns;
};
