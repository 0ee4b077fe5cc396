// Segment table with validation at build time and a binary search at query time.
//  1. set_segments: reset, copy, reject an ill-defined segment (end below start or above the
//     maximum), stable-sort by start, reject the first overlapping neighbour pair.
//  2. find: above the maximum is INVALID; else the upper bound on m_start, and the segment
//     before it holds the value if the value is not past its end.
#include "util/util_range.h"

#include <algorithm>
#include <sstream>

#include "util/util_assert.h"
#include "util/util_indent.h"

namespace UTIL {

std::ostream& operator<<(std::ostream& os, const SEGMENT& segment) {
    return os << "SEGMENT { m_start = " << segment.m_start << " m_end = " << segment.m_end
              << " m_payload = " << segment.m_payload << " }";
}

std::ostream& operator<<(std::ostream& os, const IRANGE& range) {
    INDENT guard(os, 3);
    os << "RANGE {" << std::endl << indent;
    const IERROR::ERROR& error = range.get_error();
    if (!error.m_ok) {
        os << "m_error.m_ok = false" << std::endl;
        os << "m_error.m_message = " << error.m_message << std::endl;
    }
    os << "m_max_value = " << range.get_max_value() << std::endl;
    for (uint32_t i = 0; i < range.get_n_segments(); ++i) {
        os << "[" << i << "] = " << range.get_segment(i) << std::endl;
    }
    return os << outdent << "}";
}

bool RANGE::fail(const std::string& message) {
    m_max_value = 0;
    m_segments.clear();
    m_error.m_ok = false;
    m_error.m_message = message;
    return false;
}

bool RANGE::set_segments(uint32_t max_value, const std::vector<SEGMENT>& segments) {
    m_segments.clear();
    m_error.m_ok = true;
    m_error.m_message.clear();
    m_max_value = max_value;
    m_segments = segments;
    // m_start needs no test against the maximum: m_start <= m_end <= maximum covers it.
    for (const SEGMENT& s : m_segments) {
        if (s.m_end < s.m_start || s.m_end > max_value) {
            std::ostringstream text;
            text << "Ill-defined segment: " << s;
            return fail(text.str());
        }
    }
    std::stable_sort(m_segments.begin(), m_segments.end(),
                     [](const SEGMENT& a, const SEGMENT& b) { return a.m_start < b.m_start; });
    for (size_t i = 1; i < m_segments.size(); ++i) {
        const SEGMENT& a = m_segments[i - 1];
        const SEGMENT& b = m_segments[i];
        if (a.m_start == b.m_start || a.m_end >= b.m_start) {
            std::ostringstream text;
            text << "Overlapping segments " << a << ", " << b;
            return fail(text.str());
        }
    }
    return true;
}

const SEGMENT& RANGE::get_segment(uint32_t index) const {
    return at(m_segments, index);
}

uint32_t RANGE::find(uint32_t value, uint32_t& payload) const {
    if (value > m_max_value) return SEGMENT_INDEX_INVALID;
    if (m_segments.empty()) return SEGMENT_INDEX_UNDEFINED;
    auto next = std::upper_bound(m_segments.begin(), m_segments.end(), value,
                                 [](uint32_t v, const SEGMENT& s) { return v < s.m_start; });
    if (next == m_segments.begin()) return SEGMENT_INDEX_UNDEFINED;
    const SEGMENT& holder = *(next - 1);
    if (value > holder.m_end) return SEGMENT_INDEX_UNDEFINED;
    payload = holder.m_payload;
    return static_cast<uint32_t>(next - 1 - m_segments.begin());
}

IRANGE* create_range() {
    return new RANGE();
}

}  // namespace UTIL
