// Segment tables: validation texts, the two reserved results, sorted indexes, print forms.
#include <gtest/gtest.h>

#include <memory>
#include <random>

#include "print_form.h"
#include "util/util_range.h"

using UTIL::IRANGE;
using UTIL::RANGE;
using UTIL::SEGMENT;

namespace {

// What find gives for each value: "index/payload", or U (undefined) and I (invalid), which
// must leave the payload alone.
std::string finds(const IRANGE& range, const std::vector<uint32_t>& values) {
    std::string out;
    for (uint32_t v : values) {
        uint32_t payload = 7;
        const uint32_t i = range.find(v, payload);
        out += out.empty() ? "" : " ";
        if (i == IRANGE::SEGMENT_INDEX_UNDEFINED || i == IRANGE::SEGMENT_INDEX_INVALID) {
            out += i == IRANGE::SEGMENT_INDEX_INVALID ? "I" : "U";
            if (payload != 7) out += "!";
        } else {
            out += std::to_string(i) + "/" + std::to_string(payload);
        }
    }
    return out;
}

}  // namespace

TEST(Range, FindOverSegmentsWithInclusiveBounds) {
    EXPECT_EQ(IRANGE::SEGMENT_INDEX_INVALID, 0xFFFFFFFFu);
    EXPECT_EQ(IRANGE::SEGMENT_INDEX_UNDEFINED, 0xFFFFFFFEu);
    const uint32_t MAX = 0xFFFFFFFFu;
    struct CASE {
        uint32_t max;
        std::vector<SEGMENT> segments;
        std::vector<uint32_t> values;
        const char* expected;
    };
    const std::vector<CASE> cases = {
        // Given out of order; the indexes are of the sorted segments.
        {10,
         {{9, 9, 90}, {2, 4, 20}, {5, 7, 50}},
         {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, MAX},
         "U U 0/20 0/20 0/20 1/50 1/50 1/50 U 2/90 U I I"},
        // The maximum itself is inside, and a segment may end on it and hold one value.
        {MAX - 1,
         {{0, 4, 1}, {5, 9, 2}, {MAX - 1, MAX - 1, 3}},
         {4, 5, MAX - 2, MAX - 1, MAX},
         "0/1 1/2 U 2/3 I"},
        {MAX, {{0, MAX, 8}}, {0, MAX}, "0/8 0/8"},
        {3, {}, {0, 1, 2, 3, 4}, "U U U U I"},
    };
    for (const CASE& c : cases) {
        RANGE range;
        ASSERT_TRUE(range.set_segments(c.max, c.segments));
        EXPECT_TRUE(range.get_error().m_ok);
        EXPECT_EQ(finds(range, c.values), c.expected) << c.max;
        EXPECT_EQ(range.get_n_segments(), c.segments.size());
        EXPECT_THROW(range.get_segment(static_cast<uint32_t>(c.segments.size())),
                     std::out_of_range);
    }
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
    EXPECT_EQ(finds(range, {0, 1}), "U I");
    // Touching but disjoint is fine, and a second build replaces the failure.
    EXPECT_TRUE(range.set_segments(10, {{5, 9, 1}, {0, 4, 0}}));
    EXPECT_TRUE(range.get_error().m_ok);
    EXPECT_EQ(range.get_error().m_message, "");
    EXPECT_EQ(range.get_max_value(), 10u);
    EXPECT_EQ(finds(range, {5}), "1/1");
}

TEST(Range, PrintForms) {
    std::unique_ptr<IRANGE> range(UTIL::create_range());
    ASSERT_TRUE(range->set_segments(9, {{4, 6, 2}, {0, 1, 3}}));
    EXPECT_EQ(text_of(*range),
              "RANGE {\n"
              "   m_max_value = 9\n"
              "   [0] = SEGMENT { m_start = 0 m_end = 1 m_payload = 3 }\n"
              "   [1] = SEGMENT { m_start = 4 m_end = 6 m_payload = 2 }\n"
              "}");
    ASSERT_FALSE(range->set_segments(9, {{4, 16, 2}}));
    EXPECT_EQ(text_of(*range),
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
