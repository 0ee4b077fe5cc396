// Indexes over the paths of a mux description, and the table of all descriptions.
//  1. Binding walks `mux_ipaths` once: first output per input, port kinds (first kind wins,
//     with a warning when an input is later used as an output), output numbers by first use.
//  2. A second walk counts paths per output number and records each path's output number.
//  3. The table copies the message, binds one description per entry, then indexes the names
//     that the symbol table knows (first index wins).
#include "util/util_mux_descriptions.h"

#include <google/protobuf/io/zero_copy_stream_impl.h>

#include <iostream>

#include "util/util_assert.h"
#include "util/util_indent.h"
#include "util/util_symbol_file.h"

namespace UTIL {

void MUX_DESCRIPTION::add_path(uint32_t in, uint32_t out) {
    m_input_to_output.emplace(in, out);
    m_port_types.emplace(in, P_INPUT);
    if (m_output_to_number.emplace(out, static_cast<uint32_t>(m_outputs.size())).second) {
        m_outputs.push_back(out);
    }
    auto kind = m_port_types.emplace(out, P_OUTPUT);
    if (!kind.second && kind.first->second != P_OUTPUT) {
        std::cout << "WARNING: Mux Description: " << m_pb->name() << " uses port " << out
                  << " as input and output" << std::endl;
    }
}

void MUX_DESCRIPTION::bind(uint32_t index, const PB::MUX_DESCRIPTION* pb) {
    m_index = index;
    m_pb = pb;
    const int n_paths = pb->mux_ipaths_size();
    for (int i = 0; i < n_paths; ++i) {
        const PB::MUX_DESCRIPTION::IPATH& path = pb->mux_ipaths(i);
        add_path(static_cast<uint32_t>(path.in()), static_cast<uint32_t>(path.out()));
    }
    m_path_to_output_number.assign(static_cast<size_t>(n_paths), 0xFFFFFFFFu);
    m_inputs_per_output.assign(m_outputs.size(), 0);
    for (int i = 0; i < n_paths; ++i) {
        uint32_t n = m_output_to_number.at(static_cast<uint32_t>(pb->mux_ipaths(i).out()));
        m_inputs_per_output[n] += 1;
        m_path_to_output_number[static_cast<size_t>(i)] = n;
    }
}

IMUX_DESCRIPTION::PORT_TYPE MUX_DESCRIPTION::get_port_type(uint32_t port) const {
    auto it = m_port_types.find(port);
    return it == m_port_types.end() ? P_UNKNOWN : it->second;
}

uint32_t MUX_DESCRIPTION::get_output_for_input(uint32_t port) const {
    auto it = m_input_to_output.find(port);
    return it == m_input_to_output.end() ? NO_PORT : it->second;
}

uint32_t MUX_DESCRIPTION::get_output_number(uint32_t path_index) const {
    const int32_t output_number = static_cast<int32_t>(at(m_path_to_output_number, path_index));
    UTIL_ASSERT(output_number != -1);
    return static_cast<uint32_t>(output_number);
}

const IMUX_DESCRIPTION& MUX_DESCRIPTIONS::get_mux_description(uint32_t index) const {
    return at(m_descriptions, index);
}

uint32_t MUX_DESCRIPTIONS::find_mux_index(NS_SYMBOL::SYM name) const {
    auto it = m_name_to_index.find(name.get_value());
    return it == m_name_to_index.end() ? NO_MUX : it->second;
}

void MUX_DESCRIPTIONS::set_pb_mux_descriptions(const PB::MUX_DESCRIPTIONS& message) {
    // Copy first: the descriptions point into the owned message.
    m_pb_mux_descriptions.CopyFrom(message);
    const int n = m_pb_mux_descriptions.mux_descriptions_size();
    m_descriptions.clear();
    m_descriptions.resize(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) {
        m_descriptions[static_cast<size_t>(i)].bind(static_cast<uint32_t>(i),
                                                    &m_pb_mux_descriptions.mux_descriptions(i));
    }
    UTIL_ASSERT(m_symbol_file != NULL);
    UTIL_ASSERT(m_symbol_file->get_internal_const() != NULL);
    const SYMBOL_TABLE* table = m_symbol_file->get_internal_const();
    m_name_to_index.clear();
    for (int i = 0; i < n; ++i) {
        SYM name = table->find(m_pb_mux_descriptions.mux_descriptions(i).name());
        if (name.is_known()) m_name_to_index.emplace(name.get_value(), static_cast<uint32_t>(i));
    }
}

void MUX_DESCRIPTIONS::set_symbol_file(SYMBOL_FILE* file) {
    UTIL_ASSERT(m_symbol_file == NULL);
    m_symbol_file = file;
}

bool MUX_DESCRIPTIONS::read_stream(google::protobuf::io::ZeroCopyInputStream* input,
                                   uint32_t format) {
    UTIL_ASSERT(m_pb_mux_descriptions.mux_descriptions_size() == 0);
    PB::MUX_DESCRIPTIONS message;
    bool ok = read_message(input, &message, format);
    // The caller decides what a failed read means; the table is indexed either way.
    set_pb_mux_descriptions(message);
    return ok;
}

bool MUX_DESCRIPTIONS::read(std::istream& input, uint32_t format) {
    google::protobuf::io::IstreamInputStream zero_copy(&input);
    return read_stream(&zero_copy, format);
}

bool MUX_DESCRIPTIONS::read(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format) {
    return read_stream(input, format);
}

bool MUX_DESCRIPTIONS::write(std::ostream& output, uint32_t format) {
    return write_message(m_pb_mux_descriptions, output, format);
}

std::ostream& operator<<(std::ostream& os, const IMUX_DESCRIPTIONS& descriptions) {
    INDENT guard(os, 3);
    const uint32_t n = descriptions.get_n_mux_descriptions();
    os << "MUX_DESCRIPTIONS (" << n << ") {";
    if (get_detail(os) < 2) return os << "}";
    os << std::endl << indent;
    for (uint32_t i = 0; i < n; ++i) {
        const PB::MUX_DESCRIPTION& pb = descriptions.get_mux_description(i).get_pb();
        os << "[" << i << "] { "
           << "name=" << pb.name() << ", ";
        for (int p = 0; p < pb.mux_ipaths_size(); ++p) {
            if (p > 0) os << ", ";
            os << "(" << pb.mux_ipaths(p).in() << "," << pb.mux_ipaths(p).out() << ")";
        }
        os << "}" << std::endl;
    }
    return os << outdent << "}";
}

}  // namespace UTIL
