// The generator's text outputs: Verilog of both views and the cell library, block-level data and
// mux descriptions in protobuf text, the hand-kept files, placements, device.json and the oracle
// digest. Binary run files are devgen_direct's.
#pragma once

#include <ostream>
#include <string>

#include "devgen/devgen_device.h"

namespace DEVGEN {

// Writes every text output into `dir`; on failure, false and a one-line reason in `error`.
bool dg_write_files(const DG_DEVICE& device, const std::string& dir, std::string& error);

void dg_write_json(const DG_DEVICE& device, std::ostream& out);
void dg_write_placements(const DG_DEVICE& device, std::ostream& out);
// Verilog: the RTL view (without cells), the BLC view, and the blackbox cells with attributes.
void dg_write_rtl_verilog(const DG_DEVICE& device, std::ostream& out);
void dg_write_blc_verilog(const DG_DEVICE& device, std::ostream& out);
void dg_write_cells_verilog(const DG_DEVICE& device, std::ostream& out);
// Per module and port of both views, what the preparation flow's annotations must say.
void dg_write_oracle(const DG_DEVICE& device, std::ostream& out);

}  // namespace DEVGEN
