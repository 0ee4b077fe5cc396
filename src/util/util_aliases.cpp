// The alias relation as a small state machine per node.
//  1. Declaring gives NEW_DRIVER or NEW_ALIAS. Connecting an alias to a driver stores the
//     driver's number as the alias's value and makes the driver SD_DRIVER.
//  2. When a second driver reaches a net, the net becomes a list of drivers (m_md_nets); its
//     drivers become MD_DRIVER, the aliases of each driver MD_ALIAS, all indexed by net.
//  3. A node only moves forward: NEW_DRIVER, SD_DRIVER, MD_DRIVER; NEW_ALIAS, driver, MD_ALIAS.
#include "util/util_aliases.h"

#include <algorithm>

#include "util/util_assert.h"
#include "util/util_indent.h"

namespace UTIL {

void ALIASES_BUILDER::check_node(uint64_t n) {
    UTIL_ASSERT((n != NEW_DRIVER) && (n != NEW_ALIAS) && (n != MD_ALIAS) && (n != MD_DRIVER) &&
                (n != SD_DRIVER) && (n != SD_ALIAS));
}

bool ALIASES_BUILDER::find_state(uint64_t node, uint64_t& state) const {
    const uint64_t* value = m_node_states.find(node);
    if (!value) return false;
    state = *value;
    return true;
}

// A stored driver's number reads as SD_ALIAS; the named states read as themselves.
static uint64_t state_kind(uint64_t value) {
    return value < ALIASES_BUILDER::MD_DRIVER ? ALIASES_BUILDER::SD_ALIAS : value;
}

bool ALIASES_BUILDER::add_driver(uint64_t node, uint64_t* state) {
    check_node(node);
    const uint64_t value = *m_node_states.emplace(node, NEW_DRIVER).first;
    if (value != NEW_DRIVER && value != SD_DRIVER && value != MD_DRIVER) return false;
    if (state != nullptr) *state = value;
    return true;
}

bool ALIASES_BUILDER::add_alias(uint64_t node, uint64_t* state) {
    check_node(node);
    const uint64_t kind = state_kind(*m_node_states.emplace(node, NEW_ALIAS).first);
    if (kind != NEW_ALIAS && kind != MD_ALIAS && kind != SD_ALIAS) return false;
    if (state != nullptr) *state = kind;
    return true;
}

// The two values are read through pointers into the table; the branches that insert into it
// (add_md_driver) use neither pointer afterwards.
bool ALIASES_BUILDER::add_connection(uint64_t alias, uint64_t driver) {
    uint64_t* alias_state = m_node_states.find(alias);
    uint64_t* driver_state = m_node_states.find(driver);
    if (!alias_state || !driver_state) return false;
    uint64_t a = state_kind(*alias_state);
    uint64_t d = state_kind(*driver_state);
    if (a != NEW_ALIAS && a != SD_ALIAS && a != MD_ALIAS) return false;
    if (d == NEW_DRIVER || d == SD_DRIVER) {
        if (a == NEW_ALIAS) {
            *alias_state = driver;
            if (d == NEW_DRIVER) *driver_state = SD_DRIVER;
            m_sd_driver_to_aliases.emplace(driver, alias);
        } else if (a == SD_ALIAS) {
            // Two drivers meet: the alias's old driver founds the net, the new one joins it.
            uint32_t net = add_md_driver(NET_NEW, *alias_state);
            add_md_driver(net, driver);
        } else {
            add_md_driver(at_key(m_node_to_md_net, alias), driver);
        }
        return true;
    }
    if (d == MD_DRIVER) {
        uint32_t net = at_key(m_node_to_md_net, driver);
        if (a == NEW_ALIAS) {
            // The alias is indexed by the net as a driver would be, without joining its list.
            *alias_state = MD_DRIVER;
            m_node_to_md_net.emplace(alias, net);
            return true;
        }
        if (a == SD_ALIAS) {
            add_md_driver(net, *alias_state);
            return true;
        }
        return false;
    }
    return false;
}

uint32_t ALIASES_BUILDER::add_md_driver(uint32_t net, uint64_t driver) {
    uint32_t index = net;
    if (net == NET_NEW) {
        index = static_cast<uint32_t>(m_md_nets.size());
        m_md_nets.emplace_back(new std::vector<uint64_t>(1, driver));
    } else {
        at(m_md_nets, net)->push_back(driver);
    }
    auto p = m_node_to_md_net.emplace(driver, index);
    UTIL_ASSERT(p.second);
    set_state(driver, MD_DRIVER);
    auto aliases = m_sd_driver_to_aliases.equal_range(driver);
    for (auto it = aliases.first; it != aliases.second; ++it) {
        auto p2 = m_node_to_md_net.emplace(it->second, index);
        UTIL_ASSERT(p2.second);
        set_state(it->second, MD_ALIAS);
    }
    m_sd_driver_to_aliases.erase(aliases.first, aliases.second);
    return index;
}

uint64_t ALIASES_BUILDER::get_driver(uint64_t node) const {
    const uint64_t* state = m_node_states.find(node);
    if (!state) return static_cast<uint64_t>(-1);
    const uint64_t value = *state;
    if (value == NEW_DRIVER || value == SD_DRIVER) return node;
    if (value == MD_DRIVER || value == MD_ALIAS) {
        return at(m_md_nets, at_key(m_node_to_md_net, node))->front();
    }
    return value;
}

bool ALIASES_BUILDER::is_multi_driver(uint64_t node) const {
    const uint64_t* state = m_node_states.find(node);
    return state && (*state == MD_DRIVER || *state == MD_ALIAS);
}

const std::vector<uint64_t>& ALIASES_BUILDER::get_drivers(uint64_t node) const {
    const uint64_t* state = m_node_states.find(node);
    const uint64_t node_type = state ? *state : NEW_DRIVER;
    UTIL_ASSERT((node_type == MD_DRIVER) || (node_type == MD_ALIAS));
    return *at(m_md_nets, at_key(m_node_to_md_net, node));
}

// Hash order is not stable across library versions: the print form sorts.
template <class PAIRS>
static std::vector<std::pair<uint64_t, uint64_t>> sorted(const PAIRS& pairs) {
    std::vector<std::pair<uint64_t, uint64_t>> result(pairs.begin(), pairs.end());
    std::sort(result.begin(), result.end());
    return result;
}

std::ostream& operator<<(std::ostream& os, const ALIASES_BUILDER& aliases) {
    INDENT guard(os, 3);
    std::vector<std::pair<uint64_t, uint64_t>> states;
    states.reserve(aliases.m_node_states.size());
    aliases.m_node_states.for_each(
        [&states](uint64_t node, uint64_t state) { states.emplace_back(node, state); });
    std::sort(states.begin(), states.end());
    auto sd_pairs = sorted(aliases.m_sd_driver_to_aliases);
    os << "ALIASES_BUILDER {" << std::endl << indent;
    os << "new aliases: {";
    for (const auto& entry : states) {
        if (entry.second == ALIASES_BUILDER::NEW_ALIAS) os << entry.first << " ";
    }
    os << "} " << std::endl;
    os << "singlely driven nets: ";
    for (const auto& entry : states) {
        if (entry.second != ALIASES_BUILDER::NEW_DRIVER &&
            entry.second != ALIASES_BUILDER::SD_DRIVER) {
            continue;
        }
        auto first = std::lower_bound(sd_pairs.begin(), sd_pairs.end(),
                                      std::make_pair(entry.first, uint64_t(0)));
        if (first == sd_pairs.end() || first->first != entry.first) continue;
        os << "(" << entry.first << ")"
           << " { ";
        for (auto it = first; it != sd_pairs.end() && it->first == entry.first; ++it) {
            os << it->second << " ";
        }
        os << entry.first << " } ";
    }
    os << std::endl;
    os << "multiply driven nets: ";
    auto net_members = sorted(aliases.m_node_to_md_net);
    for (size_t net = 0; net < aliases.m_md_nets.size(); ++net) {
        os << "(";
        for (uint64_t driver : *aliases.m_md_nets[net]) os << driver << " ";
        os << ") {";
        for (const auto& member : net_members) {
            if (member.second == net) os << member.first << " ";
        }
        os << "}";
    }
    os << std::endl;
    os << "sd_driver_to_aliases: ";
    for (const auto& pair : sd_pairs) os << pair.first << "->" << pair.second << " ";
    os << std::endl;
    os << outdent << "}" << std::endl;
    return os;
}

}  // namespace UTIL
