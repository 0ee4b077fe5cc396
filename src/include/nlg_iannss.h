// NLG_IANNSS, the set of annotation records beside a netlist graph (one record per module,
// instance, port and net). Only its lifetime is declared so far; the records and their file
// arrive with the annotation store.
#pragma once

class NLG_IANNSS {
  public:
    virtual ~NLG_IANNSS() = default;
};
