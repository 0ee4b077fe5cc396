// UTIL::HASH64_MAP: a hash map from unsigned 64-bit keys to small values, stored flat (open
// addressing, linear probing) so that a look-up touches one array instead of a chain of
// separately allocated nodes. The node map keeps tens of millions of entries in these; a
// node-based map costs several cache misses and ~40 bytes of overhead per entry there.
// Iteration order is unspecified; callers that print or write sort first.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>
#include <vector>

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
        std::vector<SLOT> old;
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

    std::vector<SLOT> m_slots;
    size_t m_size = 0;
    size_t m_mask = 0;
    unsigned m_shift = 64;
    bool m_has_empty_key = false;
    V m_empty_key_value{};
};

}  // namespace UTIL
