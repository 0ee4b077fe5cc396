// Streaming read of a yosys JSON netlist. The parser's events walk a stack of frames, one per
// open object or array, each with its current key; the keys from the root say where a value
// belongs (modules / M / ports / P / bits, modules / M / cells / C / connections / pin, ...).
// Values in any other place are dropped as they come, so that the read keeps no document tree.
#include "prep/prep_json_reader.h"

#include <nlohmann/json.hpp>

#include <cstdlib>

namespace {

using JSON = nlohmann::json;

class NETLIST_SAX : public nlohmann::json_sax<JSON> {
  public:
    explicit NETLIST_SAX(PREP_JSON_NETLIST* netlist) : m_netlist(netlist) {}

    bool null() override { return value(false, "null"); }
    bool boolean(bool v) override { return value(true, v ? "1" : "0"); }
    bool number_integer(number_integer_t v) override { return number(v); }
    bool number_unsigned(number_unsigned_t v) override {
        return number(static_cast<number_integer_t>(v));
    }
    bool number_float(number_float_t, const string_t& text) override { return value(true, text); }
    bool string(string_t& v) override { return value(false, v); }
    bool binary(binary_t&) override { return true; }
    bool key(string_t& k) override {
        m_frames.back().m_key = std::move(k);
        return true;
    }
    bool start_object(std::size_t) override;
    bool end_object() override;
    bool start_array(std::size_t) override;
    bool end_array() override;
    bool parse_error(std::size_t, const std::string&,
                     const nlohmann::detail::exception& e) override {
        m_error = e.what();
        return false;
    }

    const std::string& error() const { return m_error; }

  private:
    struct FRAME {
        bool m_array;
        std::string m_key;
    };

    // Key of frame i from the root, or empty.
    const std::string& key(size_t i) const {
        static const std::string none;
        return i < m_frames.size() ? m_frames[i].m_key : none;
    }
    bool in_module_part(const char* part) const {
        return m_frames.size() >= 3 && key(0) == "modules" && key(2) == part;
    }
    PREP_JSON_MODULE& module() { return m_netlist->m_modules.back(); }
    bool value(bool number, const std::string& text);
    // Signal bits are most of a netlist: they skip the text form.
    bool number(int64_t v) {
        if (!m_frames.empty() && m_frames.back().m_array) return bit(v);
        return value(true, std::to_string(v));
    }
    bool bit(int64_t v) {
        if (m_bits) m_bits->m_bits.push_back(v);
        if (m_pins) m_pins->push_back(v);
        return true;
    }

    PREP_JSON_NETLIST* m_netlist;
    std::vector<FRAME> m_frames;
    PREP_JSON_BITS* m_bits = nullptr;        // the bits list being read
    std::vector<int64_t>* m_pins = nullptr;  // the pin connection being read
    std::string m_error;
};

bool NETLIST_SAX::start_object(std::size_t) {
    const size_t depth = m_frames.size();
    if (depth == 2 && key(0) == "modules") {
        m_netlist->m_modules.emplace_back();
        module().m_name = key(1);
    } else if (depth == 4 && in_module_part("ports")) {
        module().m_ports.emplace_back();
        module().m_ports.back().m_name = key(3);
    } else if (depth == 4 && in_module_part("cells")) {
        module().m_cells.emplace_back();
        module().m_cells.back().m_name = key(3);
    } else if (depth == 4 && in_module_part("netnames")) {
        module().m_netnames.emplace_back();
        module().m_netnames.back().m_name = key(3);
    }
    m_frames.push_back(FRAME{false, std::string()});
    return true;
}

bool NETLIST_SAX::end_object() {
    m_frames.pop_back();
    return true;
}

bool NETLIST_SAX::start_array(std::size_t) {
    const size_t depth = m_frames.size();
    if (depth == 5 && key(4) == "bits" && in_module_part("ports"))
        m_bits = &module().m_ports.back().m_bits;
    else if (depth == 5 && key(4) == "bits" && in_module_part("netnames"))
        m_bits = &module().m_netnames.back().m_bits;
    else if (depth == 6 && key(4) == "connections" && in_module_part("cells")) {
        auto& connections = module().m_cells.back().m_connections;
        connections.emplace_back(key(5), std::vector<int64_t>());
        m_pins = &connections.back().second;
    }
    m_frames.push_back(FRAME{true, std::string()});
    return true;
}

bool NETLIST_SAX::end_array() {
    m_frames.pop_back();
    m_bits = nullptr;
    m_pins = nullptr;
    return true;
}

// A scalar: where the keys say it belongs.
bool NETLIST_SAX::value(bool number, const std::string& text) {
    if (m_frames.empty()) return true;
    if (m_frames.back().m_array) return bit(-1);  // a constant bit; numbers come by number()
    const size_t depth = m_frames.size();
    const std::string& field = m_frames.back().m_key;
    auto as_written = [&]() { return number ? text : prep_parameter_text(text); };
    if (depth == 4 && in_module_part("attributes")) {
        if (field == "src")
            module().m_src = text;
        else
            module().m_attributes.push_back(PREP_JSON_VALUE{field, as_written()});
    } else if (depth == 4 && in_module_part("parameter_default_values")) {
        module().m_defaults.push_back(PREP_JSON_VALUE{field, as_written()});
    } else if (depth == 5 && in_module_part("ports")) {
        PREP_JSON_PORT& port = module().m_ports.back();
        if (field == "direction") port.m_direction = text;
        if (field == "offset" && number)
            port.m_bits.m_offset = static_cast<int32_t>(strtol(text.c_str(), nullptr, 10));
        if (field == "upto") port.m_bits.m_upto = text != "0";
    } else if (depth == 5 && in_module_part("netnames")) {
        PREP_JSON_NETNAME& net = module().m_netnames.back();
        if (field == "hide_name") net.m_hidden = text != "0";
        if (field == "offset" && number)
            net.m_bits.m_offset = static_cast<int32_t>(strtol(text.c_str(), nullptr, 10));
        if (field == "upto") net.m_bits.m_upto = text != "0";
    } else if (depth == 5 && in_module_part("cells")) {
        if (field == "type") module().m_cells.back().m_type = text;
    } else if (depth == 6 && in_module_part("cells")) {
        PREP_JSON_CELL& cell = module().m_cells.back();
        if (key(4) == "parameters")
            cell.m_parameters.push_back(PREP_JSON_VALUE{field, as_written()});
        if (key(4) == "attributes" && field == "src") cell.m_src = text;
    }
    return true;
}

}  // namespace

const std::string* PREP_JSON_MODULE::find(const std::vector<PREP_JSON_VALUE>& values,
                                          const std::string& name) {
    for (const PREP_JSON_VALUE& v : values)
        if (v.m_name == name) return &v.m_text;
    return nullptr;
}

bool prep_read_json(std::istream& input, PREP_JSON_NETLIST* netlist, std::string* error) {
    NETLIST_SAX sax(netlist);
    if (JSON::sax_parse(input, &sax)) return true;
    *error = sax.error();
    return false;
}

std::string prep_parameter_text(const std::string& value) {
    const size_t not_bit = value.find_first_not_of("01xz");
    if (!value.empty() && not_bit == std::string::npos) {
        if (value.find_first_of("xz") != std::string::npos || value.size() > 64) return value;
        uint64_t number = 0;
        for (char c : value) number = number * 2 + (c == '1' ? 1 : 0);
        if (value.size() == 32 && value[0] == '1')
            return std::to_string(static_cast<int32_t>(static_cast<uint32_t>(number)));
        return std::to_string(number);
    }
    std::string text = value;
    // Bits followed by blanks only: yosys added one blank to tell the string from a number.
    if (not_bit != std::string::npos && text.find_first_not_of(' ', not_bit) == std::string::npos)
        text.pop_back();
    return "\"" + text + "\"";
}
