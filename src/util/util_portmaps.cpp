// Port map tables.
//  1. set_specifications indexes the specifications by name: the name's symbol in the table of
//     the hierarchy's modules, so two names unknown to that table collide.
//  2. add_portmaps (or a read) links map i to request i: per map, parent module to child
//     subnode to the parent's ports; repeated keys keep the first.
//  3. The file is the whole PB.PORTMAPS message in one frame.
#include "util/util_portmaps.h"

#include <google/protobuf/io/zero_copy_stream_impl.h>
#include <google/protobuf/text_format.h>

#include <memory>
#include <set>

#include "mux.pb.h"
#include "util/util_assert.h"
#include "util/util_indent.h"
#include "util/util_mux_descriptions.h"
#include "util/util_symbol.h"
#include "util/util_symbol_file.h"
#include "util/util_tlblocks.h"

namespace UTIL {

using PORTMAP_PB = PB::PORTMAPS::PORTMAP;

void PORTMAP_BUILDER::set_portmap(const PORTMAP_PB* portmap) {
    m_portmap = portmap;
    for (const PORTMAP_PB::MODULE_TO_SUBNODE_TO_PORTS& module :
         portmap->module_to_subnode_to_ports()) {
        std::unordered_map<uint64_t, const PORTMAP_PB::PORTS*> subnode_to_ports;
        for (const PORTMAP_PB::SUBNODE_TO_PORTS& entry : module.subnode_to_ports()) {
            // An unset parent_ports reads as the default instance, which is what the getter gives.
            subnode_to_ports.emplace(static_cast<uint64_t>(entry.child_subnode()),
                                     &entry.parent_ports());
        }
        m_module_to_ports.emplace(static_cast<uint32_t>(module.parent_module_index()),
                                  std::move(subnode_to_ports));
    }
}

const PORTMAP_PB::PORTS* PORTMAP_BUILDER::get_ports(uint32_t parent_module_index,
                                                    uint64_t child_subnode) const {
    auto module = m_module_to_ports.find(parent_module_index);
    if (module == m_module_to_ports.end()) return nullptr;
    auto ports = module->second.find(child_subnode);
    return ports == module->second.end() ? nullptr : ports->second;
}

void PORTMAPS_BUILDER::set_specifications(const PB::PORTMAPS::SPECIFICATIONS& specifications) {
    *m_portmaps.mutable_specifications() = specifications;
    index_specifications();
}

void PORTMAPS_BUILDER::index_specifications() {
    const SYMBOL_TABLE* table = m_hierarchy->get_modules()->get_symbol_table();
    const auto& specs = m_portmaps.specifications().specs();
    m_portmap_builders = std::vector<PORTMAP_BUILDER>(static_cast<size_t>(specs.size()));
    m_name_to_index.clear();
    for (int i = 0; i < specs.size(); ++i) {
        SYM symbol = table->find(specs.Get(i).name());
        auto p = m_name_to_index.emplace(symbol.get_value(), i);
        UTIL_ASSERT(p.second);
    }
}

int32_t PORTMAPS_BUILDER::find_specification(SYM name) const {
    auto it = m_name_to_index.find(name.get_value());
    return it == m_name_to_index.end() ? m_invalid_index : it->second;
}

const IPORTMAP& PORTMAPS_BUILDER::get_portmap(int32_t index) const {
    return at(m_portmap_builders, static_cast<size_t>(index));
}

void PORTMAPS_BUILDER::add_portmaps(const std::vector<PORTMAP_PB>& portmaps) {
    for (const PORTMAP_PB& portmap : portmaps) *m_portmaps.add_portmaps() = portmap;
    link_portmaps();
}

void PORTMAPS_BUILDER::link_portmaps() {
    UTIL_ASSERT((int)m_portmap_builders.size() == m_portmaps.portmaps_size());
    for (int i = 0; i < m_portmaps.portmaps_size(); ++i) {
        m_portmap_builders[static_cast<size_t>(i)].set_portmap(&m_portmaps.portmaps(i));
    }
}

bool PORTMAPS_BUILDER::write(std::ostream& output, uint32_t format) {
    m_symbol_file->message_internal_to_external(&m_portmaps);
    return write_message(m_portmaps, output, format);
}

bool PORTMAPS_BUILDER::read(std::istream& input, uint32_t format) {
    google::protobuf::io::IstreamInputStream zero_copy(&input);
    return read_stream(&zero_copy, format);
}

bool PORTMAPS_BUILDER::read_stream(google::protobuf::io::ZeroCopyInputStream* input,
                                   uint32_t format) {
    if (!read_message(input, &m_portmaps, format)) return false;
    m_symbol_file->message_external_to_internal(&m_portmaps);
    index_specifications();
    link_portmaps();
    return true;
}

static void add_mux_ports(const PB::MUX_DESCRIPTION& description, uint32_t module_index,
                          PB::PORTMAPS::SPECIFICATIONS::CHILDREN* children) {
    PB::PORTMAPS::SPECIFICATIONS::CHILDREN::MPORTS* mports = children->add_mports();
    mports->set_module_index(static_cast<int32_t>(module_index));
    std::set<int32_t> ports;
    for (const PB::MUX_DESCRIPTION::IPATH& ipath : description.mux_ipaths()) {
        if (ipath.is_hipi_path()) continue;
        UTIL_ASSERT_MSG(ipath.in() != -1, "ipath.in() != IHIERARCHY::IMODULE::PORT_INDEX_INVALID");
        UTIL_ASSERT_MSG(ipath.out() != -1,
                        "ipath.out() != IHIERARCHY::IMODULE::PORT_INDEX_INVALID");
        ports.insert(ipath.in());
        ports.insert(ipath.out());
    }
    for (int32_t port : ports) mports->add_port_index(port);
}

void mux_ports_to_top_level_ip_ports(const ITLBLOCKS& tlblocks,
                                     const IMUX_DESCRIPTIONS& mux_descriptions,
                                     PB::PORTMAPS::SPECIFICATIONS& specifications) {
    const IHIERARCHY& hierarchy = *tlblocks.get_hierarchy();
    PB::PORTMAPS::SPECIFICATIONS::PARENTS* parents = specifications.add_parents();
    for (int32_t b = 0; b < tlblocks.get_n_tlblocks(); ++b) {
        const ITLBLOCK& block = tlblocks.get_tlblock(static_cast<uint32_t>(b));
        if (block.has_mux()) {
            parents->add_parent_module_indexes(static_cast<int32_t>(block.get_module_index()));
        }
    }
    PB::PORTMAPS::SPECIFICATIONS::CHILDREN* children = specifications.add_children();
    const SYMBOL_TABLE* table = hierarchy.get_modules()->get_symbol_table();
    for (const PB::MUX_DESCRIPTION& description : mux_descriptions.get_pb().mux_descriptions()) {
        SYM symbol = table->find(description.name());
        if (symbol.is_unknown()) continue;
        uint32_t module_index = hierarchy.get_module_index(symbol);
        UTIL_ASSERT(module_index != IHIERARCHY::IMODULES::MODULE_INDEX_INVALID);
        add_mux_ports(description, module_index, children);
    }
    PB::PORTMAPS::SPECIFICATIONS::SPECIFICATION* spec = specifications.add_specs();
    spec->set_name("mux_ports_to_top_level_ip_ports");
    spec->set_parents_index(0);
    spec->set_children_index(0);
}

static void print_ports(std::ostream& os, const IHIERARCHY::IMODULE& module,
                        const PORTMAP_PB::PORTS& ports) {
    os << "] --> { ";
    for (int32_t port : ports.ports()) {
        if (port >= 0 && static_cast<uint32_t>(port) < module.get_n_ports()) {
            os << module.get_port(static_cast<uint32_t>(port))->get_name() << ":" << port << " ";
        } else {
            os << "<ERROR UNKNOWN PORT>:" << port << " ";
        }
    }
    os << "} ";
}

static void print_module_map(std::ostream& os, const IHIERARCHY& hierarchy,
                             const PORTMAP_PB::MODULE_TO_SUBNODE_TO_PORTS& module_map,
                             IHIERARCHY::IPATH_SETTABLE& path) {
    uint32_t module_index = static_cast<uint32_t>(module_map.parent_module_index());
    const IHIERARCHY::IMODULE& module = *hierarchy.get_modules()->get_module(module_index);
    os << "[" << module.get_name() << "] {";
    for (const PORTMAP_PB::SUBNODE_TO_PORTS& entry : module_map.subnode_to_ports()) {
        os << "[" << entry.child_subnode() << ":";
        if (module_index > 0) os << module.get_name() << ":";
        hierarchy.get_path(&path, static_cast<uint64_t>(entry.child_subnode()), module_index);
        os << path;
        print_ports(os, module, entry.parent_ports());
    }
    os << "}" << std::endl;
}

std::ostream& operator<<(std::ostream& os, const IPORTMAPS& abstract_portmaps) {
    INDENT guard(os, 3);
    if (get_detail(os) == 4) {
        os << "PORTMAPS_STATISTICS {" << std::endl << "}" << std::endl << "}" << std::endl;
        return os;
    }
    const auto& portmaps = dynamic_cast<const PORTMAPS_BUILDER&>(abstract_portmaps);
    const IHIERARCHY& hierarchy = *portmaps.get_hierarchy();
    std::unique_ptr<IHIERARCHY::IPATH_SETTABLE> path(hierarchy.create_path());
    std::string text;
    google::protobuf::TextFormat::PrintToString(portmaps.get_specifications(), &text);
    os << "PORTMAPS {" << std::endl << indent;
    os << "specifications = {" << std::endl << indent << text << outdent << "}" << std::endl;
    os << "portmaps = {" << std::endl << indent;
    for (const PORTMAP_PB& portmap : portmaps.get_pb().portmaps()) {
        for (const auto& module_map : portmap.module_to_subnode_to_ports()) {
            print_module_map(os, hierarchy, module_map, *path);
        }
    }
    os << outdent << "}" << std::endl;
    os << outdent << "}" << std::endl;
    return os;
}

}  // namespace UTIL
