// Node numbering of a folded hierarchy, its inverse, and the path cursors.
//
// 1. Per module, n_nodes = 1 + n_nodes of each instance's module + n_ports, found by repeated
//    passes over all modules (no topological order needed), with a checked 63-bit addition.
// 2. Per module, m_sum_left holds prefix sums of the instances' node counts, then the ports.
//    Inside an occurrence at node b: b itself, the instance subtrees in index order, the ports.
// 3. Path to node: one table look-up per level. Node to path: per level, the lower bound of
//    the relative node in m_sum_left gives the instance; past the instances it is a port, and
//    that last step keeps 32-bit arithmetic, which is what bounds the node space in practice.
// 4. Both look-ups read a packed copy of the per-module sums and instance modules (the walk
//    table), so that a level costs about one cache miss, and they allocate nothing. Node to
//    path follows record offsets from parent to child and reads no module index on the way.
#include "util/util_hierarchy.h"

#include <algorithm>
#include <limits>
#include <ostream>

#include "util/util_assert.h"
#include "util/util_indent.h"
#include "util/util_partitions.h"
#include "util/util_symbol.h"

namespace UTIL {

using MODULES = IHIERARCHY::IMODULES;
static constexpr uint32_t INVALID_INDEX = IHIERARCHY::IMODULES::MODULE_INDEX_INVALID;
// Entries that the search for an instance compares at once, without branching.
static constexpr size_t SEARCH_WINDOW = 16;

// One module's record in the walk table: the n child record offsets (last instance first),
// m_sum_left[n + 1] (the port end), a header, m_sum_left[0 .. n], padding of all bits set that
// no search counts, then the n instance module indexes. A record is addressed by its first sum,
// and a level of node-to-path reads only entries around it: no module index is looked up on
// the way down. The padding covers what a search window reads past the sums: up to
// SEARCH_WINDOW entries from the first sum, or, after halving (which leaves at least
// SEARCH_WINDOW / 2 + 1 entries), SEARCH_WINDOW / 2 - 1 past the last. A module without
// instances is never searched.
static constexpr uint64_t PAD = ~static_cast<uint64_t>(0);
// Entries before the sums, relative to a record's first sum: the header (instance count in
// the low 32 bits, module index in the high 32), the port end m_sum_left[n + 1], and the
// records of the instances' modules, instance i at CHILDREN - i.
static constexpr ptrdiff_t HEADER = -1;
static constexpr ptrdiff_t PORT_END = -2;
static constexpr ptrdiff_t CHILDREN = -3;
static size_t padding(size_t n_instances) {
    if (n_instances == 0) return 0;
    const size_t after_halving = SEARCH_WINDOW / 2 - 1;
    return n_instances + 1 >= SEARCH_WINDOW - after_halving ? after_halving
                                                            : SEARCH_WINDOW - 1 - n_instances;
}

IHIERARCHY::IPORT::~IPORT() = default;
IHIERARCHY::IINSTANCE::~IINSTANCE() = default;
IHIERARCHY::IMODULE::~IMODULE() = default;
IHIERARCHY::IMODULES::~IMODULES() = default;
IHIERARCHY::IPATH::~IPATH() = default;
IHIERARCHY::IOCCURENCE::~IOCCURENCE() = default;
IHIERARCHY::~IHIERARCHY() = default;

// ---------------------------------------------------------------------------------------------
// Construction

HIERARCHY::HIERARCHY(const IMODULES* modules) : m_modules(modules), m_num_nodes_overflowed(false) {
    m_module_infos.resize(m_modules->get_n_modules());
    fill_maps();
    resolve_instance_modules();
    count_nodes();
    fill_sum_left();
    fill_walk_table();
}

HIERARCHY::~HIERARCHY() = default;

// A map sized like every map of the hierarchy: 8 initial buckets, load factor 1.0. The entries
// are collected in index order first, so that a repeated name keeps its first index.
static void fill_map(std::unordered_map<SYM, uint32_t>& map,
                     const std::vector<std::pair<SYM, uint32_t>>& entries) {
    map = std::unordered_map<SYM, uint32_t>(8);
    map.max_load_factor(1.0f);
    map.insert(entries.begin(), entries.end());
}

void HIERARCHY::fill_maps() {
    std::vector<std::pair<SYM, uint32_t>> module_entries;
    module_entries.reserve(m_module_infos.size());
    std::vector<std::pair<SYM, uint32_t>> entries;
    for (uint32_t i = 0; i < m_module_infos.size(); ++i) {
        const IMODULE* module = m_modules->get_module(i);
        module_entries.emplace_back(module->get_name(), i);
        MODULE_INFO& info = m_module_infos[i];
        entries.clear();
        for (uint32_t k = 0; k < module->get_n_instances(); ++k) {
            entries.emplace_back(module->get_instance(k)->get_name(), k);
        }
        fill_map(info.m_instance_map, entries);
        entries.clear();
        for (uint32_t k = 0; k < module->get_n_ports(); ++k) {
            entries.emplace_back(module->get_port(k)->get_name(), k);
        }
        fill_map(info.m_port_map, entries);
    }
    fill_map(m_module_map, module_entries);
}

void HIERARCHY::resolve_instance_modules() {
    for (uint32_t i = 0; i < m_module_infos.size(); ++i) {
        const IMODULE* module = m_modules->get_module(i);
        std::vector<uint32_t>& indexes = m_module_infos[i].m_instance_module_indexes;
        indexes.resize(module->get_n_instances());
        for (uint32_t k = 0; k < indexes.size(); ++k) {
            auto it = m_module_map.find(module->get_instance(k)->get_module_name());
            UTIL_ASSERT(it != m_module_map.end());
            indexes[k] = it->second;
        }
    }
}

// Limits node counts to 63 bits: an overflow is flagged and the wrapped sum returned, so the
// caller can name the module.
int64_t HIERARCHY::checked_add(int64_t a, int64_t b) {
    UTIL_ASSERT((a >= 0) && (b >= 0));
    if (a > std::numeric_limits<int64_t>::max() - b) {
        m_num_nodes_overflowed = true;
        return static_cast<int64_t>(static_cast<uint64_t>(a) + static_cast<uint64_t>(b));
    }
    return a + b;
}

// -1 while an instance's module is not counted yet.
int64_t HIERARCHY::count_module_nodes(uint32_t module_index) {
    const MODULE_INFO& info = m_module_infos[module_index];
    int64_t n = 1;
    for (uint32_t child : info.m_instance_module_indexes) {
        const int64_t child_nodes = m_module_infos[child].m_num_nodes;
        if (child_nodes < 0) return -1;
        n = checked_add(n, child_nodes);
    }
    return checked_add(n, m_modules->get_module(module_index)->get_n_ports());
}

// A pass that makes no further module known means an instantiation cycle (or no modules).
// Every pass recomputes every module; `remaining` counts the modules still unknown after it.
void HIERARCHY::count_nodes() {
    const int64_t n_modules = static_cast<int64_t>(m_module_infos.size());
    for (;;) {
        int64_t remaining = n_modules;
        int64_t modules_changed = 0;
        for (uint32_t i = 0; i < m_module_infos.size(); ++i) {
            const int64_t n = count_module_nodes(i);
            if (m_num_nodes_overflowed) UTIL_FAIL("Overflowed number of nodes on module %d", i);
            if (n < 0) continue;
            if (m_module_infos[i].m_num_nodes < 0) ++modules_changed;
            m_module_infos[i].m_num_nodes = n;
            --remaining;
        }
        UTIL_ASSERT(modules_changed > 0);
        if (remaining < 1) break;
    }
    UTIL_ASSERT(!m_num_nodes_overflowed);
}

void HIERARCHY::fill_sum_left() {
    for (uint32_t i = 0; i < m_module_infos.size(); ++i) {
        MODULE_INFO& info = m_module_infos[i];
        const size_t n_instances = info.m_instance_module_indexes.size();
        info.m_sum_left.assign(n_instances + 2, 0);
        for (size_t k = 0; k < n_instances; ++k) {
            info.m_sum_left[k + 1] =
                info.m_sum_left[k] +
                static_cast<uint64_t>(
                    m_module_infos[info.m_instance_module_indexes[k]].m_num_nodes);
        }
        info.m_sum_left[n_instances + 1] =
            info.m_sum_left[n_instances] + m_modules->get_module(i)->get_n_ports();
    }
}

// Entries of one cache line: a record's first sum starts a line, so that a search window
// touches as few lines as it can.
static constexpr size_t LINE = 64 / sizeof(uint64_t);

void HIERARCHY::fill_walk_table() {
    uint64_t size = 0;
    for (const MODULE_INFO& info : m_module_infos) {
        const size_t n_instances = info.m_instance_module_indexes.size();
        size += 3 * n_instances + 3 + padding(n_instances) + LINE - 1;
    }
    m_walk_data.reserve(size);
    m_walk_modules.reserve(m_module_infos.size());
    // Where the reserved table starts within a line; it does not move while it is filled.
    const size_t skew = reinterpret_cast<uintptr_t>(m_walk_data.data()) / sizeof(uint64_t);
    // First pass: where each record's sums start, so that parents can point at children.
    uint64_t offset = 0;
    std::vector<size_t> fillers;
    fillers.reserve(m_module_infos.size());
    for (const MODULE_INFO& info : m_module_infos) {
        const size_t n_instances = info.m_instance_module_indexes.size();
        const size_t tail = n_instances + 1 + padding(n_instances);
        const size_t filler = (LINE - (skew + offset + n_instances + 2) % LINE) % LINE;
        fillers.push_back(filler);
        offset += filler + n_instances + 2;
        m_walk_modules.push_back(
            {offset, static_cast<uint32_t>(n_instances), static_cast<uint32_t>(tail)});
        offset += tail + n_instances;
    }
    for (uint32_t m = 0; m < m_module_infos.size(); ++m) {
        const MODULE_INFO& info = m_module_infos[m];
        const size_t n_instances = info.m_instance_module_indexes.size();
        m_walk_data.insert(m_walk_data.end(), fillers[m], 0);
        for (size_t i = n_instances; i-- > 0;) {
            m_walk_data.push_back(m_walk_modules[info.m_instance_module_indexes[i]].m_offset);
        }
        m_walk_data.push_back(info.m_sum_left[n_instances + 1]);
        m_walk_data.push_back(static_cast<uint64_t>(n_instances) | static_cast<uint64_t>(m) << 32);
        m_walk_data.insert(m_walk_data.end(), info.m_sum_left.begin(),
                           info.m_sum_left.begin() + static_cast<ptrdiff_t>(n_instances + 1));
        m_walk_data.insert(m_walk_data.end(), padding(n_instances), PAD);
        m_walk_data.insert(m_walk_data.end(), info.m_instance_module_indexes.begin(),
                           info.m_instance_module_indexes.end());
    }
}

// ---------------------------------------------------------------------------------------------
// Look-ups by name and counts

static uint32_t find_index(const std::unordered_map<SYM, uint32_t>& map, SYM name) {
    auto it = map.find(name);
    return it == map.end() ? INVALID_INDEX : it->second;
}

uint32_t HIERARCHY::get_module_index(SYM name) const {
    return find_index(m_module_map, name);
}

uint32_t HIERARCHY::get_port_index(uint32_t module_index, SYM name) const {
    return find_index(at(m_module_infos, module_index).m_port_map, name);
}

uint32_t HIERARCHY::get_instance_index(uint32_t module_index, SYM name) const {
    return find_index(at(m_module_infos, module_index).m_instance_map, name);
}

IHIERARCHY::IPATH_SETTABLE* HIERARCHY::create_path() const {
    return new HPATH_SETTABLE(this);
}

IHIERARCHY::IPARTITIONS* HIERARCHY::create_partitions() const {
    return new PARTITIONS(this);
}

uint32_t HIERARCHY::get_num_nodes(uint32_t module_index) const {
    return static_cast<uint32_t>(get_num_nodes_64(module_index));
}

int64_t HIERARCHY::get_num_nodes_64(uint32_t module_index) const {
    return at(m_module_infos, module_index).m_num_nodes;
}

// ---------------------------------------------------------------------------------------------
// Path to node

// The child occurrence of an instance, stepping `module_index` into the instance's module;
// INVALID_NODE for an index that is not an instance. Only the module index is checked.
inline uint64_t HIERARCHY::step_into(uint32_t& module_index, uint64_t node,
                                     uint32_t instance_index) const {
    const WALK_MODULE& walk = at(m_walk_modules, module_index);
    // A negative index, seen as unsigned, fails the bound as well.
    if (instance_index >= walk.m_n_instances) return INVALID_NODE;
    const uint64_t* entries = m_walk_data.data() + walk.m_offset;
    module_index = static_cast<uint32_t>(entries[walk.m_tail + instance_index]);
    return node + 1 + entries[instance_index];
}

uint64_t HIERARCHY::get_child_node(uint32_t* out_module_index, uint32_t module_index, uint64_t node,
                                   uint32_t instance_index) const {
    if (out_module_index != nullptr) {
        uint32_t child_module = module_index;
        const uint64_t child = step_into(child_module, node, instance_index);
        if (child != INVALID_NODE) *out_module_index = child_module;
        return child;
    }
    const MODULE_INFO& info = at(m_module_infos, module_index);
    const int32_t i = static_cast<int32_t>(instance_index);
    // Without an out module the two extra entries of m_sum_left pass: callers give only
    // valid instances there.
    if (i < 0 || static_cast<size_t>(i) >= info.m_sum_left.size()) return INVALID_NODE;
    return node + 1 + info.m_sum_left[i];
}

uint64_t HIERARCHY::get_port_node(uint32_t module_index, uint64_t node, uint32_t port_index) const {
    const WALK_MODULE& walk = at(m_walk_modules, module_index);
    return node + 1 + m_walk_data[walk.m_offset + walk.m_n_instances] + port_index;
}

uint64_t HIERARCHY::get_port_parent(uint32_t module_index, uint32_t port_index,
                                    uint64_t port_node) const {
    const MODULE_INFO& info = at(m_module_infos, module_index);
    return port_node - info.m_sum_left[info.m_instance_module_indexes.size()] - port_index - 1;
}

uint64_t HIERARCHY::get_node(uint32_t& out_module_index, const IPATH& path) const {
    uint32_t module_index = path.get_base_module_index();
    uint64_t node = 0;
    const uint32_t n = path.size();
    for (uint32_t k = 0; k < n; ++k) {
        node = step_into(module_index, node, path.get_instance(k));
        if (node == INVALID_NODE) return INVALID_NODE;
    }
    out_module_index = module_index;
    const uint32_t port_index = path.get_port_index();
    if (port_index != INVALID_INDEX) node = get_port_node(module_index, node, port_index);
    return node;
}

uint64_t HIERARCHY::get_node(const IPATH& path) const {
    uint32_t module_index;
    return get_node(module_index, path);
}

// Walks one path from its position `from` and `node` in `module_index`, port included;
// INVALID_NODE on a bad instance index.
uint64_t HIERARCHY::walk_rest(const IPATH& path, uint32_t from, uint64_t node,
                              uint32_t module_index) const {
    const uint32_t n = path.size();
    for (uint32_t k = from; k < n; ++k) {
        node = step_into(module_index, node, path.get_instance(k));
        if (node == INVALID_NODE) return node;
    }
    const uint32_t port_index = path.get_port_index();
    if (port_index != INVALID_INDEX) node = get_port_node(module_index, node, port_index);
    return node;
}

bool HIERARCHY::get_nodes(uint64_t& node1, uint64_t& node2, uint64_t& common_node,
                          uint32_t& common_module_index, const IPATH& p1, const IPATH& p2) const {
    UTIL_ASSERT(p1.get_base_module_index() == p2.get_base_module_index());
    common_node = 0;
    uint32_t module_index = p1.get_base_module_index();
    const uint32_t shorter = std::min(p1.size(), p2.size());
    uint32_t k = 0;
    for (; k < shorter && p1.get_instance(k) == p2.get_instance(k); ++k) {
        common_node = step_into(module_index, common_node, p1.get_instance(k));
        if (common_node == INVALID_NODE) {
            // A bad shared index spoils both paths.
            node1 = node2 = INVALID_NODE;
            return true;
        }
    }
    common_module_index = module_index;
    node1 = walk_rest(p1, k, common_node, module_index);
    node2 = walk_rest(p2, k, common_node, module_index);
    return true;
}

// ---------------------------------------------------------------------------------------------
// Node to path

// The value, hidden from the optimiser, so that separate sums are not re-associated into one.
static inline size_t opaque(size_t value) {
#if defined(__GNUC__)
    __asm__("" : "+r"(value));
#endif
    return value;
}

// Position of the instance whose subtree holds the relative node `rest` (> 0), or -1 when
// `rest` lies past the instances (a port, or past the end). This is the lower bound of `rest`
// in m_sum_left[0 .. n_instances], found without branches on the data: comparisons over random
// nodes do not predict. Halving narrows a wide module to a window of SEARCH_WINDOW entries,
// in which the entries below `rest` are counted. The padding behind the sums is never below
// `rest`, so the count needs no bound; and counting has no chain of dependent loads.
static inline int64_t find_instance(const uint64_t* sum_left, size_t n_instances, uint64_t rest) {
    if (n_instances == 0) return -1;
    const size_t n = n_instances + 1;
    const uint64_t* base = sum_left;
    size_t len = n;
    while (len > SEARCH_WINDOW) {
        const size_t half = len / 2;
        base = base[half] < rest ? base + half : base;
        len -= half;
    }
    // Four counts over interleaved quarters, joined at the end. Left to itself the compiler
    // fuses all comparisons into one chain of add-with-carry, as long as the window, that
    // each level of a walk waits on; the opaque joins keep the four chains apart.
    size_t below[4] = {0, 0, 0, 0};
    for (size_t j = 0; j < SEARCH_WINDOW; j += 4) {
        for (size_t c = 0; c < 4; ++c) below[c] += base[j + c] < rest ? 1 : 0;
    }
    const size_t position = static_cast<size_t>(base - sum_left) +
                            (opaque(below[0]) + opaque(below[1])) +
                            (opaque(below[2]) + opaque(below[3]));
    if (position == n) return -1;
    return static_cast<int64_t>(position) - 1;
}

uint32_t HIERARCHY::walk(IPATH_SETTABLE* path, uint64_t node, uint32_t module_index,
                         uint32_t& out_instance, uint32_t& out_port) const {
    if (path != nullptr) {
        path->clear();
        path->set_base_module_index(module_index);
    }
    const uint64_t* data = m_walk_data.data();
    const uint64_t* entries = data + at(m_walk_modules, module_index).m_offset;
    uint64_t rest = node;
    for (;;) {
        const uint64_t header = entries[HEADER];
        if (rest == 0) return static_cast<uint32_t>(header >> 32);
        const size_t n_instances = static_cast<uint32_t>(header);
        const int64_t i = find_instance(entries, n_instances, rest);
        if (i < 0) {
            // The port step, on the low 32 bits as signed numbers.
            const uint32_t base = static_cast<uint32_t>(node - rest);
            const int32_t node32 = static_cast<int32_t>(static_cast<uint32_t>(node));
            const int32_t last32 =
                static_cast<int32_t>(static_cast<uint32_t>(entries[PORT_END]) + base);
            if (node32 > last32) return INVALID_INDEX;
            const uint32_t port_index = static_cast<uint32_t>(node) -
                                        static_cast<uint32_t>(entries[n_instances]) - base - 1;
            if (path != nullptr) path->set_port_index(port_index);
            out_port = port_index;
            out_instance = INVALID_INDEX;
            return static_cast<uint32_t>(header >> 32);
        }
        if (path != nullptr) path->add_instance(static_cast<uint32_t>(i));
        out_instance = static_cast<uint32_t>(i);
        rest -= entries[i] + 1;
        entries = data + entries[CHILDREN - i];
    }
}

uint32_t HIERARCHY::get_path(IPATH_SETTABLE* path, uint64_t node,
                             uint32_t base_module_index) const {
    uint32_t instance_index = INVALID_INDEX;
    uint32_t port_index = INVALID_INDEX;
    return walk(path, node, base_module_index, instance_index, port_index);
}

uint32_t HIERARCHY::get_instance_of_node(uint32_t& instance_index, uint64_t node,
                                         uint32_t base_module_index) const {
    instance_index = INVALID_INDEX;
    uint32_t port_index = INVALID_INDEX;
    const uint32_t module_index =
        walk(nullptr, node, base_module_index, instance_index, port_index);
    if (node != 0 && instance_index == INVALID_INDEX) return INVALID_INDEX;
    return module_index;
}

uint32_t HIERARCHY::get_port_of_node(uint32_t& port_index, uint64_t node,
                                     uint32_t base_module_index) const {
    port_index = INVALID_INDEX;
    uint32_t instance_index = INVALID_INDEX;
    const uint32_t module_index =
        walk(nullptr, node, base_module_index, instance_index, port_index);
    if (port_index == INVALID_INDEX) return INVALID_INDEX;
    return module_index;
}

// ---------------------------------------------------------------------------------------------
// Common occurrence

static bool in_range(const HIERARCHY::MODULE_INFO& info, uint64_t base, uint64_t node) {
    const size_t n_instances = info.m_instance_module_indexes.size();
    const uint64_t n_ports = info.m_sum_left[n_instances + 1] - info.m_sum_left[n_instances];
    return node >= base && node < base + info.m_sum_left[n_instances] + 1 + n_ports;
}

uint32_t HIERARCHY::get_common_path(IPATH_SETTABLE* path, uint64_t& common_node, uint64_t node1,
                                    uint64_t node2, uint32_t module_index) const {
    if (path != nullptr) {
        path->clear();
        path->set_base_module_index(module_index);
    }
    common_node = 0;
    if (node1 == 0 || node2 == 0) return module_index;
    uint64_t base = 0;
    uint32_t current = module_index;
    const MODULE_INFO* info = &at(m_module_infos, current);
    if (!in_range(*info, base, node1)) return module_index;
    uint32_t answer = module_index;
    int64_t pending = -1;
    while (in_range(*info, base, node2)) {
        common_node = base;
        answer = current;
        if (path != nullptr && pending >= 0) path->add_instance(static_cast<uint32_t>(pending));
        const uint64_t rest = node1 - base;
        const WALK_MODULE& walk = m_walk_modules[current];
        const int64_t i =
            rest == 0 ? -1
                      : find_instance(m_walk_data.data() + walk.m_offset, walk.m_n_instances, rest);
        if (i < 0) break;
        pending = i;
        base += info->m_sum_left[i] + 1;
        current = info->m_instance_module_indexes[i];
        info = &m_module_infos[current];
        if (!in_range(*info, base, node1)) break;
    }
    return answer;
}

// ---------------------------------------------------------------------------------------------
// Occurrences

void HIERARCHY::visit_from(IOCCURENCE& visitor, uint32_t module_index, uint64_t start) const {
    const MODULE_INFO& info = m_module_infos[module_index];
    const uint64_t end = start + static_cast<uint64_t>(info.m_num_nodes) - 1;
    if (!visitor.visit_occurence(module_index, start, end)) return;
    for (size_t i = 0; i < info.m_instance_module_indexes.size(); ++i) {
        visit_from(visitor, info.m_instance_module_indexes[i], start + 1 + info.m_sum_left[i]);
    }
}

void HIERARCHY::visit_occurences(IOCCURENCE& visitor) const {
    if (m_module_infos.empty()) return;
    visit_from(visitor, 0, 0);
}

// ---------------------------------------------------------------------------------------------
// Paths

HPATH::HPATH(const IHIERARCHY* hierarchy)
    : m_hierarchy(hierarchy), m_base_module_index(0), m_port_index(INVALID_INDEX) {}

HPATH::~HPATH() = default;

uint32_t HPATH::get_instance(uint32_t position) const {
    return at(m_instances, position);
}

HPATH_SETTABLE::HPATH_SETTABLE(const IHIERARCHY* hierarchy) : m_path(hierarchy) {}

HPATH_SETTABLE::~HPATH_SETTABLE() = default;

void HPATH_SETTABLE::clear() {
    m_path.m_instances.clear();
    m_path.m_port_index = INVALID_INDEX;
}

void HPATH_SETTABLE::set_instances(const std::vector<uint32_t>& instances) {
    m_path.m_instances = instances;
}

// Appends the instance of that name in `module_index` and steps into its module.
bool HPATH_SETTABLE::add_by_name(uint32_t& module_index, SYM name) {
    const IHIERARCHY* h = m_path.m_hierarchy;
    const uint32_t instance_index = h->get_instance_index(module_index, name);
    if (instance_index == INVALID_INDEX) return false;
    add_instance(instance_index);
    h->get_child_node(&module_index, module_index, 0, instance_index);
    return true;
}

bool HPATH_SETTABLE::set_from_names(const IHIERARCHY::NAME_PATH& names,
                                    uint32_t base_module_index) {
    clear();
    set_base_module_index(base_module_index);
    uint32_t module_index = base_module_index;
    for (SYM name : names.m_instances) {
        if (!add_by_name(module_index, name)) return false;
    }
    if (names.m_port.is_known()) {
        const uint32_t port_index = m_path.m_hierarchy->get_port_index(module_index, names.m_port);
        if (port_index == INVALID_INDEX) return false;
        set_port_index(port_index);
    }
    return true;
}

bool HPATH_SETTABLE::set_from_string(const std::string& text, uint32_t base_module_index) {
    clear();
    set_base_module_index(base_module_index);
    SYMBOL_TABLE* table = m_path.m_hierarchy->get_modules()->get_symbol_table();
    // A description over several tables cannot resolve names.
    if (table == nullptr) return false;
    const size_t colon = text.rfind(':');
    std::string instances = text.substr(0, colon);
    if (instances.size() > 1 && instances[0] == '/') instances.erase(0, 1);
    uint32_t module_index = base_module_index;
    // An empty instance path names the base occurrence itself.
    size_t begin = 0;
    while (!instances.empty()) {
        const size_t slash = instances.find('/', begin);
        const size_t end = slash == std::string::npos ? instances.size() : slash;
        if (!add_by_name(module_index, table->add(instances.substr(begin, end - begin)))) {
            return false;
        }
        if (slash == std::string::npos) break;
        begin = slash + 1;
    }
    if (colon == std::string::npos) return true;
    const SYM port = table->add(text.substr(colon + 1));
    const uint32_t port_index = m_path.m_hierarchy->get_port_index(module_index, port);
    if (port_index == INVALID_INDEX) return false;
    set_port_index(port_index);
    return true;
}

// ---------------------------------------------------------------------------------------------
// Text forms

template <class F>
static void print_joined(std::ostream& os, uint32_t n, F item) {
    for (uint32_t k = 0; k < n; ++k) {
        if (k > 0) os << ", ";
        item(k);
    }
}

static void print_modules_statistics(std::ostream& os, const MODULES& modules) {
    uint64_t n_instances = 0;
    uint64_t n_ports = 0;
    for (uint32_t i = 0; i < modules.get_n_modules(); ++i) {
        n_instances += modules.get_module(i)->get_n_instances();
        n_ports += modules.get_module(i)->get_n_ports();
    }
    os << "IMODULES_STATISTICS {" << std::endl << indent;
    os << "n_modules = " << modules.get_n_modules() << std::endl;
    os << "n_instances = " << n_instances << std::endl;
    os << "n_ports = " << n_ports << std::endl;
    os << outdent << "}";
}

static void print_module(std::ostream& os, const IHIERARCHY::IMODULE& module, int detail) {
    os << "IMODULE " << module.get_name() << " {" << std::endl << indent;
    if (detail >= 3) {
        os << "instances = { ";
        print_joined(os, module.get_n_instances(), [&](uint32_t k) {
            const IHIERARCHY::IINSTANCE* instance = module.get_instance(k);
            os << instance->get_name() << ":" << instance->get_module_name();
        });
        os << "}" << std::endl;
        os << "ports = { ";
        print_joined(os, module.get_n_ports(),
                     [&](uint32_t k) { os << module.get_port(k)->get_name(); });
        os << "}" << std::endl;
    }
    os << outdent << "}" << std::endl;
}

std::ostream& operator<<(std::ostream& os, const IHIERARCHY::IMODULES& modules) {
    INDENT guard(os, 3);
    const int detail = get_detail(os);
    if (detail == 4) {
        print_modules_statistics(os, modules);
        return os;
    }
    os << "IMODULES {" << std::endl << indent;
    os << "n_modules = " << modules.get_n_modules() << std::endl;
    if (detail >= 2) {
        for (uint32_t i = 0; i < modules.get_n_modules(); ++i) {
            print_module(os, *modules.get_module(i), detail);
        }
    }
    os << outdent << "}";
    return os;
}

static void print_statistics(std::ostream& os, const IHIERARCHY& hierarchy) {
    static const uint64_t MAX_NODES_32 = 4294967295u;
    const uint64_t num_nodes = hierarchy.get_num_nodes();
    os << "IHIERARCHY_STATISTICS {" << std::endl << indent;
    os << "m_modules = " << *hierarchy.get_modules() << std::endl;
    os << "num_nodes = " << num_nodes << std::endl;
    os << "max_nodes 32 bit = " << MAX_NODES_32 << std::endl;
    os << "% remaining 32 bit = " << (MAX_NODES_32 - num_nodes) * 100 / MAX_NODES_32 << std::endl;
    os << outdent << "}";
}

// Entries of a name map in index order, as name:index.
static void print_map(std::ostream& os, const std::unordered_map<SYM, uint32_t>& map) {
    std::vector<std::pair<uint32_t, SYM>> sorted;
    sorted.reserve(map.size());
    for (const auto& entry : map) sorted.emplace_back(entry.second, entry.first);
    std::sort(sorted.begin(), sorted.end());
    os << "{ ";
    print_joined(os, static_cast<uint32_t>(sorted.size()),
                 [&](uint32_t k) { os << sorted[k].second << ":" << sorted[k].first; });
    os << " }";
}

static void print_module_info(std::ostream& os, const HIERARCHY& hierarchy, uint32_t i,
                              int detail) {
    const IHIERARCHY::IMODULES& modules = *hierarchy.get_modules();
    const IHIERARCHY::IMODULE& module = *modules.get_module(i);
    const HIERARCHY::MODULE_INFO& info = hierarchy.get_module_infos()[i];
    const uint32_t n_instances = static_cast<uint32_t>(info.m_instance_module_indexes.size());
    os << module.get_name() << " {" << std::endl << indent;
    os << "m_num_nodes = " << info.m_num_nodes << std::endl;
    os << "# instances = " << n_instances << "# ports = " << module.get_n_ports() << std::endl;
    if (detail >= 3) {
        os << "m_sum_left = "
           << "{";
        print_joined(os, n_instances, [&](uint32_t k) {
            os << info.m_sum_left[k] << ":"
               << modules.get_module(info.m_instance_module_indexes[k])->get_name() << ":"
               << module.get_instance(k)->get_name();
        });
        os << ", " << info.m_sum_left[n_instances] << "}" << std::endl;
        os << "m_instance_module_indexes = { ";
        print_joined(os, n_instances, [&](uint32_t k) { os << info.m_instance_module_indexes[k]; });
        os << " }" << std::endl;
        os << "m_instance_map = ";
        print_map(os, info.m_instance_map);
        os << std::endl << "m_port_map = ";
        print_map(os, info.m_port_map);
        os << std::endl;
    }
    os << outdent << "}" << std::endl;
}

std::ostream& operator<<(std::ostream& os, const IHIERARCHY& hierarchy) {
    INDENT guard(os, 3);
    const int detail = get_detail(os);
    if (detail == 4) {
        print_statistics(os, hierarchy);
        return os;
    }
    os << "IHIERARCHY {" << std::endl << indent;
    os << "m_modules = " << *hierarchy.get_modules() << std::endl;
    os << "num_nodes = " << hierarchy.get_num_nodes() << std::endl;
    const auto* concrete = dynamic_cast<const HIERARCHY*>(&hierarchy);
    if (detail >= 2 && concrete != nullptr) {
        os << "m_module_infos = "
           << "{" << std::endl
           << indent;
        for (uint32_t i = 0; i < concrete->get_module_infos().size(); ++i) {
            print_module_info(os, *concrete, i, detail);
        }
        os << outdent << "}" << std::endl;
        os << "m_module_map = ";
        print_map(os, concrete->get_module_map());
        os << std::endl;
    }
    os << outdent << "}";
    return os;
}

std::ostream& operator<<(std::ostream& os, const IHIERARCHY::IPATH& path) {
    const IHIERARCHY* hierarchy = path.get_hierarchy();
    const MODULES& modules = *hierarchy->get_modules();
    uint32_t module_index = path.get_base_module_index();
    for (uint32_t k = 0; k < path.size(); ++k) {
        const uint32_t instance_index = path.get_instance(k);
        const IHIERARCHY::IMODULE* module = modules.get_module(module_index);
        if (instance_index >= module->get_n_instances()) {
            return os << "/<" << instance_index << ">";
        }
        os << "/" << module->get_instance(instance_index)->get_name();
        hierarchy->get_child_node(&module_index, module_index, 0, instance_index);
    }
    const uint32_t port_index = path.get_port_index();
    if (port_index == INVALID_INDEX) return os;
    const IHIERARCHY::IMODULE* module = modules.get_module(module_index);
    if (port_index >= module->get_n_ports()) return os << ":<" << port_index << ">";
    return os << ":" << module->get_port(port_index)->get_name();
}

}  // namespace UTIL
