// Two-level edge map along partitions.
//  1. An edge asks the partitions where its two nodes meet: at the top level it goes into the
//     top map; inside one occurrence of a partition it goes, under the nodes relative to that
//     occurrence, into the partition's map, which all occurrences share.
//  2. Each map is open for adds until end_adds (or a read), then open for searches.
//  3. The file holds one message: top edges and then every partition's sub-edges, each sorted
//     by key, nodes at their low 32 bits.
#include "util/util_edgemap.h"

#include <google/protobuf/io/zero_copy_stream_impl.h>

#include <algorithm>
#include <memory>

#include "edgemap.pb.h"
#include "util/util_indent.h"
#include "util/util_symbol.h"

namespace UTIL {

using IPARTITIONS = IHIERARCHY::IPARTITIONS;

EDGEMAP::EDGEMAP(const IPARTITIONS* partitions)
    : m_partitions(partitions), m_subedge_maps(partitions->get_n_partitions()) {}

uint16_t EDGEMAP::get_edge_partition(EDGE_KEY& subedge, uint16_t& occurence,
                                     const EDGE_KEY& edge) const {
    IPARTITIONS::OCCURENCE_NODES record;
    uint16_t partition_index = m_partitions->find_partition(record, edge.m_node1, edge.m_node2);
    if (partition_index == 0 || partition_index == IPARTITIONS::PARTITION_INDEX_INVALID) {
        return partition_index;
    }
    subedge.m_node1 = record.m_node1;
    subedge.m_node2 = record.m_node2;
    occurence = record.m_occurence;
    return partition_index;
}

const IEDGEMAP::IEDGEINFO* EDGEMAP::add_edge(const EDGE_KEY& edge, INFO info) {
    EDGE_KEY subedge;
    uint16_t occurence = 0;
    uint16_t partition_index = get_edge_partition(subedge, occurence, edge);
    UTIL_ASSERT(partition_index != IPARTITIONS::PARTITION_INDEX_INVALID);
    if (partition_index > 0) return add_subedge(partition_index, subedge, info);
    UTIL_ASSERT(m_edge_map_add_ok);
    auto inserted = m_edge_map.emplace(edge, EDGEINFO(info.m_mux_type, info.m_mux_input));
    return inserted.second ? &inserted.first->second : nullptr;
}

const IEDGEMAP::IEDGEINFO* EDGEMAP::add_subedge(uint16_t partition_index, const EDGE_KEY& subedge,
                                                INFO info) {
    UTIL_ASSERT(partition_index > 0);
    SUBEDGE_MAP& map = at(m_subedge_maps, partition_index);
    UTIL_ASSERT_MSG(map.m_subedge_map_add_ok, "m_subedge_map_add_ok");
    auto inserted =
        map.m_subedge_map.emplace(subedge, SUBEDGEINFO(info.m_mux_type, info.m_mux_input));
    return inserted.second ? &inserted.first->second : nullptr;
}

const IEDGEMAP::IEDGEINFO* EDGEMAP::find_edge(const EDGE_KEY& edge) const {
    EDGE_KEY subedge;
    uint16_t occurence = 0;
    uint16_t partition_index = get_edge_partition(subedge, occurence, edge);
    if (partition_index == IPARTITIONS::PARTITION_INDEX_INVALID) return nullptr;
    if (partition_index > 0) return find_subedge(partition_index, subedge);
    auto it = m_edge_map.find(edge);
    return it == m_edge_map.end() ? nullptr : &it->second;
}

const IEDGEMAP::IEDGEINFO* EDGEMAP::find_subedge(uint16_t partition_index,
                                                 const EDGE_KEY& subedge) const {
    UTIL_ASSERT(partition_index > 0);
    const SUBEDGE_MAP& map = at(m_subedge_maps, partition_index);
    UTIL_ASSERT_MSG(!map.m_subedge_map_add_ok, "!m_subedge_map_add_ok");
    auto it = map.m_subedge_map.find(subedge);
    return it == map.m_subedge_map.end() ? nullptr : &it->second;
}

void EDGEMAP::end_adds(uint16_t partition_index) {
    if (partition_index == 0) {
        m_edge_map_add_ok = false;
    } else {
        at(m_subedge_maps, partition_index).m_subedge_map_add_ok = false;
    }
}

template <class MAP>
static std::vector<EDGE_KEY> sorted_keys(const MAP& map) {
    std::vector<EDGE_KEY> keys;
    keys.reserve(map.size());
    for (const auto& entry : map) keys.push_back(entry.first);
    std::sort(keys.begin(), keys.end());
    return keys;
}

template <class PB_EDGE, class INFO_T>
static void fill_edge(PB_EDGE* message, const EDGE_KEY& key, const INFO_T& info) {
    message->set_node1(static_cast<uint32_t>(key.m_node1));
    message->set_node2(static_cast<uint32_t>(key.m_node2));
    message->set_mux_type(info.get_mux_type());
    message->set_mux_input(info.get_mux_input());
}

bool EDGEMAP::write(std::ostream& output, uint32_t format) {
    PB::UTIL::EDGEMAP message;
    for (const EDGE_KEY& key : sorted_keys(m_edge_map)) {
        fill_edge(message.add_edges(), key, m_edge_map.at(key));
    }
    for (const SUBEDGE_MAP& map : m_subedge_maps) {
        PB::UTIL::SUBEDGEMAP* pb_map = message.add_subedge_maps();
        for (const EDGE_KEY& key : sorted_keys(map.m_subedge_map)) {
            fill_edge(pb_map->add_subedges(), key, map.m_subedge_map.at(key));
        }
    }
    return write_message(message, output, format);
}

bool EDGEMAP::read(std::istream& input, uint32_t format) {
    google::protobuf::io::IstreamInputStream zero_copy(&input);
    return read_stream(&zero_copy, format);
}

template <class PB_EDGE>
static EDGE_KEY key_of(const PB_EDGE& edge) {
    return EDGE_KEY{edge.node1(), edge.node2()};
}

bool EDGEMAP::read_stream(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format) {
    UTIL_ASSERT(m_edge_map.size() == 0 && m_edge_map_add_ok == true);
    PB::UTIL::EDGEMAP message;
    // A failed read still applies what was parsed.
    bool ok = read_message(input, &message, format);
    m_edge_map.reserve(static_cast<size_t>(message.edges_size()));
    for (const PB::UTIL::EDGE& edge : message.edges()) {
        m_edge_map.emplace(key_of(edge), EDGEINFO(static_cast<uint16_t>(edge.mux_type()),
                                                  static_cast<uint16_t>(edge.mux_input())));
    }
    m_subedge_maps = std::vector<SUBEDGE_MAP>(static_cast<size_t>(message.subedge_maps_size()));
    for (int p = 0; p < message.subedge_maps_size(); ++p) {
        SUBEDGE_MAP& map = m_subedge_maps[static_cast<size_t>(p)];
        const PB::UTIL::SUBEDGEMAP& pb_map = message.subedge_maps(p);
        map.m_subedge_map.reserve(static_cast<size_t>(pb_map.subedges_size()));
        for (const PB::UTIL::SUBEDGE& edge : pb_map.subedges()) {
            map.m_subedge_map.emplace(key_of(edge),
                                      SUBEDGEINFO(static_cast<uint16_t>(edge.mux_type()),
                                                  static_cast<uint16_t>(edge.mux_input())));
        }
        map.m_subedge_map_add_ok = false;
    }
    m_edge_map_add_ok = false;
    return ok;
}

// The cursor goes by pointer so that the failed check prints as the look-up reads.
static void print_node(std::ostream& os, const IHIERARCHY& hierarchy,
                       IHIERARCHY::IPATH_SETTABLE* path, uint64_t node) {
    UTIL_ASSERT(hierarchy.get_path(path, node) != IHIERARCHY::IMODULES::MODULE_INDEX_INVALID);
    os << "[" << node << ":" << *path << "]";
}

static std::string partition_name(const IPARTITIONS& partitions, uint16_t partition_index) {
    uint32_t module_index = partitions.get_partition(partition_index).get_module_index();
    return partitions.get_hierarchy()->get_modules()->get_module(module_index)->get_name().str();
}

static void print_edges(std::ostream& os, const EDGEMAP& edgemap) {
    const IHIERARCHY& hierarchy = *edgemap.get_partitions()->get_hierarchy();
    std::unique_ptr<IHIERARCHY::IPATH_SETTABLE> path(hierarchy.create_path());
    os << "{";
    size_t count = 0;
    for (const EDGE_KEY& key : sorted_keys(edgemap.get_edge_map())) {
        if (get_detail(os) < 3 && count == 18) {
            os << "...";
            break;
        }
        if (count++ > 0) os << ",";
        os << "{";
        print_node(os, hierarchy, path.get(), key.m_node1);
        os << "->";
        print_node(os, hierarchy, path.get(), key.m_node2);
        os << "}";
    }
    os << "}";
}

std::ostream& operator<<(std::ostream& os, const IEDGEMAP& abstract_edgemap) {
    INDENT guard(os, 3);
    if (get_detail(os) == 4) {
        os << "IEDGEMAP_STATISTICS {" << std::endl << "}" << std::endl;
        return os;
    }
    const auto& edgemap = dynamic_cast<const EDGEMAP&>(abstract_edgemap);
    const IPARTITIONS& partitions = *edgemap.get_partitions();
    os << "IEDGEMAP {" << std::endl << indent;
    os << "m_edge_map = {" << std::endl << indent;
    os << "(" << partition_name(partitions, 0) << ": " << edgemap.get_edge_map().size() << ")";
    if (get_detail(os) >= 2) print_edges(os, edgemap);
    os << std::endl << outdent << "}" << std::endl;
    os << "m_subedge_maps = {" << std::endl << indent;
    for (uint16_t p = 1; p < edgemap.get_subedge_maps().size(); ++p) {
        os << "(" << partition_name(partitions, p) << ": "
           << edgemap.get_subedge_maps()[p].m_subedge_map.size() << ")" << std::endl;
    }
    os << outdent << "}" << std::endl;
    os << outdent << "}" << std::endl;
    return os;
}

}  // namespace UTIL
