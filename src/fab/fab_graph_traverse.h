// Visitors of the fabric core that run under the walks of the netlist: the two that feed the
// floorplan with the placed top-level blocks (TSL_TOP_IP_COUNTER counts them, so that the
// instance list can be sized once, TSL_TOP_IP_GENERATOR adds them). They own nothing they are
// given.
#pragma once

#include <cstdint>

#include "fab/fab_full_traverse.h"
#include "fab/fab_serializer.h"
#include "fab_iposition.h"
#include "icdb_iinstance_tree.h"
#include "nlg_iannss.h"

namespace FAB {
class ITRANSLATE_BUILDER;
}
namespace UTIL {
class SYMBOL_TABLE;
}

// Counts the instances of non-routing top-level blocks that the walk visits.
class TSL_TOP_IP_COUNTER : public FAB_VISITOR_BASE {
  public:
    TSL_TOP_IP_COUNTER(NLG_IANNSS* rtl_annss, uint32_t* count)
        : m_rtl_annss(rtl_annss), m_count(count) {}
    void exit_instance(NLG_IINSTANCE& instance) override;

  private:
    NLG_IANNSS* m_rtl_annss;
    uint32_t* m_count;
};

// For each top-level block the walk visits: makes its place current in the position, records
// it for a translate object, and, unless it is a routing block, adds it to the floorplan with
// its grid place, physical place and uid.
class TSL_TOP_IP_GENERATOR : public FAB_VISITOR_BASE {
  public:
    TSL_TOP_IP_GENERATOR(ICDB::IINSTANCE_TREE* instance_tree, FAB_IPOSITION* position,
                         NLG_IANNSS* rtl_annss, FAB_ISERIALIZER* serializer,
                         FAB::ITRANSLATE_BUILDER* translate, UTIL::SYMBOL_TABLE* rtl_symbols)
        : m_instance_tree(instance_tree),
          m_position(position),
          m_rtl_annss(rtl_annss),
          m_serializer(serializer),
          m_translate(translate),
          m_rtl_symbols(rtl_symbols) {}
    void exit_instance(NLG_IINSTANCE& instance) override;

  private:
    void add_top_level_block(NLG_IINSTANCE& instance, uint64_t node);

    ICDB::IINSTANCE_TREE* m_instance_tree;
    FAB_IPOSITION* m_position;
    NLG_IANNSS* m_rtl_annss;
    FAB_ISERIALIZER* m_serializer;
    FAB::ITRANSLATE_BUILDER* m_translate;
    UTIL::SYMBOL_TABLE* m_rtl_symbols;
};
