// Direct mode: turns the generator's model into the four files a run reads (rtl.graph, rtl.ann,
// blc.graph, blc.ann, binary frames) through the library's own graph builder and writer,
// annotation store and instance tree. It owns the graphs it builds only while writing.
#pragma once

#include <memory>
#include <string>

#include "devgen/devgen_device.h"

class NLG_GRAPH;
class NLG_ANNSS;

namespace DEVGEN {

// One view as library objects: the graph and its ICDB records.
struct DG_VIEW {
    std::unique_ptr<NLG_GRAPH> m_graph;
    std::unique_ptr<NLG_ANNSS> m_annss;
    DG_VIEW();
    DG_VIEW(DG_VIEW&&) noexcept;
    ~DG_VIEW();
};

// The RTL graph with its records and flat placements stored in the top module's record.
DG_VIEW dg_make_rtl(const DG_DEVICE& device);
// The BLC graph with its records and populated fan lists.
DG_VIEW dg_make_blc(const DG_DEVICE& device);

// Writes the four files into `dir`; on failure, false and a one-line reason in `error`.
bool dg_write_direct(const DG_DEVICE& device, const std::string& dir, std::string& error);

}  // namespace DEVGEN
