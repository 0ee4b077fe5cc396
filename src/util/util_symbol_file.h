// The file side of symbols: PB_WALK, the reflection walker that rewrites every PB.SYMBOL inside
// a message; UTIL::SYMBOL_FILE, the symbol section at the head of a file of several messages,
// mapping the file's bare name ids to whole in-memory symbols; the print forms of symbols,
// tables, the registry and symbol files. Table interning itself is in util/util_symbol.
#pragma once

#include <ostream>
#include <vector>

#include "util/util_protobuf.h"
#include "util/util_symbol.h"

namespace UTIL {

// Visits every PB.SYMBOL of a message, depth first, parent before children, fields in
// ListFields order. Unset sub-messages are never created.
class PB_WALK {
  public:
    virtual ~PB_WALK() = default;
    virtual void visit_symbol(google::protobuf::Message* message) = 0;
    void walk(google::protobuf::Message* message);
};

class SYMBOL_FILE : public ISERIALIZABLE {
  public:
    ~SYMBOL_FILE() override = default;

    using ISERIALIZABLE::read;
    bool read(std::istream& input, uint32_t format) override;
    bool read(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format) override;
    bool write(std::ostream& output, uint32_t format) override;

    // For a writer: symbols of messages come from this table, which is not added to.
    void set_internal_const(const SYMBOL_TABLE* table);
    // For a reader: names of the file are interned into this table.
    void set_internal(SYMBOL_TABLE* table);
    const SYMBOL_TABLE* get_internal_const() const { return m_internal_const; }
    // The table a reader interns into; null for a writer.
    SYMBOL_TABLE* get_internal() const { return m_internal; }

    // Reader: file name ids in the message become whole internal symbols.
    void message_external_to_internal(google::protobuf::Message* message);
    // Writer: internal symbols become name ids of the file's own table, which grows with use.
    void message_internal_to_external(google::protobuf::Message* message);

    const std::vector<SYM>& get_external_to_internal() const { return m_external_to_internal; }

    friend std::ostream& operator<<(std::ostream& os, const SYMBOL_FILE& file);

  private:
    int32_t m_internal_id = -1;
    std::vector<SYM> m_external_to_internal;
    SYMBOL_TABLE* m_external = nullptr;
    const SYMBOL_TABLE* m_internal_const = nullptr;
    SYMBOL_TABLE* m_internal = nullptr;
};

std::ostream& operator<<(std::ostream& os, const SYMBOL_FILE& file);

}  // namespace UTIL
