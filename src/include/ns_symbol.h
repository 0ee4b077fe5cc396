// NS_SYMBOL::SYM, the exported 32-bit interned name (table id in the high 8 bits, name id in
// the low 24), and the abstract table it resolves through. The tables themselves and the
// registry live in util/util_symbol; file and print forms in util/util_symbol_file.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>

#include "fab_export.h"

namespace NS_SYMBOL {

class FAB_EXPORT SYM {
  public:
    SYM() : m_value(0) {}
    explicit SYM(unsigned value) : m_value(value) {}

    uint32_t get_value() const { return m_value; }
    unsigned get_table_id() const { return m_value >> 24; }
    unsigned get_name_id() const { return m_value & 0xFFFFFFu; }
    // Name id 0 is the unknown name of every table.
    bool is_known() const { return (m_value & 0xFFFFFFu) != 0; }
    bool is_unknown() const { return (m_value & 0xFFFFFFu) == 0; }

    // Slow lookup: a linear scan of the table. Works without init_name_fast().
    std::string get_name() const;
    std::string str() const { return get_name(); }
    // Fast lookup through the table's id-to-name array; needs init_name_fast() on the table.
    const std::string& get_name_fast() const;
    const std::string& str_fast() const { return get_name_fast(); }

    bool operator==(SYM other) const { return m_value == other.m_value; }
    bool operator!=(SYM other) const { return m_value != other.m_value; }
    bool operator<(SYM other) const { return m_value < other.m_value; }

  private:
    uint32_t m_value;
};

class FAB_EXPORT SYM_TABLE {
  public:
    virtual ~SYM_TABLE();
    virtual SYM symbol_at(uint32_t index) const = 0;
    virtual SYM find(const std::string& name) const = 0;
};

FAB_EXPORT std::ostream& operator<<(std::ostream& os, SYM symbol);
FAB_EXPORT std::ostream& operator<<(std::ostream& os, const SYM_TABLE& table);

}  // namespace NS_SYMBOL

// Deletes every symbol table; no SYM resolves afterwards. The caller's last step.
FAB_EXPORT void util_clear_symbol_tables();

namespace std {
template <>
struct hash<NS_SYMBOL::SYM> {
    size_t operator()(NS_SYMBOL::SYM s) const noexcept {
        return std::hash<uint32_t>()(s.get_value());
    }
};
}  // namespace std
