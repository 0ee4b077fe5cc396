// GID types: the kind of a routing resource (class, name, length), the interning table that
// gives each kind its index, its framed file form and its text form ("H5", "CLOCK_SPINE_RE").
// The bit layouts of GIDs and the grid they index are in util/util_gid.
#pragma once

#include <cstdint>
#include <istream>
#include <ostream>
#include <unordered_map>
#include <utility>
#include <vector>

#include "gid.pb.h"
#include "ns_symbol.h"
#include "util/util_protobuf.h"

namespace google::protobuf::io {
class ZeroCopyInputStream;
class ZeroCopyOutputStream;
}  // namespace google::protobuf::io

namespace UTIL {

using NS_SYMBOL::SYM;
class SYMBOL_FILE;

class IGID_TYPE {
  public:
    static constexpr uint32_t LENGTH_INVALID = 4294967295u;

    virtual ~IGID_TYPE() = default;
    virtual PB::GID_TYPE::GCLASS get_gclass() const = 0;
    virtual SYM get_name() const = 0;
    virtual int32_t get_length() const = 0;
    virtual bool operator==(const IGID_TYPE& other) const = 0;
    virtual bool operator!=(const IGID_TYPE& other) const = 0;
};

// The message is the storage, so a type is written as it is held; its name holds a whole
// internal symbol while in memory.
class GID_TYPE : public IGID_TYPE {
  public:
    GID_TYPE();
    GID_TYPE(PB::GID_TYPE::GCLASS gclass, SYM name, int32_t length);

    PB::GID_TYPE::GCLASS get_gclass() const override { return m_message.gclass(); }
    SYM get_name() const override { return SYM(m_message.name().value()); }
    int32_t get_length() const override { return m_message.length(); }
    bool operator==(const IGID_TYPE& other) const override;
    bool operator!=(const IGID_TYPE& other) const override { return !(*this == other); }

    void set(PB::GID_TYPE::GCLASS gclass, SYM name, int32_t length);
    const PB::GID_TYPE& get_message() const { return m_message; }

  private:
    PB::GID_TYPE m_message;
};

class IGID_TYPES {
  public:
    virtual ~IGID_TYPES() = default;
    virtual uint32_t get_n_gid_types() const = 0;
    virtual const IGID_TYPE& get_gid_type(uint32_t index) const = 0;
};

class GID_TYPE_BUILDER : public ISERIALIZABLE, public IGID_TYPES {
  public:
    // Global lengths -1..63 each have a map at length + 1.
    static constexpr size_t N_LENGTH_MAPS = 65;
    static constexpr size_t N_GCLASS_MAPS = 5;

    // The symbol file of the text reader; the last builder given a file decides.
    static SYMBOL_FILE* s_current_symbol_file;

    GID_TYPE_BUILDER();

    void set_symbol_file(SYMBOL_FILE* file);
    void add_global_types(const std::vector<std::pair<SYM, int32_t>>& types);
    uint32_t add_gid_type(PB::GID_TYPE::GCLASS gclass, SYM name, int32_t length);
    // The index of the type, or -1.
    uint32_t find_gid_type(PB::GID_TYPE::GCLASS gclass, SYM name, int32_t length) const;
    const GID_TYPE& get_gid_type_at(uint32_t index) const;
    const GID_TYPE& find_gid_type_object(PB::GID_TYPE::GCLASS gclass, SYM name,
                                         int32_t length) const;

    uint32_t get_n_gid_types() const override { return static_cast<uint32_t>(m_gid_types.size()); }
    const IGID_TYPE& get_gid_type(uint32_t index) const override { return get_gid_type_at(index); }

    bool read_stream(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format);
    bool write_stream(google::protobuf::io::ZeroCopyOutputStream* output, uint32_t format);

    using ISERIALIZABLE::read;
    bool read(std::istream& input, uint32_t format) override;
    bool read(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format) override;
    bool write(std::ostream& output, uint32_t format) override;

    friend std::ostream& operator<<(std::ostream& os, const GID_TYPE_BUILDER& builder);

  private:
    using INDEX_MAP = std::unordered_map<uint32_t, uint32_t>;
    // The map of a (class, length) pair; a position out of range throws.
    const INDEX_MAP& map_of(PB::GID_TYPE::GCLASS gclass, int32_t length) const;
    INDEX_MAP& map_of(PB::GID_TYPE::GCLASS gclass, int32_t length);

    SYMBOL_FILE* m_symbol_file = nullptr;
    std::vector<INDEX_MAP> m_types_by_length;
    std::vector<INDEX_MAP> m_types_by_gclass;
    std::vector<GID_TYPE> m_gid_types;
};

std::ostream& operator<<(std::ostream& os, const GID_TYPE& type);
std::istream& operator>>(std::istream& is, GID_TYPE& type);
std::ostream& operator<<(std::ostream& os, const GID_TYPE_BUILDER& builder);

// The text form of a type given by its fields, as operator<<(GID_TYPE) writes it.
void print_gid_type(std::ostream& os, PB::GID_TYPE::GCLASS gclass, SYM name, int32_t length);
// Parses one word of the text form; the names come from s_current_symbol_file.
void parse_gid_type(const std::string& word, PB::GID_TYPE::GCLASS& gclass, SYM& name,
                    int32_t& length);

}  // namespace UTIL

namespace PB {
// The enumeration's name; beside the enumeration so that it is found wherever it is printed.
std::ostream& operator<<(std::ostream& os, GID_TYPE::GCLASS gclass);
}  // namespace PB
