// The routing graph that fab_run received, written as a nextpnr-generic architecture script, and
// the names its wires carry: a node's GID text where the translation database knows the node,
// its builder number otherwise. It does not route and does not read settings.
#pragma once

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "fab_itranslate.h"
#include "fab_run_builder.h"

namespace FAB_RUN {

// A CSR builder that also keeps, when a database is being built, the GID fields of each node,
// so that the wires of the export can be named in the database's own words.
class NAMING_BUILDER : public CSR_BUILDER {
  public:
    explicit NAMING_BUILDER(FAB::ITRANSLATE_BUILDER* translate);
    uint32_t add_node(const FAB::ROUTING_GRAPH::NODE& node) override;

    // One name per node: the GID text of a node that the sealed database holds, else "N" and
    // the builder number. Names stay unique: a GID given twice keeps it for its first node.
    std::vector<std::string> wire_names() const;

  private:
    struct GID_FIELDS {
        uint32_t m_x, m_y, m_z, m_i;
        int32_t m_gclass;
        NS_SYMBOL::SYM m_name;
        int32_t m_length;
    };
    FAB::ITRANSLATE_BUILDER* m_translate;
    std::unique_ptr<UTIL::IGID_CONVERTER> m_converter;
    std::vector<GID_FIELDS> m_fields;
};

struct ARCH_COUNTS {
    uint64_t m_wires = 0;
    uint64_t m_pips = 0;
    uint64_t m_fixed_crf = 0;  // of the pips, CRF edges that are fixed connections
    uint64_t m_hipi_crf = 0;   // and CRF edges of HIPI paths, into a shadow node
    uint64_t m_bels = 0;
    uint64_t m_named_by_gid = 0;
};

// Writes the script: the wires, one pip per distinct edge with a delay that grows with the
// destination's clipped length, and one bel per placed logic block with its atom ports as pins.
ARCH_COUNTS write_nextpnr_arch(std::ostream& os, const CSR_BUILDER& builder,
                               const std::vector<std::string>& names);

}  // namespace FAB_RUN
