// Flat hash tables of unsigned 64-bit keys (open addressing, linear probing), where a look-up
// touches one array instead of a chain of separately allocated nodes:
//  - UTIL::HASH64_MAP keeps key and value in its slots;
//  - UTIL::EC_INDEX keeps only a 32-bit position into the caller's array, which holds the
//    keys, for tables of tens of millions of entries kept beside their records.
// Iteration order is unspecified; callers that print or write sort first.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>
#include <vector>

#include "util/util_huge_pages.h"

namespace UTIL {

template <class V>
class HASH64_MAP {
  public:
    // The key that marks an empty slot; an entry with this key lives beside the slots.
    static constexpr uint64_t EMPTY = ~static_cast<uint64_t>(0);
    static constexpr size_t MIN_SLOTS = 8;

    size_t size() const { return m_size; }
    bool empty() const { return m_size == 0; }
    size_t bucket_count() const { return m_slots.size(); }
    float max_load_factor() const { return MAX_LOAD; }

    // Makes room for `buckets` slots at the maximum load factor, as unordered_map::rehash.
    void rehash(size_t buckets) {
        if (buckets <= m_slots.size()) return;
        size_t slots = MIN_SLOTS;
        while (slots < buckets) slots *= 2;
        resize(slots);
    }
    void reserve(size_t entries) { rehash(static_cast<size_t>(entries / MAX_LOAD) + 1); }

    // Inserts when the key is new. Result: the stored value and whether it was inserted.
    std::pair<V*, bool> emplace(uint64_t key, V value) {
        if (key == EMPTY) {
            if (m_has_empty_key) return {&m_empty_key_value, false};
            m_has_empty_key = true;
            m_empty_key_value = value;
            ++m_size;
            return {&m_empty_key_value, true};
        }
        if (static_cast<double>(m_size + 1) > static_cast<double>(m_slots.size()) * MAX_LOAD) {
            resize(m_slots.empty() ? MIN_SLOTS : 2 * m_slots.size());
        }
        size_t i = home(key);
        while (m_slots[i].m_key != EMPTY) {
            if (m_slots[i].m_key == key) return {&m_slots[i].m_value, false};
            i = (i + 1) & m_mask;
        }
        m_slots[i].m_key = key;
        m_slots[i].m_value = value;
        ++m_size;
        return {&m_slots[i].m_value, true};
    }

    const V* find(uint64_t key) const {
        if (key == EMPTY) return m_has_empty_key ? &m_empty_key_value : nullptr;
        if (m_slots.empty()) return nullptr;
        for (size_t i = home(key);; i = (i + 1) & m_mask) {
            const SLOT& slot = m_slots[i];
            if (slot.m_key == key) return &slot.m_value;
            if (slot.m_key == EMPTY) return nullptr;
        }
    }

    V* find(uint64_t key) {
        return const_cast<V*>(static_cast<const HASH64_MAP&>(*this).find(key));
    }

    // Removes the key; later entries of its probe run move back, so no tombstones are left.
    bool erase(uint64_t key) {
        if (key == EMPTY) {
            if (!m_has_empty_key) return false;
            m_has_empty_key = false;
            --m_size;
            return true;
        }
        if (m_slots.empty()) return false;
        size_t hole = home(key);
        while (m_slots[hole].m_key != key) {
            if (m_slots[hole].m_key == EMPTY) return false;
            hole = (hole + 1) & m_mask;
        }
        for (size_t i = (hole + 1) & m_mask; m_slots[i].m_key != EMPTY; i = (i + 1) & m_mask) {
            // An entry may fill the hole when the hole lies on its way from its home to i.
            size_t h = home(m_slots[i].m_key);
            if (((i - h) & m_mask) >= ((i - hole) & m_mask)) {
                m_slots[hole] = m_slots[i];
                hole = i;
            }
        }
        m_slots[hole].m_key = EMPTY;
        --m_size;
        return true;
    }

    // Calls f(key, value) for every entry, in slot order.
    template <class F>
    void for_each(F&& f) const {
        for (const SLOT& slot : m_slots) {
            if (slot.m_key != EMPTY) f(slot.m_key, slot.m_value);
        }
        if (m_has_empty_key) f(EMPTY, m_empty_key_value);
    }

    // Bytes held beside the object itself.
    size_t heap_bytes() const { return m_slots.capacity() * sizeof(SLOT); }

  private:
    static constexpr double MAX_LOAD = 0.75;

    struct WIDE_SLOT {
        uint64_t m_key = EMPTY;
        V m_value{};
    };
#pragma pack(push, 4)
    // Twelve bytes for a 32-bit value: the key is then only 4-aligned, which the compiler
    // knows from the packing; the value keeps its own alignment.
    struct PACKED_SLOT {
        uint64_t m_key = EMPTY;
        V m_value{};
    };
#pragma pack(pop)
    using SLOT = typename std::conditional<alignof(V) <= 4, PACKED_SLOT, WIDE_SLOT>::type;

    // Fibonacci hashing: the high bits of the product spread runs of near keys (node numbers,
    // and keys that differ in a high field only) over the whole table.
    size_t home(uint64_t key) const {
        return static_cast<size_t>((key * 0x9E3779B97F4A7C15ULL) >> m_shift);
    }

    void resize(size_t slots) {
        HUGE_PAGE_VECTOR<SLOT> old;
        old.swap(m_slots);
        m_slots.assign(slots, SLOT());
        m_mask = slots - 1;
        m_shift = 64;
        for (size_t s = slots; s > 1; s /= 2) --m_shift;
        for (const SLOT& slot : old) {
            if (slot.m_key == EMPTY) continue;
            size_t i = home(slot.m_key);
            while (m_slots[i].m_key != EMPTY) i = (i + 1) & m_mask;
            m_slots[i] = slot;
        }
    }

    HUGE_PAGE_VECTOR<SLOT> m_slots;
    size_t m_size = 0;
    size_t m_mask = 0;
    unsigned m_shift = 64;
    bool m_has_empty_key = false;
    V m_empty_key_value{};
};

// Hash map from a 64-bit key to a 32-bit position in a caller's array that holds the keys
// (open addressing, linear probing). A slot holds the position and, in the bits that the
// positions leave free, a tag of the key's hash, so that a probe rarely reads the caller's
// array in vain. The map costs about five bytes a key; the key is read back from the array.
class EC_INDEX {
  public:
    static constexpr uint32_t ABSENT = 0xFFFFFFFFu;

    // Empties the map and sizes it for `n` keys with positions below `position_bound`.
    void reset(size_t n, size_t position_bound);
    void reset(size_t n) { reset(n, n); }
    // Position stored under `key`, or ABSENT. `key_at(position)` gives the key of a position.
    template <class KEY_AT>
    uint32_t find(uint64_t key, const KEY_AT& key_at) const {
        const size_t n = m_slots.size();
        if (n == 0) return ABSENT;
        const uint64_t h = hash(key);
        const uint64_t tag = tag_of(h);
        for (size_t s = slot_of(h);; s = (s + 1 == n) ? 0 : s + 1) {
            const uint32_t v = m_slots[s];
            if (v == EMPTY) return ABSENT;
            const uint32_t position = static_cast<uint32_t>(v & m_position_mask);
            if ((static_cast<uint64_t>(v) >> m_position_bits) == tag && key_at(position) == key)
                return position;
        }
    }
    // Stores `position` under `key`, which must not be in the map yet; grows past 3/4 load.
    template <class KEY_AT>
    void insert(uint64_t key, uint32_t position, const KEY_AT& key_at) {
        if ((m_size + 1) * 4 > m_slots.size() * 3 || position >= m_position_bound) {
            HUGE_PAGE_VECTOR<uint32_t> old;
            old.swap(m_slots);
            const uint64_t old_mask = m_position_mask;
            const size_t n = 2 * (m_size + 1);
            reset(n, std::max({m_position_bound, static_cast<size_t>(position) + 1, n}));
            for (uint32_t v : old) {
                if (v == EMPTY) continue;
                const uint32_t p = static_cast<uint32_t>(v & old_mask);
                place(key_at(p), p);
            }
        }
        place(key, position);
    }
    // Calls f(position) for every entry, in slot order.
    template <class F>
    void for_each_position(F&& f) const {
        for (uint32_t v : m_slots) {
            if (v != EMPTY) f(static_cast<uint32_t>(v & m_position_mask));
        }
    }
    size_t size() const { return m_size; }
    size_t memory_bytes() const { return m_slots.capacity() * sizeof(uint32_t); }

  private:
    static constexpr uint32_t EMPTY = 0xFFFFFFFFu;
    static uint64_t hash(uint64_t key) { return key * 0x9E3779B97F4A7C15ull; }
    // The slot comes from the high bits of the hash, the tag from middle bits.
    size_t slot_of(uint64_t h) const {
        return static_cast<size_t>((static_cast<unsigned __int128>(h) * m_slots.size()) >> 64);
    }
    uint64_t tag_of(uint64_t h) const { return (h >> 16) & m_tag_mask; }
    void place(uint64_t key, uint32_t position);

    HUGE_PAGE_VECTOR<uint32_t> m_slots;
    size_t m_size = 0;
    size_t m_position_bound = 0;
    uint32_t m_position_bits = 32;
    uint64_t m_position_mask = 0xFFFFFFFFu;
    uint64_t m_tag_mask = 0;
};

inline void EC_INDEX::reset(size_t n, size_t position_bound) {
    // At most three keys in four slots keeps linear probing short.
    const size_t capacity = std::max<size_t>(n + n / 3 + 1, 4);
    HUGE_PAGE_VECTOR<uint32_t>(capacity, EMPTY).swap(m_slots);
    m_size = 0;
    m_position_bound = position_bound;
    // Positions take the low bits, with one value to spare so that no entry is all ones.
    m_position_bits = 1;
    while (m_position_bits < 32 && (uint64_t(1) << m_position_bits) - 1 <= position_bound)
        ++m_position_bits;
    m_position_mask = (uint64_t(1) << m_position_bits) - 1;
    m_tag_mask = (uint64_t(1) << (32 - m_position_bits)) - 1;
}

inline void EC_INDEX::place(uint64_t key, uint32_t position) {
    const size_t n = m_slots.size();
    const uint64_t h = hash(key);
    size_t s = slot_of(h);
    while (m_slots[s] != EMPTY) s = (s + 1 == n) ? 0 : s + 1;
    m_slots[s] = static_cast<uint32_t>((tag_of(h) << m_position_bits) | position);
    ++m_size;
}

}  // namespace UTIL
