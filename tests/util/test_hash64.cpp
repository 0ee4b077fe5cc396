// The flat 64-bit hash map against std::unordered_map: random inserts, look-ups and erases
// (erase moves entries back along their probe runs), the empty-slot key, sizing.
#include <gtest/gtest.h>

#include <random>
#include <unordered_map>

#include "util/util_hash64.h"

using UTIL::HASH64_MAP;

TEST(Hash64Map, AgreesWithUnorderedMapUnderRandomOperations) {
    // Keys from a small range collide often; shifted keys share their low bits.
    for (int shift : {0, 17, 34}) {
        std::mt19937_64 rng(99 + shift);
        HASH64_MAP<uint32_t> map;
        std::unordered_map<uint64_t, uint32_t> reference;
        for (int step = 0; step < 60000; ++step) {
            uint64_t key = (rng() % 3000) << shift;
            switch (rng() % 4) {
                case 0:
                case 1: {
                    auto a = map.emplace(key, static_cast<uint32_t>(step));
                    auto b = reference.emplace(key, static_cast<uint32_t>(step));
                    ASSERT_EQ(a.second, b.second);
                    ASSERT_EQ(*a.first, b.first->second);
                    break;
                }
                case 2:
                    ASSERT_EQ(map.erase(key), reference.erase(key) == 1);
                    break;
                default: {
                    const uint32_t* found = map.find(key);
                    auto it = reference.find(key);
                    ASSERT_EQ(found != nullptr, it != reference.end());
                    if (found != nullptr) {
                        ASSERT_EQ(*found, it->second);
                    }
                }
            }
            ASSERT_EQ(map.size(), reference.size());
        }
        size_t seen = 0;
        map.for_each([&](uint64_t key, uint32_t value) {
            ++seen;
            EXPECT_EQ(reference.at(key), value);
        });
        EXPECT_EQ(seen, reference.size());
        EXPECT_LE(static_cast<double>(map.size()), 0.75 * static_cast<double>(map.bucket_count()));
    }
}

TEST(Hash64Map, EmptySlotKeyAndSizing) {
    HASH64_MAP<uint64_t> map;
    EXPECT_EQ(map.find(5), nullptr);
    EXPECT_FALSE(map.erase(5));
    const uint64_t all_ones = ~uint64_t(0);
    EXPECT_TRUE(map.emplace(all_ones, 7).second);
    EXPECT_FALSE(map.emplace(all_ones, 8).second);
    EXPECT_EQ(*map.find(all_ones), 7u);
    EXPECT_EQ(map.size(), 1u);
    size_t visited = 0;
    map.for_each([&](uint64_t key, uint64_t value) {
        ++visited;
        EXPECT_EQ(key, all_ones);
        EXPECT_EQ(value, 7u);
    });
    EXPECT_EQ(visited, 1u);
    EXPECT_TRUE(map.erase(all_ones));
    EXPECT_EQ(map.find(all_ones), nullptr);
    EXPECT_TRUE(map.empty());

    // Sized for n entries, n inserts do not grow the table.
    HASH64_MAP<uint32_t> sized;
    sized.rehash(static_cast<size_t>(1000 / sized.max_load_factor() + 0.5));
    size_t slots = sized.bucket_count();
    for (uint32_t k = 0; k < 1000; ++k) sized.emplace(k * 131072u, k);
    EXPECT_EQ(sized.bucket_count(), slots);
    for (uint32_t k = 0; k < 1000; ++k) EXPECT_EQ(*sized.find(k * 131072u), k);
}
