// UTIL::INDENT, the stream-buffer filter under every print form: it indents each line by the
// current depth and carries the detail level and the symbol-detail flag of the stream.
// The manipulators act on the INDENT installed on a stream and do nothing without one.
#pragma once

#include <ostream>
#include <streambuf>
#include <string>

#include "util_indent_api.h"

namespace UTIL {

class INDENT : public std::streambuf {
  public:
    // Installs itself on the stream unless the stream already has an INDENT, in which case
    // it only holds the existing one as its sink and leaves the stream alone.
    INDENT(std::ostream& os, int step_width);
    ~INDENT() override;

    virtual void indent() { ++m_depth; }
    virtual void outdent() { --m_depth; }
    virtual int get_detail() { return m_detail; }
    virtual void set_detail(int detail) { m_detail = detail; }
    virtual bool get_symbol_detail() { return m_symbol_detail; }
    virtual void set_symbol_detail(bool flag) { m_symbol_detail = flag; }

  protected:
    int_type overflow(int_type c) override;
    int sync() override;

  private:
    std::streambuf* m_sink;
    int m_depth = 0;
    bool m_at_line_start = true;
    std::string m_step;
    std::ostream* m_owner = nullptr;
    int m_detail = 1;
    bool m_symbol_detail = false;
};

class INDENT_API : public IINDENT {
  public:
    explicit INDENT_API(std::ostream& os) : m_indent(os, 3) {}
    void set_detail(int detail) override { m_indent.set_detail(detail); }
    int get_detail() override { return m_indent.get_detail(); }

  private:
    INDENT m_indent;
};

INDENT* get_indent(std::ostream& os);
bool has_indent(std::ostream& os);

std::ostream& indent(std::ostream& os);
std::ostream& outdent(std::ostream& os);
int get_detail(std::ostream& os);
void set_detail(std::ostream& os, int detail);
std::ostream& detail_0(std::ostream& os);
std::ostream& detail_1(std::ostream& os);
std::ostream& detail_2(std::ostream& os);
std::ostream& detail_3(std::ostream& os);
bool get_symbol_detail(std::ostream& os);
void set_symbol_detail(std::ostream& os, bool flag);
std::ostream& symbol_detail(std::ostream& os);

// The process-wide table of log levels: "NEVER", "E", "W", "I", "V", "ALWAYS", current 2.
struct LOG_LEVELS {
    static const char* const NAMES[6];
    int m_level = 2;
    std::ostream* m_out;
};
LOG_LEVELS& log_levels(std::ostream* out = nullptr);

}  // namespace UTIL
