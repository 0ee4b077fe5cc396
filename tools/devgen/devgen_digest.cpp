// Line formats shared by the oracle digest and the preparation flow's digest.
#include "devgen/devgen_digest.h"

#include <algorithm>
#include <sstream>

namespace DEVGEN {

std::string dg_digest_flag(bool has, bool value) {
    return has ? (value ? "1" : "0") : "-";
}

std::string dg_digest_mux_line(const PB::ICDB::MODULE::MUX_DESC& d) {
    auto type = [](int t) {
        return PB::MUX_DESCRIPTION::MUXTYPE_Name(static_cast<PB::MUX_DESCRIPTION::MUXTYPE>(t));
    };
    std::ostringstream s;
    s << " template=" << dg_digest_flag(d.has_is_template(), d.is_template())
      << " type=" << (d.has_mux_type() ? type(d.mux_type()) : "-")
      << " length=" << (d.has_length() ? std::to_string(d.length()) : "-")
      << " dir=" << (d.has_dir() ? PB::ICDB::NET::DIRECTION_Name(d.dir()) : "-")
      << " first=" << dg_digest_flag(d.has_is_first_stage(), d.is_first_stage())
      << " hipi=" << (d.has_hipi_mux_type() ? type(d.hipi_mux_type()) : "-");
    return s.str();
}

std::vector<std::string> dg_digest_path_lines(const PB::ICDB::MODULE& r,
                                              const std::function<std::string(int)>& port_name) {
    std::vector<std::string> lines;
    for (int k = 0; k < r.paths_size(); ++k) {
        const PB::ICDB::MODULE::PATH& p = r.paths(k);
        std::ostringstream s;
        s << "  path " << port_name(p.in()) << " -> " << port_name(p.out())
          << " hipi=" << dg_digest_flag(p.has_is_hipi_path(), p.is_hipi_path());
        for (const PB::ICDB::MODULE::SETTINGS& set : r.settings()) {
            if (static_cast<int>(set.path_index()) != k) continue;
            std::vector<std::string> values;
            for (const PB::ICDB::MODULE::SETTING& v : set.setting()) {
                std::string sub;
                for (const std::string& n : r.subpaths(static_cast<int>(v.subpath_index())).name())
                    sub += (sub.empty() ? "" : "/") + n;
                values.push_back(sub + "=" + v.value());
            }
            std::sort(values.begin(), values.end());
            for (const std::string& v : values) s << " " << v;
        }
        lines.push_back(s.str());
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

}  // namespace DEVGEN
