// NLG_FILELINE: a source place packed in 32 bits, file number 31..20 (an index into the
// graph's filename table) and line 19..0. It does not own the filename table.
#pragma once

#include <cstdint>

#include "nlg_igraph.h"

class NLG_FILELINE : public NLG_IFILELINE {
  public:
    static constexpr uint32_t MAX_FILE = 0xFFFu;
    static constexpr uint32_t MAX_LINE = 0xFFFFFu;

    NLG_FILELINE() : m_value(0) {}
    explicit NLG_FILELINE(uint32_t value) : m_value(value) {}
    NLG_FILELINE(uint32_t file, uint32_t line) : m_value(0) { set(file, line); }

    void set(uint32_t file, uint32_t line);
    uint32_t get_file_number() const { return m_value >> 20; }
    uint32_t get_value() const { return m_value; }

    NS_SYMBOL::SYM get_file(const NLG_GRAPH& graph) const override;
    uint32_t get_line() const override { return m_value & MAX_LINE; }

  private:
    uint32_t m_value;
};
