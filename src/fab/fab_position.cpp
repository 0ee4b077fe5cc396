// Positions of the two views: a netlist place reads the flat record of its hierarchy node, a
// place inside a block (node -1) reads the block-level instance record with its pnr offsets.
#include "fab/fab_position.h"

#include <iostream>
#include <memory>

#include "ann_icdb.pb.h"
#include "util/util_assert.h"
#include "util/util_symbol.h"

namespace {
constexpr uint64_t BLC_NODE = UTIL::IHIERARCHY::INVALID_NODE;
}

FAB_POSITION::FAB_POSITION(ICDB::IINSTANCE_TREE* instance_tree, NLG_ICDB_ANNS* rtl_anns,
                           NLG_ICDB_ANNS* blc_anns)
    : m_instance_tree(instance_tree), m_rtl_anns(rtl_anns), m_blc_anns(blc_anns) {}

void FAB_POSITION::set(NLG_IINSTANCE* instance, uint64_t node) {
    m_node = node;
    if (node == BLC_NODE) {
        m_blc_instance = &m_blc_anns->get_instance(*instance);
        m_flat = nullptr;
    } else {
        m_blc_instance = nullptr;
        m_flat = m_instance_tree->get_flat_instance(node);
    }
}

bool FAB_POSITION::get_location(int32_t& x, int32_t& y, int32_t& z) {
    UTIL_ASSERT(m_blc_instance);
    const PB::ICDB::INSTANCE& r = *m_blc_instance;
    if (r.pnr_x() == -1 || r.pnr_y() == -1 || r.pnr_z() == -1) return false;
    x = r.pnr_x();
    y = r.pnr_y();
    z = r.pnr_z();
    return true;
}

bool FAB_POSITION::get_block_position(int32_t& x, int32_t& y, int32_t& z) {
    if (m_node == BLC_NODE) return get_location(x, y, z);
    if (!m_flat) return false;
    x = m_flat->bposition().col();
    y = m_flat->bposition().row();
    z = 0;
    return true;
}

bool FAB_POSITION::get_physical_position(float& x, float& y) {
    if (!m_flat) return false;
    x = m_flat->physical_position().x();
    y = m_flat->physical_position().y();
    return true;
}

bool FAB_POSITION::get_spare_row() {
    if (!m_flat) {
        std::cout << "Warning: calling get_spare_row() on invalid instance!\n";
        return false;
    }
    return m_flat->is_spare_row();
}

void FAB_POSITION::get_uid(std::string& uid) {
    if (m_flat && m_flat->has_uid()) {
        uid = m_flat->uid();
    } else {
        uid.clear();
    }
}

bool FAB_POSITION::write_name(std::ostream& os, NS_SYMBOL::SYM base_name) {
    if (!m_flat) return false;
    if (m_flat->has_uid()) {
        os << m_flat->uid();
        return true;
    }
    if (!m_flat->has_bposition()) return false;
    os << UTIL::fast_name(base_name) << "_r" << m_flat->bposition().row() << "_c"
       << m_flat->bposition().col();
    return true;
}

void FAB_POSITION::dump(const char* label, std::ostream& os) {
    UTIL::IHIERARCHY* hierarchy = m_instance_tree->get_hierarchy();
    std::unique_ptr<UTIL::IHIERARCHY::IPATH_SETTABLE> path(hierarchy->create_path());
    UTIL_ASSERT_MSG(
        hierarchy->get_path(path.get(), m_node) != UTIL::IHIERARCHY::IMODULES::MODULE_INDEX_INVALID,
        "hierarchy.get_path(path, m_node) != "
        "UTIL::IHIERARCHY::IMODULES::MODULE_INDEX_INVALID");
    os << label << std::endl;
    os << "m_node = " << m_node << std::endl;
    os << "path = " << *path << std::endl;
}

FAB_IPOSITION* fab_create_position(ICDB::IINSTANCE_TREE* instance_tree, NLG_ICDB_ANNS* rtl_anns,
                                   NLG_ICDB_ANNS* blc_anns) {
    return new FAB_POSITION(instance_tree, rtl_anns, blc_anns);
}
