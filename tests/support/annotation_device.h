// Test support: a small device in both views for the annotation generator and the readers that
// need graphs. The RTL graph holds a routing block with one mux cell and a logic box; the BLC
// graph holds the LOGIC block with an atom and an internal mux; the block-level data describes
// the BLC side. Shared by the generator's tests and the fuzz targets' devices and seeds.
#pragma once

#include <string>

#include "ann/blc_data.h"
#include "nlg/nlg_annotation_gen.h"
#include "nlg_builders.h"

namespace NLG_TEST {

// The block-level data of the device's BLC side, as text.
extern const char* const ANNOTATION_BLC_TEXT;

// RTL: top holds `route` (ROUTE: port p; m0 of mux_h, an H mux cell whose net n ties muxin0 to
// muxout) and `logic` (LOGIC_BOX: in[0], in[1], out). BLC: LOGIC (bin[0], bin[1], bout) holds
// core:CORE (a, y) and imux:IMUX (i, o). The data is read from `blc_text`; its error says
// whether that worked.
struct ANNOTATION_DEVICE {
    TRACE_GRAPH m_rtl;
    TRACE_GRAPH m_blc;
    NLG_MODULE *m_top, *m_route, *m_logic, *m_mux;
    NLG_MODULE *m_blogic, *m_bcore, *m_bimux;
    BLC_DATA m_data;

    explicit ANNOTATION_DEVICE(const std::string& blc_text = ANNOTATION_BLC_TEXT);
    NLG_ANNOTATION_GEN gen();
};

}  // namespace NLG_TEST
