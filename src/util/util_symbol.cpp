// Interning of names into SYMBOL_TABLEs, the process-wide registry, and name lookups of SYM.
#include "util/util_symbol.h"

#include "util/util_assert.h"

namespace NS_SYMBOL {

SYM_TABLE::~SYM_TABLE() = default;

static UTIL::SYMBOL_TABLE* table_of(SYM symbol) {
    UTIL::SYMBOL_TABLE* table = UTIL::symbol_tables().get_table(symbol.get_table_id());
    UTIL_ASSERT(table != NULL);
    return table;
}

std::string SYM::get_name() const {
    return table_of(*this)->name_of(*this);
}

const std::string& SYM::get_name_fast() const {
    return table_of(*this)->name_of_fast(*this);
}

}  // namespace NS_SYMBOL

void util_clear_symbol_tables() {
    UTIL::symbol_tables(true);
}

namespace UTIL {

static const char* const UNKNOWN_NAME = "<UNKNOWN>";

SYMBOL_TABLE::SYMBOL_TABLE(uint32_t table_id) : m_unknown(table_id << 24), m_table_id(table_id) {
    m_map.emplace(UNKNOWN_NAME, 0);
}

SYMBOL_TABLE::~SYMBOL_TABLE() {
    // Only clear our own slot: a table outliving a clear must not null a successor's slot.
    auto& slots = symbol_tables().m_tables;
    if (m_table_id < slots.size() && slots[m_table_id] == this) slots[m_table_id] = nullptr;
}

SYM SYMBOL_TABLE::add(const std::string& name) {
    auto inserted = m_map.try_emplace(name, static_cast<uint32_t>(m_map.size()));
    if (inserted.second && !m_names_fast.empty()) m_names_fast.push_back(&inserted.first->first);
    return SYM((m_table_id << 24) | (inserted.first->second & 0xFFFFFFu));
}

SYM SYMBOL_TABLE::find(const std::string& name) const {
    auto it = m_map.find(name);
    if (it == m_map.end()) return m_unknown;
    return SYM((m_table_id << 24) | (it->second & 0xFFFFFFu));
}

SYM SYMBOL_TABLE::symbol_at(uint32_t index) const {
    UTIL_ASSERT(index < m_map.size());
    return SYM((m_table_id << 24) | (index & 0xFFFFFFu));
}

const std::string& SYMBOL_TABLE::name_of(SYM symbol) const {
    UTIL_ASSERT((symbol.get_name_id() == 0) || (symbol.get_table_id() == m_table_id));
    for (const auto& entry : m_map) {
        if (entry.second == symbol.get_name_id()) return entry.first;
    }
    UTIL_FAIL("Unknown symbol: name_id = %u table_id = %u", symbol.get_name_id(),
              symbol.get_table_id());
}

void SYMBOL_TABLE::check_fast() const {
    UTIL_ASSERT_MSG(!m_names_fast.empty(),
                    "Fast symbol lookup is not initialized. Number of symbols initialized: %lu. "
                    "Call init_name_fast() first!",
                    static_cast<unsigned long>(m_names_fast.size()));
}

const std::string& SYMBOL_TABLE::name_of_fast(SYM symbol) const {
    check_fast();
    UTIL_ASSERT(symbol.get_table_id() == m_table_id);
    return *at(m_names_fast, symbol.get_name_id());
}

const std::string* SYMBOL_TABLE::name_at_fast(uint32_t name_id) const {
    check_fast();
    return at(m_names_fast, name_id);
}

const std::vector<const std::string*>& SYMBOL_TABLE::init_name_fast() {
    if (m_names_fast.size() == m_map.size()) return m_names_fast;
    m_names_fast.assign(m_map.size(), nullptr);
    for (const auto& entry : m_map) at(m_names_fast, entry.second) = &entry.first;
    return m_names_fast;
}

const std::string& fast_name(SYM symbol) {
    SYMBOL_TABLE* table = symbol_tables().get_table(symbol.get_table_id());
    UTIL_ASSERT(table != NULL);
    table->init_name_fast();
    return table->name_of_fast(symbol);
}

SYMBOL_TABLES::SYMBOL_TABLES() : m_unknown(0) {}

SYMBOL_TABLE* SYMBOL_TABLES::new_table() {
    size_t i = m_tables.size();
    m_tables.push_back(new SYMBOL_TABLE(static_cast<uint32_t>(i)));
    UTIL_ASSERT(i < MAX_TABLES);
    return m_tables.back();
}

SYMBOL_TABLE* SYMBOL_TABLES::get_table(uint32_t table_id) {
    UTIL_ASSERT(table_id < MAX_TABLES);
    return at(m_tables, table_id);
}

void SYMBOL_TABLES::clear() {
    for (size_t i = 0; i < m_tables.size(); ++i) delete m_tables[i];
    m_tables.clear();
}

SYMBOL_TABLES& symbol_tables(bool clear) {
    // Never destroyed: symbols may be resolved until the very end of the process.
    static SYMBOL_TABLES* s_tables = [] {
        auto* tables = new SYMBOL_TABLES();
        tables->new_table();
        return tables;
    }();
    if (clear) s_tables->clear();
    return *s_tables;
}

}  // namespace UTIL
