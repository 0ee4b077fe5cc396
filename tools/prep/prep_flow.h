// PREP_FLOW: the preparation of one device folder, stage by stage, from its Verilog and hand-kept
// files to the four files a run reads (rtl.graph, rtl.ann, blc.graph, blc.ann). It owns the
// graphs and annotation sets while it runs; the library does the work of each stage. Progress and
// the passes' own messages go to the standard output; a failure is one line in get_message().
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "prep/prep_json_import.h"
#include "prep/prep_yosys.h"

class NLG_GRAPH;
class NLG_ANNSS;

struct PREP_OPTIONS {
    std::string m_dir;
    std::string m_top;                   // top of rtl.v; empty: the root yosys finds
    std::string m_yosys = "yosys";       // the program to run
    std::vector<std::string> m_sectors;  // sector modules; empty: sector_modules of device.json
    std::string m_digest;                // where to write the digest of the annotations, or empty
};

class PREP_FLOW {
  public:
    // Exit statuses of run().
    enum STATUS { DONE = 0, REJECTED = 1, UNREADABLE = 2 };

    // One view: yosys writes its JSON, which becomes a graph with its annotation set.
    struct VIEW {
        VIEW(const char* label, PREP_YOSYS_JOB job, PREP_JSON_IMPORT::TOP_RULE rule);
        VIEW(VIEW&&) noexcept;
        ~VIEW();

        const char* m_label;
        PREP_YOSYS_JOB m_job;
        PREP_JSON_IMPORT::TOP_RULE m_rule;
        std::unique_ptr<NLG_GRAPH> m_graph;
        std::unique_ptr<NLG_ANNSS> m_annss;
        PREP_IMPORT_COUNTS m_counts;
        std::vector<PREP_MUX_CELL> m_mux_cells;
        uint64_t m_yosys_ms = 0;
        uint64_t m_import_ms = 0;
    };

    explicit PREP_FLOW(PREP_OPTIONS options);
    ~PREP_FLOW();

    // Every stage in order; stops at the first failure.
    STATUS run();

    const std::string& get_message() const { return m_message; }
    const VIEW& get_rtl() const { return m_rtl; }
    const VIEW& get_blc() const { return m_blc; }
    // One line of counts and times for scripts.
    std::string summary() const;

  private:
    bool fail(STATUS status, const std::string& message);
    std::string path(const std::string& name) const { return m_options.m_dir + "/" + name; }
    bool check_inputs();
    bool run_yosys(VIEW& view);
    bool import(VIEW& view);
    bool check_blc_buses();
    bool translate_muxes();
    bool annotate();
    bool store_placements();
    bool read_sectors(std::vector<uint32_t>* sectors);
    bool write_view(VIEW& view);
    bool write_digest();

    PREP_OPTIONS m_options;
    VIEW m_rtl;
    VIEW m_blc;
    STATUS m_status = DONE;
    std::string m_message;
    uint64_t m_placements = 0;
};
