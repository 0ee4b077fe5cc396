// The node map in both directions.
//  1. add_node: node -> GID in the forward map; the GID is decoded to its cell, and its key k
//     (low 34 bits) -> cnode index in the cell's map; m_cnodes holds (cached, driver).
//  2. apply_aliases: each node with a driver leaves the forward map, its driver (or every
//     driver of a multiply driven net) enters it, and the cnode records the driver.
//  3. File: the dimensions, then per cell (x, y, z; z fastest) its keys ascending with the
//     cached node and, when it differs, the driver. GIDs are rebuilt from cell and key.
//  4. Reading restores m_cnodes in file order and keys each GID by its stored driver.
#include "util/util_nodemap64.h"

#include <google/protobuf/io/zero_copy_stream_impl.h>

#include <algorithm>

#include "nodemap.pb.h"
#include "util/util_assert.h"
#include "util/util_hierarchy.h"
#include "util/util_indent.h"

namespace UTIL {

static constexpr uint64_t NOT_FOUND = static_cast<uint64_t>(-1);
// A dimension before set_dimensions.
static constexpr uint32_t UNSET = static_cast<uint32_t>(-1);

size_t NODEMAP64::cell_index(uint32_t x, uint32_t y, uint32_t z) const {
    if (x >= m_nx || y >= m_ny || z >= m_nz) throw_vector_subscript();
    size_t index = (static_cast<size_t>(x) * m_ny + y) * m_nz + z;
    if (index >= m_xyz_to_cnode_index.size()) throw_vector_subscript();
    return index;
}

size_t NODEMAP64::cell_index_of(uint64_t gid) const {
    IGID_CONVERTER* converter = m_gid_converter.get();
    converter->set_gid64(gid);
    return cell_index(converter->get_x(), converter->get_y(), converter->get_z());
}

void NODEMAP64::set_grid(uint32_t nx, uint32_t ny, uint32_t nz) {
    UTIL_ASSERT_MSG(m_nx == UNSET, "m_nx == (uint32_t) -1");
    UTIL_ASSERT_MSG(m_ny == UNSET, "m_ny == (uint32_t) -1");
    UTIL_ASSERT_MSG(m_nz == UNSET, "m_nz == (uint32_t) -1");
    m_nx = nx;
    m_ny = ny;
    m_nz = nz;
}

void NODEMAP64::set_dimensions(uint32_t nx, uint32_t ny, uint32_t nz) {
    set_grid(nx, ny, nz);
    m_xyz_to_cnode_index.assign(static_cast<size_t>(nx) * ny * nz, KEY_TO_CNODE_INDEX());
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
    auto p = m_node_to_gid.emplace(node, gid);
    UTIL_ASSERT(p.second);
    size_t cell = cell_index_of(gid);
    uint32_t cnode_index = static_cast<uint32_t>(m_cnodes.size());
    m_cnodes.emplace_back(node, node);
    // A key already in the cell keeps its resource; the new cnode stays out of reach.
    m_xyz_to_cnode_index[cell].emplace(m_gid_converter->get_k(gid), cnode_index);
}

void NODEMAP64::apply_aliases(const IALIASES& aliases) {
    UTIL_ASSERT(m_gid_converter != NULL);
    std::vector<uint64_t> keys;
    keys.reserve(m_node_to_gid.size());
    m_node_to_gid.for_each([&](uint64_t node, uint64_t) { keys.push_back(node); });
    for (uint64_t cached : keys) {
        uint64_t gid = *m_node_to_gid.find(cached);
        uint64_t driver = aliases.get_driver(cached);
        if (driver == NOT_FOUND) continue;
        m_node_to_gid.erase(cached);
        if (aliases.is_multi_driver(cached)) {
            for (uint64_t node : aliases.get_drivers(cached)) m_node_to_gid.emplace(node, gid);
        } else {
            m_node_to_gid.emplace(driver, gid);
        }
        const KEY_TO_CNODE_INDEX& key_to_cnode_index = m_xyz_to_cnode_index[cell_index_of(gid)];
        const uint32_t* gid_it = key_to_cnode_index.find(m_gid_converter->get_k(gid));
        UTIL_ASSERT_MSG(gid_it != nullptr, "gid_it != key_to_cnode_index.end()");
        m_cnodes[*gid_it].second = driver;
    }
}

size_t NODEMAP64::heap_bytes() const {
    size_t bytes = m_cnodes.capacity() * sizeof(CNODE) + m_node_to_gid.heap_bytes() +
                   m_xyz_to_cnode_index.capacity() * sizeof(KEY_TO_CNODE_INDEX);
    for (const KEY_TO_CNODE_INDEX& cell : m_xyz_to_cnode_index) bytes += cell.heap_bytes();
    return bytes;
}

void NODEMAP64::seal() {
    UTIL_ASSERT(!m_seal);
    // The table is complete: give back the growth reserve of the largest vector.
    m_cnodes.shrink_to_fit();
    m_seal = true;
}

uint64_t NODEMAP64::get_gid(uint64_t node) const {
    UTIL_ASSERT(m_seal);
    const uint64_t* gid = m_node_to_gid.find(node);
    return gid == nullptr ? NOT_FOUND : *gid;
}

bool NODEMAP64::get_nodes(uint64_t& cached, uint64_t& driver, uint64_t gid) const {
    UTIL_ASSERT(m_seal);
    UTIL_ASSERT(m_gid_converter != NULL);
    const KEY_TO_CNODE_INDEX& key_to_cnode_index = m_xyz_to_cnode_index[cell_index_of(gid)];
    const uint32_t* cnode_index = key_to_cnode_index.find(m_gid_converter->get_k(gid));
    if (cnode_index == nullptr) return false;
    const CNODE& cnode = m_cnodes[*cnode_index];
    cached = cnode.first;
    driver = cnode.second;
    return true;
}

uint64_t NODEMAP64::get_driver_node(uint64_t gid) const {
    uint64_t cached;
    uint64_t driver;
    return get_nodes(cached, driver, gid) ? driver : NOT_FOUND;
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
    // One message and one sort buffer serve all cells; Clear keeps their allocations.
    PB::UTIL::KEY_NODES64 key_nodes;
    std::vector<std::pair<uint64_t, uint32_t>> sorted;
    for (const KEY_TO_CNODE_INDEX& cell : m_xyz_to_cnode_index) {
        sorted.clear();
        cell.for_each([&](uint64_t key, uint32_t index) { sorted.emplace_back(key, index); });
        std::sort(sorted.begin(), sorted.end());
        key_nodes.Clear();
        for (const auto& entry : sorted) {
            const CNODE& cnode = m_cnodes[entry.second];
            PB::UTIL::KEY_NODE64* key_node = key_nodes.add_key_nodes();
            key_node->set_key(entry.first);
            key_node->set_cached_node(cnode.first);
            if (cnode.second != cnode.first) key_node->set_driver_node(cnode.second);
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
    // A cell's map is made when its message has been read, not all of them up front: a damaged
    // head may claim a billion cells, and only a file that holds a message for each of them
    // makes them all.
    set_grid(head.nx(), head.ny(), head.nz());
    m_xyz_to_cnode_index.clear();
    PB::UTIL::KEY_NODES64 key_nodes;
    // A grid with a zero dimension has no cells; the loops over the other two would only spin.
    if (cells == 0) {
        seal();
        return true;
    }
    for (uint32_t x = 0; x < m_nx; ++x) {
        for (uint32_t y = 0; y < m_ny; ++y) {
            for (uint32_t z = 0; z < m_nz; ++z) {
                key_nodes.Clear();
                if (!read_message(input, &key_nodes, format)) {
                    UTIL_FAIL("Error reading pb_key_nodes");
                }
                m_xyz_to_cnode_index.emplace_back();
                KEY_TO_CNODE_INDEX& cell = m_xyz_to_cnode_index[cell_index(x, y, z)];
                cell.rehash(
                    static_cast<size_t>(key_nodes.key_nodes_size() / cell.max_load_factor() + 0.5));
                for (const PB::UTIL::KEY_NODE64& key_node : key_nodes.key_nodes()) {
                    uint64_t cached = key_node.cached_node();
                    uint64_t driver = key_node.has_driver_node() ? key_node.driver_node() : cached;
                    uint32_t cnode_index = static_cast<uint32_t>(m_cnodes.size());
                    m_cnodes.emplace_back(cached, driver);
                    auto p = cell.emplace(key_node.key(), cnode_index);
                    UTIL_ASSERT(p.second);
                    uint64_t gid = m_gid_converter->make_gid_from_k(x, y, z, key_node.key());
                    m_node_to_gid.emplace(driver, gid);
                }
            }
        }
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
    os << "m_node_to_gid = (" << m_node_to_gid.size() << ")";
    if (detail >= 2) {
        std::vector<std::pair<uint64_t, uint64_t>> nodes;
        m_node_to_gid.for_each([&](uint64_t node, uint64_t gid) { nodes.emplace_back(node, gid); });
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
        std::vector<std::pair<uint64_t, uint32_t>> keys;
        for (const KEY_TO_CNODE_INDEX& cell : m_xyz_to_cnode_index) {
            keys.clear();
            cell.for_each([&](uint64_t key, uint32_t index) { keys.emplace_back(key, index); });
            std::sort(keys.begin(), keys.end());
            for (const auto& key : keys) {
                const CNODE& cnode = m_cnodes[key.second];
                os << key.first << "->[cached = ";
                printer.print(os, cnode.first);
                os << "],[driver = ";
                printer.print(os, cnode.second);
                os << "]" << std::endl;
            }
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
