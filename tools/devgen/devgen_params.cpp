// Presets of the generated devices and the checks that keep a parameter set buildable.
#include "devgen/devgen_params.h"

#include <algorithm>

namespace DEVGEN {

bool DG_PARAMS::is_dsp_column(int col) const {
    if (m_tiny_tables) return col == 2;
    return col % 8 == 4 && col < m_cols - 1;
}

static DG_PARAMS scaled(const std::string& name, int side, int sy, int t, std::vector<int> lengths,
                        int f, int nl, int tll, int fll, int nh, int fh, int a, int fl) {
    DG_PARAMS p;
    p.m_name = name;
    p.m_cols = side;
    p.m_rows = side;
    p.m_sector_rows = sy;
    p.m_tracks = t;
    p.m_lh = lengths;
    p.m_lv = lengths;
    p.m_fanin = f;
    p.m_leim = nl;
    p.m_leim_fanin = 32;
    p.m_ll_tracks = tll;
    p.m_ll_fanin = fll;
    p.m_hipi = nh;
    p.m_hipi_fanin = fh;
    p.m_cells = a;
    p.m_imux_fanin = fl;
    p.m_tiny_tables = false;
    return p;
}

bool dg_preset(const std::string& name, DG_PARAMS& params) {
    if (name == "tiny") {
        params = DG_PARAMS();
    } else if (name == "tiny-warn") {
        params = DG_PARAMS();
        params.m_name = name;
        params.m_warn = true;
    } else if (name == "small") {
        params = scaled(name, 16, 8, 2, {2, 4}, 8, 8, 4, 4, 1, 2, 4, 4);
    } else if (name == "medium") {
        params = scaled(name, 48, 12, 8, {2, 4, 10}, 16, 32, 8, 8, 4, 4, 12, 8);
    } else if (name == "large") {
        params = scaled(name, 84, 12, 12, {2, 4, 10}, 20, 48, 12, 8, 6, 4, 20, 8);
    } else if (name == "huge") {
        params = scaled(name, 120, 12, 16, {2, 4, 10}, 24, 64, 16, 8, 8, 4, 28, 8);
    } else {
        return false;
    }
    return true;
}

DG_PARAMS dg_custom(int cols, int rows) {
    DG_PARAMS p;
    dg_preset("small", p);
    p.m_name = "custom";
    p.m_cols = cols;
    p.m_rows = rows;
    if (rows % p.m_sector_rows != 0) p.m_sector_rows = rows;
    return p;
}

std::string dg_check(const DG_PARAMS& p) {
    if (p.m_cols < 4) return "--cols must be at least 4";
    if (p.m_rows < 2 || p.m_sector_rows < 2) return "--rows must be at least 2";
    if (p.m_rows % p.m_sector_rows != 0) return "rows must be a multiple of the sector height";
    if (p.m_rows / p.m_sector_rows > 65535) return "too many sectors";
    if (p.is_dsp_column(p.m_cols - 1)) return "the last column must hold LOGIC";
    if (p.is_spare(p.m_rows - 1)) return "the last row must not be spare";
    for (int l : p.m_lv)
        if (l > p.m_sector_rows || l > 63) return "a V length exceeds the sector height";
    for (int l : p.m_lh)
        if (l > 63 || l >= p.m_cols) return "an H length exceeds the grid";
    if (p.m_fanin < 2 || p.m_fanin % 2 != 0) return "the wire fan-in must be even";
    if (p.m_ll_fanin < 2 || p.m_ll_fanin % 2 != 0) return "the LL fan-in must be even";
    if (p.m_cells < 2 || p.m_leim < 2) return "LOGIC needs at least two cells and two inputs";
    if (p.m_hipi > p.m_tracks) return "more HIPI wrappers than tracks";
    if (p.m_leim_fanin > 32) return "a LEIM has 32 inputs";
    return "";
}

}  // namespace DEVGEN
