// Partitions of the node space by module occurrence.
//  1. set_partitions validates the list, gives partition i + 1 to the i-th module and walks the
//     occurrences; a partitioned module's occurrence is recorded and not descended into, so
//     partitions never nest and a module reachable only below another is reported.
//  2. Every occurrence of partitions 1.. becomes a segment [start, end] of a range whose payload
//     is partition << 16 | occurrence; a node outside all segments belongs to partition 0.
//  3. Node numbers are taken at their low 32 bits in the range: partitions serve devices whose
//     node count fits in 32 bits, which the hierarchy statistics show.
#include "util/util_partitions.h"

#include "util/util_indent.h"
#include "util/util_symbol.h"

namespace UTIL {

using PARTITIONS_BASE = IHIERARCHY::IPARTITIONS;

IHIERARCHY::IPARTITION::~IPARTITION() = default;
IHIERARCHY::IPARTITIONS::~IPARTITIONS() = default;

std::string PARTITIONS::module_name(uint32_t module_index) const {
    // A stored list may name a module that the hierarchy lacks; it is then reported as not
    // reachable under the unknown name.
    const IHIERARCHY::IMODULES* modules = m_hierarchy->get_modules();
    if (module_index >= modules->get_n_modules()) return NS_SYMBOL::SYM().get_name();
    return modules->get_module(module_index)->get_name().get_name();
}

bool PARTITIONS::set_partitions(const std::vector<uint32_t>& module_indexes) {
    m_error.m_ok = true;
    m_error.m_message.clear();
    for (uint32_t module_index : module_indexes) {
        if (module_index == 0) {
            m_error.m_ok = false;
            m_error.m_message =
                "Do not include top level module: " + module_name(0) + " in module_indexes";
        }
    }
    if (!m_error.m_ok) return false;
    UTIL_ASSERT(module_indexes.size() < PARTITION_INDEX_INVALID);

    m_partitions.assign(module_indexes.size() + 1, PARTITION());
    m_module_to_partition.clear();
    m_range.reset();
    m_partitions[0].m_module_index = 0;
    m_module_to_partition[0] = 0;
    for (size_t i = 0; i < module_indexes.size(); ++i) {
        m_module_to_partition[module_indexes[i]] = static_cast<uint16_t>(i + 1);
        m_partitions[i + 1].m_module_index = module_indexes[i];
    }
    OCCURENCE_LISTENER listener(this);
    m_hierarchy->visit_occurences(listener);

    for (const PARTITION& partition : m_partitions) {
        if (partition.m_occurences.empty()) {
            m_error.m_ok = false;
            m_error.m_message = "Ill formed partitions, The module " +
                                module_name(partition.m_module_index) + " is not reachable";
        }
    }
    UTIL_ASSERT_MSG(m_partitions[0].m_occurences.size() == 1,
                    "Wrong number of occurences for top-level module: %s", module_name(0).c_str());
    if (!m_error.m_ok) return false;
    if (m_partitions.size() > 1) build_range();
    return m_error.m_ok;
}

void PARTITIONS::build_range() {
    std::vector<SEGMENT> segments;
    for (size_t p = 1; p < m_partitions.size(); ++p) {
        const std::vector<PARTITION::OCCURENCE>& occurences = m_partitions[p].m_occurences;
        // Occurrence indexes travel in the low 16 bits of the payload.
        UTIL_ASSERT(occurences.size() <= 0x10000);
        for (size_t o = 0; o < occurences.size(); ++o) {
            segments.push_back({static_cast<uint32_t>(occurences[o].m_start),
                                static_cast<uint32_t>(occurences[o].m_end),
                                static_cast<uint32_t>(p << 16 | o)});
        }
    }
    m_range.reset(create_range());
    // Occurrences of non-nesting partitions never overlap, so the result needs no check.
    m_range->set_segments(static_cast<uint32_t>(m_partitions[0].m_occurences[0].m_end), segments);
}

bool OCCURENCE_LISTENER::visit_occurence(uint32_t module_index, uint64_t start, uint64_t end) {
    auto it = m_partitions->m_module_to_partition.find(module_index);
    if (it == m_partitions->m_module_to_partition.end()) return true;
    m_partitions->m_partitions[it->second].m_occurences.push_back({start, end});
    return module_index == 0;
}

IHIERARCHY::IPATH_SETTABLE& PARTITIONS::get_partition_path(IHIERARCHY::IPATH_SETTABLE& path,
                                                           uint16_t partition_index) const {
    m_hierarchy->get_path(&path, at(m_partitions, partition_index).get_start(0));
    return path;
}

uint16_t PARTITIONS::get_partition_of_module(uint32_t module_index) const {
    auto it = m_module_to_partition.find(module_index);
    return it == m_module_to_partition.end() ? PARTITION_INDEX_INVALID : it->second;
}

const PARTITION::OCCURENCE& PARTITIONS::occurence_of(uint32_t payload,
                                                     uint16_t& partition_index) const {
    partition_index = static_cast<uint16_t>(payload >> 16);
    UTIL_ASSERT(partition_index != PARTITION_INDEX_INVALID);
    return at(m_partitions, partition_index).get_occurence(static_cast<uint16_t>(payload));
}

uint16_t PARTITIONS::find_partition(uint16_t& occurence_index, uint64_t& relative_node,
                                    uint64_t node) const {
    // Without a range there is only the top level.
    if (!m_range) return 0;
    uint32_t payload = 0;
    uint32_t segment = m_range->find(static_cast<uint32_t>(node), payload);
    if (segment == IRANGE::SEGMENT_INDEX_INVALID) return PARTITION_INDEX_INVALID;
    if (segment == IRANGE::SEGMENT_INDEX_UNDEFINED) return 0;
    uint16_t partition_index = 0;
    const PARTITION::OCCURENCE& occurence = occurence_of(payload, partition_index);
    UTIL_ASSERT(occurence.m_start <= node);
    UTIL_ASSERT(node <= occurence.m_end);
    occurence_index = static_cast<uint16_t>(payload);
    relative_node = node - occurence.m_start;
    return partition_index;
}

uint16_t PARTITIONS::find_partition(OCCURENCE_NODES& record, uint64_t node1, uint64_t node2) const {
    if (!m_range) return 0;
    uint32_t payload1 = 0;
    uint32_t payload2 = 0;
    uint32_t segment1 = m_range->find(static_cast<uint32_t>(node1), payload1);
    uint32_t segment2 = m_range->find(static_cast<uint32_t>(node2), payload2);
    if (segment1 == IRANGE::SEGMENT_INDEX_INVALID || segment2 == IRANGE::SEGMENT_INDEX_INVALID) {
        return PARTITION_INDEX_INVALID;
    }
    if (segment1 == IRANGE::SEGMENT_INDEX_UNDEFINED || segment1 != segment2) return 0;
    uint16_t partition_index = 0;
    const PARTITION::OCCURENCE& occurence = occurence_of(payload1, partition_index);
    UTIL_ASSERT(occurence.m_start <= node1);
    UTIL_ASSERT(node1 <= occurence.m_end);
    UTIL_ASSERT(occurence.m_start <= node2);
    UTIL_ASSERT(node2 <= occurence.m_end);
    record.m_occurence = static_cast<uint16_t>(payload1);
    record.m_node1 = node1 - occurence.m_start;
    record.m_node2 = node2 - occurence.m_start;
    return partition_index;
}

static void print_statistics(std::ostream& os, const PARTITIONS_BASE& partitions) {
    uint64_t n_occurences = 0;
    for (uint16_t p = 0; p < partitions.get_n_partitions(); ++p) {
        n_occurences += partitions.get_partition(p).get_n_occurences();
    }
    os << "IPARTITIONS_STATISTICS {" << std::endl << indent;
    os << "m_hierarchy = " << *partitions.get_hierarchy() << std::endl;
    os << "n_partitions = " << partitions.get_n_partitions() << std::endl;
    os << "n_occurences = " << n_occurences << std::endl;
    os << outdent << "}" << std::endl;
}

// The cursor goes by pointer and IMODULES is named short, so that the failed check prints as
// the look-up reads.
static void print_occurences(std::ostream& os, const IHIERARCHY::IPARTITION& partition,
                             IHIERARCHY::IPATH_SETTABLE* path) {
    using IMODULES = IHIERARCHY::IMODULES;
    const IHIERARCHY& hierarchy = *path->get_hierarchy();
    for (uint32_t o = 0; o < partition.get_n_occurences(); ++o) {
        uint64_t start = partition.get_start(static_cast<uint16_t>(o));
        UTIL_ASSERT(hierarchy.get_path(path, start) != IMODULES::MODULE_INDEX_INVALID);
        if (o > 0) os << ", ";
        os << *path << ":" << start << "-" << partition.get_end(static_cast<uint16_t>(o));
    }
}

std::ostream& operator<<(std::ostream& os, const PARTITIONS_BASE& partitions) {
    INDENT guard(os, 3);
    if (get_detail(os) == 4) {
        print_statistics(os, partitions);
        return os;
    }
    std::unique_ptr<IHIERARCHY::IPATH_SETTABLE> path(partitions.get_hierarchy()->create_path());
    os << "IPARTITIONS {" << std::endl << indent;
    for (uint16_t p = 0; p < partitions.get_n_partitions(); ++p) {
        const IHIERARCHY::IPARTITION& partition = partitions.get_partition(p);
        os << "[" << p << "] = { (#=" << partition.get_n_occurences() << ") "
           << partitions.get_partition_path(*path, p);
        if (get_detail(os) >= 2) {
            os << " ";
            print_occurences(os, partition, path.get());
        }
        os << "}" << std::endl;
    }
    os << outdent << "}" << std::endl;
    return os;
}

}  // namespace UTIL
