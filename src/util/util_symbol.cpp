// Interning of names into SYMBOL_TABLEs, the process-wide registry, and name lookups of SYM.
#include "util/util_symbol.h"

#include <absl/hash/hash.h>

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

uint32_t NAME_INDEX::hash(std::string_view name) {
    const uint64_t h = absl::Hash<std::string_view>()(name);
    return static_cast<uint32_t>(h ^ (h >> 32));
}

void NAME_INDEX::insert(std::string_view stored, uint32_t h, uint32_t id) {
    // At most three names in four slots.
    if ((m_size + 1) * 4 > m_slots.size() * 3) grow();
    size_t i = home(h);
    while (m_slots[i].m_id != ABSENT) i = (i + 1) & m_mask;
    SLOT& slot = m_slots[i];
    slot.set(stored);
    slot.m_hash = h;
    slot.m_id = id;
    ++m_size;
}

void NAME_INDEX::SLOT::set(std::string_view name) {
    if (name.size() <= SHORT) {
        m_length = static_cast<uint8_t>(name.size());
        std::char_traits<char>::copy(m_chars, name.data(), name.size());
        return;
    }
    // Names are far below 4 GB: a frame of the files they come from is smaller.
    m_length = LONG;
    const uint32_t length = static_cast<uint32_t>(name.size());
    const char* data = name.data();
    std::char_traits<char>::copy(m_chars, reinterpret_cast<const char*>(&length), sizeof(length));
    std::char_traits<char>::copy(m_chars + sizeof(length), reinterpret_cast<const char*>(&data),
                                 sizeof(data));
}

void NAME_INDEX::grow() {
    std::vector<SLOT> old;
    old.swap(m_slots);
    const size_t slots = old.empty() ? 16 : 2 * old.size();
    m_slots.assign(slots, SLOT());
    m_mask = slots - 1;
    m_shift = 64;
    for (size_t s = slots; s > 1; s /= 2) --m_shift;
    for (const SLOT& slot : old) {
        if (slot.m_id == ABSENT) continue;
        size_t i = home(slot.m_hash);
        while (m_slots[i].m_id != ABSENT) i = (i + 1) & m_mask;
        m_slots[i] = slot;
    }
}

SYMBOL_TABLE::SYMBOL_TABLE(uint32_t table_id) : m_unknown(table_id << 24), m_table_id(table_id) {
    add(UNKNOWN_NAME);
}

SYMBOL_TABLE::~SYMBOL_TABLE() {
    // Only clear our own slot: a table outliving a clear must not null a successor's slot.
    auto& slots = symbol_tables().m_tables;
    if (m_table_id < slots.size() && slots[m_table_id] == this) slots[m_table_id] = nullptr;
}

SYM SYMBOL_TABLE::add(const std::string& name) {
    const uint32_t h = NAME_INDEX::hash(name);
    uint32_t id = m_index.find(name, h);
    if (id != NAME_INDEX::ABSENT) return make_symbol(id);
    id = static_cast<uint32_t>(m_names.size());
    const std::string& stored = m_names.emplace_back(name);
    m_index.insert(stored, h, id);
    if (!m_names_fast.empty()) m_names_fast.push_back(&stored);
    return make_symbol(id);
}

SYM SYMBOL_TABLE::find(const std::string& name) const {
    const uint32_t id = m_index.find(name, NAME_INDEX::hash(name));
    return id == NAME_INDEX::ABSENT ? m_unknown : make_symbol(id);
}

SYM SYMBOL_TABLE::symbol_at(uint32_t index) const {
    UTIL_ASSERT_MSG(index < m_names.size(), "index < m_map.size()");
    return make_symbol(index);
}

const std::string& SYMBOL_TABLE::name_of(SYM symbol) const {
    UTIL_ASSERT((symbol.get_name_id() == 0) || (symbol.get_table_id() == m_table_id));
    if (symbol.get_name_id() < m_names.size()) return m_names[symbol.get_name_id()];
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
    if (m_names_fast.size() == m_names.size()) return m_names_fast;
    m_names_fast.resize(m_names.size());
    for (size_t id = 0; id < m_names.size(); ++id) m_names_fast[id] = &m_names[id];
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
