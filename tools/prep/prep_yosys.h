// PREP_YOSYS: runs yosys on Verilog files and has it write its JSON netlist: cell libraries read
// as blackboxes, the hierarchy checked and never flattened. It owns the script and the run of the
// program, not what the JSON says; a rejected input is yosys's own message in the error record.
#pragma once

#include <string>
#include <vector>

#include "util/util_error.h"

struct PREP_YOSYS_JOB {
    std::vector<std::string> m_libraries;  // read with -lib: their modules are blackboxes
    std::vector<std::string> m_sources;
    // The top of the hierarchy; empty with m_auto_top asks yosys to find it, empty without it
    // checks a view of several roots.
    std::string m_top;
    bool m_auto_top = false;
    std::string m_json;  // the file to write
    // Folder that yosys runs in, so that file names (and the source places in the JSON) stay
    // relative to it; empty is the current folder.
    std::string m_directory;
};

class PREP_YOSYS {
  public:
    explicit PREP_YOSYS(std::string program = "yosys") : m_program(std::move(program)) {}

    // The yosys script of a job; false with the error record set when a file name cannot go
    // into a script.
    bool script(const PREP_YOSYS_JOB& job, std::string* text);
    // Runs yosys; false with its message (its ERROR lines, else its last line) when it fails.
    bool run(const PREP_YOSYS_JOB& job);
    // Whether the program can be started at all.
    bool available();

    const UTIL::IERROR::ERROR& get_error() const { return m_error; }

  private:
    // Runs the program with the arguments; its exit status, -1 when it could not start.
    int execute(const std::vector<std::string>& arguments, const std::string& directory,
                std::string* output);

    std::string m_program;
    UTIL::IERROR::ERROR m_error;
};
