// Test support: a generated device's four run files and how a run reads them. Writes a preset
// device into scratch folders, reads one view (graph and annotations) back, feeds the four run
// files (or two views in memory) to a run object, and prints a floorplan as one line per item.
#pragma once

#include <memory>
#include <string>

#include "ann/annss.h"
#include "devgen/devgen_device.h"
#include "fab_api.h"
#include "fab_floorplan_api.h"
#include "nlg/nlg_graph.h"
#include "test_scratch.h"

namespace FAB_TEST {

DEVGEN::DG_PARAMS preset(const std::string& size);

// A preset device with its four run files in m_direct and, when asked, its text files (the
// preparation flow's inputs, device.json) in m_text.
struct DEVICE_FILES {
    DEVGEN::DG_DEVICE m_device;
    TEST_SCRATCH m_direct{"devgen_direct"};
    TEST_SCRATCH m_text{"devgen_text"};
    explicit DEVICE_FILES(const std::string& size = "tiny", bool text_files = false);
};

// One view read back from `dir`/`view`.graph and .ann through the library's file interface.
struct VIEW_FILES {
    std::unique_ptr<NLG_GRAPH> m_graph;
    std::unique_ptr<NLG_ANNSS> m_annss;
    VIEW_FILES(const std::string& dir, const std::string& view);
    NLG_ICDB_ANNS& icdb() const { return m_annss->get_icdb(); }
};

// The four run files of `dir` read into `api` in the order a caller uses.
void read_run_files(FAB::API& api, const std::string& dir);
// Both views written as binary files in memory and read into `api` as the four run files.
void read_views(FAB::API& api, NLG_IGRAPH& rtl, NLG_IANNSS& rtl_annss, NLG_IGRAPH& blc,
                NLG_IANNSS& blc_annss);

// The grid, then per module its index, logical pair and size, its ports (name, direction, route
// type) and its instances (name, definition's index, grid and physical place, uid).
std::string floorplan_text(FAB::FLOORPLAN& fp);

}  // namespace FAB_TEST
