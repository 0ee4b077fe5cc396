// Exported indent interface: the caller installs the library's indenting filter on a stream
// to print the library's objects with nested structure and a chosen detail level.
#pragma once

#include <iosfwd>

#include "fab_export.h"

namespace UTIL {

class FAB_EXPORT IINDENT {
  public:
    virtual ~IINDENT() = default;
    virtual void set_detail(int detail) = 0;
    virtual int get_detail() = 0;
};

}  // namespace UTIL

// A new filter with a step of three blanks on the stream; deleting it restores the stream.
FAB_EXPORT UTIL::IINDENT* util_create_indent(std::ostream& os);
