// Line formats shared by the generator's oracle digest and the preparation flow's digest of the
// annotations it made: the two must print a record identically to be compared line by line.
// Owns only the formatting of records; which records are listed, and in what order, is the
// caller's.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "ann_icdb.pb.h"

namespace DEVGEN {

// "1", "0", or "-" for a field that is absent.
std::string dg_digest_flag(bool has, bool value);

// " template=… type=… length=… dir=… first=… hipi=…" of a mux description.
std::string dg_digest_mux_line(const PB::ICDB::MODULE::MUX_DESC& d);

// One "  path IN -> OUT hipi=… sub=value…" line per path of a module record, sorted; the caller
// names a port by its index.
std::vector<std::string> dg_digest_path_lines(const PB::ICDB::MODULE& r,
                                              const std::function<std::string(int)>& port_name);

}  // namespace DEVGEN
