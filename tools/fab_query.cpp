// fab_query: loads a translation database and answers questions about it, one answer per line:
// what a GID is, which GID a hierarchical place has, which block setting an edge needs, and
// what each section holds. Bad questions get a one-line answer and the tool goes on.
//
//   1. The file is read in a child process; the parent only waits. A file that does not read
//      (the object's "Failed read of" or a table's own fatal text) is one line and exit 1.
//   2. The child answers the query given as arguments, or else each line of standard input.
#include <google/protobuf/io/zero_copy_stream_impl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "fab/fab_translate.h"
#include "util/util_gid.h"
#include "util/util_hierarchy.h"

namespace {

const char* const USAGE =
    "usage: fab_query [--format bin|text] DB [QUERY...]\n"
    "Loads the translation database DB and answers QUERY, or each line of standard input:\n"
    "  gid TEXT        type, cell, class and hierarchical place of a GID (text such as\n"
    "                  H2:X3Y4Z0I2 or BLK_RE:X0Y0Z0I1, or a number)\n"
    "  node PATH       the GID of a hierarchical place such as /s0/b0:in0\n"
    "  edge GID GID    the top-level block instance, mux instance in it and settings that\n"
    "                  the edge needs\n"
    "  stats           per section: bytes in the file and what it holds\n"
    "Exit status: 0 answered, 1 the database does not read, 2 bad argument or file.\n";

const char* const SECTIONS[] = {"symbol file", "modulesmap", "mux descriptions",
                                "tlblocks",    "portmaps",   "partitions",
                                "gidmap",      "nodemap",    "edgemap"};

class QUERIES {
  public:
    QUERIES(FAB::TRANSLATE& t, std::vector<int64_t> section_ends)
        : m_t(t),
          m_converter(t.create_gid_converter()),
          m_path(t.get_hierarchy()->create_path()),
          m_splitter(t.create_gid_splitter()),
          m_section_ends(std::move(section_ends)) {}

    // One answer line for one query line.
    std::string answer(const std::string& line);

  private:
    bool parse_gid(const std::string& text, uint64_t& gid, std::string& why);
    std::string place(uint64_t node);
    std::string gid_text(uint64_t gid);
    std::string gid_query(const std::string& text);
    std::string node_query(const std::string& text);
    std::string edge_query(const std::string& src, const std::string& dst);
    std::string mux_instance();
    std::string stats();

    FAB::TRANSLATE& m_t;
    std::unique_ptr<UTIL::IGID_CONVERTER> m_converter;
    std::unique_ptr<UTIL::IHIERARCHY::IPATH_SETTABLE> m_path;
    std::unique_ptr<FAB::ITRANSLATE::IGID_SPLITTER> m_splitter;
    std::vector<int64_t> m_section_ends;
};

std::string sym_text(NS_SYMBOL::SYM symbol) {
    return symbol.is_known() ? symbol.get_name_fast() : "<UNKNOWN>";
}

// A GID by its text or its number; it must be one the node map holds.
bool QUERIES::parse_gid(const std::string& text, uint64_t& gid, std::string& why) {
    static const std::regex s_number("(0x[0-9a-fA-F]+|[0-9]+)");
    static const std::regex s_text("([A-Za-z0-9_]+):X([0-9]+)Y([0-9]+)Z([0-9]+)I([0-9]+)");
    std::smatch m;
    if (std::regex_match(text, m, s_number)) {
        gid = std::stoull(text, nullptr, 0);
    } else if (std::regex_match(text, m, s_text)) {
        PB::GID_TYPE::GCLASS gclass;
        NS_SYMBOL::SYM name;
        int32_t length;
        UTIL::parse_gid_type(m[1], gclass, name, length);
        UTIL::GID64_BUILDER& gidmap = *m_t.get_gidmap();
        if (gidmap.get_gid_types().find_gid_type(gclass, name, length) ==
            UTIL::IGID_CONVERTER::INVALID) {
            why = "no GID type " + m[1].str();
            return false;
        }
        uint32_t nx, ny, nz;
        gidmap.get_dimensions(nx, ny, nz);
        const uint64_t x = std::stoull(m[2]), y = std::stoull(m[3]), z = std::stoull(m[4]);
        const uint64_t i = std::stoull(m[5]);
        if (x >= nx || y >= ny || z >= nz || i > UTIL::GID64_BITS::I_MASK) {
            why = "cell or index outside the grid";
            return false;
        }
        gid = m_converter->make_gid64(static_cast<uint32_t>(x), static_cast<uint32_t>(y),
                                      static_cast<uint32_t>(z), static_cast<uint32_t>(i), gclass,
                                      name, length);
    } else {
        why = "malformed GID";
        return false;
    }
    uint64_t cached = 0, driver = 0;
    const uint64_t xyz = gid >> UTIL::GID64_BITS::XYZ_SHIFT;
    const uint64_t t = (gid >> UTIL::GID64_BITS::T_SHIFT) & UTIL::GID64_BITS::T_MASK;
    uint32_t nx, ny, nz;
    m_t.get_gidmap()->get_dimensions(nx, ny, nz);
    if (gid == UTIL::GID64::VALUE_INVALID || xyz >= uint64_t(nx) * ny * nz ||
        t >= m_t.get_gidmap()->get_gid_types().get_n_gid_types() ||
        !m_t.get_nodemap()->get_nodes(cached, driver, gid)) {
        why = "unknown GID";
        return false;
    }
    return true;
}

std::string QUERIES::place(uint64_t node) {
    if (m_t.get_hierarchy()->get_path(m_path.get(), node) ==
        UTIL::IHIERARCHY::IMODULES::MODULE_INDEX_INVALID) {
        return "?";
    }
    std::ostringstream os;
    os << *m_path;
    return os.str();
}

std::string QUERIES::gid_text(uint64_t gid) {
    std::ostringstream os;
    m_converter->set_gid64(gid);
    os << *m_converter;
    return os.str();
}

std::string QUERIES::gid_query(const std::string& text) {
    uint64_t gid = 0;
    std::string why;
    if (!parse_gid(text, gid, why)) return "gid " + text + ": " + why;
    uint64_t cached = 0, driver = 0;
    m_t.get_nodemap()->get_nodes(cached, driver, gid);
    m_converter->set_gid64(gid);
    std::ostringstream os;
    os << "gid " << text << ": " << gid_text(gid) << " value=" << gid << " cell=("
       << m_converter->get_x() << "," << m_converter->get_y() << "," << m_converter->get_z()
       << ") i=" << m_converter->get_i() << " class=" << m_t.get_node_class(UTIL::GID64(gid))
       << " mux_type=" << m_t.get_mux_type(UTIL::GID64(gid)) << " node=" << driver
       << " path=" << place(driver);
    if (cached != driver) os << " cached=" << cached << " cached_path=" << place(cached);
    return os.str();
}

std::string QUERIES::node_query(const std::string& text) {
    if (!m_path->set_from_string(text, 0)) return "node " + text + ": no such place";
    const uint64_t node = m_t.get_hierarchy()->get_node(*m_path);
    if (node == UTIL::IHIERARCHY::INVALID_NODE) return "node " + text + ": no such place";
    const uint64_t gid = m_t.get_nodemap()->get_gid(node);
    std::ostringstream os;
    os << "node " << text << ": node=" << node;
    if (gid == UTIL::GID64::VALUE_INVALID) {
        os << " has no GID";
    } else {
        os << " gid=" << gid_text(gid) << " value=" << gid;
    }
    return os.str();
}

std::string QUERIES::edge_query(const std::string& src, const std::string& dst) {
    uint64_t s = 0, d = 0;
    std::string why;
    if (!parse_gid(src, s, why)) return "edge " + src + " " + dst + ": source: " + why;
    if (!parse_gid(dst, d, why)) return "edge " + src + " " + dst + ": destination: " + why;
    // The splitter explains a refusal on standard output; it is folded into the answer line.
    std::ostringstream diagnostics;
    std::streambuf* saved = std::cout.rdbuf(diagnostics.rdbuf());
    const bool ok = m_splitter->set_edge(UTIL::GID64(s), UTIL::GID64(d));
    std::cout.rdbuf(saved);
    std::ostringstream os;
    os << "edge " << src << " " << dst << ": ";
    if (!ok) {
        std::string text = diagnostics.str();
        for (char& c : text) c = c == '\n' ? ';' : c;
        os << "no block realises it (" << text << ")";
        return os.str();
    }
    NS_SYMBOL::SYM uid;
    m_splitter->get_uid(uid);
    os << "block=" << sym_text(uid) << " mux=" << m_splitter->get_mux_description()->get_pb().name()
       << " instance=" << mux_instance() << " path=" << m_splitter->get_ipath_index()
       << " input=" << sym_text(m_splitter->get_input_port()->get_name()) << " settings=";
    // A mux path that the annotations gave no settings needs none.
    if (m_splitter->get_ipath_index() >= m_splitter->get_tlattribute()->get_n_settings()) {
        os << "none";
        return os.str();
    }
    const UTIL::ISUBATTRIBUTE_SETTINGS& settings = *m_splitter->get_path_settings();
    const UTIL::ISUBATTRIBUTES& subs = *m_splitter->get_subattributes();
    for (uint32_t k = 0; k < settings.get_n_subattribute_settings(); ++k) {
        const UTIL::ISUBATTRIBUTE_SETTING& setting = settings.get_subattribute_setting(k);
        NS_SYMBOL::SYM value;
        setting.get_setting(value);
        if (k) os << ",";
        const int32_t sub = setting.get_subattribute_index();
        if (sub >= 0 && static_cast<uint32_t>(sub) < subs.get_n_subattributes()) {
            const std::vector<NS_SYMBOL::SYM>& names = subs.get_subattribute(sub).get_subpath();
            for (size_t n = 0; n < names.size(); ++n) os << (n ? "/" : "") << sym_text(names[n]);
        }
        os << "=" << sym_text(value);
    }
    return os.str();
}

// The path of the splitter's mux instance inside its block instance: a block holds several
// instances of one mux module, and their settings are told apart by it.
std::string QUERIES::mux_instance() {
    const UTIL::IHIERARCHY& hierarchy = *m_t.get_hierarchy();
    const uint64_t block = m_splitter->get_tlblocks()->get_tlnode(m_splitter->get_node());
    uint32_t instance = 0;
    const uint32_t module = hierarchy.get_instance_of_node(instance, block);
    m_path->clear();
    if (module == UTIL::IHIERARCHY::IMODULES::MODULE_INDEX_INVALID ||
        hierarchy.get_path(m_path.get(), m_splitter->get_node() - block, module) ==
            UTIL::IHIERARCHY::IMODULES::MODULE_INDEX_INVALID)
        return "?";
    std::ostringstream os;
    os << *m_path;
    return os.str().empty() ? "/" : os.str();
}

std::string QUERIES::stats() {
    std::vector<std::string> what(9);
    what[0] = "symbols=" + std::to_string(m_t.get_symbol_file()->get_external_to_internal().size());
    const UTIL::IHIERARCHY::IMODULES& modules = *m_t.get_modules();
    what[1] = "modules=" + std::to_string(modules.get_n_modules());
    what[2] =
        "descriptions=" + std::to_string(m_t.get_mux_descriptions()->get_n_mux_descriptions());
    const UTIL::ITLBLOCKS& tl = *m_t.get_tlblocks();
    size_t uids = 0;
    for (int32_t b = 0; b < tl.get_n_tlblocks(); ++b) {
        uids += tl.get_tlblock(static_cast<uint32_t>(b)).get_n_tlinstances();
    }
    what[3] = "blocks=" + std::to_string(tl.get_n_tlblocks()) + " uids=" + std::to_string(uids) +
              " attributes=" + std::to_string(tl.get_n_tlattributes());
    const PB::PORTMAPS& pm =
        dynamic_cast<const UTIL::PORTMAPS_BUILDER&>(*m_t.get_portmaps()).get_pb();
    size_t entries = 0;
    for (const auto& map : pm.portmaps()) {
        for (const auto& record : map.module_to_subnode_to_ports())
            entries += record.subnode_to_ports_size();
    }
    what[4] =
        "requests=" + std::to_string(pm.portmaps_size()) + " entries=" + std::to_string(entries);
    what[5] = "partitions=" + std::to_string(m_t.get_partitions()->get_n_partitions());
    uint32_t nx, ny, nz;
    m_t.get_gidmap()->get_dimensions(nx, ny, nz);
    what[6] = "grid=" + std::to_string(nx) + "x" + std::to_string(ny) + "x" + std::to_string(nz) +
              " types=" + std::to_string(m_t.get_gidmap()->get_gid_types().get_n_gid_types());
    what[7] = "resources=" + std::to_string(m_t.get_nodemap()->get_n_cnodes()) +
              " nodes=" + std::to_string(m_t.get_nodemap()->get_n_forward());
    size_t fedges = 0;
    const std::vector<uint32_t> cached = m_t.get_edgemap()->get_module_indexes();
    for (uint32_t m : cached) fedges += m_t.get_edgemap()->get_graph(m)->get_edges().size();
    what[8] = "modules=" + std::to_string(cached.size()) + " fedges=" + std::to_string(fedges);
    std::ostringstream os;
    int64_t start = 0;
    for (size_t s = 0; s < what.size(); ++s) {
        const int64_t end = s < m_section_ends.size() ? m_section_ends[s] : start;
        os << (s ? "\n" : "") << "stats section=\"" << SECTIONS[s] << "\" bytes=" << end - start
           << " " << what[s];
        start = end;
    }
    return os.str();
}

std::string QUERIES::answer(const std::string& line) {
    std::istringstream words(line);
    std::vector<std::string> w;
    for (std::string word; words >> word;) w.push_back(word);
    try {
        if (w.size() == 2 && w[0] == "gid") return gid_query(w[1]);
        if (w.size() == 2 && w[0] == "node") return node_query(w[1]);
        if (w.size() == 3 && w[0] == "edge") return edge_query(w[1], w[2]);
        if (w.size() == 1 && w[0] == "stats") return stats();
    } catch (const std::out_of_range& e) {
        return line + ": out of range (" + e.what() + ")";
    }
    return line + ": unknown query (gid TEXT, node PATH, edge GID GID, stats)";
}

int fail_usage(const std::string& text) {
    std::cerr << "fab_query: " << text << std::endl;
    return 2;
}

double ms_since(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
        .count();
}

// Reads the database and answers; returns the exit status. `loaded` is told once it reads.
int serve(std::istream& file, const std::string& db, uint32_t format,
          const std::vector<std::string>& query, int loaded) {
    const auto start = std::chrono::steady_clock::now();
    FAB::TRANSLATE translate;
    google::protobuf::io::IstreamInputStream input(&file);
    std::string failure;
    std::vector<int64_t> ends;
    // What the tables say while they read is no answer: it goes to standard error.
    std::streambuf* answers = std::cout.rdbuf(std::cerr.rdbuf());
    const bool read = translate.read_sections(&input, format, failure, &ends);
    std::cout.rdbuf(answers);
    if (!read) {
        std::cerr << "fab_query: " << db << ": " << failure << std::endl;
        return 1;
    }
    const char ok = 'R';
    if (write(loaded, &ok, 1) != 1) return 2;
    std::cerr << "fab_query: read " << db << " (" << (ends.empty() ? 0 : ends.back())
              << " bytes) in " << ms_since(start) << " ms" << std::endl;
    QUERIES queries(translate, ends);
    if (!query.empty()) {
        std::string line;
        for (const std::string& word : query) line += (line.empty() ? "" : " ") + word;
        std::cout << queries.answer(line) << std::endl;
        return 0;
    }
    for (std::string line; std::getline(std::cin, line);) {
        if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
        std::cout << queries.answer(line) << std::endl;
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    uint32_t format = UTIL::PB_BIN;
    std::string db;
    std::vector<std::string> query;
    for (int a = 1; a < argc; ++a) {
        const std::string arg = argv[a];
        if (db.empty() && (arg == "--help" || arg == "-h")) {
            std::cout << USAGE;
            return 0;
        }
        if (db.empty() && arg == "--format") {
            if (a + 1 >= argc) return fail_usage("--format needs bin or text");
            const std::string value = argv[++a];
            if (value != "bin" && value != "text") return fail_usage("bad --format: " + value);
            format = value == "bin" ? UTIL::PB_BIN : UTIL::PB_TXT;
        } else if (db.empty() && arg.rfind("--", 0) == 0) {
            return fail_usage("unknown option: " + arg);
        } else if (db.empty()) {
            db = arg;
        } else {
            query.push_back(arg);
        }
    }
    if (db.empty()) return fail_usage("no database given (see --help)");
    std::ifstream file(db, std::ios::in | std::ios::binary);
    if (!file) return fail_usage("cannot open " + db);

    // The tables' own readers end the process on a damaged section, so the reading runs in a
    // child; a child that ends before it has read the file means the file does not read.
    int pipe_fds[2];
    if (pipe(pipe_fds) != 0) return fail_usage("cannot make a pipe");
    std::cout.flush();
    const pid_t child = fork();
    if (child < 0) return fail_usage("cannot fork");
    if (child == 0) {
        close(pipe_fds[0]);
        const int status = serve(file, db, format, query, pipe_fds[1]);
        std::cout.flush();
        _exit(status);
    }
    close(pipe_fds[1]);
    char loaded = 0;
    const bool read_ok = read(pipe_fds[0], &loaded, 1) == 1 && loaded == 'R';
    int status = 0;
    waitpid(child, &status, 0);
    if (!read_ok) return 1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}
