// FAB::ITRANSLATE, the translation database as the caller sees it, and its builder face that a
// run fills. Only their lifetime and file face are declared so far; queries, builder
// operations and fab_create_translate arrive with the translation database.
#pragma once

#include "util/util_error.h"
#include "util/util_protobuf.h"

namespace FAB {

class ITRANSLATE : public UTIL::ISERIALIZABLE, public UTIL::IERROR {
  public:
    ~ITRANSLATE() override = default;
};

class ITRANSLATE_BUILDER : public ITRANSLATE {
  public:
    ~ITRANSLATE_BUILDER() override = default;
};

}  // namespace FAB
