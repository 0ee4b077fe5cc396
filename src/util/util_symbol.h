// UTIL::SYMBOL_TABLE, one interning table of names, and SYMBOL_TABLES, the process-wide
// registry that maps a table id to its table. Tables only grow; ids are dense from 0 and
// id 0 is always "<UNKNOWN>". The file side (sections, walkers, print forms) is in
// util/util_symbol_file.
#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "ns_symbol.h"

namespace PB {
class SYMBOL;
class SYMBOL_TABLE;
}  // namespace PB
namespace google::protobuf {
class Message;
}

namespace UTIL {

using NS_SYMBOL::SYM;

class SYMBOL_TABLE : public NS_SYMBOL::SYM_TABLE {
  public:
    explicit SYMBOL_TABLE(uint32_t table_id);
    ~SYMBOL_TABLE() override;

    SYM add(const std::string& name);
    SYM find(const std::string& name) const override;
    SYM symbol_at(uint32_t index) const override;

    const std::string& name_of(SYM symbol) const;
    const std::string& name_of_fast(SYM symbol) const;
    const std::string* name_at_fast(uint32_t name_id) const;
    const std::vector<const std::string*>& init_name_fast();

    uint32_t get_table_id() const { return m_table_id; }
    SYM get_unknown() const { return m_unknown; }
    size_t size() const { return m_map.size(); }
    const std::unordered_map<std::string, uint32_t>& get_map() const { return m_map; }

    // File side of a table, see util_symbol_file.cpp.
    void add_to_message(const std::string& name, PB::SYMBOL* message);
    void add_names(const PB::SYMBOL_TABLE& names, std::vector<SYM>& symbols);
    void write_names(PB::SYMBOL_TABLE* names);
    void convert_message_to_internal(const PB::SYMBOL_TABLE& names,
                                     google::protobuf::Message* message);
    void convert_message_to_external(const SYMBOL_TABLE* internal, PB::SYMBOL_TABLE* names,
                                     google::protobuf::Message* message);

  private:
    void check_fast() const;

    SYM m_unknown;
    uint32_t m_table_id;
    std::unordered_map<std::string, uint32_t> m_map;
    std::vector<const std::string*> m_names_fast;
};

class SYMBOL_TABLES {
  public:
    static constexpr size_t MAX_TABLES = 256;

    SYMBOL_TABLES();
    // Makes and registers a table whose id is the current number of slots.
    SYMBOL_TABLE* new_table();
    // The slot's table, possibly null; an id past the slots is an out-of-range error.
    SYMBOL_TABLE* get_table(uint32_t table_id);
    void clear();

    size_t size() const { return m_tables.size(); }
    const std::vector<SYMBOL_TABLE*>& get_tables() const { return m_tables; }

  private:
    friend class SYMBOL_TABLE;
    SYM m_unknown;
    std::vector<SYMBOL_TABLE*> m_tables;  // owning; index is the table id
};

// The registry, made on first use (with table 0) and kept to the end of the process.
SYMBOL_TABLES& symbol_tables(bool clear = false);

// Text of a symbol through its table's id-to-name array, made or brought up to date on use:
// for code that reads names by the thousands.
const std::string& fast_name(SYM symbol);

std::ostream& operator<<(std::ostream& os, const SYMBOL_TABLES& tables);

}  // namespace UTIL
