// BLC_DATA: the block-level data of a device (PB::BLC_DATA, read from protobuf text), indexed by
// BLC module name, with each entry's ports in name order and its placements by instance name.
// It owns its message; it knows no graph. The annotation generator reads it.
#pragma once

#include <istream>
#include <map>
#include <string>
#include <unordered_map>

#include "blc_data.pb.h"
#include "util/util_error.h"

class BLC_DATA : public UTIL::IERROR {
  public:
    struct ENTRY {
        const PB::BLC_DATA::ENTRY* m_pb = nullptr;
        std::map<std::string, const PB::BLC_DATA::PORT*> m_ports;
        std::unordered_map<std::string, const PB::BLC_DATA::PLACEMENT*> m_placements;
    };

    BLC_DATA() = default;
    BLC_DATA(const BLC_DATA&) = delete;
    BLC_DATA& operator=(const BLC_DATA&) = delete;

    // The whole stream as protobuf text. False on a malformed text or a repeated module, port
    // or instance name, with the reason (and the parser's line and column) in the error record.
    bool read(std::istream& input);
    // Takes a message built in memory, with the same checks.
    bool set_pb(const PB::BLC_DATA& message);

    const PB::BLC_DATA& get_pb() const { return m_pb; }
    // Null for a module without an entry.
    const ENTRY* find(const std::string& module) const;
    const std::map<std::string, ENTRY>& get_entries() const { return m_entries; }
    ERROR& get_error() override { return m_error; }

  private:
    bool index();
    bool fail(const std::string& message);

    PB::BLC_DATA m_pb;
    std::map<std::string, ENTRY> m_entries;
    ERROR m_error;
};
