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
#include "util/util_huge_pages.h"

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

    // A name made ready for look-ups: its hash and, when short, the slot's bytes for it, so
    // that a probe compares three words and calls nothing.
    class KEY {
      public:
        explicit KEY(std::string_view name);
        uint32_t hash() const { return m_hash; }

      private:
        friend class NAME_INDEX;
        uint64_t m_words[3];
        std::string_view m_name;
        uint32_t m_hash;
    };

    // Id of the key's name, or ABSENT.
    uint32_t find(const KEY& key) const {
        if (m_slots.empty()) return ABSENT;
        for (size_t i = home(key.m_hash);; i = (i + 1) & m_mask) {
            const SLOT& slot = m_slots[i];
            if (slot.m_id == ABSENT) return ABSENT;
            if (slot.m_hash == key.m_hash && slot.holds(key)) return slot.m_id;
        }
    }
    // Adds a name that is not in the index yet; `stored` holds the key's name in characters
    // that must stay where they are.
    void insert(std::string_view stored, const KEY& key, uint32_t id);
    size_t size() const { return m_size; }

  private:
    struct SLOT {
        static constexpr size_t SHORT = 23;  // longest name kept in the slot
        static constexpr uint8_t LONG = 0xFF;

        uint32_t m_hash = 0;
        uint32_t m_id = ABSENT;  // ABSENT: the slot is empty
        // A short name's characters, zero padded, with its length in the last byte; or the
        // length (32 bits) and address of a long name, with LONG in the last byte.
        char m_bytes[SHORT + 1] = {};

        void set(std::string_view name);
        bool holds(const KEY& key) const {
            if (key.m_name.size() <= SHORT) {
                return ((word(0) ^ key.m_words[0]) | (word(1) ^ key.m_words[1]) |
                        (word(2) ^ key.m_words[2])) == 0;
            }
            return holds_long(key.m_name);
        }
        bool holds_long(std::string_view name) const;
        uint64_t word(size_t i) const {
            uint64_t w;
            std::char_traits<char>::copy(reinterpret_cast<char*>(&w), m_bytes + 8 * i, 8);
            return w;
        }
    };
    static_assert(sizeof(SLOT) == 32, "two slots a cache line");

    // The slot a hash starts at: the high bits of its product with a large odd number.
    size_t home(uint32_t h) const {
        return static_cast<size_t>((h * 0x9E3779B97F4A7C15ull) >> m_shift);
    }
    void grow();

    HUGE_PAGE_VECTOR<SLOT> m_slots;
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
