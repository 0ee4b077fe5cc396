// FAB_IPOSITION, the single place that tells where an instance stands. Only its lifetime is
// declared so far; the positions arrive with the floorplan step of a run.
#pragma once

class FAB_IPOSITION {
  public:
    virtual ~FAB_IPOSITION() = default;
};
