// Packing of file-lines and the look-up of the file name through the graph's table.
#include "nlg/nlg_fileline.h"

#include "nlg/nlg_graph.h"
#include "util/util_assert.h"

void NLG_FILELINE::set(uint32_t file, uint32_t line) {
    UTIL_ASSERT_MSG(file <= MAX_FILE, "File number cannot be greater than 0x00000FFF");
    UTIL_ASSERT_MSG(line <= MAX_LINE, "Line number cannot be greater than 0x000FFFFF");
    m_value = (file << 20) | line;
}

NS_SYMBOL::SYM NLG_FILELINE::get_file(const NLG_GRAPH& graph) const {
    return UTIL::at(graph.get_filenames(), get_file_number());
}
