// The node map: hierarchy node to GID and back. Forward, a hash map from node to GID; reverse,
// per grid cell a hash map from the GID's 34-bit key to the resource's (cached, driver) nodes.
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
    // One resource: the node its GID was made under, and the node that finally drives it.
    using CNODE = std::pair<uint64_t, uint64_t>;
    using KEY_TO_CNODE_INDEX = HASH64_MAP<uint32_t>;
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
    size_t get_n_forward() const { return m_node_to_gid.size(); }
    // Bytes of the tables, for sizing.
    size_t heap_bytes() const;

    friend std::ostream& operator<<(std::ostream& os, const INODEMAP& nodemap);

  private:
    // Takes the dimensions; all three must be unset. The cells are made by the caller.
    void set_grid(uint32_t nx, uint32_t ny, uint32_t nz);
    // Position of a cell; coordinates out of the grid throw the vector subscript error.
    size_t cell_index(uint32_t x, uint32_t y, uint32_t z) const;
    // Decodes a GID with the converter and gives the position of its cell.
    size_t cell_index_of(uint64_t gid) const;
    void print(std::ostream& os) const;

    const IHIERARCHY* m_hierarchy = nullptr;
    IGID_BUILDER* m_gid_builder = nullptr;
    std::unique_ptr<IGID_CONVERTER> m_gid_converter;
    uint32_t m_nx = static_cast<uint32_t>(-1);
    uint32_t m_ny = static_cast<uint32_t>(-1);
    uint32_t m_nz = static_cast<uint32_t>(-1);
    std::vector<CNODE> m_cnodes;
    NODE_TO_GID m_node_to_gid;
    // Cells in x, y, z order (z fastest), one flat vector so a lookup is one index.
    std::vector<KEY_TO_CNODE_INDEX> m_xyz_to_cnode_index;
    bool m_seal = false;
};

std::ostream& operator<<(std::ostream& os, const INODEMAP& nodemap);

}  // namespace UTIL
