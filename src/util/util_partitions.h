// UTIL::PARTITIONS: a selection of module definitions whose occurrences address the node space
// as (partition, occurrence, node relative to the occurrence); partition 0 is the top level.
// Owns the occurrence lists and the range that finds a node's occurrence. The hierarchy it
// numbers by is not owned and must outlive it; its stored form is in util_hierarchy_serializable.
#pragma once

#include <cstdint>
#include <memory>
#include <ostream>
#include <unordered_map>
#include <vector>

#include "util/util_assert.h"
#include "util/util_error.h"
#include "util/util_hierarchy.h"
#include "util/util_range.h"

namespace UTIL {

class IHIERARCHY::IPARTITION {
  public:
    virtual ~IPARTITION();
    virtual uint32_t get_module_index() const = 0;
    virtual uint32_t get_n_occurences() const = 0;
    // First and last node of an occurrence, as visit_occurences gives them.
    virtual uint64_t get_start(uint16_t occurence_index) const = 0;
    virtual uint64_t get_end(uint16_t occurence_index) const = 0;
};

class IHIERARCHY::IPARTITIONS {
  public:
    static constexpr uint16_t PARTITION_INDEX_INVALID = 65535;

    // Where two nodes meet inside one occurrence of a partition.
    struct OCCURENCE_NODES {
        uint16_t m_occurence = 0;
        uint64_t m_node1 = 0;
        uint64_t m_node2 = 0;
    };

    virtual ~IPARTITIONS();
    virtual const IHIERARCHY* get_hierarchy() const = 0;
    // Module indexes without module 0; false with the error record filled for a bad list.
    virtual bool set_partitions(const std::vector<uint32_t>& module_indexes) = 0;
    virtual const IERROR::ERROR& get_error() const = 0;
    virtual uint16_t get_n_partitions() const = 0;
    virtual const IPARTITION& get_partition(uint16_t partition_index) const = 0;
    virtual IPATH_SETTABLE& get_partition_path(IPATH_SETTABLE& path,
                                               uint16_t partition_index) const = 0;
    virtual uint16_t get_partition_of_module(uint32_t module_index) const = 0;
    // Partition of a node; for a partition above 0 the occurrence and the relative node go out.
    virtual uint16_t find_partition(uint16_t& occurence_index, uint64_t& relative_node,
                                    uint64_t node) const = 0;
    // Partition in which both nodes lie in one occurrence, else 0 (they meet at the top).
    virtual uint16_t find_partition(OCCURENCE_NODES& record, uint64_t node1,
                                    uint64_t node2) const = 0;
};

class PARTITION : public IHIERARCHY::IPARTITION {
  public:
    struct OCCURENCE {
        uint64_t m_start;
        uint64_t m_end;
    };

    uint32_t get_module_index() const override { return m_module_index; }
    uint32_t get_n_occurences() const override {
        return static_cast<uint32_t>(m_occurences.size());
    }
    uint64_t get_start(uint16_t occurence_index) const override {
        return at(m_occurences, occurence_index).m_start;
    }
    uint64_t get_end(uint16_t occurence_index) const override {
        return at(m_occurences, occurence_index).m_end;
    }
    const OCCURENCE& get_occurence(uint16_t index) const { return at(m_occurences, index); }

    uint32_t m_module_index = IHIERARCHY::IMODULES::MODULE_INDEX_INVALID;
    std::vector<OCCURENCE> m_occurences;
};

class PARTITIONS : public IHIERARCHY::IPARTITIONS {
  public:
    explicit PARTITIONS(const IHIERARCHY* hierarchy) : m_hierarchy(hierarchy) {}

    const IHIERARCHY* get_hierarchy() const override { return m_hierarchy; }
    bool set_partitions(const std::vector<uint32_t>& module_indexes) override;
    const IERROR::ERROR& get_error() const override { return m_error; }
    uint16_t get_n_partitions() const override {
        return static_cast<uint16_t>(m_partitions.size());
    }
    const IHIERARCHY::IPARTITION& get_partition(uint16_t partition_index) const override {
        return at(m_partitions, partition_index);
    }
    IHIERARCHY::IPATH_SETTABLE& get_partition_path(IHIERARCHY::IPATH_SETTABLE& path,
                                                   uint16_t partition_index) const override;
    uint16_t get_partition_of_module(uint32_t module_index) const override;
    uint16_t find_partition(uint16_t& occurence_index, uint64_t& relative_node,
                            uint64_t node) const override;
    uint16_t find_partition(OCCURENCE_NODES& record, uint64_t node1, uint64_t node2) const override;

  private:
    friend class OCCURENCE_LISTENER;
    std::string module_name(uint32_t module_index) const;
    void build_range();
    const PARTITION::OCCURENCE& occurence_of(uint32_t payload, uint16_t& partition_index) const;

    IERROR::ERROR m_error;
    const IHIERARCHY* m_hierarchy;
    std::vector<PARTITION> m_partitions;
    std::unordered_map<uint32_t, uint16_t> m_module_to_partition;
    std::unique_ptr<IRANGE> m_range;
};

// Collects the occurrences of the partitioned modules; does not descend into them.
class OCCURENCE_LISTENER : public IHIERARCHY::IOCCURENCE {
  public:
    explicit OCCURENCE_LISTENER(PARTITIONS* partitions) : m_partitions(partitions) {}
    bool visit_occurence(uint32_t module_index, uint64_t start, uint64_t end) override;

  private:
    PARTITIONS* m_partitions;
};

std::ostream& operator<<(std::ostream& os, const IHIERARCHY::IPARTITIONS& partitions);

}  // namespace UTIL
