// FAB_POSITION: positions of placed netlist instances (from the flat records of the instance
// tree) and of block-level instances (from their ICDB instance records). It owns none of the
// tree and readers it is given; its current record is what the last set chose.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>

#include "fab_iposition.h"
#include "icdb_iinstance_tree.h"
#include "nlg_iannss.h"

namespace PB {
class ICDB_FLAT_INSTANCE;
class ICDB_INSTANCE;
}  // namespace PB

class FAB_POSITION : public FAB_IPOSITION {
  public:
    FAB_POSITION(ICDB::IINSTANCE_TREE* instance_tree, NLG_ICDB_ANNS* rtl_anns,
                 NLG_ICDB_ANNS* blc_anns);

    void set(NLG_IINSTANCE* instance, uint64_t node) override;
    bool get_location(int32_t& x, int32_t& y, int32_t& z) override;
    bool get_block_position(int32_t& x, int32_t& y, int32_t& z) override;
    bool get_block_position_2(int32_t& x, int32_t& y, int32_t& z) override {
        return get_block_position(x, y, z);
    }
    bool get_physical_position(float& x, float& y) override;
    bool get_physical_position_2(float& x, float& y) override {
        return get_physical_position(x, y);
    }
    bool is_valid() override { return m_flat != nullptr; }
    bool get_spare_row() override;
    void get_uid(std::string& uid) override;
    bool write_name(std::ostream& os, NS_SYMBOL::SYM base_name) override;

    // Diagnosis: the label, the current node and its path in the hierarchy, a line each.
    void dump(const char* label, std::ostream& os);

  private:
    ICDB::IINSTANCE_TREE* m_instance_tree;
    // Held as given; positions are taken from the block side only.
    [[maybe_unused]] NLG_ICDB_ANNS* m_rtl_anns;
    NLG_ICDB_ANNS* m_blc_anns;
    const PB::ICDB_FLAT_INSTANCE* m_flat = nullptr;
    uint64_t m_node = UINT64_MAX;
    const PB::ICDB_INSTANCE* m_blc_instance = nullptr;
};

// The caller owns the result.
FAB_IPOSITION* fab_create_position(ICDB::IINSTANCE_TREE* instance_tree, NLG_ICDB_ANNS* rtl_anns,
                                   NLG_ICDB_ANNS* blc_anns);
