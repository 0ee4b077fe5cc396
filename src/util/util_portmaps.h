// Port maps: for a named request (an entry of SPECIFICATIONS), which ports of a parent module (a top-level block)
// reach each child subnode of interest (a mux port inside it). Holds the stored message, its
// indexes and the one request the system builds; the maps themselves are computed by the
// port map visitor. The hierarchy and the symbol file are not owned.
#pragma once

#include <cstdint>
#include <ostream>
#include <unordered_map>
#include <vector>

#include "portmaps.pb.h"
#include "util/util_hierarchy.h"
#include "util/util_protobuf.h"

namespace UTIL {

class SYMBOL_FILE;
class ITLBLOCKS;
class IMUX_DESCRIPTIONS;

class IPORTMAP {
  public:
    virtual ~IPORTMAP() = default;
    virtual const PB::PORTMAPS::PORTMAP* get_pb() const = 0;
    // Ports of the parent module on a child subnode, or null.
    virtual const PB::PORTMAPS::PORTMAP::PORTS* get_ports(uint32_t parent_module_index,
                                                          uint64_t child_subnode) const = 0;
};

class IPORTMAPS {
  public:
    virtual ~IPORTMAPS() = default;
    virtual const IHIERARCHY* get_hierarchy() const = 0;
    virtual void set_specifications(const PB::PORTMAPS::SPECIFICATIONS& specifications) = 0;
    // The message's default instance while none is set.
    virtual const PB::PORTMAPS::SPECIFICATIONS& get_specifications() const = 0;
    // Index of the request of that name, or -1.
    virtual int32_t find_specification(SYM name) const = 0;
    // A bad index throws the subscript error.
    virtual const IPORTMAP& get_portmap(int32_t index) const = 0;
};

class IPORTMAPS_BUILDER : public IPORTMAPS, public ISERIALIZABLE {
  public:
    using ISERIALIZABLE::read;
    virtual bool read_stream(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format) = 0;
    virtual void set_hierarchy(const IHIERARCHY* hierarchy) = 0;
    virtual void set_symbol_file(SYMBOL_FILE* symbol_file) = 0;
    // Exactly one map per request, in request order.
    virtual void add_portmaps(const std::vector<PB::PORTMAPS::PORTMAP>& portmaps) = 0;
};

class PORTMAP_BUILDER : public IPORTMAP {
  public:
    const PB::PORTMAPS::PORTMAP* get_pb() const override { return m_portmap; }
    const PB::PORTMAPS::PORTMAP::PORTS* get_ports(uint32_t parent_module_index,
                                                  uint64_t child_subnode) const override;
    // Indexes a map that lives as long as this builder; repeated keys keep the first.
    void set_portmap(const PB::PORTMAPS::PORTMAP* portmap);

  private:
    const PB::PORTMAPS::PORTMAP* m_portmap = nullptr;
    std::unordered_map<uint32_t, std::unordered_map<uint64_t, const PB::PORTMAPS::PORTMAP::PORTS*>>
        m_module_to_ports;
};

class PORTMAPS_BUILDER : public IPORTMAPS_BUILDER {
  public:
    PORTMAPS_BUILDER() = default;
    // The map builders point into m_portmaps.
    PORTMAPS_BUILDER(const PORTMAPS_BUILDER&) = delete;
    PORTMAPS_BUILDER& operator=(const PORTMAPS_BUILDER&) = delete;

    const IHIERARCHY* get_hierarchy() const override { return m_hierarchy; }
    void set_specifications(const PB::PORTMAPS::SPECIFICATIONS& specifications) override;
    const PB::PORTMAPS::SPECIFICATIONS& get_specifications() const override {
        return m_portmaps.specifications();
    }
    int32_t find_specification(SYM name) const override;
    const IPORTMAP& get_portmap(int32_t index) const override;

    bool read_stream(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format) override;
    void set_hierarchy(const IHIERARCHY* hierarchy) override { m_hierarchy = hierarchy; }
    void set_symbol_file(SYMBOL_FILE* symbol_file) override { m_symbol_file = symbol_file; }
    void add_portmaps(const std::vector<PB::PORTMAPS::PORTMAP>& portmaps) override;

    bool read(std::istream& input, uint32_t format) override;
    bool read(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format) override {
        return read_stream(input, format);
    }
    bool write(std::ostream& output, uint32_t format) override;

    const PB::PORTMAPS& get_pb() const { return m_portmaps; }

  private:
    void index_specifications();
    void link_portmaps();

    int32_t m_invalid_index = -1;
    const IHIERARCHY* m_hierarchy = nullptr;
    SYMBOL_FILE* m_symbol_file = nullptr;
    PB::PORTMAPS m_portmaps;
    std::vector<PORTMAP_BUILDER> m_portmap_builders;
    std::unordered_map<uint32_t, int32_t> m_name_to_index;
};

// The request "mux_ports_to_top_level_ip_ports": every block module that has muxes as a
// parent, and the non-hipi ports of every mux module as children. `tlblocks` must be finished.
void mux_ports_to_top_level_ip_ports(const ITLBLOCKS& tlblocks,
                                     const IMUX_DESCRIPTIONS& mux_descriptions,
                                     PB::PORTMAPS::SPECIFICATIONS& specifications);

std::ostream& operator<<(std::ostream& os, const IPORTMAPS& portmaps);

}  // namespace UTIL
