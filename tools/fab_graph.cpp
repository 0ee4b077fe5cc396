// fab_graph: what a device engineer asks of a netlist graph file: its counts, its print
// forms, its id check, the first difference from another file, and the counts of the hybrid
// view of a netlist and a block-level graph paired through their annotations.
// Exit status: 0 done, 1 a check or a comparison found something, 2 bad arguments or input.
#include <chrono>
#include <cstddef>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "fab/tsl_fab.h"
#include "nlg/nlg_api_impl.h"
#include "nlg/nlg_graph.h"
#include "nlg/nlg_graph_compare.h"
#include "nlg/nlg_hierarchy.h"
#include "nlg/nlg_hybrid_graph.h"
#include "nlg/nlg_info.h"
#include "nlg_iannss.h"
#include "util/util_hierarchy.h"
#include "util/util_symbol.h"

namespace {

constexpr int EXIT_FOUND = 1;
constexpr int EXIT_BAD_INPUT = 2;

const char* const USAGE =
    "usage: fab_graph [--format text] COMMAND ARGUMENTS\n"
    "\n"
    "  info FILE                        counts of modules, ports, instances, nets and names\n"
    "  print FILE [--module NAME]       print form of the graph, or of one module\n"
    "  check FILE                       id check; exit 1 when it finds something\n"
    "  diff FILE FILE                   first difference; exit 1 when the graphs differ\n"
    "  hybrid RTL BLC RTL_ANN BLC_ANN   counts of the view of RTL with its BLC twins\n"
    "\n"
    "Files are framed binary unless --format text. A file that does not read, or a bad\n"
    "argument, ends with one line on standard error and exit status 2. Progress lines with\n"
    "their times go to standard error; results go to standard output.\n";

// A one-line complaint, and the exit status of bad input.
int fail(const std::string& message) {
    std::cerr << "fab_graph: " << message << std::endl;
    return EXIT_BAD_INPUT;
}

struct ARGUMENTS {
    int format = TESSEL_API::FORMAT_PB_BIN;
    std::string module;
    std::vector<std::string> words;  // the command and its files
};

// An empty result names what is wrong in `error`.
bool parse(int argc, char** argv, ARGUMENTS& args, std::string& error, bool& help) {
    for (int k = 1; k < argc; ++k) {
        const std::string word = argv[k];
        if (word == "--help" || word == "-h") {
            help = true;
        } else if (word == "--format" || word == "--module") {
            if (k + 1 >= argc) {
                error = "missing value after " + word;
                return false;
            }
            const std::string value = argv[++k];
            if (word == "--module") {
                args.module = value;
            } else if (value == "text") {
                args.format = TESSEL_API::FORMAT_PB_TXT;
            } else if (value == "binary") {
                args.format = TESSEL_API::FORMAT_PB_BIN;
            } else {
                error = "unknown format " + value + " (text or binary)";
                return false;
            }
        } else if (word.size() > 1 && word[0] == '-') {
            error = "unknown option " + word;
            return false;
        } else {
            args.words.push_back(word);
        }
    }
    return true;
}

// Milliseconds since construction, for the progress lines.
class STOPWATCH {
  public:
    long long elapsed_ms() const {
        return std::chrono::duration_cast<std::chrono::milliseconds>(
                   std::chrono::steady_clock::now() - m_start)
            .count();
    }

  private:
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

// The graphs and annotation sets of one invocation, and the tables they name with.
class SESSION {
  public:
    explicit SESSION(int format) : m_format(format) {}
    ~SESSION() {
        for (NLG_IANNSS* annss : m_annss) delete annss;
        for (NLG_IGRAPH* graph : m_graphs) delete graph;
    }

    // Null after a complaint; `table` null for a table of its own.
    NLG_GRAPH* read_graph(const std::string& path, UTIL::SYMBOL_TABLE* table) {
        STOPWATCH watch;
        std::ifstream in(path, std::ios::binary);
        if (!in) return complain("cannot open " + path);
        NLG_IGRAPH* graph = m_api.create_graph(table);
        m_graphs.push_back(graph);
        if (!m_api.read_graph(graph, in, m_format)) return complain("cannot read graph " + path);
        std::cerr << "fab_graph: read graph " << path << " : " << watch.elapsed_ms() << " ms"
                  << std::endl;
        return static_cast<NLG_GRAPH*>(graph);
    }

    NLG_IANNSS* read_annss(const std::string& path, NLG_IGRAPH* graph) {
        STOPWATCH watch;
        std::ifstream in(path, std::ios::binary);
        if (!in) return complain("cannot open " + path);
        NLG_IANNSS* annss = m_api.create_annss(graph);
        m_annss.push_back(annss);
        if (!m_api.read_annss(annss, in, m_format)) {
            return complain("cannot read annotations " + path);
        }
        std::cerr << "fab_graph: read annotations " << path << " : " << watch.elapsed_ms() << " ms"
                  << std::endl;
        return annss;
    }

  private:
    std::nullptr_t complain(const std::string& message) {
        fail(message);
        return nullptr;
    }

    int m_format;
    NLG_TESSEL m_api;
    std::vector<NLG_IGRAPH*> m_graphs;
    std::vector<NLG_IANNSS*> m_annss;
};

int run_info(SESSION& session, const std::vector<std::string>& files) {
    NLG_GRAPH* graph = session.read_graph(files[0], nullptr);
    if (!graph) return EXIT_BAD_INPUT;
    NLG_INFO(std::cout).print(*static_cast<NLG_IGRAPH*>(graph));
    return 0;
}

int run_print(SESSION& session, const std::vector<std::string>& files, const std::string& name) {
    NLG_GRAPH* graph = session.read_graph(files[0], nullptr);
    if (!graph) return EXIT_BAD_INPUT;
    if (name.empty()) {
        std::cout << *static_cast<NLG_IGRAPH*>(graph);
        return 0;
    }
    const NLG_IMODULE* module = graph->get_module(graph->get_symbol_table()->find(name));
    if (!module) return fail("no module " + name + " in " + files[0]);
    std::cout << *module << std::endl;
    return 0;
}

int run_check(SESSION& session, const std::vector<std::string>& files) {
    NLG_GRAPH* graph = session.read_graph(files[0], nullptr);
    if (!graph) return EXIT_BAD_INPUT;
    const bool ok = graph->check_ids();
    std::cout << "check_ids = " << (ok ? "true" : "false") << std::endl;
    return ok ? 0 : EXIT_FOUND;
}

// Symbols compare by value, so the second graph names with the first one's table.
int run_diff(SESSION& session, const std::vector<std::string>& files) {
    NLG_GRAPH* a = session.read_graph(files[0], nullptr);
    if (!a) return EXIT_BAD_INPUT;
    NLG_GRAPH* b = session.read_graph(files[1], a->get_symbol_table());
    if (!b) return EXIT_BAD_INPUT;
    const bool equal = compare_graphs(*a, *b, std::cout);
    std::cout << "equal = " << (equal ? "true" : "false") << std::endl;
    return equal ? 0 : EXIT_FOUND;
}

int run_hybrid(SESSION& session, const std::vector<std::string>& files) {
    NLG_GRAPH* rtl = session.read_graph(files[0], nullptr);
    if (!rtl) return EXIT_BAD_INPUT;
    NLG_GRAPH* blc = session.read_graph(files[1], nullptr);
    if (!blc) return EXIT_BAD_INPUT;
    NLG_IANNSS* rtl_annss = session.read_annss(files[2], rtl);
    if (!rtl_annss) return EXIT_BAD_INPUT;
    NLG_IANNSS* blc_annss = session.read_annss(files[3], blc);
    if (!blc_annss) return EXIT_BAD_INPUT;

    STOPWATCH watch;
    RTL_TO_BLC_MATCH match;
    match.init(rtl, blc, rtl_annss, blc_annss);
    std::unique_ptr<NLG_IGRAPH> hybrid(rtl->create_hybrid_graph(blc, &match));
    uint64_t n_matched = 0;
    uint64_t n_ports = 0;
    uint64_t n_instances = 0;
    for (uint32_t m = 0; m < hybrid->get_num_modules(); ++m) {
        const NLG_IMODULE* module = hybrid->get_module(static_cast<int32_t>(m));
        if (static_cast<const NLG_HYBRID_MODULE*>(module)->get_match()) ++n_matched;
        n_ports += module->get_num_ports();
        n_instances += module->get_num_instances();
    }
    NLG::HMODULES modules(hybrid.get());
    UTIL::HIERARCHY hierarchy(&modules);
    std::cerr << "fab_graph: hybrid view and its numbering : " << watch.elapsed_ms() << " ms"
              << std::endl;
    std::cout << "num modules = " << hybrid->get_num_modules() << std::endl;
    std::cout << "num matched modules = " << n_matched << std::endl;
    std::cout << "num ports = " << n_ports << std::endl;
    std::cout << "num instances = " << n_instances << std::endl;
    std::cout << "num nodes = " << hierarchy.get_num_nodes_64(0) << std::endl;
    return 0;
}

// The number of files each command takes.
int n_files(const std::string& command) {
    if (command == "info" || command == "print" || command == "check") return 1;
    if (command == "diff") return 2;
    if (command == "hybrid") return 4;
    return -1;
}

}  // namespace

int main(int argc, char** argv) {
    ARGUMENTS args;
    std::string error;
    bool help = false;
    if (!parse(argc, argv, args, error, help)) return fail(error);
    if (help) {
        std::cout << USAGE;
        return 0;
    }
    if (args.words.empty()) return fail("missing command; see --help");
    const std::string command = args.words[0];
    const int expected = n_files(command);
    if (expected < 0) return fail("unknown command " + command + "; see --help");
    const std::vector<std::string> files(args.words.begin() + 1, args.words.end());
    if (static_cast<int>(files.size()) != expected) {
        return fail(command + " takes " + std::to_string(expected) + " file(s), not " +
                    std::to_string(files.size()));
    }
    if (!args.module.empty() && command != "print") return fail("--module is for print only");

    SESSION session(args.format);
    if (command == "info") return run_info(session, files);
    if (command == "print") return run_print(session, files, args.module);
    if (command == "check") return run_check(session, files);
    if (command == "diff") return run_diff(session, files);
    return run_hybrid(session, files);
}
