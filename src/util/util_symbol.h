// UTIL::SYMBOL_TABLE, one interning table of names, and SYMBOL_TABLES, the process-wide
// registry that maps a table id to its table. Tables only grow; ids are dense from 0 and
// id 0 is always "<UNKNOWN>". The file side (sections, walkers, print forms) is in
// util/util_symbol_file.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
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

// Name to id over names stored elsewhere that never move. A flat array of 32-byte slots (open
// addressing, linear probing), each holding 32 bits of the name's hash, its id and the name
// itself when it is short, or its length and address: a look-up of a short name reads one run
// of slots and nothing else, and growing moves slots without reading any name again.
class NAME_INDEX {
  public:
    static constexpr uint32_t ABSENT = 0xFFFFFFFFu;

    static uint32_t hash(std::string_view name);
    // Id of `name`, whose hash is `h`, or ABSENT.
    uint32_t find(std::string_view name, uint32_t h) const {
        if (m_slots.empty()) return ABSENT;
        for (size_t i = home(h);; i = (i + 1) & m_mask) {
            const SLOT& slot = m_slots[i];
            if (slot.m_id == ABSENT) return ABSENT;
            if (slot.m_hash == h && slot.holds(name)) return slot.m_id;
        }
    }
    // Adds a name that is not in the index yet; its characters must stay where they are.
    void insert(std::string_view stored, uint32_t h, uint32_t id);
    size_t size() const { return m_size; }

  private:
    struct SLOT {
        static constexpr size_t SHORT = 23;  // longest name kept in the slot
        static constexpr uint8_t LONG = 0xFF;

        uint32_t m_hash = 0;
        uint32_t m_id = ABSENT;  // ABSENT: the slot is empty
        uint8_t m_length = 0;    // length of a short name, or LONG
        // A short name's characters; else the length (32 bits) and address of the name.
        char m_chars[SHORT] = {};

        void set(std::string_view name);
        bool holds(std::string_view name) const {
            if (name.size() <= SHORT) {
                return m_length == name.size() &&
                       std::char_traits<char>::compare(m_chars, name.data(), name.size()) == 0;
            }
            if (m_length != LONG) return false;
            uint32_t length;
            const char* data;
            std::char_traits<char>::copy(reinterpret_cast<char*>(&length), m_chars, sizeof(length));
            std::char_traits<char>::copy(reinterpret_cast<char*>(&data), m_chars + sizeof(length),
                                         sizeof(data));
            return length == name.size() &&
                   std::char_traits<char>::compare(data, name.data(), name.size()) == 0;
        }
    };
    static_assert(sizeof(SLOT) == 32, "two slots a cache line");

    // The slot a hash starts at: the high bits of its product with a large odd number.
    size_t home(uint32_t h) const {
        return static_cast<size_t>((h * 0x9E3779B97F4A7C15ull) >> m_shift);
    }
    void grow();

    std::vector<SLOT> m_slots;
    size_t m_size = 0;
    size_t m_mask = 0;
    unsigned m_shift = 64;
};

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
    size_t size() const { return m_names.size(); }
    // Every name, in id order; the strings never move.
    const std::deque<std::string>& get_names() const { return m_names; }

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

    SYM make_symbol(uint32_t id) const { return SYM((m_table_id << 24) | (id & 0xFFFFFFu)); }

    SYM m_unknown;
    uint32_t m_table_id;
    // The names by id, and the index from name to id over them.
    std::deque<std::string> m_names;
    NAME_INDEX m_index;
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
