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

namespace {

// The high and low halves of a 128-bit product folded together: one multiplication mixes
// every bit of both words into the result.
inline uint64_t fold_multiply(uint64_t a, uint64_t b) {
    const unsigned __int128 product = static_cast<unsigned __int128>(a) * b;
    return static_cast<uint64_t>(product) ^ static_cast<uint64_t>(product >> 64);
}

constexpr uint64_t MIX0 = 0xA0761D6478BD642Full;
constexpr uint64_t MIX1 = 0xE7037ED1A0B428DBull;
constexpr uint64_t MIX2 = 0x8EBC6AF09C88C6E3ull;

inline uint64_t word_at(const char* bytes) {
    uint64_t word;
    std::char_traits<char>::copy(reinterpret_cast<char*>(&word), bytes, sizeof(word));
    return word;
}

inline uint64_t half_at(const char* bytes) {
    uint32_t half;
    std::char_traits<char>::copy(reinterpret_cast<char*>(&half), bytes, sizeof(half));
    return half;
}

// The first `n` (at most 8) bytes at `bytes` as a little-endian word, zero padded, read
// without touching a byte past them. Loads only: a word built through a stored buffer would
// have to wait for the store to leave the core, which waits on the previous look-up's miss.
inline uint64_t head_word(const char* bytes, size_t n) {
    if (n >= 8) return word_at(bytes);
    if (n >= 4) return half_at(bytes) | (half_at(bytes + n - 4) << (8 * (n - 4)));
    if (n == 0) return 0;
    const auto byte = [bytes](size_t i) { return uint64_t{static_cast<unsigned char>(bytes[i])}; };
    return byte(0) | (byte(n / 2) << (8 * (n / 2))) | (byte(n - 1) << (8 * (n - 1)));
}

}  // namespace

NAME_INDEX::KEY::KEY(std::string_view name) : m_name(name) {
    const size_t n = name.size();
    const char* p = name.data();
    uint64_t h;
    if (n <= SLOT::SHORT) {
        // The words are the slot's bytes for the name: its characters padded with zeros and
        // its length in the last byte; they also give the hash.
        m_words[0] = head_word(p, n);
        m_words[1] = n > 8 ? head_word(p + 8, n - 8) : 0;
        m_words[2] = (n > 16 ? head_word(p + 16, n - 16) : 0) | (uint64_t{n} << 56);
        h = fold_multiply(fold_multiply(m_words[0] ^ MIX0, m_words[1] ^ MIX1) ^ m_words[2], MIX2);
    } else {
        m_words[0] = m_words[1] = m_words[2] = 0;
        // Sixteen bytes a step, the last step over the final sixteen (they may overlap the
        // previous step's); the length goes in first.
        h = n ^ MIX0;
        for (size_t done = 0; done + 16 < n; done += 16, p += 16)
            h = fold_multiply(word_at(p) ^ MIX1 ^ h, word_at(p + 8) ^ MIX2);
        const char* last = name.data() + n - 16;
        h = fold_multiply(word_at(last) ^ MIX1 ^ h, word_at(last + 8) ^ MIX2);
        h = fold_multiply(h, MIX0);
    }
    m_hash = static_cast<uint32_t>(h ^ (h >> 32));
}

void NAME_INDEX::insert(std::string_view stored, const KEY& key, uint32_t id) {
    // At most three names in four slots.
    if ((m_size + 1) * 4 > m_slots.size() * 3) grow();
    size_t i = home(key.m_hash);
    while (m_slots[i].m_id != ABSENT) i = (i + 1) & m_mask;
    SLOT& slot = m_slots[i];
    slot.set(stored);
    slot.m_hash = key.m_hash;
    slot.m_id = id;
    ++m_size;
}

void NAME_INDEX::SLOT::set(std::string_view name) {
    if (name.size() <= SHORT) {
        std::char_traits<char>::copy(m_bytes, name.data(), name.size());
        m_bytes[SHORT] = static_cast<char>(name.size());
        return;
    }
    // Names are far below 4 GB: a frame of the files they come from is smaller.
    m_bytes[SHORT] = static_cast<char>(LONG);
    const uint32_t length = static_cast<uint32_t>(name.size());
    const char* data = name.data();
    std::char_traits<char>::copy(m_bytes, reinterpret_cast<const char*>(&length), sizeof(length));
    std::char_traits<char>::copy(m_bytes + sizeof(length), reinterpret_cast<const char*>(&data),
                                 sizeof(data));
}

bool NAME_INDEX::SLOT::holds_long(std::string_view name) const {
    if (static_cast<uint8_t>(m_bytes[SHORT]) != LONG) return false;
    uint32_t length;
    const char* data;
    std::char_traits<char>::copy(reinterpret_cast<char*>(&length), m_bytes, sizeof(length));
    std::char_traits<char>::copy(reinterpret_cast<char*>(&data), m_bytes + sizeof(length),
                                 sizeof(data));
    return length == name.size() &&
           std::char_traits<char>::compare(data, name.data(), name.size()) == 0;
}

void NAME_INDEX::grow() {
    HUGE_PAGE_VECTOR<SLOT> old;
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
    const NAME_INDEX::KEY key(name);
    uint32_t id = m_index.find(key);
    if (id != NAME_INDEX::ABSENT) return make_symbol(id);
    id = static_cast<uint32_t>(m_names.size());
    const std::string& stored = m_names.emplace_back(name);
    m_index.insert(stored, key, id);
    if (!m_names_fast.empty()) m_names_fast.push_back(&stored);
    return make_symbol(id);
}

SYM SYMBOL_TABLE::find(const std::string& name) const {
    const uint32_t id = m_index.find(NAME_INDEX::KEY(name));
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
