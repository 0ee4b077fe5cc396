// NLG_IINSTANCE_PATHS: names a place in the unfolded netlist by the chain of instance names from
// the top module, resolved by name on demand. It owns nothing of the graph; the paths it
// creates belong to the caller. The implementation lives in nlg/nlg_instance_tree.
#pragma once

#include <iosfwd>
#include <string>

#include "fab_export.h"
#include "nlg_igraph.h"
#include "util/util_typedtree.h"

class NLG_IINSTANCE_PATHS {
  public:
    // Instance names from the top module, outermost first.
    class IPATH : public NS_SYMBOL::PATH {};

    virtual ~NLG_IINSTANCE_PATHS();
    // A new empty path, owned by the caller.
    virtual IPATH* create_path() const = 0;
    // The last instance of the path, or null when the path is empty or a name is not found.
    virtual NLG_IINSTANCE* get_instance(const IPATH& path) const = 0;
    // "top:[def:inst/def:inst]", with "/NULL:name" for the first name that is not found.
    virtual std::string to_string(const IPATH& path) const = 0;
};

// The names of the path joined by "/".
FAB_EXPORT std::ostream& operator<<(std::ostream& os, const NLG_IINSTANCE_PATHS::IPATH& path);
