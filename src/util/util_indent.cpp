// The indenting stream filter, its manipulators and the process-wide log-level table.
#include "util/util_indent.h"

#include <iostream>

namespace UTIL {

INDENT::INDENT(std::ostream& os, int step_width)
    : m_sink(os.rdbuf()), m_step(static_cast<size_t>(step_width), ' ') {
    // Nested guards share the installed filter, so depth and detail carry through.
    if (dynamic_cast<INDENT*>(os.rdbuf()) != nullptr) return;
    m_owner = &os;
    os.rdbuf(this);
}

INDENT::~INDENT() {
    if (m_owner != nullptr) m_owner->rdbuf(m_sink);
}

INDENT::int_type INDENT::overflow(int_type c) {
    if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
    const bool newline = traits_type::to_char_type(c) == '\n';
    if (m_at_line_start && !newline) {
        for (int i = 0; i < m_depth; ++i) m_sink->sputn(m_step.data(), m_step.size());
    }
    m_at_line_start = newline;
    return m_sink->sputc(traits_type::to_char_type(c));
}

int INDENT::sync() {
    return m_sink->pubsync();
}

INDENT* get_indent(std::ostream& os) {
    return dynamic_cast<INDENT*>(os.rdbuf());
}

bool has_indent(std::ostream& os) {
    return get_indent(os) != nullptr;
}

std::ostream& indent(std::ostream& os) {
    if (INDENT* f = get_indent(os)) f->indent();
    return os;
}

std::ostream& outdent(std::ostream& os) {
    if (INDENT* f = get_indent(os)) f->outdent();
    return os;
}

int get_detail(std::ostream& os) {
    INDENT* f = get_indent(os);
    return f != nullptr ? f->get_detail() : 1;
}

void set_detail(std::ostream& os, int detail) {
    if (INDENT* f = get_indent(os)) f->set_detail(detail);
}

std::ostream& detail_0(std::ostream& os) {
    return set_detail(os, 0), os;
}
std::ostream& detail_1(std::ostream& os) {
    return set_detail(os, 1), os;
}
std::ostream& detail_2(std::ostream& os) {
    return set_detail(os, 2), os;
}
std::ostream& detail_3(std::ostream& os) {
    return set_detail(os, 3), os;
}

bool get_symbol_detail(std::ostream& os) {
    INDENT* f = get_indent(os);
    return f != nullptr && f->get_symbol_detail();
}

void set_symbol_detail(std::ostream& os, bool flag) {
    if (INDENT* f = get_indent(os)) f->set_symbol_detail(flag);
}

std::ostream& symbol_detail(std::ostream& os) {
    return set_symbol_detail(os, true), os;
}

const char* const LOG_LEVELS::NAMES[6] = {"NEVER", "E", "W", "I", "V", "ALWAYS"};

LOG_LEVELS& log_levels(std::ostream* out) {
    static LOG_LEVELS s_levels{2, out != nullptr ? out : &std::cout};
    return s_levels;
}

}  // namespace UTIL

UTIL::IINDENT* util_create_indent(std::ostream& os) {
    return new UTIL::INDENT_API(os);
}
