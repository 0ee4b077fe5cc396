// NLG_TESSEL, the library's own TESSEL_API: graphs are NLG_GRAPHs read and written through the
// graph files. It holds no state and owns nothing it hands out.
#pragma once

#include <cstdint>

#include "tessel_api.h"

class NLG_TESSEL : public TESSEL_API {
  public:
    virtual ~NLG_TESSEL() = default;

    const char* get_version() override;
    NLG_IGRAPH* create_graph(UTIL::SYMBOL_TABLE* table) override;
    UTIL::SYMBOL_TABLE* get_symbol_table(NLG_IGRAPH* graph) override;
    bool read_graph(NLG_IGRAPH* graph, std::istream& stream, int format) override;
    bool write_graph(NLG_IGRAPH* graph, std::ostream& stream, int format) override;
    NLG_IANNSS* create_annss(NLG_IGRAPH* graph) override;
    bool write_annss(NLG_IANNSS* annss, std::ostream& stream, int format) override;
    bool read_annss(NLG_IANNSS* annss, std::istream& stream, int format) override;

    // The frame format (PB_BIN, PB_TXT) of an API format; FORMAT_BIN and others are refused.
    static uint32_t to_frame_format(int format);
};
