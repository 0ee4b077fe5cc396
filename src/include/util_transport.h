// Exported transports: a stream together with the format of the messages on it
// (0 binary, 1 text). They are handed to the caller; nothing inside the library reads them.
#pragma once

#include <cstdint>
#include <istream>
#include <ostream>

#include "fab_export.h"

namespace UTIL {

enum FORMAT : uint32_t { PB_BIN = 0, PB_TXT = 1 };

class FAB_EXPORT ITRANSPORT {
  public:
    virtual ~ITRANSPORT() = default;
    virtual void set_format(uint32_t format) = 0;
    virtual uint32_t get_format() = 0;
};

class FAB_EXPORT ITRANSPORT_IN : public ITRANSPORT {
  public:
    explicit ITRANSPORT_IN(std::istream& stream) : m_stream(stream) {}
    std::istream& get_stream() { return m_stream; }

  protected:
    std::istream& m_stream;
};

class FAB_EXPORT ITRANSPORT_OUT : public ITRANSPORT {
  public:
    explicit ITRANSPORT_OUT(std::ostream& stream) : m_stream(stream) {}
    std::ostream& get_stream() { return m_stream; }

  protected:
    std::ostream& m_stream;
};

}  // namespace UTIL

FAB_EXPORT UTIL::ITRANSPORT_IN* util_create_transport_in(std::istream& stream);
FAB_EXPORT UTIL::ITRANSPORT_OUT* util_create_transport_out(std::ostream& stream);
