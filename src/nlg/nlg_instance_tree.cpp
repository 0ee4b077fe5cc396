// Instance paths by name and the instance tree over a netlist graph.
//
// 1. A name path is resolved from the top module, one instance look-up by name per level.
// 2. The tree shows every module as a typed-tree type whose children are its instances (and,
//    in a port tree, then its ports, as leaves); TTREE numbers the unfolded occurrences.
// 3. A node of an instance stack is the sum of child offsets on the way down; a port adds the
//    offset of child n_instances + port index of the last module.
#include "nlg/nlg_instance_tree.h"

#include <iostream>

#include "util/util_assert.h"
#include "util/util_symbol.h"

NLG_IINSTANCE_PATHS::~NLG_IINSTANCE_PATHS() = default;
NLG_IINSTANCE_TREE::~NLG_IINSTANCE_TREE() = default;

// Names print by the thousands in reports: read them through the table's id-to-name array.
using UTIL::fast_name;

// ---------------------------------------------------------------------------------------------
// Instance paths

NS_SYMBOL::SYM NLG_INSTANCE_PATH::get(uint32_t index) const {
    return UTIL::at(m_symbols, index);
}

void NLG_INSTANCE_PATH::pop() {
    if (!m_symbols.empty()) m_symbols.pop_back();
}

bool NLG_INSTANCE_PATH::set_from_string(const std::string& text, char delimiter) {
    m_symbols.clear();
    if (text.empty()) return true;
    const UTIL::SYMBOL_TABLE* table = m_graph->get_symbol_table();
    std::vector<NS_SYMBOL::SYM> symbols;
    size_t begin = 0;
    for (;;) {
        const size_t end = text.find(delimiter, begin);
        const NS_SYMBOL::SYM name = table->find(
            text.substr(begin, end == std::string::npos ? std::string::npos : end - begin));
        if (name.is_unknown()) return false;
        symbols.push_back(name);
        if (end == std::string::npos) break;
        begin = end + 1;
    }
    m_symbols = std::move(symbols);
    return true;
}

NLG_INSTANCE_PATHS::NLG_INSTANCE_PATHS(const NLG_IGRAPH* graph)
    : m_graph(graph), m_top(graph->get_top_module()) {}

NLG_IINSTANCE_PATHS::IPATH* NLG_INSTANCE_PATHS::create_path() const {
    return new NLG_INSTANCE_PATH(m_graph);
}

NLG_IINSTANCE* NLG_INSTANCE_PATHS::get_instance(const IPATH& path) const {
    NLG_IINSTANCE* instance = nullptr;
    const NLG_IMODULE* module = m_top;
    for (uint32_t i = 0; i < path.size(); ++i) {
        instance = module->get_instance(path.get(i));
        if (!instance) return nullptr;
        module = instance->get_module();
    }
    return instance;
}

std::string NLG_INSTANCE_PATHS::to_string(const IPATH& path) const {
    m_graph->get_symbol_table()->init_name_fast();
    std::string text = m_top->get_name().get_name_fast();
    text += ":[";
    const NLG_IMODULE* module = m_top;
    for (uint32_t i = 0; i < path.size(); ++i) {
        const NS_SYMBOL::SYM name = path.get(i);
        const NLG_IINSTANCE* instance = module->get_instance(name);
        if (!instance) {
            text += "/NULL:";
            text += fast_name(name);
            break;
        }
        module = instance->get_module();
        if (i > 0) text += "/";
        text += module->get_name().get_name_fast();
        text += ":";
        text += instance->get_name().get_name_fast();
    }
    text += "]";
    return text;
}

std::ostream& operator<<(std::ostream& os, const NLG_IINSTANCE_PATHS::IPATH& path) {
    for (uint32_t i = 0; i < path.size(); ++i) {
        if (i > 0) os << "/";
        os << fast_name(path.get(i));
    }
    return os;
}

// ---------------------------------------------------------------------------------------------
// Typed-tree adapters

NS_SYMBOL::SYM IT_PORT_OR_INST::get_name() const {
    return m_is_instance ? m_instance->get_name() : m_port->get_name();
}

NS_SYMBOL::SYM IT_PORT_OR_INST::get_type_name() const {
    UTIL_ASSERT(m_is_instance);
    return m_instance->get_module()->get_name();
}

int32_t IT_PORT_OR_INST::get_type_index() const {
    return m_is_instance ? m_instance->get_module()->get_index() : -1;
}

IT_TYPE::IT_TYPE(const NLG_IMODULE* module, bool is_instance_tree)
    : m_module(module),
      m_is_instance_tree(is_instance_tree),
      m_n_instances(module->get_num_instances()) {
    const uint32_t n_ports = m_is_instance_tree ? 0 : module->get_num_ports();
    m_children.reserve(m_n_instances + n_ports);
    for (uint32_t i = 0; i < m_n_instances; ++i) {
        m_children.emplace_back(
            static_cast<const NLG_IINSTANCE*>(module->get_instance(static_cast<int32_t>(i))));
    }
    for (uint32_t p = 0; p < n_ports; ++p) {
        m_children.emplace_back(
            static_cast<const NLG_IPORT*>(module->get_port(static_cast<int32_t>(p))));
    }
}

const UTIL_ITYPEDTREE::IINSTANCE* IT_TYPE::get_instance(uint32_t index) const {
    return &UTIL::at(m_children, index);
}

int32_t IT_TYPE::find_instance(NS_SYMBOL::SYM name) const {
    UTIL_ASSERT(m_is_instance_tree);
    return m_module->get_instance_index(name);
}

IT_TYPES::IT_TYPES(const NLG_IGRAPH* graph, bool is_instance_tree)
    : m_graph(graph), m_is_instance_tree(is_instance_tree) {
    const uint32_t n_modules = graph->get_num_modules();
    m_types.reserve(n_modules);
    for (uint32_t i = 0; i < n_modules; ++i) {
        m_types.emplace_back(graph->get_module(static_cast<int32_t>(i)), m_is_instance_tree);
    }
}

const UTIL_ITYPEDTREE::ITYPE* IT_TYPES::get_type(uint32_t index) const {
    return &UTIL::at(m_types, index);
}

// ---------------------------------------------------------------------------------------------
// Instance tree

NLG_INSTANCE_TREE::NLG_INSTANCE_TREE(NLG_IGRAPH* graph, uint32_t tree_type)
    : m_graph(graph),
      m_types(graph, tree_type == INSTANCE_TREE),
      m_ttree(new TTREE(&m_types)),
      m_tree_type(tree_type) {}

NLG_INSTANCE_TREE::~NLG_INSTANCE_TREE() = default;

NLG_IINSTANCE_TREE::IPATH* NLG_INSTANCE_TREE::create_path() const {
    return new NLG_TREE_PATH(static_cast<TPATH*>(m_ttree->create_path()));
}

uint64_t NLG_INSTANCE_TREE::get_node(const std::vector<NLG_IINSTANCE*>& instances,
                                     const NLG_IPORT* port) const {
    int32_t type = 0;
    uint64_t node = 0;
    for (const NLG_IINSTANCE* instance : instances) {
        m_ttree->get_child(static_cast<uint32_t>(type), node,
                           static_cast<uint32_t>(instance->get_index()), type, node);
    }
    if (!port) return node;
    UTIL_ASSERT(m_tree_type == PORT_TREE);
    const NLG_IMODULE* module =
        instances.empty() ? m_graph->get_top_module() : instances.back()->get_module();
    // A port of another module still gets the node of its index here; the caller is told.
    if (module->get_port(port->get_index()) != port) warn_foreign_port(instances, port);
    const uint32_t child_index =
        module->get_num_instances() + static_cast<uint32_t>(port->get_index());
    m_ttree->get_child(static_cast<uint32_t>(type), node, child_index, type, node);
    return node;
}

void NLG_INSTANCE_TREE::warn_foreign_port(const std::vector<NLG_IINSTANCE*>& instances,
                                          const NLG_IPORT* port) const {
    std::cout << "Warning: port " << fast_name(port->get_name()) << ", module "
              << fast_name(port->get_parent()->get_name()) << " at ";
    for (const NLG_IINSTANCE* instance : instances) {
        std::cout << "/" << fast_name(instance->get_name());
    }
    std::cout << std::endl;
}

uint64_t NLG_INSTANCE_TREE::get_node(const IPATH& path) const {
    return m_ttree->get_node(dynamic_cast<const NLG_TREE_PATH&>(path).get_tpath());
}

bool NLG_INSTANCE_TREE::set_path(IPATH& path, uint64_t node) const {
    return m_ttree->set_path(dynamic_cast<NLG_TREE_PATH&>(path).get_tpath(), node);
}

// A tree over the union of two graphs names things from two tables and has no table of its
// own: ready the fast names of every table.
static void init_all_fast_names() {
    for (UTIL::SYMBOL_TABLE* table : UTIL::symbol_tables().get_tables())
        if (table) table->init_name_fast();
}

std::ostream& operator<<(std::ostream& os, const NLG_IINSTANCE_TREE::IPATH& path) {
    init_all_fast_names();
    return os << dynamic_cast<const NLG_TREE_PATH&>(path).get_tpath();
}

std::ostream& operator<<(std::ostream& os, const NLG_IINSTANCE_TREE& tree) {
    init_all_fast_names();
    return os << dynamic_cast<const NLG_INSTANCE_TREE&>(tree).get_ttree();
}
