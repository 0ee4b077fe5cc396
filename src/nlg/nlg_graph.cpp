// The graph container: module ownership, the name index and the top-level list. The views
// made by its factories (paths, trees, hierarchy adapters, hybrid graph) are built elsewhere.
#include "nlg/nlg_graph.h"

#include "nlg/nlg_graph_trace.h"
#include "nlg/nlg_hierarchy.h"
#include "nlg/nlg_instance_tree.h"
#include "tsl_ivisitor.h"
#include "util/util_assert.h"
#include "util/util_symbol.h"

NLG_GRAPH::NLG_GRAPH(UTIL::SYMBOL_TABLE* symbol_table, const char* name, uint32_t n_modules)
    : m_id(0),
      m_modules(new std::vector<NLG_MODULE*>()),
      m_top_level_valid(false),
      m_symbol_table(symbol_table ? symbol_table : UTIL::symbol_tables().new_table()),
      m_fanin_fanout_done(false) {
    m_name = m_symbol_table->add(name ? name : "root");
    if (n_modules != 0) reserve_modules(n_modules);
}

NLG_GRAPH::~NLG_GRAPH() {
    for (NLG_MODULE* m : *m_modules) {
        m->m_graph = nullptr;
        delete m;
    }
}

void NLG_GRAPH::accept_enter(TSL_IVISITOR& visitor) {
    visitor.enter_graph(*this);
}

void NLG_GRAPH::accept_exit(TSL_IVISITOR& visitor) {
    visitor.exit_graph(*this);
}

NLG_MODULE* NLG_GRAPH::module(int32_t index) const {
    return UTIL::at(*m_modules, static_cast<size_t>(index));
}

NLG_IMODULE* NLG_GRAPH::get_top_module() const {
    return module(0);
}

NLG_IMODULE* NLG_GRAPH::get_module(NS_SYMBOL::SYM name) const {
    auto it = m_module_map.find(name);
    return it == m_module_map.end() ? nullptr : module(it->second);
}

NLG_IMODULE* NLG_GRAPH::get_module(int32_t index) const {
    return module(index);
}

int32_t NLG_GRAPH::get_module_index(NS_SYMBOL::SYM name) const {
    auto it = m_module_map.find(name);
    return it == m_module_map.end() ? -1 : it->second;
}

void NLG_GRAPH::add_module(NLG_MODULE* m) {
    UTIL_ASSERT(!m->get_graph());
    int32_t index = static_cast<int32_t>(m_modules->size());
    m_modules->push_back(m);
    // A repeated name takes the later index.
    m_module_map[m->get_name()] = index;
    m->m_graph = this;
    m->m_index = index;
}

const std::vector<NLG_MODULE*>& NLG_GRAPH::get_top_level_modules() {
    if (!m_top_level_valid) {
        UTIL_ASSERT(!m_top_level_modules);
        m_top_level_modules.reset(new std::vector<NLG_MODULE*>());
        for (NLG_MODULE* m : *m_modules)
            if (m->get_num_references() == 0) m_top_level_modules->push_back(m);
        UTIL_ASSERT(!m_top_level_modules->empty());
        m_top_level_valid = true;
    }
    return *m_top_level_modules;
}

NLG_IINSTANCE_PATHS* NLG_GRAPH::create_instance_paths() {
    return new NLG_INSTANCE_PATHS(this);
}

// The flag is true for a tree of instances only, which is tree type 0.
NLG_IINSTANCE_TREE* NLG_GRAPH::create_instance_tree(bool instances_only) {
    return new NLG_INSTANCE_TREE(this, !instances_only);
}

// The hybrid graph arrives with its own module.

NLG_IGRAPH* NLG_GRAPH::create_hybrid_graph(NLG_IGRAPH*, NLG_IMODULE_MATCH*) {
    UTIL_FAIL("create_hybrid_graph is not available yet");
}

UTIL::IHIERARCHY::IMODULES* NLG_GRAPH::create_hmodules() {
    return new NLG::HMODULES(this);
}

UTIL::IHIERARCHY::IMODULES* NLG_GRAPH::create_hymodules(NLG_IGRAPH* other,
                                                        NLG_IMODULE_MATCH* match) {
    return new NLG::HYMODULES(this, other, match);
}

NLG_IGRAPH::IHPATH* NLG_GRAPH::create_hpath() {
    return new NLG::HPATH(this);
}

// The fan lists of all modules first, then compression, which walks the lists of the blocks
// below each module. Primitives and muxes get no lists: walks step through them.
void NLG_GRAPH::populate_fanin_fanout(NLG_IANNSS* annotations) {
    if (m_fanin_fanout_done) return;
    NLG_ICDB_ANNS& icdb = annotations->get_icdb();
    std::vector<NLG_MODULE*> modules;
    for (NLG_MODULE* m : *m_modules)
        if (!m->is_primitive() && !icdb.get_module(*m).has_mux_desc()) modules.push_back(m);
    TSL_RTL_TRACER_FOR_POPULATE_FANIN_FANOUT tracer(annotations);
    for (NLG_MODULE* m : modules) m->populate_fanin_fanout(tracer);
    for (NLG_MODULE* m : modules) {
        TSL_RTL_TRACER_FOR_OPTIMIZE_FANIN optimizer(annotations, m);
        m->optimize_fanin(optimizer);
    }
    m_fanin_fanout_done = true;
}
