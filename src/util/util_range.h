// UTIL::IRANGE: maps a 32-bit value to the one segment of a sorted, disjoint set that holds it,
// and gives that segment's payload. Bad segment lists are reported in an error record, not by
// the fatal assertion, since they may come from a file. What the payload means is the user's.
#pragma once

#include <cstdint>
#include <ostream>
#include <vector>

#include "util/util_error.h"

namespace UTIL {

struct SEGMENT {
    uint32_t m_start = 0;  // inclusive
    uint32_t m_end = 0;    // inclusive
    uint32_t m_payload = 0;
};

std::ostream& operator<<(std::ostream& os, const SEGMENT& segment);

class IRANGE {
  public:
    // The value lies outside [0, max value].
    static constexpr uint32_t SEGMENT_INDEX_INVALID = 0xFFFFFFFFu;
    // The value lies inside the range but in no segment.
    static constexpr uint32_t SEGMENT_INDEX_UNDEFINED = SEGMENT_INDEX_INVALID - 1;

    virtual ~IRANGE() = default;
    // Replaces everything; false (with the error record filled) leaves the range empty.
    virtual bool set_segments(uint32_t max_value, const std::vector<SEGMENT>& segments) = 0;
    virtual const IERROR::ERROR& get_error() const = 0;
    virtual uint32_t get_max_value() const = 0;
    virtual uint32_t get_n_segments() const = 0;
    // Indexes refer to the sorted order; a bad index throws the vector subscript error.
    virtual const SEGMENT& get_segment(uint32_t index) const = 0;
    // Segment index holding `value` (payload stored), or one of the two reserved results
    // (payload untouched).
    virtual uint32_t find(uint32_t value, uint32_t& payload) const = 0;
};

std::ostream& operator<<(std::ostream& os, const IRANGE& range);

class RANGE : public IRANGE {
  public:
    bool set_segments(uint32_t max_value, const std::vector<SEGMENT>& segments) override;
    const IERROR::ERROR& get_error() const override { return m_error; }
    uint32_t get_max_value() const override { return m_max_value; }
    uint32_t get_n_segments() const override { return static_cast<uint32_t>(m_segments.size()); }
    const SEGMENT& get_segment(uint32_t index) const override;
    uint32_t find(uint32_t value, uint32_t& payload) const override;

  private:
    bool fail(const std::string& message);

    uint32_t m_max_value = 0;
    std::vector<SEGMENT> m_segments;  // sorted by m_start after a successful build
    IERROR::ERROR m_error;
};

// Makes a RANGE on the heap; the caller owns it.
IRANGE* create_range();

}  // namespace UTIL
