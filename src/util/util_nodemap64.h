// The node map: hierarchy node to GID and back. One record per resource holds its cached node,
// its driver node and its GID; two indexes of 32-bit record numbers find a record by driver
// node (forward) and by GID (reverse), reading the key back from the record. The few forward
// keys that no record carries (further drivers of a net) sit in a small map of their own.
// It does not make GIDs (util/util_gid) nor resolve aliases (util/util_aliases).
#pragma once

#include <cstdint>
#include <memory>
#include <ostream>
#include <unordered_map>
#include <utility>
#include <vector>

#include "util/util_aliases.h"
#include "util/util_gid.h"
#include "util/util_hash64.h"
#include "util/util_protobuf.h"

namespace UTIL {

class IHIERARCHY;

class INODEMAP {
  public:
    virtual ~INODEMAP() = default;
    virtual const IHIERARCHY* get_hierarchy() const = 0;
    virtual uint32_t get_nx() const = 0;
    virtual uint32_t get_ny() const = 0;
    virtual uint32_t get_nz() const = 0;
    // The GID of a node, or -1; only once sealed.
    virtual uint64_t get_gid(uint64_t node) const = 0;
    // The driver node of a GID, or -1.
    virtual uint64_t get_driver_node(uint64_t gid) const = 0;
};

class INODEMAP_BUILDER : public INODEMAP, public ISERIALIZABLE {
  public:
    virtual void set_dimensions(uint32_t nx, uint32_t ny, uint32_t nz) = 0;
    virtual void set_gid_builder(IGID_BUILDER* builder) = 0;
    virtual void set_hierarchy(const IHIERARCHY* hierarchy) = 0;
    virtual void add_node(uint64_t gid, uint64_t node) = 0;
    virtual void apply_aliases(const IALIASES& aliases) = 0;
    virtual void seal() = 0;
    virtual bool read_stream(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format) = 0;
};

class NODEMAP64 : public INODEMAP_BUILDER {
  public:
    // One resource: the node its GID was made under, the node that finally drives it, and
    // its GID.
    struct CNODE {
        uint64_t m_cached;
        uint64_t m_driver;
        uint64_t m_gid;
    };
    using NODE_TO_GID = HASH64_MAP<uint64_t>;

    const IHIERARCHY* get_hierarchy() const override { return m_hierarchy; }
    uint32_t get_nx() const override { return m_nx; }
    uint32_t get_ny() const override { return m_ny; }
    uint32_t get_nz() const override { return m_nz; }
    uint64_t get_gid(uint64_t node) const override;
    uint64_t get_driver_node(uint64_t gid) const override;
    // Both nodes of the resource of a GID; false when the GID is not in the table.
    bool get_nodes(uint64_t& cached, uint64_t& driver, uint64_t gid) const;

    void set_dimensions(uint32_t nx, uint32_t ny, uint32_t nz) override;
    void set_gid_builder(IGID_BUILDER* builder) override;
    void set_hierarchy(const IHIERARCHY* hierarchy) override;
    void add_node(uint64_t gid, uint64_t node) override;
    void apply_aliases(const IALIASES& aliases) override;
    void seal() override;
    bool read_stream(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format) override;

    using ISERIALIZABLE::read;
    bool read(std::istream& input, uint32_t format) override;
    bool read(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format) override {
        return read_stream(input, format);
    }
    bool write(std::ostream& output, uint32_t format) override;

    bool is_sealed() const { return m_seal; }
    size_t get_n_cnodes() const { return m_cnodes.size(); }
    size_t get_n_forward() const { return m_by_driver.size() + m_other_drivers.size(); }
    // Bytes of the tables, for sizing.
    size_t heap_bytes() const;

    friend std::ostream& operator<<(std::ostream& os, const INODEMAP& nodemap);

  private:
    // Position of a cell; coordinates out of the grid throw the vector subscript error.
    size_t cell_index(uint32_t x, uint32_t y, uint32_t z) const;
    // Decodes a GID with the converter and gives the position of its cell.
    size_t cell_index_of(uint64_t gid) const;
    // Record of a GID, or EC_INDEX::ABSENT.
    uint32_t find_gid(uint64_t gid) const {
        return m_by_gid.find(gid, [this](uint32_t p) { return m_cnodes[p].m_gid; });
    }
    // Record whose driver is `node` and that answers for it, or EC_INDEX::ABSENT.
    uint32_t find_driver(uint64_t node) const {
        return m_by_driver.find(node, [this](uint32_t p) { return m_cnodes[p].m_driver; });
    }
    // Every forward entry, node to GID.
    NODE_TO_GID forward_map() const;
    // Indexes the records by driver: each forward entry that a record carries goes in the
    // index, the others in m_other_drivers.
    void index_drivers(NODE_TO_GID forward);
    // The records the GID index reaches, as (cell, key, record), sorted.
    struct CELL_KEY {
        uint32_t m_cell;
        uint32_t m_record;
        uint64_t m_key;
    };
    std::vector<CELL_KEY> cell_keys() const;
    void print(std::ostream& os) const;

    const IHIERARCHY* m_hierarchy = nullptr;
    IGID_BUILDER* m_gid_builder = nullptr;
    std::unique_ptr<IGID_CONVERTER> m_gid_converter;
    uint32_t m_nx = static_cast<uint32_t>(-1);
    uint32_t m_ny = static_cast<uint32_t>(-1);
    uint32_t m_nz = static_cast<uint32_t>(-1);
    HUGE_PAGE_VECTOR<CNODE> m_cnodes;
    // Forward: node -> record whose driver it is; a record is here only when the node's GID is
    // the record's. Nodes with a GID but no such record: m_other_drivers.
    EC_INDEX m_by_driver;
    NODE_TO_GID m_other_drivers;
    // Reverse: GID -> its first record. A GID names its cell, so one index serves all cells.
    EC_INDEX m_by_gid;
    bool m_seal = false;
};

std::ostream& operator<<(std::ostream& os, const INODEMAP& nodemap);

}  // namespace UTIL
