// The default TESSEL_API: graph creation, graph files and annotation sets, with the API's
// format mapping.
#include "nlg/nlg_api_impl.h"

#include "ann/annss.h"

#include "nlg/nlg_graph.h"
#include "nlg/nlg_readwrite.h"
#include "util/util_assert.h"
#include "util/util_protobuf.h"

const char* NLG_TESSEL::get_version() {
    return "Tessel_api_impl/1.0";
}

uint32_t NLG_TESSEL::to_frame_format(int format) {
    if (format == FORMAT_PB_BIN) return UTIL::PB_BIN;
    if (format == FORMAT_PB_TXT) return UTIL::PB_TXT;
    if (format == FORMAT_BIN) UTIL_FAIL("FORMAT_BIN not supported");
    UTIL_FAIL("Unknown format");
}

NLG_IGRAPH* NLG_TESSEL::create_graph(UTIL::SYMBOL_TABLE* table) {
    return new NLG_GRAPH(table, "root", 0);
}

UTIL::SYMBOL_TABLE* NLG_TESSEL::get_symbol_table(NLG_IGRAPH* graph) {
    return graph->get_symbol_table();
}

bool NLG_TESSEL::read_graph(NLG_IGRAPH* graph, std::istream& stream, int format) {
    uint32_t frame_format = to_frame_format(format);
    NLG_GRAPH* stored = dynamic_cast<NLG_GRAPH*>(graph);
    UTIL_ASSERT(stored != NULL);
    return nlg_graph_readwrite().read(stored, stream, frame_format);
}

bool NLG_TESSEL::write_graph(NLG_IGRAPH* graph, std::ostream& stream, int format) {
    uint32_t frame_format = to_frame_format(format);
    return nlg_graph_readwrite().write(*graph, stream, frame_format);
}

NLG_IANNSS* NLG_TESSEL::create_annss(NLG_IGRAPH* graph) {
    return new NLG_ANNSS(*graph);
}

bool NLG_TESSEL::write_annss(NLG_IANNSS* annss, std::ostream& stream, int format) {
    uint32_t frame_format = to_frame_format(format);
    return static_cast<NLG_ANNSS*>(annss)->get_annss()->write(stream, frame_format);
}

bool NLG_TESSEL::read_annss(NLG_IANNSS* annss, std::istream& stream, int format) {
    uint32_t frame_format = to_frame_format(format);
    return static_cast<NLG_ANNSS*>(annss)->get_annss()->read(stream, frame_format);
}
