// ICDB::IINSTANCE_TREE, the map from hierarchy node to flat placement record. Only its lifetime
// is declared so far; the table arrives with the floorplan step of a run.
#pragma once

namespace ICDB {

class IINSTANCE_TREE {
  public:
    virtual ~IINSTANCE_TREE() = default;
};

}  // namespace ICDB
