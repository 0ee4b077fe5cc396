// NLG_IANNSS, the set of annotation records beside one netlist graph, answered by graph object,
// and NLG_IANNS_TEMPLATE, one kind of record seen through graph objects. A record is found by
// the low 24 bits of the object's id. The store owns the records; the graph is not owned.
#pragma once

#include "nlg_igraph.h"
#include "util/util_error.h"

namespace PB {
class ICDB;
class ICDB_MODULE;
class ICDB_INSTANCE;
class ICDB_APORT;
class ICDB_NET;
class ICDB_GRAPH;
class FAB;
class FAB_MODULE;
class FAB_INSTANCE;
class FAB_APORT;
class FAB_NET;
class FAB_GRAPH;
class NAMED_ANNSS;
}  // namespace PB

template <class ANN, class MODULE, class INSTANCE, class PORT, class NET, class GRAPH>
class NLG_IANNS_TEMPLATE {
  public:
    virtual ~NLG_IANNS_TEMPLATE() = default;
    virtual GRAPH& get_graph() = 0;
    virtual NET& get_net(const NLG_INET& net) = 0;
    virtual PORT& get_port(const NLG_IPORT& port) = 0;
    virtual INSTANCE& get_instance(const NLG_IINSTANCE& instance) = 0;
    virtual MODULE& get_module(const NLG_IMODULE& module) = 0;
};

using NLG_ICDB_ANNS = NLG_IANNS_TEMPLATE<PB::ICDB, PB::ICDB_MODULE, PB::ICDB_INSTANCE,
                                         PB::ICDB_APORT, PB::ICDB_NET, PB::ICDB_GRAPH>;
using NLG_FAB_ANNS = NLG_IANNS_TEMPLATE<PB::FAB, PB::FAB_MODULE, PB::FAB_INSTANCE, PB::FAB_APORT,
                                        PB::FAB_NET, PB::FAB_GRAPH>;

class NLG_IANNSS {
  public:
    virtual ~NLG_IANNSS() = default;
    // Types are the values of PB.ANNS.TYPE.
    virtual void add_type(int type) = 0;
    virtual bool has_type(int type) const = 0;
    virtual NLG_ICDB_ANNS& get_icdb() = 0;
    virtual NLG_FAB_ANNS& get_fab() = 0;
    // The records of the whole graph keyed by names, and back.
    virtual bool write_named(PB::NAMED_ANNSS* out) = 0;
    virtual bool read_named(const PB::NAMED_ANNSS& in) = 0;
    virtual UTIL::IERROR::ERROR& get_error() = 0;
};
