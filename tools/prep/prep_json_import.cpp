// Import of a yosys JSON netlist into a netlist graph:
// 1. Read the JSON in one streaming pass into plain records (prep_json_reader).
// 2. Split every port into one port per bit named name[i] by declared index, ascending; a
//    1-bit port keeps its name.
// 3. Order modules: the top first, then by source place (file in the caller's order, line,
//    column), ties by name in natural order. With a top, keep only the modules that it reaches.
// 4. Per module body: instances by source place likewise; one net per signal bit that has two
//    or more ends among module port bits and cell pins (constants are no net), numbered by first
//    appearance: ports, then instances in order, pins in port order.
// 5. Send the graph builder's events: definitions, bodies, the filename table.
// 6. Mux cells take the parameters of their first instance (or the module's defaults); every
//    other instance must agree, since the translator describes a module, not an instance.
#include "prep/prep_json_import.h"

#include <algorithm>
#include <cstdlib>
#include <unordered_map>
#include <utility>

#include "nlg/nlg_fileline.h"
#include "nlg/nlg_graph.h"
#include "nlg/nlg_readwrite.h"
#include "prep/prep_json_reader.h"

namespace {

// A failed check of the netlist; caught once in import and kept in the error record.
struct BAD_INPUT {
    std::string m_message;
};

[[noreturn]] void bad(const std::string& message) {
    throw BAD_INPUT{message};
}

struct SRC_PLACE {
    uint32_t m_file = UINT32_MAX;
    uint32_t m_line = 0;
    uint32_t m_column = 0;

    bool operator<(const SRC_PLACE& o) const {
        if (m_file != o.m_file) return m_file < o.m_file;
        if (m_line != o.m_line) return m_line < o.m_line;
        return m_column < o.m_column;
    }
    bool operator==(const SRC_PLACE& o) const {
        return m_file == o.m_file && m_line == o.m_line && m_column == o.m_column;
    }
};

// A port of the JSON: its bits are the split ports first .. first + width - 1, ascending index.
struct BUS {
    int32_t m_first;
    int32_t m_width;
    bool m_upto;

    // Split port of the k-th entry of a "bits" list, which yosys writes from the LSB up.
    int32_t port_of_bit(size_t k) const {
        return m_first + (m_upto ? m_width - 1 - static_cast<int32_t>(k) : static_cast<int32_t>(k));
    }
};

struct MODULE {
    std::string m_name;
    const PREP_JSON_MODULE* m_json = nullptr;
    bool m_blackbox = false;
    bool m_mux = false;
    bool m_top_attribute = false;
    uint32_t m_primitive_type = 0;
    SRC_PLACE m_src;
    std::vector<std::string> m_port_names;
    std::vector<uint32_t> m_port_directions;
    std::vector<int64_t> m_port_bits;  // signal bit of each split port, -1 for a constant
    std::unordered_map<std::string, BUS> m_buses;
    int32_t m_index = -1;     // index in the graph, -1 when not kept
    int32_t m_mux_cell = -1;  // index in the mux cell list
};

// Source order of modules (and likewise of cells): place, then name in natural order.
bool source_less(const MODULE& a, const MODULE& b) {
    if (!(a.m_src == b.m_src)) return a.m_src < b.m_src;
    return prep_natural_less(a.m_name, b.m_name);
}

struct PIN {
    int32_t m_port;
    int64_t m_bit;
};

struct CELL {
    const std::string* m_name;
    SRC_PLACE m_src;
    const MODULE* m_module;
    const PREP_JSON_CELL* m_json;
    std::vector<PIN> m_pins;

    const std::string& name() const { return *m_name; }
};

// Parameters of one mux instance; m_has tells which of CLASS, LENGTH, DIR were given.
struct MUX_VALUES {
    bool m_has[3] = {false, false, false};
    std::string m_value[3];
};

const char* const MUX_PARAMETERS[3] = {"CLASS", "LENGTH", "DIR"};

bool attribute_set(const PREP_JSON_MODULE& m, const char* name) {
    const std::string* value = PREP_JSON_MODULE::find(m.m_attributes, name);
    return value && *value != "0";
}

uint32_t direction_of(const std::string& module, const std::string& port, const std::string& text) {
    if (text == "input") return 0;
    if (text == "output") return 1;
    if (text == "inout") return 2;
    bad("module " + module + ": port " + port + " has direction " + text);
}

// Name of the entry of a "bits" list at declared index `index` of a bus of `width` bits.
std::string bit_name(const std::string& name, int32_t width, int32_t index) {
    return width == 1 ? name : name + "[" + std::to_string(index) + "]";
}

class IMPORTER {
  public:
    IMPORTER(const std::vector<std::string>& sources, std::vector<PREP_MUX_CELL>& mux_cells,
             PREP_IMPORT_COUNTS& counts)
        : m_sources(sources), m_mux_cells(mux_cells), m_counts(counts) {}

    void run(const PREP_JSON_NETLIST& netlist, PREP_JSON_IMPORT::TOP_RULE rule,
             const std::string& top, NLG_GRAPH* graph);

  private:
    SRC_PLACE place_of(const std::string& src) const;
    void collect_modules(const PREP_JSON_NETLIST& netlist);
    void split_ports(MODULE& m);
    const MODULE& module_of_cell(const MODULE& parent, const PREP_JSON_CELL& cell) const;
    std::vector<MODULE*> by_source();
    std::vector<MODULE*> choose_modules(PREP_JSON_IMPORT::TOP_RULE rule, const std::string& top);
    void send_defs(const std::vector<MODULE*>& order, NLG_GRAPH_READ& builder);
    std::vector<CELL> cells_of(const MODULE& m) const;
    std::vector<std::string> net_names(const MODULE& m, const std::vector<int32_t>& net_of_slot,
                                       const std::unordered_map<int64_t, int32_t>& slot_of,
                                       int32_t n_nets) const;
    void send_body(const MODULE& m, NLG_GRAPH_READ& builder);
    void note_mux_instance(const CELL& cell, const MODULE& parent);
    void finish_mux_cells();
    const NLG_FILELINE* fileline(const SRC_PLACE& place, NLG_FILELINE& storage) const;

    const std::vector<std::string>& m_sources;
    std::vector<PREP_MUX_CELL>& m_mux_cells;
    PREP_IMPORT_COUNTS& m_counts;
    std::vector<MODULE> m_modules;
    std::unordered_map<std::string, size_t> m_module_by_name;
    std::vector<MUX_VALUES> m_mux_values;
    std::vector<std::string> m_mux_first;  // "instance in module" of the first instance seen
};

// A yosys source place, "file:line.column-line.column", of which the first of several counts.
SRC_PLACE IMPORTER::place_of(const std::string& text) const {
    SRC_PLACE place;
    const std::string src = text.substr(0, text.find('|'));
    const size_t colon = src.rfind(':');
    if (colon == std::string::npos) return place;
    const std::string file = src.substr(0, colon);
    place.m_file = static_cast<uint32_t>(std::find(m_sources.begin(), m_sources.end(), file) -
                                         m_sources.begin());
    char* end = nullptr;
    place.m_line = static_cast<uint32_t>(strtoul(src.c_str() + colon + 1, &end, 10));
    if (end && *end == '.') place.m_column = static_cast<uint32_t>(strtoul(end + 1, nullptr, 10));
    return place;
}

void IMPORTER::collect_modules(const PREP_JSON_NETLIST& netlist) {
    m_modules.reserve(netlist.m_modules.size());
    for (const PREP_JSON_MODULE& json : netlist.m_modules) {
        MODULE m;
        m.m_name = json.m_name;
        m.m_json = &json;
        m.m_blackbox = attribute_set(json, "blackbox");
        m.m_mux = PREP_JSON_MODULE::find(json.m_attributes, "fab_mux") != nullptr;
        m.m_top_attribute = attribute_set(json, "top");
        if (const std::string* type = PREP_JSON_MODULE::find(json.m_attributes, "fab_primitive")) {
            m.m_primitive_type = static_cast<uint32_t>(strtoul(type->c_str(), nullptr, 10));
            if (m.m_primitive_type == 0 ||
                type->find_first_not_of("0123456789") != std::string::npos)
                bad("module " + m.m_name + ": fab_primitive is " + *type + ", not a type code");
        }
        m.m_src = place_of(json.m_src);
        if (!m_module_by_name.emplace(m.m_name, m_modules.size()).second)
            bad("module " + m.m_name + " is defined twice");
        m_modules.push_back(std::move(m));
    }
    for (MODULE& m : m_modules) split_ports(m);
}

void IMPORTER::split_ports(MODULE& m) {
    for (const PREP_JSON_PORT& port : m.m_json->m_ports) {
        const std::vector<int64_t>& bits = port.m_bits.m_bits;
        const int32_t width = static_cast<int32_t>(bits.size());
        if (width == 0) bad("module " + m.m_name + ": port " + port.m_name + " has no bits");
        const bool upto = port.m_bits.m_upto;
        const uint32_t direction = direction_of(m.m_name, port.m_name, port.m_direction);
        BUS bus{static_cast<int32_t>(m.m_port_names.size()), width, upto};
        if (!m.m_buses.emplace(port.m_name, bus).second)
            bad("module " + m.m_name + ": port " + port.m_name + " appears twice");
        for (int32_t j = 0; j < width; ++j) {
            const size_t k = static_cast<size_t>(upto ? width - 1 - j : j);
            m.m_port_names.push_back(bit_name(port.m_name, width, port.m_bits.m_offset + j));
            m.m_port_directions.push_back(direction);
            m.m_port_bits.push_back(bits[k]);
        }
    }
}

const MODULE& IMPORTER::module_of_cell(const MODULE& parent, const PREP_JSON_CELL& cell) const {
    auto it = m_module_by_name.find(cell.m_type);
    if (it == m_module_by_name.end())
        bad("module " + parent.m_name + ": cell " + cell.m_name + " is of module " + cell.m_type +
            ", which the netlist does not define");
    return m_modules[it->second];
}

std::vector<MODULE*> IMPORTER::by_source() {
    std::vector<MODULE*> sorted;
    for (MODULE& m : m_modules) sorted.push_back(&m);
    std::sort(sorted.begin(), sorted.end(),
              [](const MODULE* a, const MODULE* b) { return source_less(*a, *b); });
    return sorted;
}

std::vector<MODULE*> IMPORTER::choose_modules(PREP_JSON_IMPORT::TOP_RULE rule,
                                              const std::string& top) {
    std::vector<MODULE*> sorted = by_source();
    if (rule == PREP_JSON_IMPORT::NO_TOP) return sorted;

    MODULE* root = nullptr;
    for (MODULE* m : sorted)
        if (rule == PREP_JSON_IMPORT::TOP_BY_NAME ? m->m_name == top : m->m_top_attribute) {
            root = m;
            break;
        }
    if (!root)
        bad(rule == PREP_JSON_IMPORT::TOP_BY_NAME ? "top module " + top + " is not in the netlist"
                                                  : std::string("no module has the top attribute"));

    // Modules that the top reaches, found by a walk over cell types.
    std::vector<bool> reached(m_modules.size(), false);
    std::vector<const MODULE*> stack{root};
    reached[m_module_by_name.at(root->m_name)] = true;
    while (!stack.empty()) {
        const MODULE* m = stack.back();
        stack.pop_back();
        for (const PREP_JSON_CELL& cell : m->m_json->m_cells) {
            const MODULE& child = module_of_cell(*m, cell);
            const size_t index = m_module_by_name.at(child.m_name);
            if (reached[index]) continue;
            reached[index] = true;
            stack.push_back(&child);
        }
    }
    std::vector<MODULE*> order{root};
    for (MODULE* m : sorted)
        if (m != root && reached[m_module_by_name.at(m->m_name)]) order.push_back(m);
    return order;
}

const NLG_FILELINE* IMPORTER::fileline(const SRC_PLACE& place, NLG_FILELINE& storage) const {
    if (place.m_file >= m_sources.size() || place.m_file > NLG_FILELINE::MAX_FILE ||
        place.m_line > NLG_FILELINE::MAX_LINE)
        return nullptr;
    storage = NLG_FILELINE(place.m_file, place.m_line);
    return &storage;
}

void IMPORTER::send_defs(const std::vector<MODULE*>& order, NLG_GRAPH_READ& builder) {
    builder.begin_module_defs(static_cast<int32_t>(order.size()));
    for (const MODULE* m : order) {
        NLG_FILELINE storage;
        builder.add_module_def(builder.intern(m->m_name), m->m_primitive_type,
                               fileline(m->m_src, storage), false);
        builder.begin_module_ports(static_cast<int32_t>(m->m_port_names.size()));
        for (size_t p = 0; p < m->m_port_names.size(); ++p)
            builder.add_module_port(builder.intern(m->m_port_names[p]), m->m_port_directions[p],
                                    nullptr);
        builder.end_module_ports();
        m_counts.m_ports += m->m_port_names.size();
    }
    builder.end_module_defs();
    m_counts.m_modules = order.size();
}

std::vector<CELL> IMPORTER::cells_of(const MODULE& m) const {
    std::vector<CELL> cells;
    if (m.m_blackbox) return cells;
    cells.reserve(m.m_json->m_cells.size());
    for (const PREP_JSON_CELL& json : m.m_json->m_cells) {
        CELL cell{&json.m_name, place_of(json.m_src), &module_of_cell(m, json), &json, {}};
        for (const auto& [port, bits] : json.m_connections) {
            auto bus = cell.m_module->m_buses.find(port);
            if (bus == cell.m_module->m_buses.end())
                bad("module " + m.m_name + ": cell " + json.m_name + " connects port " + port +
                    ", which module " + cell.m_module->m_name + " does not have");
            if (bits.size() > static_cast<size_t>(bus->second.m_width))
                bad("module " + m.m_name + ": cell " + json.m_name + " connects " +
                    std::to_string(bits.size()) + " bits to port " + port + " of " +
                    std::to_string(bus->second.m_width) + " bits");
            for (size_t k = 0; k < bits.size(); ++k)
                cell.m_pins.push_back(PIN{bus->second.port_of_bit(k), bits[k]});
        }
        std::sort(cell.m_pins.begin(), cell.m_pins.end(),
                  [](const PIN& a, const PIN& b) { return a.m_port < b.m_port; });
        cells.push_back(std::move(cell));
    }
    std::sort(cells.begin(), cells.end(), [](const CELL& a, const CELL& b) {
        if (!(a.m_src == b.m_src)) return a.m_src < b.m_src;
        return prep_natural_less(a.name(), b.name());
    });
    return cells;
}

// Net names: the first module port on the bit, else a named wire, else a hidden one, else the
// bit's number.
std::vector<std::string> IMPORTER::net_names(const MODULE& m,
                                             const std::vector<int32_t>& net_of_slot,
                                             const std::unordered_map<int64_t, int32_t>& slot_of,
                                             int32_t n_nets) const {
    std::vector<std::string> names(static_cast<size_t>(n_nets));
    auto net_of_bit = [&](int64_t bit) -> int32_t {
        auto it = slot_of.find(bit);
        return it == slot_of.end() ? -1 : net_of_slot[it->second];
    };
    for (size_t p = 0; p < m.m_port_bits.size(); ++p) {
        const int32_t net = net_of_bit(m.m_port_bits[p]);
        if (net >= 0 && names[net].empty()) names[net] = m.m_port_names[p];
    }
    for (int hidden = 0; hidden < 2 && n_nets > 0; ++hidden)
        for (const PREP_JSON_NETNAME& wire : m.m_json->m_netnames) {
            if (wire.m_hidden != (hidden != 0)) continue;
            const int32_t width = static_cast<int32_t>(wire.m_bits.m_bits.size());
            for (int32_t k = 0; k < width; ++k) {
                const int32_t net = net_of_bit(wire.m_bits.m_bits[k]);
                if (net < 0 || !names[net].empty()) continue;
                const int32_t j = wire.m_bits.m_upto ? width - 1 - k : k;
                names[net] = bit_name(wire.m_name, width, wire.m_bits.m_offset + j);
            }
        }
    for (const auto& [bit, slot] : slot_of)
        if (net_of_slot[slot] >= 0 && names[net_of_slot[slot]].empty())
            names[net_of_slot[slot]] = "$" + std::to_string(bit);
    return names;
}

void IMPORTER::send_body(const MODULE& m, NLG_GRAPH_READ& builder) {
    const std::vector<CELL> cells = cells_of(m);

    // Ends per signal bit, slots in order of first appearance.
    std::unordered_map<int64_t, int32_t> slot_of;
    std::vector<int32_t> ends;
    auto touch = [&](int64_t bit) {
        if (bit < 0) return;
        auto inserted = slot_of.emplace(bit, static_cast<int32_t>(ends.size()));
        if (inserted.second) ends.push_back(0);
        ++ends[inserted.first->second];
    };
    if (!m.m_blackbox) {
        for (int64_t bit : m.m_port_bits) touch(bit);
        for (const CELL& cell : cells)
            for (const PIN& pin : cell.m_pins) touch(pin.m_bit);
    }
    std::vector<int32_t> net_of_slot(ends.size(), -1);
    int32_t n_nets = 0;
    for (size_t s = 0; s < ends.size(); ++s)
        if (ends[s] >= 2) net_of_slot[s] = n_nets++;
    auto net_of_bit = [&](int64_t bit) -> int32_t {
        if (bit < 0) return -1;
        auto it = slot_of.find(bit);
        return it == slot_of.end() ? -1 : net_of_slot[it->second];
    };
    const std::vector<std::string> names = net_names(m, net_of_slot, slot_of, n_nets);
    std::vector<std::vector<int32_t>> net_ports(static_cast<size_t>(n_nets));
    for (size_t p = 0; p < m.m_port_bits.size(); ++p) {
        const int32_t net = net_of_bit(m.m_port_bits[p]);
        if (net >= 0) net_ports[net].push_back(static_cast<int32_t>(p));
    }

    builder.begin_module_body(m.m_index);
    builder.begin_nets(n_nets);
    for (int32_t n = 0; n < n_nets; ++n)
        builder.add_net(builder.intern(names[n]), std::move(net_ports[n]), nullptr);
    builder.end_nets();
    builder.begin_instances(static_cast<int32_t>(cells.size()));
    for (const CELL& cell : cells) {
        std::vector<NLG_PORT_TO_NET> port_to_nets;
        for (const PIN& pin : cell.m_pins) {
            const int32_t net = net_of_bit(pin.m_bit);
            if (net >= 0) port_to_nets.emplace_back(pin.m_port, net);
        }
        m_counts.m_portrefs += port_to_nets.size();
        NLG_FILELINE storage;
        builder.add_instance(builder.intern(cell.name()), cell.m_module->m_index,
                             std::move(port_to_nets), fileline(cell.m_src, storage));
        if (cell.m_module->m_mux) note_mux_instance(cell, m);
    }
    builder.end_instances();
    builder.begin_edges();
    builder.end_module_body();
    m_counts.m_nets += static_cast<uint64_t>(n_nets);
    m_counts.m_instances += cells.size();
}

void IMPORTER::note_mux_instance(const CELL& cell, const MODULE& parent) {
    const MODULE& mux = *cell.m_module;
    MUX_VALUES values;
    for (int p = 0; p < 3; ++p) {
        const std::string* value =
            PREP_JSON_MODULE::find(cell.m_json->m_parameters, MUX_PARAMETERS[p]);
        if (!value) value = PREP_JSON_MODULE::find(mux.m_json->m_defaults, MUX_PARAMETERS[p]);
        values.m_has[p] = value != nullptr;
        if (value) values.m_value[p] = *value;
    }
    const std::string where = "instance " + cell.name() + " in module " + parent.m_name;
    std::string& first = m_mux_first[mux.m_mux_cell];
    MUX_VALUES& kept = m_mux_values[mux.m_mux_cell];
    if (first.empty()) {
        first = where;
        kept = values;
        return;
    }
    for (int p = 0; p < 3; ++p)
        if (values.m_has[p] != kept.m_has[p] || values.m_value[p] != kept.m_value[p])
            bad("mux cell " + mux.m_name + ": " + where + " has " + MUX_PARAMETERS[p] + " " +
                (values.m_has[p] ? values.m_value[p] : "unset") + ", but " + first + " has " +
                (kept.m_has[p] ? kept.m_value[p] : "unset"));
}

void IMPORTER::finish_mux_cells() {
    for (PREP_MUX_CELL& cell : m_mux_cells) {
        const MODULE& mux = m_modules[m_module_by_name.at(cell.m_module)];
        MUX_VALUES& values = m_mux_values[mux.m_mux_cell];
        if (m_mux_first[mux.m_mux_cell].empty()) {  // never instantiated: the defaults
            for (int p = 0; p < 3; ++p)
                if (const std::string* value =
                        PREP_JSON_MODULE::find(mux.m_json->m_defaults, MUX_PARAMETERS[p])) {
                    values.m_has[p] = true;
                    values.m_value[p] = *value;
                }
        }
        cell.m_is_template = values.m_has[0];
        if (!cell.m_is_template) continue;
        for (int p = 1; p < 3; ++p)
            if (!values.m_has[p])
                bad("mux cell " + cell.m_module + ": has CLASS but no " + MUX_PARAMETERS[p]);
        cell.m_class = values.m_value[0];
        cell.m_length = values.m_value[1];
        cell.m_dir = values.m_value[2];
    }
}

void IMPORTER::run(const PREP_JSON_NETLIST& netlist, PREP_JSON_IMPORT::TOP_RULE rule,
                   const std::string& top, NLG_GRAPH* graph) {
    collect_modules(netlist);
    const std::vector<MODULE*> order = choose_modules(rule, top);
    for (size_t i = 0; i < order.size(); ++i) order[i]->m_index = static_cast<int32_t>(i);

    for (MODULE* m : by_source()) {
        if (!m->m_mux) continue;
        m->m_mux_cell = static_cast<int32_t>(m_mux_cells.size());
        PREP_MUX_CELL cell;
        cell.m_module = m->m_name;
        cell.m_ports = m->m_port_names;
        m_mux_cells.push_back(std::move(cell));
    }
    m_mux_values.resize(m_mux_cells.size());
    m_mux_first.resize(m_mux_cells.size());

    NLG_GRAPH_READ builder;
    builder.set_graph(graph);
    builder.begin_graph();
    send_defs(order, builder);
    builder.begin_module_bodies(static_cast<int32_t>(order.size()));
    for (const MODULE* m : order) send_body(*m, builder);
    builder.end_module_bodies();
    std::vector<NS_SYMBOL::SYM> filenames;
    for (const std::string& file : m_sources) filenames.push_back(builder.intern(file));
    builder.add_filename_table(filenames);
    builder.end_graph();
    finish_mux_cells();
}

}  // namespace

PREP_JSON_IMPORT::PREP_JSON_IMPORT(std::vector<std::string> sources)
    : m_sources(std::move(sources)) {}

bool PREP_JSON_IMPORT::import(std::istream& json, TOP_RULE rule, const std::string& top,
                              NLG_GRAPH* graph) {
    m_mux_cells.clear();
    m_counts = PREP_IMPORT_COUNTS();
    m_error = UTIL::IERROR::ERROR();
    if (graph->get_num_modules() != 0) {
        m_error = {false, "the graph to import into is not empty"};
        return false;
    }
    PREP_JSON_NETLIST netlist;
    std::string parse_error;
    if (!prep_read_json(json, &netlist, &parse_error)) {
        m_error = {false, "not a yosys netlist: " + parse_error};
        return false;
    }
    try {
        IMPORTER importer(m_sources, m_mux_cells, m_counts);
        importer.run(netlist, rule, top, graph);
    } catch (const BAD_INPUT& e) {
        m_error = {false, e.m_message};
    }
    return m_error.m_ok;
}

bool prep_natural_less(const std::string& a, const std::string& b) {
    size_t i = 0, j = 0;
    auto digit = [](char c) { return c >= '0' && c <= '9'; };
    while (i < a.size() && j < b.size()) {
        if (digit(a[i]) && digit(b[j])) {
            size_t ei = i, ej = j;
            while (ei < a.size() && digit(a[ei])) ++ei;
            while (ej < b.size() && digit(b[ej])) ++ej;
            size_t si = i, sj = j;  // skip leading zeros
            while (si + 1 < ei && a[si] == '0') ++si;
            while (sj + 1 < ej && b[sj] == '0') ++sj;
            if (ei - si != ej - sj) return ei - si < ej - sj;
            const int c = a.compare(si, ei - si, b, sj, ej - sj);
            if (c != 0) return c < 0;
            i = ei;
            j = ej;
            continue;
        }
        if (a[i] != b[j]) return a[i] < b[j];
        ++i;
        ++j;
    }
    if (i < a.size() || j < b.size()) return i == a.size() && j < b.size();
    return a < b;  // equal under the natural order (leading zeros): fall back to plain text
}
