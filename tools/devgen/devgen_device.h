// DG_DEVICE: the whole generated device as the generator designed it: the RTL and BLC views with
// the ICDB records that the preparation flow must give them, the block-level data, the mux
// descriptions (cells, then merged wrappers), the placements and the hand-kept text files.
// Writers of files (direct, Verilog, JSON) only read it.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "blc_data.pb.h"
#include "devgen/devgen_netlist.h"
#include "devgen/devgen_params.h"
#include "mux.pb.h"

namespace DEVGEN {

// One placed block: its instance path from the top, grid place and flat record fields.
struct DG_PLACEMENT {
    std::vector<int32_t> m_path;  // instance indexes from the top module down
    std::string m_path_text;      // the same as "sec0/t_x1_y0/logic"
    std::string m_module;
    bool m_routing = false;
    int m_col = 0;
    int m_row = 0;
    bool m_spare = false;
    std::string m_uid;
};

// Counts of what was designed, for device.json and the recount test.
struct DG_COUNTS {
    // Occurrences (outside spare rows) of routing muxes that are not first stages, by type name.
    std::map<std::string, uint64_t> m_muxes;
    // Occurrences of RE ports on placed non-spare blocks, by RE type name (RTL side).
    std::map<std::string, uint64_t> m_block_res;
    std::map<std::string, uint64_t> m_placements;  // by block module
    uint64_t m_spare_placements = 0;
    // Routing nodes by type as the node generators make them, and a per-tile estimate of the
    // edges by kind (see devgen_counts.cpp).
    std::map<std::string, uint64_t> m_nodes;
    std::map<std::string, uint64_t> m_edges_estimate;
    uint64_t m_rtl_hier_nodes = 0;
    uint64_t m_blc_hier_nodes = 0;
};

class DG_DEVICE {
  public:
    explicit DG_DEVICE(const DG_PARAMS& params);

    const DG_PARAMS& params() const { return m_params; }
    const DG_NETLIST& rtl() const { return m_rtl; }
    const DG_NETLIST& blc() const { return m_blc; }
    const PB::BLC_DATA& blc_data() const { return m_blc_data; }
    const PB::MUX_DESCRIPTIONS& mux_descriptions() const { return m_mux; }
    const std::vector<DG_PLACEMENT>& placements() const { return m_placements; }
    const std::vector<std::string>& sector_modules() const { return m_sector_modules; }
    const DG_COUNTS& counts() const { return m_counts; }
    // The four hand-kept files by name, as text.
    const std::map<std::string, std::string>& text_files() const { return m_text_files; }
    // Grid extent that the non-routing blocks give.
    int grid_cols() const { return m_params.m_cols; }
    int grid_rows() const { return m_params.m_rows; }

  private:
    friend class DG_BUILDER;
    DG_PARAMS m_params;
    DG_NETLIST m_rtl;
    DG_NETLIST m_blc;
    PB::BLC_DATA m_blc_data;
    PB::MUX_DESCRIPTIONS m_mux;
    std::vector<DG_PLACEMENT> m_placements;
    std::vector<std::string> m_sector_modules;
    DG_COUNTS m_counts;
    std::map<std::string, std::string> m_text_files;
};

// The RE naming table of the text files and CLASS parameters; false for a name it lacks.
bool dg_mux_type(const std::string& name, PB::MUX_DESCRIPTION::MUXTYPE& type);
std::string dg_mux_type_name(int type);

}  // namespace DEVGEN
