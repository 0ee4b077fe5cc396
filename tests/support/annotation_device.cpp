// Test support: the device of annotation_device.h; its shape is what the generator's tests and
// the fuzz seeds rely on, so change the sketch in the header with it.
#include "annotation_device.h"

#include <sstream>

namespace NLG_TEST {

const char* const ANNOTATION_BLC_TEXT = R"(entries {
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

ANNOTATION_DEVICE::ANNOTATION_DEVICE(const std::string& blc_text) {
    m_top = m_rtl.module("top");
    m_route = m_rtl.cell("ROUTE", "p");
    m_logic = m_rtl.cell("LOGIC_BOX", "in[0] in[1] >out");
    m_mux = m_rtl.cell("mux_h", "muxin0 >muxout");
    m_rtl.wire(m_mux, "n: muxin0 muxout");
    m_rtl.instances(m_route, "m0:mux_h");
    m_rtl.instances(m_top, "route:ROUTE logic:LOGIC_BOX");
    m_blogic = m_blc.cell("LOGIC", "bin[0] bin[1] >bout");
    m_bcore = m_blc.cell("CORE", "a >y");
    m_bimux = m_blc.cell("IMUX", "i >o");
    m_blc.instances(m_blogic, "core:CORE imux:IMUX");
    std::istringstream in(blc_text);
    m_data.read(in);
}

NLG_ANNOTATION_GEN ANNOTATION_DEVICE::gen() {
    return NLG_ANNOTATION_GEN(&m_rtl.graph(), &m_rtl.annotations(), &m_blc.graph(),
                              &m_blc.annotations(), &m_data);
}

}  // namespace NLG_TEST
