// DG_PARAMS: the knobs of a generated device (grid, sectors, tracks, fan-ins, block sizes) and
// the named presets. It does not build anything; DG_DEVICE reads it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace DEVGEN {

struct DG_PARAMS {
    std::string m_name = "tiny";
    int m_cols = 4;            // W, grid columns; column 0 holds the IO tiles
    int m_rows = 6;            // H, a multiple of m_sector_rows
    int m_sector_rows = 3;     // Sy
    int m_tracks = 1;          // T per (direction, length)
    std::vector<int> m_lh{2};  // lengths of H wires
    std::vector<int> m_lv{2};  // lengths of V wires
    int m_fanin = 4;           // F, inputs of a wire mux (two per first stage)
    int m_leim = 2;            // NL, LEIM outputs per tile = LOGIC inputs
    int m_leim_fanin = 6;      // FLEIM, connected LEIM inputs (<= 32)
    int m_ll_tracks = 1;       // TLL
    int m_ll_fanin = 4;        // FLL
    int m_hipi = 1;            // NH, HIPI wrappers per tile
    int m_hipi_fanin = 2;      // FH, T and M inputs each
    int m_cells = 2;           // A, CELLs per LOGIC (= LOGIC outputs)
    int m_imux_fanin = 4;      // fL
    uint64_t m_seed = 1;
    // The tiny device wires its muxes by hand-chosen tables instead of the rotating rule.
    bool m_tiny_tables = true;
    // Adds the cases that make the run print notices and drop things: a DSP placed at
    // (-1, -1), a BLC port that no block-level data describes, a mux fed from the block its
    // output merges into.
    bool m_warn = false;

    int sectors() const { return m_rows / m_sector_rows; }
    // The spare row of a sector (local row), or -1: every sector but the first has one.
    int spare_local_row(int sector) const { return sector == 0 ? -1 : m_sector_rows / 2; }
    bool is_spare(int row) const {
        return spare_local_row(row / m_sector_rows) == row % m_sector_rows;
    }
    bool is_dsp_column(int col) const;
    // Wrappers of wires per tile: NW = 2T(|LH| + |LV|).
    int wire_muxes() const { return 2 * m_tracks * static_cast<int>(m_lh.size() + m_lv.size()); }
};

// The named sizes: tiny, small, medium, large, huge. False for an unknown name.
bool dg_preset(const std::string& name, DG_PARAMS& params);
// A grid of the given size with the small device's other knobs.
DG_PARAMS dg_custom(int cols, int rows);
// Empty when the parameters can make a device, else what is wrong with them.
std::string dg_check(const DG_PARAMS& params);

}  // namespace DEVGEN
