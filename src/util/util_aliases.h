// Aliases: which hierarchy node finally drives each node. Nodes are declared as drivers or
// aliases and then connected; a net with one driver keeps its aliases by driver, a net with
// several drivers keeps the list of its drivers. Applying the relation is the node map's job.
#pragma once

#include <cstdint>
#include <memory>
#include <ostream>
#include <unordered_map>
#include <vector>

#include "util/util_hash64.h"

namespace UTIL {

class IHIERARCHY;

class IALIASES {
  public:
    virtual ~IALIASES() = default;
    // The node's driver, the node itself for a driver, -1 for an unknown node and -2 for an
    // alias never connected.
    virtual uint64_t get_driver(uint64_t node) const = 0;
    virtual bool is_multi_driver(uint64_t node) const = 0;
    virtual const std::vector<uint64_t>& get_drivers(uint64_t node) const = 0;
};

class IALIASES_BUILDER : public IALIASES {
  public:
    virtual void set_hierarchy(const IHIERARCHY* hierarchy) = 0;
    virtual bool add_driver(uint64_t node, uint64_t* state = nullptr) = 0;
    virtual bool add_alias(uint64_t node, uint64_t* state = nullptr) = 0;
    virtual bool add_connection(uint64_t alias, uint64_t driver) = 0;
};

class ALIASES_BUILDER : public IALIASES_BUILDER {
  public:
    // The top six node values are states; any other stored value is a driver's number.
    static constexpr uint64_t NEW_DRIVER = static_cast<uint64_t>(-1);
    static constexpr uint64_t NEW_ALIAS = static_cast<uint64_t>(-2);
    static constexpr uint64_t SD_DRIVER = static_cast<uint64_t>(-3);
    static constexpr uint64_t SD_ALIAS = static_cast<uint64_t>(-4);
    static constexpr uint64_t MD_ALIAS = static_cast<uint64_t>(-5);
    static constexpr uint64_t MD_DRIVER = static_cast<uint64_t>(-6);
    static constexpr uint32_t NET_NEW = static_cast<uint32_t>(-1);

    uint64_t get_driver(uint64_t node) const override;
    bool is_multi_driver(uint64_t node) const override;
    const std::vector<uint64_t>& get_drivers(uint64_t node) const override;

    void set_hierarchy(const IHIERARCHY* hierarchy) override { m_hierarchy = hierarchy; }
    bool add_driver(uint64_t node, uint64_t* state = nullptr) override;
    bool add_alias(uint64_t node, uint64_t* state = nullptr) override;
    bool add_connection(uint64_t alias, uint64_t driver) override;

    // Adds a driver to a net (NET_NEW: a new net) and moves the driver's aliases onto it.
    uint32_t add_md_driver(uint32_t net, uint64_t driver);

    // The stored value of a node, or nothing for an unknown node.
    bool find_state(uint64_t node, uint64_t& state) const;

    friend std::ostream& operator<<(std::ostream& os, const ALIASES_BUILDER& aliases);

  private:
    static void check_node(uint64_t n);
    // Stores the value, inserting the node if it is new.
    void set_state(uint64_t node, uint64_t value) {
        *m_node_states.emplace(node, value).first = value;
    }

    const IHIERARCHY* m_hierarchy = nullptr;
    // Every node the run declares has a state, and each mux output and RE is asked for several
    // times: a flat table keeps a look-up to one array.
    HASH64_MAP<uint64_t> m_node_states;
    std::unordered_multimap<uint64_t, uint64_t> m_sd_driver_to_aliases;
    std::vector<std::unique_ptr<std::vector<uint64_t>>> m_md_nets;
    std::unordered_map<uint64_t, uint32_t> m_node_to_md_net;
};

std::ostream& operator<<(std::ostream& os, const ALIASES_BUILDER& aliases);

}  // namespace UTIL
