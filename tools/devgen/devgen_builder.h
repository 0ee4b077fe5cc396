// DG_BUILDER: fills a DG_DEVICE in stages: RTL structure, BLC structure and block-level data,
// mux descriptions (cells, then the wrappers as the merger would describe them), the annotation
// records that the preparation passes would write, placements, text files and counts.
// Internal to the generator; users see DG_DEVICE.
#pragma once

#include <string>
#include <vector>

#include "devgen/devgen_device.h"

namespace DEVGEN {

class DG_BUILDER {
  public:
    explicit DG_BUILDER(DG_DEVICE& device) : m_d(device), m_p(device.m_params) {}
    void build();

  private:
    // devgen_rtl.cpp
    void declare_rtl();
    void declare_cells();
    void declare_wrappers();
    void declare_blocks();
    void body_wrappers();
    void body_rt_tile();
    void body_rt_io();
    void body_tiles();
    void body_sector();
    void body_top();
    std::vector<std::string> tile_sources() const;
    std::vector<std::string> pick_sources(int mux, int count,
                                          const std::vector<std::string>& sources,
                                          const std::vector<std::string>& avoid) const;
    // devgen_blc.cpp
    void build_blc();
    // devgen_mux.cpp
    void describe_cells();
    void describe_wrappers();
    void apply_descriptions();
    void apply_one(int index);
    // devgen_ann.cpp
    void annotate_text_files();
    void annotate_blc();
    void annotate_top_ports();
    void place_blocks();
    void write_text_files();
    // devgen_counts.cpp
    void count();
    void expect_nodes();

    int32_t rtl(const std::string& name) const { return m_d.m_rtl.find_module(name); }
    void connect(const std::string& module, const std::vector<std::string>& ends) {
        m_d.m_rtl.connect(rtl(module), ends);
    }

    DG_DEVICE& m_d;
    const DG_PARAMS& m_p;
    // Wrapper modules in the order the merger first meets them.
    std::vector<std::string> m_wrapper_order;
};

// Wire naming shared by the RTL stages: "h2r", "v4d", ...
std::string dg_wire(char axis, int length, char dir);
// Port, instance or module name of one track: the bare base when there is one track.
std::string dg_track(const std::string& base, int track, int tracks);

}  // namespace DEVGEN
