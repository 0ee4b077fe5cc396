// UTIL::EDGEMAP: edge (pair of nodes) to the mux setting it stands for, kept in two levels along
// the partitions: top-level edges in one map, edges inside a repeated partition once per
// partition under local nodes, shared by all its occurrences. Owns its maps; the partitions
// are not owned. The translation database keeps its edges in the edge cache instead.
#pragma once

#include <cstdint>
#include <ostream>
#include <unordered_map>
#include <vector>

#include "util/util_partitions.h"
#include "util/util_protobuf.h"

namespace UTIL {

struct EDGE_KEY {
    uint64_t m_node1 = 0;
    uint64_t m_node2 = 0;
    bool operator==(const EDGE_KEY& other) const {
        return m_node1 == other.m_node1 && m_node2 == other.m_node2;
    }
    bool operator<(const EDGE_KEY& other) const {
        return m_node1 != other.m_node1 ? m_node1 < other.m_node1 : m_node2 < other.m_node2;
    }
};

struct EDGE_KEY_HASH {
    size_t operator()(const EDGE_KEY& key) const {
        return std::hash<uint64_t>()(key.m_node1 << 32 | key.m_node2);
    }
};

class IEDGEMAP {
  public:
    class IEDGEINFO {
      public:
        virtual ~IEDGEINFO() = default;
        virtual uint16_t get_mux_type() const = 0;
        virtual uint16_t get_mux_input() const = 0;
    };

    virtual ~IEDGEMAP() = default;
    virtual const IHIERARCHY::IPARTITIONS* get_partitions() const = 0;
    // 0 for the top level, PARTITION_INDEX_INVALID when the edge has no place; the out values
    // are written only for a partition above 0.
    virtual uint16_t get_edge_partition(EDGE_KEY& subedge, uint16_t& occurence,
                                        const EDGE_KEY& edge) const = 0;
    virtual const IEDGEINFO* find_edge(const EDGE_KEY& edge) const = 0;
    virtual const IEDGEINFO* find_subedge(uint16_t partition_index,
                                          const EDGE_KEY& subedge) const = 0;
};

class EDGEINFO : public IEDGEMAP::IEDGEINFO {
  public:
    EDGEINFO(uint16_t mux_type, uint16_t mux_input)
        : m_mux_type(mux_type), m_mux_input(mux_input) {}
    uint16_t get_mux_type() const override { return m_mux_type; }
    uint16_t get_mux_input() const override { return m_mux_input; }

  private:
    uint16_t m_mux_type;
    uint16_t m_mux_input;
};

// An entry of a partition's map: the type says it is keyed by local nodes.
class SUBEDGEINFO : public EDGEINFO {
    using EDGEINFO::EDGEINFO;
};

class IEDGEMAP_BUILDER : public IEDGEMAP, public ISERIALIZABLE {
  public:
    struct INFO {
        uint16_t m_mux_type;
        uint16_t m_mux_input;
    };

    using ISERIALIZABLE::read;
    virtual void begin_adds() = 0;
    // Closes one map for adds and opens it for searches; 0 is the top-level map.
    virtual void end_adds(uint16_t partition_index) = 0;
    // The new entry, or null when the key was there (its first info stays).
    virtual const IEDGEINFO* add_subedge(uint16_t partition_index, const EDGE_KEY& subedge,
                                         INFO info) = 0;
    virtual const IEDGEINFO* add_edge(const EDGE_KEY& edge, INFO info) = 0;
    virtual bool read_stream(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format) = 0;
};

class EDGEMAP : public IEDGEMAP_BUILDER {
  public:
    explicit EDGEMAP(const IHIERARCHY::IPARTITIONS* partitions);

    const IHIERARCHY::IPARTITIONS* get_partitions() const override { return m_partitions; }
    uint16_t get_edge_partition(EDGE_KEY& subedge, uint16_t& occurence,
                                const EDGE_KEY& edge) const override;
    const IEDGEINFO* find_edge(const EDGE_KEY& edge) const override;
    const IEDGEINFO* find_subedge(uint16_t partition_index, const EDGE_KEY& subedge) const override;

    void begin_adds() override {}
    void end_adds(uint16_t partition_index) override;
    const IEDGEINFO* add_subedge(uint16_t partition_index, const EDGE_KEY& subedge,
                                 INFO info) override;
    const IEDGEINFO* add_edge(const EDGE_KEY& edge, INFO info) override;
    bool read_stream(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format) override;

    bool read(std::istream& input, uint32_t format) override;
    bool read(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format) override {
        return read_stream(input, format);
    }
    bool write(std::ostream& output, uint32_t format) override;

    struct SUBEDGE_MAP {
        bool m_subedge_map_add_ok = true;
        std::unordered_map<EDGE_KEY, SUBEDGEINFO, EDGE_KEY_HASH> m_subedge_map;
    };
    const std::unordered_map<EDGE_KEY, EDGEINFO, EDGE_KEY_HASH>& get_edge_map() const {
        return m_edge_map;
    }
    const std::vector<SUBEDGE_MAP>& get_subedge_maps() const { return m_subedge_maps; }

  private:
    const IHIERARCHY::IPARTITIONS* m_partitions;
    std::vector<SUBEDGE_MAP> m_subedge_maps;
    bool m_edge_map_add_ok = true;
    std::unordered_map<EDGE_KEY, EDGEINFO, EDGE_KEY_HASH> m_edge_map;
};

std::ostream& operator<<(std::ostream& os, const IEDGEMAP& edgemap);

}  // namespace UTIL
