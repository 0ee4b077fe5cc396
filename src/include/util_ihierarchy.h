// UTIL::IHIERARCHY, the abstract occurrence numbering under all node-based tables, and the
// abstract description it reads. Only what the netlist graph and the run object name is
// declared so far; the numbering itself and its description arrive with the hierarchy.
#pragma once

namespace UTIL {

class IHIERARCHY {
  public:
    // The module description (names of modules, instances and ports) that a hierarchy reads.
    class IMODULES {
      public:
        virtual ~IMODULES() = default;
    };
    // A place in the hierarchy: a stack of instance indexes, a port and a base module.
    class IPATH {
      public:
        virtual ~IPATH() = default;
    };

    virtual ~IHIERARCHY() = default;
};

}  // namespace UTIL
