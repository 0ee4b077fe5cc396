// Segment tables: validation texts, the two reserved results, sorted indexes, print forms.
#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <sstream>

#include "util/util_indent.h"
#include "util/util_range.h"

using UTIL::IRANGE;
using UTIL::RANGE;
using UTIL::SEGMENT;

namespace {

std::string print(const IRANGE& range) {
    std::ostringstream os;
    os << range;
    return os.str();
}

}  // namespace

TEST(Range, FindOverUnsortedSegments) {
    // [2,4]->20, [9,9]->90, [5,7]->50 given out of order over 0..10.
    RANGE range;
    ASSERT_TRUE(range.set_segments(10, {{9, 9, 90}, {2, 4, 20}, {5, 7, 50}}));
    EXPECT_TRUE(range.get_error().m_ok);
    ASSERT_EQ(range.get_n_segments(), 3u);
    EXPECT_EQ(range.get_segment(0).m_payload, 20u);
    EXPECT_EQ(range.get_segment(1).m_payload, 50u);
    EXPECT_EQ(range.get_segment(2).m_payload, 90u);
    const uint32_t U = IRANGE::SEGMENT_INDEX_UNDEFINED;
    const uint32_t expect_index[] = {U, U, 0, 0, 0, 1, 1, 1, U, 2, U};
    const uint32_t expect_payload[] = {7, 7, 20, 20, 20, 50, 50, 50, 7, 90, 7};
    for (uint32_t v = 0; v <= 10; ++v) {
        uint32_t payload = 7;
        EXPECT_EQ(range.find(v, payload), expect_index[v]) << v;
        EXPECT_EQ(payload, expect_payload[v]) << v;
    }
    uint32_t payload = 7;
    EXPECT_EQ(range.find(11, payload), IRANGE::SEGMENT_INDEX_INVALID);
    EXPECT_EQ(range.find(0xFFFFFFFFu, payload), IRANGE::SEGMENT_INDEX_INVALID);
    EXPECT_EQ(payload, 7u);
    EXPECT_EQ(IRANGE::SEGMENT_INDEX_INVALID, 0xFFFFFFFFu);
    EXPECT_EQ(IRANGE::SEGMENT_INDEX_UNDEFINED, 0xFFFFFFFEu);
    EXPECT_THROW(range.get_segment(3), std::out_of_range);
}

TEST(Range, BoundsAreInclusive) {
    // The maximum itself is inside, and a segment may end on it and hold one value.
    RANGE range;
    ASSERT_TRUE(
        range.set_segments(0xFFFFFFFEu, {{0, 4, 1}, {5, 9, 2}, {0xFFFFFFFEu, 0xFFFFFFFEu, 3}}));
    uint32_t payload = 0;
    EXPECT_EQ(range.find(4, payload), 0u);
    EXPECT_EQ(range.find(5, payload), 1u);
    EXPECT_EQ(range.find(0xFFFFFFFEu, payload), 2u);
    EXPECT_EQ(payload, 3u);
    EXPECT_EQ(range.find(0xFFFFFFFDu, payload), IRANGE::SEGMENT_INDEX_UNDEFINED);
    EXPECT_EQ(range.find(0xFFFFFFFFu, payload), IRANGE::SEGMENT_INDEX_INVALID);
    // The full 32-bit range with one segment.
    ASSERT_TRUE(range.set_segments(0xFFFFFFFFu, {{0, 0xFFFFFFFFu, 8}}));
    EXPECT_EQ(range.find(0xFFFFFFFFu, payload), 0u);
}

TEST(Range, EmptyListSucceeds) {
    RANGE range;
    ASSERT_TRUE(range.set_segments(3, {}));
    uint32_t payload = 5;
    for (uint32_t v = 0; v <= 3; ++v)
        EXPECT_EQ(range.find(v, payload), IRANGE::SEGMENT_INDEX_UNDEFINED);
    EXPECT_EQ(range.find(4, payload), IRANGE::SEGMENT_INDEX_INVALID);
    EXPECT_EQ(payload, 5u);
}

TEST(Range, BadSegmentsFillTheErrorRecord) {
    RANGE range;
    // End below start; the first ill-defined one in the given order is named.
    EXPECT_FALSE(range.set_segments(10, {{0, 1, 0}, {5, 4, 1}, {3, 11, 2}}));
    EXPECT_FALSE(range.get_error().m_ok);
    EXPECT_EQ(range.get_error().m_message,
              "Ill-defined segment: SEGMENT { m_start = 5 m_end = 4 m_payload = 1 }");
    // End above the maximum.
    EXPECT_FALSE(range.set_segments(10, {{3, 11, 2}}));
    EXPECT_EQ(range.get_error().m_message,
              "Ill-defined segment: SEGMENT { m_start = 3 m_end = 11 m_payload = 2 }");
    // A shared bound overlaps; named in sorted order.
    EXPECT_FALSE(range.set_segments(10, {{5, 9, 1}, {0, 5, 0}}));
    EXPECT_EQ(range.get_error().m_message,
              "Overlapping segments SEGMENT { m_start = 0 m_end = 5 m_payload = 0 }, "
              "SEGMENT { m_start = 5 m_end = 9 m_payload = 1 }");
    // Equal starts overlap; stable sort keeps the given order of the two.
    EXPECT_FALSE(range.set_segments(10, {{2, 2, 7}, {2, 3, 6}}));
    EXPECT_EQ(range.get_error().m_message,
              "Overlapping segments SEGMENT { m_start = 2 m_end = 2 m_payload = 7 }, "
              "SEGMENT { m_start = 2 m_end = 3 m_payload = 6 }");
    // A failed build leaves an empty range with maximum 0.
    EXPECT_EQ(range.get_max_value(), 0u);
    EXPECT_EQ(range.get_n_segments(), 0u);
    uint32_t payload = 1;
    EXPECT_EQ(range.find(0, payload), IRANGE::SEGMENT_INDEX_UNDEFINED);
    EXPECT_EQ(range.find(1, payload), IRANGE::SEGMENT_INDEX_INVALID);
    // Touching but disjoint is fine, and a second build replaces the failure.
    EXPECT_TRUE(range.set_segments(10, {{5, 9, 1}, {0, 4, 0}}));
    EXPECT_TRUE(range.get_error().m_ok);
    EXPECT_EQ(range.get_error().m_message, "");
    EXPECT_EQ(range.get_max_value(), 10u);
    EXPECT_EQ(range.find(5, payload), 1u);
}

TEST(Range, PrintForms) {
    std::unique_ptr<IRANGE> range(UTIL::create_range());
    ASSERT_TRUE(range->set_segments(9, {{4, 6, 2}, {0, 1, 3}}));
    EXPECT_EQ(print(*range),
              "RANGE {\n"
              "   m_max_value = 9\n"
              "   [0] = SEGMENT { m_start = 0 m_end = 1 m_payload = 3 }\n"
              "   [1] = SEGMENT { m_start = 4 m_end = 6 m_payload = 2 }\n"
              "}");
    ASSERT_FALSE(range->set_segments(9, {{4, 16, 2}}));
    EXPECT_EQ(print(*range),
              "RANGE {\n"
              "   m_error.m_ok = false\n"
              "   m_error.m_message = Ill-defined segment: SEGMENT { m_start = 4 m_end = 16 "
              "m_payload = 2 }\n"
              "   m_max_value = 0\n"
              "}");
}

TEST(Range, RandomAgainstLinearScan) {
    // Random disjoint segments over 0..999, checked value by value against a plain scan.
    std::mt19937 rng(42);
    for (int round = 0; round < 50; ++round) {
        std::vector<SEGMENT> segments;
        for (uint32_t v = 0; v < 1000;) {
            uint32_t gap = rng() % 5, len = rng() % 7;
            if (v + gap + len >= 1000) break;
            segments.push_back({v + gap, v + gap + len, v});
            v += gap + len + 1;
        }
        std::shuffle(segments.begin(), segments.end(), rng);
        RANGE range;
        ASSERT_TRUE(range.set_segments(999, segments));
        for (uint32_t v = 0; v < 1000; ++v) {
            uint32_t expected = IRANGE::SEGMENT_INDEX_UNDEFINED, payload = 0;
            for (const SEGMENT& s : segments)
                if (s.m_start <= v && v <= s.m_end) expected = s.m_payload;
            uint32_t i = range.find(v, payload);
            if (expected == IRANGE::SEGMENT_INDEX_UNDEFINED) {
                EXPECT_EQ(i, expected);
            } else {
                ASSERT_LT(i, range.get_n_segments());
                EXPECT_EQ(payload, expected);
                EXPECT_EQ(range.get_segment(i).m_payload, expected);
            }
        }
    }
}
