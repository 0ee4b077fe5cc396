// Top-level blocks: the adds, the seal, the queries, the splitter and the file form.
// finish():
//  1. Take the top-level entries in ascending module order; each becomes a TLBLOCK whose
//     attributes are the mux occurrences found by walking every subnode of the block module.
//  2. Each instance of a block gives one segment [first node, first node + size - 1] with the
//     module as payload; the segments make the node-to-instance range table.
//  3. All attributes of all blocks are listed flat, each knowing its place in that list.
// A node is taken apart by: range search to the instance, block by module, attribute by the
// node's offset in the instance.
#include "util/util_tlblocks.h"

#include <google/protobuf/io/zero_copy_stream_impl.h>

#include <algorithm>

#include "util/util_assert.h"
#include "util/util_indent.h"
#include "util/util_symbol_file.h"

namespace UTIL {

const ISUBATTRIBUTE& SUBATTRIBUTES::get_subattribute(uint32_t index) const {
    return at(m_subattributes, index);
}

const ISUBATTRIBUTE_SETTING& SUBATTRIBUTE_SETTINGS::get_subattribute_setting(uint32_t index) const {
    return at(m_settings, index);
}

const ISUBATTRIBUTE_SETTINGS& TLATTRIBUTE::get_settings(uint32_t path_index) const {
    return at(m_settings, path_index);
}

// ---------------------------------------------------------------------------------------
// TLBLOCK

TLBLOCK::TLBLOCK(TLBLOCKS_BUILDER* tlblocks, uint32_t module_index,
                 const ITLBLOCKS_BUILDER::MODULE_DATA& d)
    : m_tlblocks(tlblocks), m_module_index(module_index) {
    UTIL_ASSERT(d.m_top_level);
    m_tlinstances.reserve(static_cast<size_t>(d.m_pb_module.uids_size()));
    for (const PB::TLBLOCKS::UID& uid : d.m_pb_module.uids()) {
        m_tlinstances.emplace_back(SYM(uid.uid().value()), static_cast<uint64_t>(uid.node()));
    }
    const IHIERARCHY* hierarchy = m_tlblocks->get_hierarchy();
    const uint32_t n = hierarchy->get_num_nodes(module_index);
    for (uint64_t subnode = 0; subnode < n; ++subnode) {
        uint32_t instance = 0;
        const uint32_t sub_module =
            hierarchy->get_instance_of_node(instance, subnode, module_index);
        if (sub_module == IHIERARCHY::IMODULES::MODULE_INDEX_INVALID) continue;  // a port
        const uint32_t mux = m_tlblocks->get_mux_index(sub_module);
        if (mux == ITLBLOCKS::MUX_INDEX_NONE) continue;
        add_attribute(subnode, sub_module, mux);
    }
}

void TLBLOCK::add_attribute(uint64_t subnode, uint32_t sub_module, uint32_t mux) {
    std::vector<std::vector<SYM>> subpaths;
    std::vector<std::vector<TL_SETTING_PAIR>> settings;
    m_tlblocks->get_subpaths(subpaths, sub_module);
    m_tlblocks->get_settings(settings, sub_module);
    const uint32_t position = static_cast<uint32_t>(m_tlattributes.size());
    m_subnode_to_tlattribute_index.emplace(subnode, position);
    m_has_mux = true;

    m_tlattributes.emplace_back();
    TLATTRIBUTE& a = m_tlattributes.back();
    a.m_module_index = sub_module;
    a.m_mux_index = mux;
    a.m_tlattribute_index = position;
    a.m_subnode = subnode;
    const IHIERARCHY* hierarchy = m_tlblocks->get_hierarchy();
    a.m_path.reset(hierarchy->create_path());
    hierarchy->get_path(a.m_path.get(), subnode, m_module_index);
    std::vector<SUBATTRIBUTE>& subattributes = a.m_subattributes.get_vector();
    subattributes.reserve(subpaths.size());
    for (std::vector<SYM>& subpath : subpaths) subattributes.emplace_back(std::move(subpath));
    a.m_settings.resize(settings.size());
    for (size_t p = 0; p < settings.size(); ++p) {
        std::vector<SUBATTRIBUTE_SETTING>& out = a.m_settings[p].get_vector();
        out.reserve(settings[p].size());
        for (const TL_SETTING_PAIR& pair : settings[p]) {
            out.emplace_back(pair.second, static_cast<int32_t>(pair.first));
        }
    }
}

const ITLINSTANCE& TLBLOCK::get_tlinstance(uint32_t index) const {
    return at(m_tlinstances, index);
}

const ITLATTRIBUTE& TLBLOCK::get_tlattribute(uint32_t index) const {
    return at(m_tlattributes, index);
}

uint32_t TLBLOCK::get_tlattribute_index(uint64_t subnode) const {
    return at_key(m_subnode_to_tlattribute_index, subnode);
}

// ---------------------------------------------------------------------------------------
// TLBLOCKS_BUILDER: adds

TLBLOCKS_BUILDER::TLBLOCKS_BUILDER() = default;
TLBLOCKS_BUILDER::~TLBLOCKS_BUILDER() = default;

TLBLOCKS_BUILDER::MODULE_DATA& TLBLOCKS_BUILDER::entry_of(uint32_t module_index) {
    return m_modules[module_index];
}

void TLBLOCKS_BUILDER::set_hierarchy(const IHIERARCHY* hierarchy) {
    UTIL_ASSERT(!m_seal);
    m_hierarchy = hierarchy;
}

void TLBLOCKS_BUILDER::add_mux_module(uint32_t module_index, uint32_t mux_index) {
    UTIL_ASSERT(!m_seal);
    auto p = m_modules.emplace(module_index, MODULE_DATA());
    UTIL_ASSERT(p.second);
    MODULE_DATA& d = p.first->second;
    UTIL_ASSERT(!d.m_pb_module.has_mux_index());
    d.m_pb_module.set_module_index(static_cast<int32_t>(module_index));
    d.m_pb_module.set_mux_index(static_cast<int32_t>(mux_index));
}

void TLBLOCKS_BUILDER::add_instance(uint32_t module_index, uint64_t node, SYM uid) {
    UTIL_ASSERT(!m_seal);
    auto entry = m_modules.emplace(module_index, MODULE_DATA());
    MODULE_DATA& d = entry.first->second;
    // The first word said of a block module is that it has an instance; a module first
    // declared a mux stays one.
    if (entry.second) d.m_top_level = true;
    d.m_pb_module.set_module_index(static_cast<int32_t>(module_index));
    PB::TLBLOCKS::UID* record = d.m_pb_module.add_uids();
    record->set_node(static_cast<int64_t>(node));
    record->mutable_uid()->set_value(uid.get_value());
    auto p = m_node_to_uid.emplace(node, uid);
    UTIL_ASSERT(p.second);
}

void TLBLOCKS_BUILDER::add_subpath(uint32_t module_index, std::vector<SYM>& names) {
    UTIL_ASSERT(!m_seal);
    PB::TLBLOCKS::SUBPATH* subpath = entry_of(module_index).m_pb_module.add_subpaths();
    for (SYM name : names) subpath->add_name()->set_value(name.get_value());
    names.clear();
}

void TLBLOCKS_BUILDER::add_settings(uint32_t module_index, uint32_t path_index,
                                    std::vector<TL_SETTING_PAIR>& pairs) {
    UTIL_ASSERT(!m_seal);
    PB::TLBLOCKS::SETTINGS* settings = entry_of(module_index).m_pb_module.add_settings();
    settings->set_path_index(path_index);
    for (const TL_SETTING_PAIR& pair : pairs) {
        PB::TLBLOCKS::SETTING* setting = settings->add_setting();
        setting->set_subpath_index(pair.first);
        setting->mutable_value()->set_value(pair.second.get_value());
    }
    pairs.clear();
}

// ---------------------------------------------------------------------------------------
// The seal

std::vector<uint32_t> TLBLOCKS_BUILDER::get_module_indexes() const {
    std::vector<uint32_t> modules;
    modules.reserve(m_modules.size());
    for (const auto& entry : m_modules) modules.push_back(entry.first);
    std::sort(modules.begin(), modules.end());
    return modules;
}

void TLBLOCKS_BUILDER::finish() {
    UTIL_ASSERT(!m_seal);
    UTIL_ASSERT(m_hierarchy != NULL);
    m_seal = true;

    size_t n_blocks = 0, n_uids = 0;
    for (const auto& entry : m_modules) {
        if (!entry.second.m_top_level) continue;
        ++n_blocks;
        n_uids += static_cast<size_t>(entry.second.m_pb_module.uids_size());
    }
    const std::vector<uint32_t> modules = get_module_indexes();
    m_tlblocks.reserve(n_blocks);
    std::vector<SEGMENT> segments;
    segments.reserve(n_uids);
    size_t n_attributes = 0;
    for (uint32_t module_index : modules) {
        const MODULE_DATA& d = m_modules.at(module_index);
        if (!d.m_top_level) continue;
        auto p = m_module_to_tlblock_index.emplace(module_index,
                                                   static_cast<uint32_t>(m_tlblocks.size()));
        UTIL_ASSERT(p.second);
        m_tlblocks.emplace_back(this, module_index, d);
        n_attributes += m_tlblocks.back().get_n_tlattributes();
        const uint32_t size = m_hierarchy->get_num_nodes(module_index);
        for (const PB::TLBLOCKS::UID& uid : d.m_pb_module.uids()) {
            const uint32_t start = static_cast<uint32_t>(uid.node());
            segments.push_back({start, start + size - 1, module_index});
        }
    }

    UTIL_ASSERT(m_tlrange == NULL);
    m_tlrange.reset(create_range());
    // Instances of a correct hierarchy never overlap, so the result needs no test.
    m_tlrange->set_segments(m_hierarchy->get_num_nodes(), segments);

    m_tlattributes.reserve(n_attributes);
    for (TLBLOCK& block : m_tlblocks) {
        for (TLATTRIBUTE& attribute : block.get_attributes()) {
            attribute.m_tlblocks_index = static_cast<uint32_t>(m_tlattributes.size());
            m_tlattributes.push_back(&attribute);
        }
    }
}

// ---------------------------------------------------------------------------------------
// Queries

const TLBLOCKS_BUILDER::MODULE_DATA& TLBLOCKS_BUILDER::data_of(uint32_t module_index) const {
    auto it = m_modules.find(module_index);
    return it == m_modules.end() ? m_default_module : it->second;
}

const TLBLOCKS_BUILDER::MODULE_DATA& TLBLOCKS_BUILDER::get_module_data(
    uint32_t module_index) const {
    UTIL_ASSERT(m_seal);
    return data_of(module_index);
}

int32_t TLBLOCKS_BUILDER::get_n_tlblocks() const {
    UTIL_ASSERT(m_seal);
    return static_cast<int32_t>(m_tlblocks.size());
}

const ITLBLOCK& TLBLOCKS_BUILDER::get_tlblock(uint32_t index) const {
    UTIL_ASSERT(m_seal);
    return at(m_tlblocks, index);
}

uint32_t TLBLOCKS_BUILDER::get_n_tlattributes() const {
    UTIL_ASSERT(m_seal);
    return static_cast<uint32_t>(m_tlattributes.size());
}

const ITLATTRIBUTE* TLBLOCKS_BUILDER::get_tlattribute(uint32_t index) const {
    UTIL_ASSERT(m_seal);
    return at(m_tlattributes, index);
}

uint32_t TLBLOCKS_BUILDER::get_tlblock_index(uint32_t module_index) const {
    return at_key(m_module_to_tlblock_index, module_index);
}

bool TLBLOCKS_BUILDER::is_top_level(uint32_t module_index) const {
    return data_of(module_index).m_top_level;
}

uint32_t TLBLOCKS_BUILDER::get_mux_index(uint32_t module_index) const {
    return static_cast<uint32_t>(data_of(module_index).m_pb_module.mux_index());
}

void TLBLOCKS_BUILDER::get_subpaths(std::vector<std::vector<SYM>>& result,
                                    uint32_t module_index) const {
    const PB::TLBLOCKS::MODULE& pb = data_of(module_index).m_pb_module;
    result.clear();
    result.resize(static_cast<size_t>(pb.subpaths_size()));
    for (int i = 0; i < pb.subpaths_size(); ++i) {
        for (const PB::SYMBOL& name : pb.subpaths(i).name()) {
            result[static_cast<size_t>(i)].push_back(SYM(name.value()));
        }
    }
}

void TLBLOCKS_BUILDER::get_settings(std::vector<std::vector<TL_SETTING_PAIR>>& result,
                                    uint32_t module_index) const {
    const PB::TLBLOCKS::MODULE& pb = data_of(module_index).m_pb_module;
    result.clear();
    result.resize(static_cast<size_t>(pb.settings_size()));
    for (const PB::TLBLOCKS::SETTINGS& settings : pb.settings()) {
        // Path indexes must run from 0 to n - 1.
        std::vector<TL_SETTING_PAIR>& pairs = at(result, settings.path_index());
        for (const PB::TLBLOCKS::SETTING& setting : settings.setting()) {
            pairs.emplace_back(setting.subpath_index(), SYM(setting.value().value()));
        }
    }
}

uint64_t TLBLOCKS_BUILDER::get_tlnode(uint64_t node) const {
    UTIL_ASSERT(m_seal);
    uint32_t module_index = 0;
    // The ranges are 32-bit; a wider node lies outside them.
    const uint32_t i = node > 0xFFFFFFFFu
                           ? IRANGE::SEGMENT_INDEX_INVALID
                           : m_tlrange->find(static_cast<uint32_t>(node), module_index);
    UTIL_ASSERT(i != IRANGE::SEGMENT_INDEX_INVALID);
    if (i == IRANGE::SEGMENT_INDEX_UNDEFINED) return ~0ull;
    return m_tlrange->get_segment(i).m_start;
}

void TLBLOCKS_BUILDER::get_uid(SYM& result, uint64_t node) const {
    result = at_key(m_node_to_uid, node);
}

ITLBLOCKS::ITLSPLITTER* TLBLOCKS_BUILDER::create_splitter() const {
    return new TLSPLITTER(this);
}

bool TLSPLITTER::set_node(uint64_t node) {
    m_node = node;
    const IRANGE& range = *m_tlblocks->m_tlrange;
    uint32_t module_index = 0;
    const uint32_t i = node > 0xFFFFFFFFu ? IRANGE::SEGMENT_INDEX_INVALID
                                          : range.find(static_cast<uint32_t>(node), module_index);
    UTIL_ASSERT(i != IRANGE::SEGMENT_INDEX_INVALID);
    UTIL_ASSERT(i != IRANGE::SEGMENT_INDEX_UNDEFINED);
    const uint64_t tlnode = range.get_segment(i).m_start;
    UTIL_ASSERT(node >= tlnode);
    m_uid = at_key(m_tlblocks->m_node_to_uid, tlnode);
    const uint32_t tlblock_index = m_tlblocks->get_tlblock_index(module_index);
    UTIL_ASSERT(tlblock_index != ITLBLOCKS::TLBLOCK_INDEX_INVALID);
    m_subnode = node - tlnode;
    const ITLBLOCK& block = m_tlblocks->get_tlblock(tlblock_index);
    m_tlattribute = &block.get_tlattribute(block.get_tlattribute_index(m_subnode));
    m_subattributes = &m_tlattribute->get_subattributes();
    return true;
}

// ---------------------------------------------------------------------------------------
// File form: the adds only; a read replays them and seals.

bool TLBLOCKS_BUILDER::write(std::ostream& output, uint32_t format) {
    UTIL_ASSERT(m_seal);
    UTIL_ASSERT(m_symbol_file != NULL);
    PB::TLBLOCKS head;
    head.set_n_modules(static_cast<uint32_t>(m_modules.size()));
    if (!write_message(head, output, format)) return false;
    PB::TLBLOCKS::MODULE external;
    for (const auto& entry : m_modules) {
        external.CopyFrom(entry.second.m_pb_module);
        m_symbol_file->message_internal_to_external(&external);
        if (!write_message(external, output, format)) return false;
    }
    return true;
}

bool TLBLOCKS_BUILDER::read_stream(google::protobuf::io::ZeroCopyInputStream* input,
                                   uint32_t format) {
    UTIL_ASSERT(!m_seal);
    UTIL_ASSERT(m_symbol_file != NULL);
    PB::TLBLOCKS head;
    if (!read_message(input, &head, format)) return false;
    PB::TLBLOCKS::MODULE pb;
    std::vector<SYM> names;
    std::vector<TL_SETTING_PAIR> pairs;
    for (uint32_t m = 0; m < head.n_modules(); ++m) {
        pb.Clear();
        if (!read_message(input, &pb, format)) return false;
        m_symbol_file->message_external_to_internal(&pb);
        const uint32_t module_index = static_cast<uint32_t>(pb.module_index());
        if (pb.has_mux_index()) add_mux_module(module_index, static_cast<uint32_t>(pb.mux_index()));
        for (const PB::TLBLOCKS::UID& uid : pb.uids()) {
            add_instance(module_index, static_cast<uint64_t>(uid.node()), SYM(uid.uid().value()));
        }
        for (const PB::TLBLOCKS::SUBPATH& subpath : pb.subpaths()) {
            for (const PB::SYMBOL& name : subpath.name()) names.push_back(SYM(name.value()));
            add_subpath(module_index, names);
        }
        for (const PB::TLBLOCKS::SETTINGS& settings : pb.settings()) {
            for (const PB::TLBLOCKS::SETTING& setting : settings.setting()) {
                pairs.emplace_back(setting.subpath_index(), SYM(setting.value().value()));
            }
            add_settings(module_index, settings.path_index(), pairs);
        }
    }
    finish();
    return true;
}

bool TLBLOCKS_BUILDER::read(std::istream& input, uint32_t format) {
    google::protobuf::io::IstreamInputStream zero_copy(&input);
    return read_stream(&zero_copy, format);
}

bool TLBLOCKS_BUILDER::read(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format) {
    return read_stream(input, format);
}

// ---------------------------------------------------------------------------------------
// Print forms

std::ostream& operator<<(std::ostream& os, const ITLINSTANCE& instance) {
    INDENT guard(os, 3);
    SYM uid;
    instance.get_uid(uid);
    os << "TLINSTANCE {" << std::endl << indent;
    os << "m_uid = " << uid << std::endl;
    os << "m_node = " << instance.get_node() << std::endl;
    return os << outdent << "}";
}

std::ostream& operator<<(std::ostream& os, const ITLATTRIBUTE& attribute) {
    INDENT guard(os, 3);
    os << "[" << attribute.get_subnode() << ":" << attribute.get_path() << "]";
    if (get_detail(os) < 3) return os;
    os << ", mux_index = " << attribute.get_mux_index()
       << ", module_index = " << attribute.get_module_index()
       << ", tlblocks_index = " << attribute.get_tlblocks_index() << std::endl;
    const ISUBATTRIBUTES& subattributes = attribute.get_subattributes();
    os << "SUBATTRIBUTES {" << std::endl << indent;
    for (uint32_t i = 0; i < subattributes.get_n_subattributes(); ++i) {
        os << "[" << i << "] = "
           << "SUBATTRIBUTE {"
           << "m_subpath = ";
        const std::vector<SYM>& subpath = subattributes.get_subattribute(i).get_subpath();
        for (size_t k = 0; k < subpath.size(); ++k) os << (k > 0 ? "/" : "") << subpath[k];
        os << "}" << std::endl;
    }
    os << outdent << "}";
    for (uint32_t p = 0; p < attribute.get_n_settings(); ++p) {
        os << std::endl << "PATH[" << p << "] {" << std::endl << indent;
        const ISUBATTRIBUTE_SETTINGS& settings = attribute.get_settings(p);
        for (uint32_t k = 0; k < settings.get_n_subattribute_settings(); ++k) {
            const ISUBATTRIBUTE_SETTING& setting = settings.get_subattribute_setting(k);
            SYM value;
            setting.get_setting(value);
            os << "subattribute_index = " << setting.get_subattribute_index()
               << " setting = " << value << std::endl;
        }
        os << outdent << "}";
    }
    return os;
}

// Name of a module through the hierarchy, or nothing without one.
static void print_module_name(std::ostream& os, const IHIERARCHY* hierarchy,
                              uint32_t module_index) {
    if (hierarchy == nullptr) return;
    os << hierarchy->get_modules()->get_module(module_index)->get_name();
}

std::ostream& operator<<(std::ostream& os, const ITLBLOCK& block) {
    INDENT guard(os, 3);
    const TLBLOCK* concrete = dynamic_cast<const TLBLOCK*>(&block);
    os << "TLBLOCK {" << std::endl << indent;
    os << "m_module_index = " << block.get_module_index() << " (";
    if (concrete != nullptr) {
        print_module_name(os, concrete->get_tlblocks()->get_hierarchy(), block.get_module_index());
    }
    os << ")" << std::endl;
    os << "m_tlattributes = {" << std::endl << indent;
    for (uint32_t i = 0; i < block.get_n_tlattributes(); ++i) {
        os << "[" << i << "] = " << block.get_tlattribute(i) << std::endl;
    }
    os << outdent << "}" << std::endl;
    std::vector<std::pair<uint64_t, uint32_t>> pairs;
    if (concrete != nullptr) {
        pairs.assign(concrete->get_subnode_map().begin(), concrete->get_subnode_map().end());
        std::sort(pairs.begin(), pairs.end());
    }
    os << "m_subnode_to_tlattribute_index = {";
    for (const auto& [subnode, index] : pairs) os << subnode << "->" << index << " ";
    os << "}" << std::endl;
    return os << outdent << "}";
}

std::ostream& operator<<(std::ostream& os, const ITLBLOCKS& tlblocks) {
    INDENT guard(os, 3);
    const TLBLOCKS_BUILDER* builder = dynamic_cast<const TLBLOCKS_BUILDER*>(&tlblocks);
    const bool sealed = builder == nullptr || builder->is_sealed();
    if (get_detail(os) >= 4) {
        size_t n_uids = 0;
        for (int32_t b = 0; sealed && b < tlblocks.get_n_tlblocks(); ++b) {
            n_uids += tlblocks.get_tlblock(static_cast<uint32_t>(b)).get_n_tlinstances();
        }
        os << "TLBLOCKS_STATISTICS {" << std::endl << indent;
        os << "num tlblocks (hierarchical size) = " << (sealed ? tlblocks.get_n_tlblocks() : 0)
           << std::endl;
        os << "num uids (flattened size)  = " << n_uids << std::endl;
        return os << outdent << "}";
    }
    os << "TLBLOCKS {" << std::endl << indent;
    os << "mux modules = { ";
    if (builder != nullptr) {
        for (uint32_t m : builder->get_module_indexes()) {
            if (tlblocks.get_mux_index(m) != ITLBLOCKS::MUX_INDEX_NONE) os << m << " ";
        }
    }
    os << "}" << std::endl;
    os << "m_tlblocks = {" << std::endl << indent;
    for (int32_t b = 0; sealed && b < tlblocks.get_n_tlblocks(); ++b) {
        os << "[" << b << "] = " << tlblocks.get_tlblock(static_cast<uint32_t>(b)) << std::endl;
    }
    os << outdent << "}" << std::endl;
    os << "m_node_to_uid = {" << std::endl << indent;
    if (builder != nullptr) {
        std::vector<std::pair<uint64_t, SYM>> uids(builder->get_node_to_uid().begin(),
                                                   builder->get_node_to_uid().end());
        std::sort(uids.begin(), uids.end(),
                  [](const auto& a, const auto& b) { return a.first < b.first; });
        const IHIERARCHY* hierarchy = tlblocks.get_hierarchy();
        std::unique_ptr<IHIERARCHY::IPATH_SETTABLE> path(
            hierarchy != nullptr ? hierarchy->create_path() : nullptr);
        for (const auto& [node, uid] : uids) {
            os << "[" << node << ":";
            if (path) {
                hierarchy->get_path(path.get(), node);
                os << *path;
            }
            os << "] = " << uid << std::endl;
        }
    }
    os << outdent << "}" << std::endl;
    return os << outdent << "}";
}

}  // namespace UTIL
