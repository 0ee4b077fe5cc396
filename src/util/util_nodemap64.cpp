// The node map in both directions.
//  1. add_node: a record (node, node, GID) per resource; the driver index must not know the
//     node yet, and the GID index keeps the first record of a GID.
//  2. apply_aliases: on the forward map as a plain map, each node with a driver leaves it, its
//     driver (or every driver of a multiply driven net) enters it, and the record of the GID
//     takes the driver; then the records are indexed by driver again.
//  3. File: the dimensions, then per cell (x, y, z; z fastest) its keys ascending with the
//     cached node and, when it differs, the driver. GIDs are rebuilt from cell and key.
//  4. Reading restores the records in file order and keys each GID by its stored driver; the
//     indexes are made once at the end, at their final size.
#include "util/util_nodemap64.h"

#include <google/protobuf/io/zero_copy_stream_impl.h>

#include <algorithm>
#include <unordered_map>

#include "nodemap.pb.h"
#include "util/util_assert.h"
#include "util/util_hierarchy.h"
#include "util/util_indent.h"

namespace UTIL {

static constexpr uint64_t NOT_FOUND = static_cast<uint64_t>(-1);
// A dimension before set_dimensions.
static constexpr uint32_t UNSET = static_cast<uint32_t>(-1);

size_t NODEMAP64::cell_index(uint32_t x, uint32_t y, uint32_t z) const {
    // Before set_dimensions there is no cell at all.
    if (m_nx == UNSET || x >= m_nx || y >= m_ny || z >= m_nz) throw_vector_subscript();
    return (static_cast<size_t>(x) * m_ny + y) * m_nz + z;
}

size_t NODEMAP64::cell_index_of(uint64_t gid) const {
    IGID_CONVERTER* converter = m_gid_converter.get();
    converter->set_gid64(gid);
    return cell_index(converter->get_x(), converter->get_y(), converter->get_z());
}

void NODEMAP64::set_dimensions(uint32_t nx, uint32_t ny, uint32_t nz) {
    UTIL_ASSERT_MSG(m_nx == UNSET, "m_nx == (uint32_t) -1");
    UTIL_ASSERT_MSG(m_ny == UNSET, "m_ny == (uint32_t) -1");
    UTIL_ASSERT_MSG(m_nz == UNSET, "m_nz == (uint32_t) -1");
    m_nx = nx;
    m_ny = ny;
    m_nz = nz;
}

void NODEMAP64::set_gid_builder(IGID_BUILDER* builder) {
    m_gid_builder = builder;
    m_gid_converter.reset(builder->create_converter());
}

void NODEMAP64::set_hierarchy(const IHIERARCHY* hierarchy) {
    UTIL_ASSERT(m_hierarchy == NULL);
    m_hierarchy = hierarchy;
}

void NODEMAP64::add_node(uint64_t gid, uint64_t node) {
    UTIL_ASSERT(m_gid_converter != NULL);
    const bool is_new = find_driver(node) == EC_INDEX::ABSENT && !m_other_drivers.find(node);
    UTIL_ASSERT_MSG(is_new, "p.second");
    cell_index_of(gid);
    const uint32_t record = static_cast<uint32_t>(m_cnodes.size());
    m_cnodes.push_back(CNODE{node, node, gid});
    m_by_driver.insert(node, record, [this](uint32_t p) { return m_cnodes[p].m_driver; });
    // A GID already known keeps its record; the new record stays out of reach from the GID.
    if (find_gid(gid) == EC_INDEX::ABSENT) {
        m_by_gid.insert(gid, record, [this](uint32_t p) { return m_cnodes[p].m_gid; });
    }
}

NODEMAP64::NODE_TO_GID NODEMAP64::forward_map() const {
    NODE_TO_GID forward;
    forward.reserve(get_n_forward());
    m_by_driver.for_each_position(
        [&](uint32_t p) { forward.emplace(m_cnodes[p].m_driver, m_cnodes[p].m_gid); });
    m_other_drivers.for_each([&](uint64_t node, uint64_t gid) { forward.emplace(node, gid); });
    return forward;
}

void NODEMAP64::index_drivers(NODE_TO_GID forward) {
    // A record answers for its driver when the forward map gives the driver the record's GID;
    // the first such record of a driver is indexed, and the entry leaves the plain map.
    m_by_driver.reset(m_cnodes.size());
    for (uint32_t p = 0; p < m_cnodes.size(); ++p) {
        const CNODE& cnode = m_cnodes[p];
        const uint64_t* gid = forward.find(cnode.m_driver);
        if (gid == nullptr || *gid != cnode.m_gid) continue;
        m_by_driver.insert(cnode.m_driver, p, [this](uint32_t q) { return m_cnodes[q].m_driver; });
        forward.erase(cnode.m_driver);
    }
    m_other_drivers = NODE_TO_GID();
    m_other_drivers.reserve(forward.size());
    forward.for_each([&](uint64_t node, uint64_t gid) { m_other_drivers.emplace(node, gid); });
}

void NODEMAP64::apply_aliases(const IALIASES& aliases) {
    UTIL_ASSERT(m_gid_converter != NULL);
    NODE_TO_GID forward = forward_map();
    std::vector<uint64_t> keys;
    keys.reserve(forward.size());
    forward.for_each([&](uint64_t node, uint64_t) { keys.push_back(node); });
    for (uint64_t cached : keys) {
        uint64_t gid = *forward.find(cached);
        uint64_t driver = aliases.get_driver(cached);
        if (driver == NOT_FOUND) continue;
        forward.erase(cached);
        if (aliases.is_multi_driver(cached)) {
            for (uint64_t node : aliases.get_drivers(cached)) forward.emplace(node, gid);
        } else {
            forward.emplace(driver, gid);
        }
        cell_index_of(gid);
        const uint32_t record = find_gid(gid);
        UTIL_ASSERT_MSG(record != EC_INDEX::ABSENT, "gid_it != key_to_cnode_index.end()");
        m_cnodes[record].m_driver = driver;
    }
    std::vector<uint64_t>().swap(keys);
    index_drivers(std::move(forward));
}

size_t NODEMAP64::heap_bytes() const {
    return m_cnodes.capacity() * sizeof(CNODE) + m_by_driver.memory_bytes() +
           m_other_drivers.heap_bytes() + m_by_gid.memory_bytes();
}

void NODEMAP64::seal() {
    UTIL_ASSERT(!m_seal);
    // The table is complete: give back the growth reserve of the largest vector.
    m_cnodes.shrink_to_fit();
    m_seal = true;
}

uint64_t NODEMAP64::get_gid(uint64_t node) const {
    UTIL_ASSERT(m_seal);
    const uint32_t record = find_driver(node);
    if (record != EC_INDEX::ABSENT) return m_cnodes[record].m_gid;
    const uint64_t* gid = m_other_drivers.find(node);
    return gid == nullptr ? NOT_FOUND : *gid;
}

bool NODEMAP64::get_nodes(uint64_t& cached, uint64_t& driver, uint64_t gid) const {
    UTIL_ASSERT(m_seal);
    UTIL_ASSERT(m_gid_converter != NULL);
    // The look-up goes first, so that its memory reads overlap the decoding, which it does
    // not depend on. The GID must decode and lie in the grid, found or not.
    const uint32_t record = find_gid(gid);
    cell_index_of(gid);
    if (record == EC_INDEX::ABSENT) return false;
    const CNODE& cnode = m_cnodes[record];
    cached = cnode.m_cached;
    driver = cnode.m_driver;
    return true;
}

uint64_t NODEMAP64::get_driver_node(uint64_t gid) const {
    uint64_t cached;
    uint64_t driver;
    return get_nodes(cached, driver, gid) ? driver : NOT_FOUND;
}

std::vector<NODEMAP64::CELL_KEY> NODEMAP64::cell_keys() const {
    // Records in order, those the GID index reaches, counted into their cells; then each
    // cell's stretch sorted by key.
    if (m_nx == UNSET) return {};
    const size_t n = m_cnodes.size();
    std::vector<bool> reachable(n, false);
    m_by_gid.for_each_position([&](uint32_t p) { reachable[p] = true; });
    const size_t cells = static_cast<size_t>(m_nx) * m_ny * m_nz;
    std::vector<uint32_t> start(cells + 1, 0);
    std::vector<uint32_t> cell_of(n, 0);
    for (size_t p = 0; p < n; ++p) {
        if (!reachable[p]) continue;
        cell_of[p] = static_cast<uint32_t>(cell_index_of(m_cnodes[p].m_gid));
        ++start[cell_of[p] + 1];
    }
    for (size_t c = 0; c < cells; ++c) start[c + 1] += start[c];
    std::vector<CELL_KEY> keys(start[cells]);
    for (size_t p = 0; p < n; ++p) {
        if (!reachable[p]) continue;
        CELL_KEY& key = keys[start[cell_of[p]]++];
        key.m_cell = cell_of[p];
        key.m_record = static_cast<uint32_t>(p);
        key.m_key = m_gid_converter->get_k(m_cnodes[p].m_gid);
    }
    auto by_key = [](const CELL_KEY& a, const CELL_KEY& b) { return a.m_key < b.m_key; };
    for (size_t b = 0, e; b < keys.size(); b = e) {
        for (e = b + 1; e < keys.size() && keys[e].m_cell == keys[b].m_cell;) ++e;
        std::sort(keys.begin() + static_cast<std::ptrdiff_t>(b),
                  keys.begin() + static_cast<std::ptrdiff_t>(e), by_key);
    }
    return keys;
}

bool NODEMAP64::write(std::ostream& output, uint32_t format) {
    UTIL_ASSERT_MSG(m_nx != UNSET, "m_nx != (uint32_t) -1");
    UTIL_ASSERT_MSG(m_ny != UNSET, "m_ny != (uint32_t) -1");
    UTIL_ASSERT_MSG(m_nz != UNSET, "m_nz != (uint32_t) -1");
    google::protobuf::io::OstreamOutputStream zero_copy(&output);
    PB::UTIL::NODEMAP64 head;
    head.set_nx(m_nx);
    head.set_ny(m_ny);
    head.set_nz(m_nz);
    bool ok = write_message(head, &zero_copy, format);
    const std::vector<CELL_KEY> keys = cell_keys();
    // One message serves all cells; Clear keeps its allocations.
    PB::UTIL::KEY_NODES64 key_nodes;
    const size_t cells = static_cast<size_t>(m_nx) * m_ny * m_nz;
    size_t k = 0;
    for (size_t cell = 0; cell < cells; ++cell) {
        key_nodes.Clear();
        for (; k < keys.size() && keys[k].m_cell == cell; ++k) {
            const CNODE& cnode = m_cnodes[keys[k].m_record];
            PB::UTIL::KEY_NODE64* key_node = key_nodes.add_key_nodes();
            key_node->set_key(keys[k].m_key);
            key_node->set_cached_node(cnode.m_cached);
            if (cnode.m_driver != cnode.m_cached) key_node->set_driver_node(cnode.m_driver);
        }
        ok = write_message(key_nodes, &zero_copy, format) && ok;
    }
    return ok;
}

bool NODEMAP64::read(std::istream& input, uint32_t format) {
    google::protobuf::io::IstreamInputStream zero_copy(&input);
    return read_stream(&zero_copy, format);
}

bool NODEMAP64::read_stream(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format) {
    UTIL_ASSERT_MSG(m_nx == UNSET, "m_nx == (uint32_t) -1");
    UTIL_ASSERT_MSG(m_ny == UNSET, "m_ny == (uint32_t) -1");
    UTIL_ASSERT_MSG(m_nz == UNSET, "m_nz == (uint32_t) -1");
    UTIL_ASSERT(m_gid_converter != NULL);
    PB::UTIL::NODEMAP64 head;
    bool head_ok = read_message(input, &head, format);
    // A grid beyond the 30-bit cell index of a GID cannot have been written by a node map;
    // it is a damaged head, and building its cells would exhaust memory first.
    uint64_t cells = static_cast<uint64_t>(head.nx()) * head.ny() * head.nz();
    if (!head_ok || cells > GID64_BITS::XYZ_MASK) UTIL_FAIL("Error reading pb_nodemap");
    // Records are made per message read, never per cell announced: a damaged head may claim a
    // billion cells, and only a file that holds a message for each of them gets that far.
    set_dimensions(head.nx(), head.ny(), head.nz());
    // A grid with a zero dimension has no cells; the loops over the other two would only spin.
    if (cells == 0) {
        seal();
        return true;
    }
    PB::UTIL::KEY_NODES64 key_nodes;
    // Records are gathered on ordinary pages and copied once, at their final size, onto the huge
    // pages that look-ups want: growing a huge-page block by doubling has the kernel assemble
    // and clear every intermediate block, which costs more than the copy.
    std::vector<CNODE> records;
    // The keys of the cell being read: each must be new in its cell.
    HASH64_MAP<uint32_t> seen;
    for (uint32_t x = 0; x < m_nx; ++x) {
        for (uint32_t y = 0; y < m_ny; ++y) {
            for (uint32_t z = 0; z < m_nz; ++z) {
                key_nodes.Clear();
                if (!read_message(input, &key_nodes, format)) {
                    UTIL_FAIL("Error reading pb_key_nodes");
                }
                seen = HASH64_MAP<uint32_t>();
                seen.reserve(static_cast<size_t>(key_nodes.key_nodes_size()));
                for (const PB::UTIL::KEY_NODE64& key_node : key_nodes.key_nodes()) {
                    uint64_t cached = key_node.cached_node();
                    uint64_t driver = key_node.has_driver_node() ? key_node.driver_node() : cached;
                    auto p = seen.emplace(key_node.key(), 0);
                    UTIL_ASSERT(p.second);
                    uint64_t gid = m_gid_converter->make_gid_from_k(x, y, z, key_node.key());
                    records.push_back(CNODE{cached, driver, gid});
                }
            }
        }
    }
    m_cnodes.insert(m_cnodes.end(), records.begin(), records.end());
    std::vector<CNODE>().swap(records);
    // Both indexes at their final size. GIDs differ, since cells and keys in a cell do; of
    // several records on one driver the first answers.
    const size_t n = m_cnodes.size();
    m_by_gid.reset(n);
    m_by_driver.reset(n);
    auto gid_at = [this](uint32_t p) { return m_cnodes[p].m_gid; };
    auto driver_at = [this](uint32_t p) { return m_cnodes[p].m_driver; };
    for (uint32_t p = 0; p < n; ++p) {
        m_by_gid.insert(m_cnodes[p].m_gid, p, gid_at);
        if (m_by_driver.find(m_cnodes[p].m_driver, driver_at) == EC_INDEX::ABSENT)
            m_by_driver.insert(m_cnodes[p].m_driver, p, driver_at);
    }
    seal();
    return true;
}

}  // namespace UTIL

namespace UTIL {

namespace {

// "node:path" of a node, through one reusable path of the hierarchy.
class NODE_PRINTER {
  public:
    explicit NODE_PRINTER(const IHIERARCHY* hierarchy) : m_path(hierarchy->create_path()) {
        m_hierarchy = hierarchy;
    }
    void print(std::ostream& os, uint64_t node) {
        m_path->clear();
        m_hierarchy->get_path(m_path.get(), node);
        os << node << ":" << *m_path;
    }

  private:
    const IHIERARCHY* m_hierarchy;
    std::unique_ptr<IHIERARCHY::IPATH_SETTABLE> m_path;
};

// Nodes listed at detail level 2 before the list is cut short.
constexpr size_t SHORT_LIST = 34;

}  // namespace

void NODEMAP64::print(std::ostream& os) const {
    const int detail = get_detail(os);
    os << (detail == 4 ? "INODEMAP_STATISTICS {" : "INODEMAP {") << std::endl << indent;
    os << "m_nx = " << m_nx << std::endl;
    os << "m_ny = " << m_ny << std::endl;
    os << "m_nz = " << m_nz << std::endl;
    if (detail == 4) {
        os << outdent << "}" << std::endl;
        return;
    }
    NODE_PRINTER printer(m_hierarchy);
    os << "m_node_to_gid = (" << get_n_forward() << ")";
    if (detail >= 2) {
        std::vector<std::pair<uint64_t, uint64_t>> nodes;
        forward_map().for_each([&](uint64_t node, uint64_t gid) { nodes.emplace_back(node, gid); });
        std::sort(nodes.begin(), nodes.end());
        std::unordered_map<uint64_t, uint32_t> nodes_per_gid;
        for (const auto& entry : nodes) ++nodes_per_gid[entry.second];
        os << "{" << std::endl << indent;
        for (size_t n = 0; n < nodes.size(); ++n) {
            if (detail < 3 && n == SHORT_LIST) {
                os << "..." << std::endl;
                break;
            }
            os << "[";
            printer.print(os, nodes[n].first);
            m_gid_converter->set_gid64(nodes[n].second);
            os << "]->" << *m_gid_converter;
            if (nodes_per_gid[nodes[n].second] > 1) os << "*";
            os << std::endl;
        }
        os << outdent << "}";
    }
    os << std::endl << "m_xyz_to_cnode_index = ";
    if (detail >= 2) {
        os << "{" << std::endl << indent;
        for (const CELL_KEY& key : cell_keys()) {
            const CNODE& cnode = m_cnodes[key.m_record];
            os << key.m_key << "->[cached = ";
            printer.print(os, cnode.m_cached);
            os << "],[driver = ";
            printer.print(os, cnode.m_driver);
            os << "]" << std::endl;
        }
        os << outdent << "}";
    }
    os << std::endl << outdent << "}" << std::endl;
}

std::ostream& operator<<(std::ostream& os, const INODEMAP& abstract_nodemap) {
    INDENT guard(os, 3);
    const NODEMAP64& nodemap = dynamic_cast<const NODEMAP64&>(abstract_nodemap);
    UTIL_ASSERT(nodemap.m_hierarchy != NULL);
    nodemap.print(os);
    return os;
}

}  // namespace UTIL
