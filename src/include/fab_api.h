// FAB::API, the front door of a run, and fab_create, which makes one. The caller owns the API
// object and what its create_ operations return; the API object owns what it reads and a
// translate object given to it. The floorplan and the routing graph are declared elsewhere.
#pragma once

#include <istream>

#include "fab_export.h"

class TESSEL_API;

namespace FAB {

class FLOORPLAN;
class ROUTING_GRAPH;
class ITRANSLATE;

class FAB_EXPORT API {
  public:
    virtual ~API();
    virtual const char* get_version() = 0;
    virtual void read_rtl_graph(std::istream& stream) = 0;
    virtual void read_rtl_annotation(std::istream& stream) = 0;
    virtual void read_blc_graph(std::istream& stream) = 0;
    virtual void read_blc_annotation(std::istream& stream) = 0;
    virtual FLOORPLAN* create_floorplan() = 0;
    virtual ROUTING_GRAPH* create_routing_graph() = 0;
};

}  // namespace FAB

// A null api makes a default one that is never deleted; the translate object, when given, is
// deleted with the API object.
FAB_EXPORT FAB::API* fab_create(TESSEL_API* api, FAB::ITRANSLATE* translate, bool enable_timers);
