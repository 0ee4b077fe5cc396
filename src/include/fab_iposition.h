// FAB_IPOSITION, the single place that tells where an instance stands: a placed netlist
// instance by its flat record, an instance inside a block by its block-level offsets. The
// implementation and its factory live in fab/fab_position.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>

#include "ns_symbol.h"

class NLG_IINSTANCE;

// A grid place: column x, row y, layer z; -1 where unknown.
struct FAB_LOCATION {
    int32_t x;
    int32_t y;
    int32_t z;
};

class FAB_IPOSITION {
  public:
    virtual ~FAB_IPOSITION() = default;
    // Chooses what the other operations read: node -1 (all bits set) means an instance inside
    // a block, any other node a place of the netlist hierarchy.
    virtual void set(NLG_IINSTANCE* instance, uint64_t node) = 0;
    // Offsets of the current block-level instance; false, and nothing written, when unset.
    virtual bool get_location(int32_t& x, int32_t& y, int32_t& z) = 0;
    // Grid position of the current place: the block's column and row, or the offsets inside a
    // block.
    virtual bool get_block_position(int32_t& x, int32_t& y, int32_t& z) = 0;
    virtual bool get_block_position_2(int32_t& x, int32_t& y, int32_t& z) = 0;
    virtual bool get_physical_position(float& x, float& y) = 0;
    virtual bool get_physical_position_2(float& x, float& y) = 0;
    // A flat record is current.
    virtual bool is_valid() = 0;
    virtual bool get_spare_row() = 0;
    virtual void get_uid(std::string& uid) = 0;
    // The placement's unique name, else the base name with its grid place; false when the
    // place has neither.
    virtual bool write_name(std::ostream& os, NS_SYMBOL::SYM base_name) = 0;
};
