// Generating the annotations of a device.
//  1. Each hand-kept text file is read line by line into ordered maps keyed by name and applied
//     after its end, in key order; entries that no longer match the RTL are warned about and
//     skipped.
//  2. BLC module pass: logical names from the block-level data, and the port rule, which makes
//     each routable BLC port an RE (block port, block-internal RE or atom port) with its index.
//  3. BLC instance pass: internal muxes and instance placements; then block sizes.
//  4. Top-level port pass: each non-routing top-level block of the RTL is paired with its BLC
//     block by logical name, and every logical port is carried to the RTL port it stands for.
//  5. The mux descriptions of mux.pb.txt are applied to the RTL records.
#include "nlg/nlg_annotation_gen.h"

#include <google/protobuf/text_format.h>

#include <cctype>
#include <iostream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <vector>

#include "ann/blc_data.h"
#include "nlg/nlg_graph_traverse.h"
#include "nlg/nlg_mux_translator.h"
#include "util/util_assert.h"
#include "util/util_symbol.h"

namespace {

using MUXTYPE = PB::MUX_DESCRIPTION::MUXTYPE;
using PORT_MAP = std::map<std::string, std::map<std::string, std::string>>;
using PORT_SET_MAP = std::map<std::string, std::set<std::string>>;

void set_symbol(NLG_IGRAPH& graph, const std::string& name, PB::SYMBOL* symbol) {
    symbol->set_value(graph.get_symbol_table()->add(name).get_value());
}

std::string symbol_text(const PB::SYMBOL& symbol) {
    return symbol.has_value() ? NS_SYMBOL::SYM(symbol.value()).str_fast() : std::string();
}

// Names are read through the fast tables; symbols added by an earlier pass join them here.
void init_names(NLG_IGRAPH* graph) {
    if (graph) graph->get_symbol_table()->init_name_fast();
}

std::string bit_name(const std::string& bus, int32_t bit) {
    return bus + "[" + std::to_string(bit) + "]";
}

std::string upper(std::string text) {
    for (char& ch : text) ch = static_cast<char>(toupper(static_cast<unsigned char>(ch)));
    return text;
}

// The fields of a line; lines with a "#" anywhere are comments where `comments` is set.
bool next_fields(std::istream& input, std::string& line, std::vector<std::string>& fields,
                 bool comments) {
    while (std::getline(input, line)) {
        if (line.empty() || (comments && line.find('#') != std::string::npos)) continue;
        fields.clear();
        std::istringstream words(line);
        std::string word;
        while (words >> word) fields.push_back(word);
        return true;
    }
    return false;
}

const std::string& field(const std::vector<std::string>& fields, size_t i) {
    static const std::string EMPTY;
    return i < fields.size() ? fields[i] : EMPTY;
}

}  // namespace

NLG_ANNOTATION_GEN::NLG_ANNOTATION_GEN(NLG_IGRAPH* rtl_graph, NLG_IANNSS* rtl_annss,
                                       NLG_IGRAPH* blc_graph, NLG_IANNSS* blc_annss,
                                       const BLC_DATA* blc_data)
    : m_rtl_graph(rtl_graph),
      m_rtl_annss(rtl_annss),
      m_blc_graph(blc_graph),
      m_blc_annss(blc_annss),
      m_blc_data(blc_data) {}

void NLG_ANNOTATION_GEN::run(std::istream* top_blocks, std::istream* icd_to_pnr_mapping,
                             std::istream* spare_row_flyover, std::istream* insert_node,
                             std::istream& mux_file) {
    if (top_blocks) read_top_blocks(*top_blocks);
    if (icd_to_pnr_mapping) read_icd_to_pnr_mapping(*icd_to_pnr_mapping);
    generate(mux_file);
    if (spare_row_flyover) read_spare_row_flyover(*spare_row_flyover);
    if (insert_node) read_insert_node(*insert_node);
}

void NLG_ANNOTATION_GEN::generate(std::istream& mux_file) {
    init_names(m_rtl_graph);
    init_names(m_blc_graph);
    if (m_rtl_graph && m_blc_graph) blc_module_pass();
    if (m_blc_graph) {
        blc_instance_pass();
        block_size_pass();
    }
    if (m_rtl_graph && m_blc_graph) top_level_port_pass();
    apply_mux_file(mux_file);
}

// Text files.

void NLG_ANNOTATION_GEN::read_top_blocks(std::istream& input) {
    if (!m_rtl_graph) return;
    init_names(m_rtl_graph);
    std::map<std::string, bool> blocks;
    std::string line;
    std::vector<std::string> fields;
    while (next_fields(input, line, fields, true)) {
        std::string name = field(fields, 0);
        if (name.empty()) continue;
        // A blank cannot stand in a field of the file; "$" takes its place.
        for (char& ch : name)
            if (ch == '$') ch = ' ';
        blocks[name] = atoi(field(fields, 1).c_str()) == 1;
    }
    NLG_ICDB_ANNS& anns = m_rtl_annss->get_icdb();
    for (const auto& block : blocks) {
        NLG_IMODULE* module = nlg_find_module(*m_rtl_graph, block.first);
        if (!module) {
            std::cout << "Warning: Can't find module " << block.first
                      << " listed in top_blocks.txt file in RTL" << std::endl;
            continue;
        }
        PB::ICDB::MODULE& record = anns.get_module(*module);
        record.set_level(PB::ICDB::MODULE::TOP_LEVEL_IP);
        record.set_is_routing(block.second);
        if (!block.second) record.set_has_port_with_re(true);
    }
}

void NLG_ANNOTATION_GEN::read_icd_to_pnr_mapping(std::istream& input) {
    if (!m_rtl_graph) return;
    init_names(m_rtl_graph);
    std::map<std::string, std::pair<std::string, std::string>> blocks;
    std::string line;
    std::vector<std::string> fields;
    while (next_fields(input, line, fields, true)) {
        if (field(fields, 0).empty()) continue;
        blocks[fields[0]] = {upper(field(fields, 1)), upper(field(fields, 2))};
    }
    NLG_ICDB_ANNS& anns = m_rtl_annss->get_icdb();
    for (const auto& block : blocks) {
        NLG_IMODULE* module = nlg_find_module(*m_rtl_graph, block.first);
        if (!module) {
            std::cout << "Warning: can't find IP block " << block.first
                      << " listed in icd_to_pnr_mapping.txt file in RTL" << std::endl;
            continue;
        }
        PB::ICDB::MODULE& record = anns.get_module(*module);
        set_symbol(*m_rtl_graph, block.second.first, record.mutable_logical_name());
        set_symbol(*m_rtl_graph, block.second.second, record.mutable_logical_impl());
    }
}

void NLG_ANNOTATION_GEN::read_spare_row_flyover(std::istream& input) {
    if (!m_rtl_graph) return;
    init_names(m_rtl_graph);
    PORT_MAP module_flyover_ports;
    std::string line;
    std::vector<std::string> fields;
    while (next_fields(input, line, fields, false)) {
        const std::string& module_name = field(fields, 0);
        if (module_name.empty()) continue;
        const std::string& port_in = field(fields, 1);
        const std::string& port_out = field(fields, 2);
        auto& ports = module_flyover_ports[module_name];
        if (ports.count(port_in)) {
            UTIL_ASSERT(module_flyover_ports[module_name][port_in] == port_out);
        }
        ports[port_in] = port_out;
    }
    NLG_ICDB_ANNS& anns = m_rtl_annss->get_icdb();
    for (const auto& entry : module_flyover_ports) {
        NLG_IMODULE* module = nlg_find_module(*m_rtl_graph, entry.first);
        if (!module) {
            std::cout << "Warning: ignoring module " << entry.first
                      << " in spare_row_flyover.txt due to unrecognized module name." << std::endl;
            continue;
        }
        for (const auto& pair : entry.second) {
            NLG_IPORT* in = nlg_find_port(*module, pair.first);
            NLG_IPORT* out = nlg_find_port(*module, pair.second);
            if (!in || !out) {
                std::cout << "Warning: ignoring port " << (in ? pair.second : pair.first)
                          << " on module " << entry.first
                          << " in spare_row_flyover.txt due to unrecognized port name."
                          << std::endl;
                continue;
            }
            anns.get_port(*in).set_spare_row_flyover_out(out->get_index());
            std::cout << "setting spare row flyover to " << pair.second << " on port " << pair.first
                      << std::endl;
        }
    }
}

void NLG_ANNOTATION_GEN::read_insert_node(std::istream& input) {
    if (!m_rtl_graph) return;
    init_names(m_rtl_graph);
    PORT_MAP inserts;
    PORT_SET_MAP removals;
    std::string line;
    std::vector<std::string> fields;
    while (next_fields(input, line, fields, false)) {
        if (fields.size() > 4) fields.resize(4);
        if (field(fields, 0) != "+" && field(fields, 0) != "-") {
            fields.insert(fields.begin(), "+");
            fields.resize(std::min<size_t>(fields.size(), 4));
        }
        const std::string& op = fields[0];
        const std::string& module = field(fields, 1);
        const std::string& port = field(fields, 2);
        const std::string& type = field(fields, 3);
        if (module.empty() || port.empty() || (op == "+" && type.empty())) {
            std::cout << "Warning: ignoring line: " << line << " due to illegal format."
                      << std::endl;
            continue;
        }
        if (op == "-") {
            removals[module].insert(port);
            continue;
        }
        auto& ports = inserts[module];
        auto it = ports.find(port);
        UTIL_ASSERT_MSG(it == ports.end() || it->second == type,
                        "mismatching RE assignment in insert_node.txt file for module %s, port %s",
                        module.c_str(), port.c_str());
        ports[port] = type;
    }

    NLG_ICDB_ANNS& anns = m_rtl_annss->get_icdb();
    auto find_module = [&](const std::string& name) {
        NLG_IMODULE* m = nlg_find_module(*m_rtl_graph, name);
        if (!m)
            std::cout << "Warning: ignoring module " << name
                      << " in insert_node.txt due to unrecognized module name." << std::endl;
        return m;
    };
    auto find_port = [&](NLG_IMODULE* m, const std::string& name) {
        NLG_IPORT* p = nlg_find_port(*m, name);
        if (!p)
            std::cout << "Warning: ignoring port " << name << " on module " << m->get_name()
                      << " in insert_node.txt due to unrecognized port name." << std::endl;
        return p;
    };
    for (const auto& entry : inserts) {
        NLG_IMODULE* module = find_module(entry.first);
        if (!module) continue;
        anns.get_module(*module).set_has_port_with_re(true);
        for (const auto& insert : entry.second) {
            NLG_IPORT* port = find_port(module, insert.first);
            if (!port) continue;
            PB::ICDB::APORT& record = anns.get_port(*port);
            record.set_is_inserted_re(true);
            MUXTYPE t = nlg_re_type(insert.second);
            UTIL_ASSERT(t != PB::MUX_DESCRIPTION::UNKNOWN);
            UTIL_ASSERT_MSG(!record.has_re_name() || record.re_name() == t,
                            "Insterted RE %s conflict with existing RE %s! Module %s, port %s.",
                            PB::MUX_DESCRIPTION::MUXTYPE_Name(t).c_str(),
                            PB::MUX_DESCRIPTION::MUXTYPE_Name(record.re_name()).c_str(),
                            entry.first.c_str(), insert.first.c_str());
            record.set_re_name(t);
        }
    }
    for (const auto& entry : removals) {
        NLG_IMODULE* module = find_module(entry.first);
        if (!module) continue;
        for (const std::string& name : entry.second) {
            NLG_IPORT* port = find_port(module, name);
            if (port) anns.get_port(*port).set_merge_type(PB::ICDB::APORT::MERGE);
        }
    }
}

// Block-level passes.

MUXTYPE NLG_ANNOTATION_GEN::port_re_type(NLG_IMODULE* module, NLG_IPORT* port,
                                         bool internal) const {
    if (module->get_num_instances() > 0) return PB::MUX_DESCRIPTION::BLOCK_PORT;
    if (internal) return PB::MUX_DESCRIPTION::BLC_INTERNAL_RE;
    UTIL_ASSERT_MSG(!port->is_inout(), "BIDIR port is not allowed on atoms! (%s:%s)",
                    module->get_name().str_fast().c_str(), port->get_name().str_fast().c_str());
    return port->is_input() ? PB::MUX_DESCRIPTION::ATOM_INPUT : PB::MUX_DESCRIPTION::ATOM_OUTPUT;
}

void NLG_ANNOTATION_GEN::port_rule(NLG_IMODULE* module, const std::string& port_name, bool route,
                                   int32_t re_index, bool internal) {
    NLG_IPORT* port = nlg_find_port(*module, port_name);
    UTIL_ASSERT_MSG(port, "port %s on block %s is not defined by BLC", port_name.c_str(),
                    module->get_name().str_fast().c_str());
    PB::ICDB::APORT& record = m_blc_annss->get_icdb().get_port(*port);
    record.set_is_route_type_normal(route);
    set_symbol(*m_blc_graph, port_name, record.mutable_logical_name());
    if (!route) return;
    record.set_re_name(port_re_type(module, port, internal));
    UTIL_ASSERT_MSG(re_index != -1, "RE index on port %s of module %s is unset!", port_name.c_str(),
                    module->get_name().str_fast().c_str());
    record.set_re_index(re_index);
}

// Every module with an entry gets the port rule, also a block root that nothing instantiates:
// the block boundary needs its REs and route marks.
void NLG_ANNOTATION_GEN::blc_module_pass() {
    NLG_ICDB_ANNS& anns = m_blc_annss->get_icdb();
    for (uint32_t i = 0, n = m_blc_graph->get_num_modules(); i < n; ++i) {
        NLG_IMODULE* module = m_blc_graph->get_module(static_cast<int32_t>(i));
        PB::ICDB::MODULE& record = anns.get_module(*module);
        record.set_has_port_with_re(true);
        if (module->is_primitive()) continue;
        const std::string& name = module->get_name().str_fast();
        const BLC_DATA::ENTRY* entry = m_blc_data ? m_blc_data->find(name) : nullptr;
        if (!entry) {
            UTIL_ASSERT_MSG(module->get_num_ports() == 0 && module->get_num_instances() == 0,
                            "Non-empty module %s is not processed by BLC_DATA\n", name.c_str());
            continue;
        }
        set_symbol(*m_blc_graph, entry->m_pb->logical_name(), record.mutable_logical_name());
        set_symbol(*m_blc_graph, entry->m_pb->logical_impl(), record.mutable_logical_impl());
        bool internal = entry->m_pb->internal();
        for (const auto& item : entry->m_ports) {
            const PB::BLC_DATA::PORT& port = *item.second;
            if (port.width() == 1) {
                port_rule(module, port.name(), port.route(), port.first_re_index(), internal);
                continue;
            }
            for (int32_t b = 0; b < port.width(); ++b) {
                int32_t index = port.first_re_index() == -1 ? -1 : port.first_re_index() + b;
                port_rule(module, bit_name(port.name(), b), port.route(), index, internal);
            }
        }
    }
}

void NLG_ANNOTATION_GEN::blc_instance_pass() {
    NLG_ICDB_ANNS& anns = m_blc_annss->get_icdb();
    for (uint32_t i = 0, n = m_blc_graph->get_num_modules(); i < n; ++i) {
        NLG_IMODULE* module = m_blc_graph->get_module(static_cast<int32_t>(i));
        const std::string& name = module->get_name().str_fast();
        const BLC_DATA::ENTRY* entry = m_blc_data ? m_blc_data->find(name) : nullptr;
        UTIL_ASSERT_MSG(entry, "module %s is not processed by BLC_DATA", name.c_str());
        if (entry->m_pb->internal()) anns.get_module(*module).set_level(PB::ICDB::MODULE::PRIM_MUX);
        for (uint32_t k = 0, m = module->get_num_instances(); k < m; ++k) {
            NLG_IINSTANCE* instance = module->get_instance(static_cast<int32_t>(k));
            const std::string& inst_name = instance->get_name().str_fast();
            auto it = entry->m_placements.find(inst_name);
            UTIL_ASSERT_MSG(it != entry->m_placements.end(),
                            "instance %s in module %s is not processed by BLC_DATA",
                            inst_name.c_str(), name.c_str());
            PB::ICDB::INSTANCE& record = anns.get_instance(*instance);
            record.set_pnr_x(it->second->pnr_x());
            record.set_pnr_y(it->second->pnr_y());
            record.set_pnr_z(it->second->pnr_z());
        }
    }
}

void NLG_ANNOTATION_GEN::block_size_pass() {
    TSL_BLOCK_SIZE_CALCULATOR calculator(m_blc_annss);
    TSL_TRAVERSE_MULTI_TOP walk(&calculator, nullptr, false);
    calculator.set_traverse(&walk);
    walk.traverse(m_blc_graph);
}

// Routing blocks keep their RTL contents and have no BLC twin, so they are left out.
void NLG_ANNOTATION_GEN::top_level_port_pass() {
    init_names(m_rtl_graph);
    init_names(m_blc_graph);
    NLG_ICDB_ANNS& anns = m_rtl_annss->get_icdb();
    for (uint32_t i = 0, n = m_rtl_graph->get_num_modules(); i < n; ++i) {
        NLG_IMODULE* module = m_rtl_graph->get_module(static_cast<int32_t>(i));
        const PB::ICDB::MODULE& record = anns.get_module(*module);
        if (record.level() == PB::ICDB::MODULE::TOP_LEVEL_IP && !record.is_routing())
            top_level_ports(module);
    }
}

void NLG_ANNOTATION_GEN::top_level_ports(NLG_IMODULE* rtl_module) {
    NLG_ICDB_ANNS& rtl_anns = m_rtl_annss->get_icdb();
    NLG_ICDB_ANNS& blc_anns = m_blc_annss->get_icdb();
    PB::ICDB::MODULE& rtl_record = rtl_anns.get_module(*rtl_module);
    const std::string& rtl_name = rtl_module->get_name().str_fast();
    std::string logical_name = symbol_text(rtl_record.logical_name());
    std::string logical_impl = symbol_text(rtl_record.logical_impl());
    std::string key = logical_impl == "DEFAULT" ? logical_name : logical_name + "__" + logical_impl;
    NLG_IMODULE* block = nlg_find_module(*m_blc_graph, key);
    UTIL_ASSERT_MSG(block,
                    "Top level IP %s(%s) is not defined by BLC. Please check "
                    "icd_to_pnr_mapping.txt file.",
                    logical_name.c_str(), logical_impl.c_str());

    PB::ICDB::MODULE& blc_record = blc_anns.get_module(*block);
    blc_record.set_level(rtl_record.level());
    if (rtl_record.has_phys_height()) blc_record.set_phys_height(rtl_record.phys_height());
    if (rtl_record.has_phys_width()) blc_record.set_phys_width(rtl_record.phys_width());
    if (blc_record.has_pnr_height()) rtl_record.set_pnr_height(blc_record.pnr_height());
    if (blc_record.has_pnr_width()) rtl_record.set_pnr_width(blc_record.pnr_width());

    const BLC_DATA::ENTRY* entry = m_blc_data ? m_blc_data->find(key) : nullptr;
    if (!entry) return;
    bool internal = entry->m_pb->internal();
    int mismatches = 0;
    for (const auto& item : entry->m_ports) {
        const PB::BLC_DATA::PORT& port = *item.second;
        UTIL_ASSERT_MSG(port.has_icd_port_name(),
                        "top-level port %s on module %s does not have a icd_port_name!",
                        port.name().c_str(), rtl_name.c_str());
        bool bus = port.has_icd_msb() && port.has_icd_lsb();
        int32_t icd_width = bus ? port.icd_msb() - port.icd_lsb() + 1 : 1;
        UTIL_ASSERT_MSG(icd_width == port.width(),
                        "Mismatche between icd port bus width and logical port bus with. Logical "
                        "port name is %s, module name is %s.",
                        port.name().c_str(), rtl_name.c_str());
        for (int32_t b = 0; b < port.width(); ++b) {
            std::string lname = port.width() == 1 ? port.name() : bit_name(port.name(), b);
            std::string iname =
                bus ? bit_name(port.icd_port_name(), port.icd_lsb() + b) : port.icd_port_name();
            NLG_IPORT* lport = nlg_find_port(*block, lname);
            UTIL_ASSERT_MSG(lport, "port %s on block %s is not defined by BLC", lname.c_str(),
                            key.c_str());
            NLG_IPORT* iport = nlg_find_port(*rtl_module, iname);
            if (!iport) {
                std::cout << "Critical Warning: top-level icd_port " << iname << " on module "
                          << rtl_name << " specified in BLC can not be found in RTL!\n"
                          << std::flush;
                ++mismatches;
            }
            PB::ICDB::APORT& lrec = blc_anns.get_port(*lport);
            MUXTYPE re_name = port_re_type(block, lport, internal);
            set_symbol(*m_blc_graph, lname, lrec.mutable_logical_name());
            lrec.set_re_name(re_name);
            PB::ICDB::APORT* irec = iport ? &rtl_anns.get_port(*iport) : nullptr;
            if (irec) {
                UTIL_ASSERT_MSG(!irec->has_logical_name(),
                                "More than one logical port maps to ICD port %s on moulde %s!",
                                iname.c_str(), rtl_name.c_str());
                set_symbol(*m_rtl_graph, lname, irec->mutable_logical_name());
                irec->set_re_name(re_name);
                irec->set_is_route_type_normal(lrec.is_route_type_normal());
            }
            int32_t re_index = port.first_re_index() == -1 ? -1 : port.first_re_index() + b;
            UTIL_ASSERT_MSG(re_index != -1, "RE index on port %s of module %s was not set!",
                            lname.c_str(), key.c_str());
            lrec.set_re_index(re_index);
            if (irec) irec->set_re_index(re_index);
        }
    }
    if (mismatches > 0)
        std::cout << "Critical Warning: There are mismatches between BLC ports and RTL ports on "
                     "block "
                  << logical_name << "(" << logical_impl
                  << "). Please check work/pnrsuite/devices/$FAMILY/$DEVICE/device_tessel/"
                     "$DEVICE_work.out file for detail."
                  << std::endl;
}

// The mux file.

void NLG_ANNOTATION_GEN::apply_mux_file(std::istream& i_mux) {
    UTIL_ASSERT(i_mux.good());
    std::string text((std::istreambuf_iterator<char>(i_mux)), std::istreambuf_iterator<char>());
    PB::MUX_DESCRIPTIONS descriptions;
    // The parser prints the line and column of a fault; the file is then as unusable as one
    // that did not open.
    bool parsed = google::protobuf::TextFormat::ParseFromString(text, &descriptions);
    UTIL_ASSERT_MSG(parsed, "i_mux.good()");
    if (m_rtl_graph)
        nlg_apply_mux_descriptions(*m_rtl_graph, m_rtl_annss->get_icdb(), descriptions);
}
