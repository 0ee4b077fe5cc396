// The graph container: module ownership, the name index, the top-level list and the id check.
// The views made by its factories (paths, trees, hierarchy adapters, hybrid graph) are built
// elsewhere.
#include "nlg/nlg_graph.h"

#include <iostream>
#include <unordered_set>

#include "nlg/nlg_graph_trace.h"
#include "nlg/nlg_hierarchy.h"
#include "nlg/nlg_hybrid_graph.h"
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

NLG_IGRAPH* NLG_GRAPH::create_hybrid_graph(NLG_IGRAPH* other, NLG_IMODULE_MATCH* match) {
    return new NLG_HYBRID_GRAPH(this, other, match);
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

namespace {

// The ids seen so far; each finding is one line on standard output.
class ID_CHECK {
  public:
    explicit ID_CHECK(size_t n_objects) { m_seen.reserve(n_objects); }

    // Every finding makes the result false; the walk always goes on to the end.
    void check_kind(const char* what, NS_SYMBOL::SYM name, NLG_ID id, NLG_ID::KIND kind) {
        if (id.get_kind() == kind) return;
        std::cout << what << name << "'s id(" << std::hex << id.get_value() << std::dec
                  << ") has wrong type" << std::endl;
        m_ok = false;
    }
    void check_unique(const char* what, NS_SYMBOL::SYM name, NLG_ID id) {
        if (m_seen.insert(id.get_value()).second) return;
        std::cout << "duplicated IDs found for " << what << name << "(" << std::hex
                  << id.get_value() << std::dec << ")" << std::endl;
        m_ok = false;
    }
    void check_object(const char* what, const NLG_IGRAPH_NODE& object, NLG_ID::KIND kind) {
        check_kind(what, object.get_name(), object.get_id(), kind);
        check_unique(what, object.get_name(), object.get_id());
    }
    void check_portref(const NLG_PORT_REF& portref) {
        if (m_seen.insert(portref.get_id().get_value()).second) return;
        std::cout << "duplicated id found for portref" << std::endl;
        m_ok = false;
    }
    void check_module_index(const NLG_MODULE& module, int32_t index) {
        const uint32_t serial = module.get_id().get_serial();
        if (serial == static_cast<uint32_t>(index)) return;
        std::cout << "module id index is " << serial << ", module index is " << index << std::endl;
        m_ok = false;
    }
    bool ok() const { return m_ok; }

  private:
    std::unordered_set<uint32_t> m_seen;
    bool m_ok = true;
};

size_t count_objects(const std::vector<NLG_MODULE*>& modules) {
    size_t n = modules.size();
    for (const NLG_MODULE* m : modules) {
        n += m->get_num_ports() + m->get_num_nets() + m->get_num_instances();
        for (uint32_t i = 0; i < m->get_num_instances(); ++i)
            n += m->instance(static_cast<int32_t>(i))->get_num_portrefs();
    }
    return n;
}

}  // namespace

// Module, its ports, its instances with their references, its nets; module by module.
bool NLG_GRAPH::check_ids() const {
    m_symbol_table->init_name_fast();
    ID_CHECK check(count_objects(*m_modules));
    for (const NLG_MODULE* m : *m_modules) {
        check.check_module_index(*m, m->get_index());
        check.check_object("module ", *m, NLG_ID::MODULE);
        for (uint32_t p = 0; p < m->get_num_ports(); ++p)
            check.check_object("port ", *m->port(static_cast<int32_t>(p)), NLG_ID::PORT);
        for (uint32_t i = 0; i < m->get_num_instances(); ++i) {
            const NLG_INSTANCE& instance = *m->instance(static_cast<int32_t>(i));
            check.check_object("instance ", instance, NLG_ID::INSTANCE);
            for (uint32_t r = 0; r < instance.get_num_portrefs(); ++r)
                check.check_portref(*instance.portref(static_cast<int32_t>(r)));
        }
        for (uint32_t n = 0; n < m->get_num_nets(); ++n)
            check.check_object("net ", *m->net(static_cast<int32_t>(n)), NLG_ID::NET);
    }
    return check.ok();
}
