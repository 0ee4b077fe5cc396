// A small device in both views for the readers that need graphs: the RTL graph holds a
// routing block with one mux cell and a logic box; the BLC graph holds the LOGIC block with an
// atom and an internal mux; the block-level data describes the BLC side.
#pragma once

#include <sstream>
#include <string>

#include "ann/blc_data.h"
#include "nlg/nlg_annotation_gen.h"
#include "support/nlg_builders.h"

namespace FUZZ {

inline const char* blc_text() {
    return R"(entries {
  module: "LOGIC" logical_name: "LOGIC" logical_impl: "DEFAULT"
  ports { name: "bout" first_re_index: 2 icd_port_name: "out" }
  ports { name: "bin" width: 2 first_re_index: 0 icd_port_name: "in" icd_msb: 1 icd_lsb: 0 }
  placements { instance: "core" pnr_x: 1 pnr_y: 0 pnr_z: 0 }
  placements { instance: "imux" pnr_x: 0 pnr_y: 0 pnr_z: 1 }
}
entries {
  module: "CORE" logical_name: "CORE" logical_impl: "DEFAULT"
  ports { name: "a" first_re_index: 3 }
  ports { name: "y" first_re_index: 4 }
}
entries {
  module: "IMUX" logical_name: "IMUX" logical_impl: "DEFAULT" internal: true
  ports { name: "i" first_re_index: 5 }
  ports { name: "o" route: false }
}
)";
}

struct GRAPH_DEVICE {
    NLG_TEST::TRACE_GRAPH m_rtl;
    NLG_TEST::TRACE_GRAPH m_blc;
    BLC_DATA m_data;

    GRAPH_DEVICE() {
        NLG_MODULE* top = m_rtl.module("top");
        NLG_MODULE* route = m_rtl.module("ROUTE");
        m_rtl.port(route, "p", NLG_IPORT::INPUT);
        NLG_MODULE* logic = m_rtl.module("LOGIC_BOX");
        m_rtl.port(logic, "in[0]", NLG_IPORT::INPUT);
        m_rtl.port(logic, "in[1]", NLG_IPORT::INPUT);
        m_rtl.port(logic, "out", NLG_IPORT::OUTPUT);
        NLG_MODULE* mux = m_rtl.module("mux_h");
        NLG_PORT* in = m_rtl.port(mux, "muxin0", NLG_IPORT::INPUT);
        NLG_PORT* out = m_rtl.port(mux, "muxout", NLG_IPORT::OUTPUT);
        m_rtl.net(mux, "n", {in, out});
        m_rtl.instance(route, "m0", mux);
        m_rtl.instance(top, "route", route);
        m_rtl.instance(top, "logic", logic);

        NLG_MODULE* blogic = m_blc.module("LOGIC");
        m_blc.port(blogic, "bin[0]", NLG_IPORT::INPUT);
        m_blc.port(blogic, "bin[1]", NLG_IPORT::INPUT);
        m_blc.port(blogic, "bout", NLG_IPORT::OUTPUT);
        NLG_MODULE* bcore = m_blc.module("CORE");
        m_blc.port(bcore, "a", NLG_IPORT::INPUT);
        m_blc.port(bcore, "y", NLG_IPORT::OUTPUT);
        NLG_MODULE* bimux = m_blc.module("IMUX");
        m_blc.port(bimux, "i", NLG_IPORT::INPUT);
        m_blc.port(bimux, "o", NLG_IPORT::OUTPUT);
        m_blc.instance(blogic, "core", bcore);
        m_blc.instance(blogic, "imux", bimux);

        std::istringstream text(blc_text());
        m_data.read(text);
    }
    NLG_ANNOTATION_GEN gen() {
        return NLG_ANNOTATION_GEN(&m_rtl.graph(), &m_rtl.annotations(), &m_blc.graph(),
                                  &m_blc.annotations(), &m_data);
    }
};

}  // namespace FUZZ
