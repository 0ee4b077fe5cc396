// NLG_GRAPH: the netlist graph. It owns its module definitions (by pointer, in index order),
// the module name index, the filename table and the lazily built list of top-level modules.
// It does not own its symbol table, which must outlive it.
#pragma once

#include <memory>
#include <unordered_map>
#include <vector>

#include "nlg/nlg_module.h"

namespace UTIL {
class SYMBOL_TABLE;
}

class NLG_GRAPH : public NLG_IGRAPH {
  public:
    // A null table makes a new one in the registry; a null name is "root".
    NLG_GRAPH(UTIL::SYMBOL_TABLE* symbol_table, const char* name, uint32_t n_modules);
    NLG_GRAPH(const NLG_GRAPH&) = delete;
    NLG_GRAPH& operator=(const NLG_GRAPH&) = delete;
    ~NLG_GRAPH() override;

    void accept_enter(TSL_IVISITOR& visitor) override;
    void accept_exit(TSL_IVISITOR& visitor) override;
    NLG_ID get_id() const override { return m_id; }
    NS_SYMBOL::SYM get_name() const override { return m_name; }
    // A graph has no source place.
    const NLG_IFILELINE* get_fileline() const override { return nullptr; }

    uint32_t get_num_modules() const override { return static_cast<uint32_t>(m_modules->size()); }
    NLG_IMODULE* get_top_module() const override;
    NLG_IMODULE* get_module(NS_SYMBOL::SYM name) const override;
    NLG_IMODULE* get_module(int32_t index) const override;
    int32_t get_module_index(NS_SYMBOL::SYM name) const override;
    UTIL::SYMBOL_TABLE* get_symbol_table() const override { return m_symbol_table; }
    NLG_IINSTANCE_PATHS* create_instance_paths() override;
    NLG_IINSTANCE_TREE* create_instance_tree(bool instances_only) override;
    NLG_IGRAPH* create_hybrid_graph(NLG_IGRAPH* other, NLG_IMODULE_MATCH* match) override;
    UTIL::IHIERARCHY::IMODULES* create_hmodules() override;
    UTIL::IHIERARCHY::IMODULES* create_hymodules(NLG_IGRAPH* other,
                                                 NLG_IMODULE_MATCH* match) override;
    IHPATH* create_hpath() override;
    void populate_fanin_fanout(NLG_IANNSS* annotations) override;

    // Takes ownership; the module must not belong to a graph yet.
    void add_module(NLG_MODULE* m);
    void reserve_modules(size_t n) { m_modules->reserve(n); }
    // Checked access; a bad index is an out-of-range error.
    NLG_MODULE* module(int32_t index) const;
    // Modules that nothing instantiates, in index order; built on first use.
    const std::vector<NLG_MODULE*>& get_top_level_modules();

    const std::vector<NS_SYMBOL::SYM>& get_filenames() const { return m_filenames; }
    void set_filenames(std::vector<NS_SYMBOL::SYM> filenames) {
        m_filenames = std::move(filenames);
    }
    bool get_fanin_fanout_done() const { return m_fanin_fanout_done; }

    // Diagnostic: every id unique and of its object's kind, every module id on its index.
    // Prints one line per finding on standard output; true when nothing was found. The read
    // path never runs it.
    bool check_ids() const;
    void set_fanin_fanout_done(bool done) { m_fanin_fanout_done = done; }

  private:
    NLG_ID m_id;
    std::unique_ptr<std::vector<NLG_MODULE*>> m_modules;
    NS_SYMBOL::SYM m_name;
    std::unique_ptr<std::vector<NLG_MODULE*>> m_top_level_modules;
    bool m_top_level_valid;
    std::unordered_map<NS_SYMBOL::SYM, int32_t> m_module_map;
    UTIL::SYMBOL_TABLE* m_symbol_table;
    std::vector<NS_SYMBOL::SYM> m_filenames;
    bool m_fanin_fanout_done;
};
