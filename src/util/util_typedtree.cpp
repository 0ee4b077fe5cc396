// Numbering of a folded typed tree from per-type sizes and child offsets.
//
// 1. Size of a type: 1, plus per child the size of its type, or 1 for a leaf (32-bit sums).
// 2. Offsets, from type 0 down: the first child sits at 1, each next one behind the previous
//    child's size. Offsets are relative to the parent's node, so one table per type serves
//    every occurrence, and a node is the sum of the offsets on its way from the root.
// 3. Node to path: at each level, scan the children from the last down to the first whose
//    offset is at or below the node.
#include "util/util_typedtree.h"

#include <ostream>

#include "util/util_assert.h"
#include "util/util_symbol.h"

NS_SYMBOL::PATH::~PATH() = default;
UTIL_ITYPEDTREE::IINSTANCE::~IINSTANCE() = default;
UTIL_ITYPEDTREE::ITYPE::~ITYPE() = default;
UTIL_ITYPEDTREE::ITYPES::~ITYPES() = default;
UTIL_ITYPEDTREE::~UTIL_ITYPEDTREE() = default;

// ---------------------------------------------------------------------------------------------
// Construction

TTREE::TTREE(const ITYPES* types) : m_types(types) {
    const uint32_t n_types = m_types->get_n_types();
    m_tnodes.resize(n_types);
    for (uint32_t t = 0; t < n_types; ++t) {
        TNODE& tnode = m_tnodes[t];
        tnode.m_type = m_types->get_type(t);
        const uint32_t n_children = tnode.m_type->get_n_instances();
        tnode.m_children.reserve(n_children);
        for (uint32_t i = 0; i < n_children; ++i) {
            tnode.m_children.emplace_back(tnode.m_type->get_instance(i)->get_type_index(), 0);
        }
    }
    std::vector<bool> in_progress(n_types, false);
    for (uint32_t t = 0; t < n_types; ++t) {
        if (m_tnodes[t].m_size == -1) compute_size(t, in_progress);
    }
    if (n_types == 0) return;
    std::vector<bool> done(n_types, false);
    compute_offsets(0, done);
}

TTREE::~TTREE() = default;

// A type that contains itself would recurse without end, so it stops the process instead.
int32_t TTREE::compute_size(uint32_t type, std::vector<bool>& in_progress) {
    TNODE& tnode = UTIL::at(m_tnodes, type);
    if (tnode.m_size != -1) return tnode.m_size;
    UTIL_ASSERT_MSG(!in_progress[type], "Recursive type structure at type %u", type);
    in_progress[type] = true;
    uint32_t size = 1;
    for (const CHILD& child : tnode.m_children) {
        size += child.first < 0 ? 1u
                                : static_cast<uint32_t>(compute_size(
                                      static_cast<uint32_t>(child.first), in_progress));
    }
    in_progress[type] = false;
    tnode.m_size = static_cast<int32_t>(size);
    return tnode.m_size;
}

// Offsets are relative to the parent, so a type reached twice would get the same values
// again: each type is filled once.
void TTREE::compute_offsets(uint32_t type, std::vector<bool>& done) {
    if (done[type]) return;
    done[type] = true;
    uint32_t offset = 1;
    for (CHILD& child : m_tnodes[type].m_children) {
        child.second = offset;
        if (child.first < 0) {
            offset += 1;
            continue;
        }
        const TNODE& child_tnode = UTIL::at(m_tnodes, static_cast<uint32_t>(child.first));
        UTIL_ASSERT(child_tnode.m_size != -1);
        offset += static_cast<uint32_t>(child_tnode.m_size);
        compute_offsets(static_cast<uint32_t>(child.first), done);
    }
}

// ---------------------------------------------------------------------------------------------
// Queries

const TTREE::TNODE& TTREE::tnode(int32_t type) const {
    return UTIL::at(m_tnodes, static_cast<size_t>(static_cast<uint32_t>(type)));
}

UTIL_ITYPEDTREE::IPATH* TTREE::create_path() const {
    return new TPATH(this);
}

uint32_t TTREE::get_n_children(uint32_t type) const {
    return static_cast<uint32_t>(UTIL::at(m_tnodes, type).m_children.size());
}

void TTREE::get_child(uint32_t type, uint64_t node, uint32_t child_index, int32_t& out_type,
                      uint64_t& out_node) const {
    const CHILD& child = UTIL::at(UTIL::at(m_tnodes, type).m_children, child_index);
    out_type = child.first;
    out_node = node + child.second;
}

const std::vector<UTIL_ITYPEDTREE::CHILD>& TTREE::get_children(uint32_t type) const {
    return UTIL::at(m_tnodes, type).m_children;
}

int32_t TTREE::get_size(uint32_t type) const {
    return UTIL::at(m_tnodes, type).m_size;
}

uint64_t TTREE::get_node(const IPATH& path) const {
    const TPATH& tpath = dynamic_cast<const TPATH&>(path);
    UTIL_ASSERT(tpath.m_top_index == 0);
    uint64_t node = 0;
    int32_t type = 0;
    for (uint32_t index : tpath.m_path) {
        const CHILD& child = UTIL::at(tnode(type).m_children, index);
        node += child.second;
        type = child.first;
    }
    return node;
}

// The last child of `type` whose node (base + offset) is at or below `node`; -1 if none.
static int32_t child_at_or_below(const std::vector<UTIL_ITYPEDTREE::CHILD>& children, uint64_t base,
                                 uint64_t node) {
    for (size_t i = children.size(); i-- > 0;) {
        if (base + children[i].second <= node) return static_cast<int32_t>(i);
    }
    return -1;
}

// Descends from the root to `node`, calling step(parent_type, child_index, child_type) per
// level. False when the node lies past the end of the tree.
template <class STEP>
static bool descend(const TTREE& tree, uint64_t node, STEP step) {
    uint64_t base = 0;
    int32_t type = 0;
    while (base != node) {
        if (type < 0) return false;
        const auto& children = tree.get_children(static_cast<uint32_t>(type));
        const int32_t i = child_at_or_below(children, base, node);
        if (i < 0) return false;
        step(type, i, children[i].first);
        base += children[i].second;
        type = children[i].first;
    }
    return true;
}

bool TTREE::set_path(IPATH& path, uint64_t node) const {
    TPATH& tpath = dynamic_cast<TPATH&>(path);
    tpath.clear();
    if (node == 0) return true;
    return descend(*this, node, [&](int32_t, int32_t index, int32_t) {
        tpath.m_path.push_back(static_cast<uint32_t>(index));
    });
}

bool TTREE::locate(uint64_t node, int32_t& out_parent_type, int32_t& out_type,
                   int32_t& out_child_index) const {
    if (node >= static_cast<uint64_t>(static_cast<uint32_t>(get_size(0)))) return false;
    out_parent_type = -1;
    out_type = 0;
    out_child_index = -1;
    if (node == 0) return true;
    descend(*this, node, [&](int32_t parent, int32_t index, int32_t type) {
        out_parent_type = parent;
        out_type = type;
        out_child_index = index;
    });
    return true;
}

// ---------------------------------------------------------------------------------------------
// Paths

TPATH::TPATH(const TTREE* tree) : m_tree(tree), m_top_index(0) {}

TPATH::~TPATH() = default;

void TPATH::clear() {
    m_path.clear();
    m_top_index = 0;
}

bool TPATH::set_from_string(const std::string& text, char delimiter) {
    clear();
    if (text.empty()) return true;
    const UTIL_ITYPEDTREE::ITYPES& types = *m_tree->get_types();
    const UTIL::SYMBOL_TABLE* table = types.get_symbol_table();
    int32_t type = 0;
    size_t begin = 0;
    for (;;) {
        const size_t end = text.find(delimiter, begin);
        const std::string token =
            text.substr(begin, end == std::string::npos ? std::string::npos : end - begin);
        const NS_SYMBOL::SYM name = table->find(token);
        // A leaf has no children to name.
        if (name.is_unknown() || type < 0) return false;
        const int32_t index = types.get_type(static_cast<uint32_t>(type))->find_instance(name);
        if (index == -1) return false;
        m_path.push_back(static_cast<uint32_t>(index));
        type = m_tree->get_children(static_cast<uint32_t>(type))[index].first;
        if (end == std::string::npos) return true;
        begin = end + 1;
    }
}

// ---------------------------------------------------------------------------------------------
// Text forms

std::ostream& operator<<(std::ostream& os, const TPATH& path) {
    const UTIL_ITYPEDTREE::ITYPES& types = *path.get_tree()->get_types();
    int32_t type = 0;
    const std::vector<uint32_t>& indexes = path.get_indexes();
    for (size_t k = 0; k < indexes.size() && type >= 0; ++k) {
        const UTIL_ITYPEDTREE::IINSTANCE* child =
            types.get_type(static_cast<uint32_t>(type))->get_instance(indexes[k]);
        if (k > 0) os << "/";
        os << child->get_name();
        type = child->get_type_index();
    }
    return os;
}

std::ostream& operator<<(std::ostream& os, const TTREE::TNODE& tnode) {
    os << tnode.m_type->get_name() << "(size = " << tnode.m_size << ", ";
    for (size_t i = 0; i < tnode.m_children.size(); ++i) {
        if (i > 0) os << ", ";
        const UTIL_ITYPEDTREE::IINSTANCE* child =
            tnode.m_type->get_instance(static_cast<uint32_t>(i));
        if (tnode.m_children[i].first < 0) {
            os << "<>";
        } else {
            os << child->get_type_name();
        }
        os << ": " << child->get_name();
    }
    os << " | size = " << tnode.m_size << ", children = {";
    for (const UTIL_ITYPEDTREE::CHILD& child : tnode.m_children) {
        os << child.first << ":" << child.second << " ";
    }
    return os << "})";
}

std::ostream& operator<<(std::ostream& os, const TTREE& tree) {
    os << std::endl << "{" << std::endl;
    const std::vector<TTREE::TNODE>& tnodes = tree.get_tnodes();
    for (size_t i = 0; i < tnodes.size(); ++i) {
        os << "   [" << i << "] = " << tnodes[i] << std::endl;
    }
    return os << "}";
}
