// Visitors of the fabric core under the netlist walks. The floorplan pair runs under the
// top-level block walk without spare rows, each visit at the exit of a block instance, and
// both count exactly the non-routing blocks so that the instance list is sized once.
#include "fab/fab_graph_traverse.h"

#include <sstream>
#include <string>

#include "ann_icdb.pb.h"
#include "fab_itranslate.h"
#include "util/util_symbol.h"

void TSL_TOP_IP_COUNTER::exit_instance(NLG_IINSTANCE& instance) {
    const PB::ICDB::MODULE& record = m_rtl_annss->get_icdb().get_module(*instance.get_module());
    if (record.level() == PB::ICDB::MODULE::TOP_LEVEL_IP && !record.is_routing()) ++*m_count;
}

void TSL_TOP_IP_GENERATOR::exit_instance(NLG_IINSTANCE& instance) {
    const PB::ICDB::MODULE& record = m_rtl_annss->get_icdb().get_module(*instance.get_module());
    if (record.level() != PB::ICDB::MODULE::TOP_LEVEL_IP) return;
    TSL_ITRAVERSE* walk = checked_traverse("TSL_TOP_IP_GENERATOR");
    const uint64_t node = walk->get_node();
    m_position->set(&instance, node);
    // Routing blocks are recorded for the translate object too.
    if (m_translate) add_top_level_block(instance, node);
    if (record.is_routing()) return;

    FAB_LOCATION location = {-1, -1, -1};
    m_position->get_block_position(location.x, location.y, location.z);
    float phys_x = -1.0f;
    float phys_y = -1.0f;
    m_position->get_physical_position(phys_x, phys_y);
    const std::string uid = walk->get_uid();
    m_serializer->add_rtl_module_instance(&instance, record, location, phys_x, phys_y, uid);
}

// The block's name is its uid, else its module name with its grid place.
void TSL_TOP_IP_GENERATOR::add_top_level_block(NLG_IINSTANCE& instance, uint64_t node) {
    std::ostringstream name;
    if (!m_position->write_name(name, instance.get_module()->get_name())) return;
    const NS_SYMBOL::SYM symbol = m_rtl_symbols->add(name.str());
    // Translate hook: the top-level block builder of the translate object takes
    // (module index, node, symbol) here; it arrives with the translation database.
    (void)symbol;
    (void)node;
}
