// The GID type table and the two forms of a type.
//  1. Interning: a GLOBAL type is found in the map of its length (position length + 1), any
//     other class in the map of its class; the map is keyed by the name's symbol value and
//     gives the index in m_gid_types, which only grows.
//  2. File: a GID_TYPES count, then one GID_TYPE per index with names in the file's own ids.
//     Reading re-interns each record, so indexes come back as they were written.
//  3. Text: name, a class suffix, the length. The reader splits at the last "_" and knows one
//     global name that ends in "_RE", and lengths only behind "H" and "V".
#include "util/util_gid_type.h"

#include <google/protobuf/io/zero_copy_stream_impl.h>

#include <algorithm>
#include <cctype>
#include <sstream>
#include <stdexcept>

#include "util/util_assert.h"
#include "util/util_indent.h"
#include "util/util_symbol_file.h"

namespace UTIL {

SYMBOL_FILE* GID_TYPE_BUILDER::s_current_symbol_file = nullptr;

GID_TYPE::GID_TYPE() : GID_TYPE(PB::GID_TYPE::GLOBAL, SYM(0), -1) {}

GID_TYPE::GID_TYPE(PB::GID_TYPE::GCLASS gclass, SYM name, int32_t length) {
    set(gclass, name, length);
}

void GID_TYPE::set(PB::GID_TYPE::GCLASS gclass, SYM name, int32_t length) {
    m_message.set_gclass(gclass);
    m_message.mutable_name()->set_value(name.get_value());
    m_message.set_length(length);
}

bool GID_TYPE::operator==(const IGID_TYPE& other) const {
    return get_gclass() == other.get_gclass() && get_name() == other.get_name() &&
           get_length() == other.get_length();
}

GID_TYPE_BUILDER::GID_TYPE_BUILDER()
    : m_types_by_length(N_LENGTH_MAPS), m_types_by_gclass(N_GCLASS_MAPS) {}

void GID_TYPE_BUILDER::set_symbol_file(SYMBOL_FILE* file) {
    m_symbol_file = file;
    s_current_symbol_file = file;
}

void GID_TYPE_BUILDER::add_global_types(const std::vector<std::pair<SYM, int32_t>>& types) {
    for (const auto& type : types) {
        SYM name = type.first;
        UTIL_ASSERT(name.is_known());
        add_gid_type(PB::GID_TYPE::GLOBAL, name, type.second);
    }
}

// Length -1 maps to 0; a negative position wraps to a huge size_t and fails the check.
static size_t length_position(int32_t length) {
    return static_cast<size_t>(static_cast<int64_t>(length) + 1);
}

const GID_TYPE_BUILDER::INDEX_MAP& GID_TYPE_BUILDER::map_of(PB::GID_TYPE::GCLASS gclass,
                                                            int32_t length) const {
    if (gclass == PB::GID_TYPE::GLOBAL) return at(m_types_by_length, length_position(length));
    return at(m_types_by_gclass, static_cast<size_t>(gclass));
}

GID_TYPE_BUILDER::INDEX_MAP& GID_TYPE_BUILDER::map_of(PB::GID_TYPE::GCLASS gclass, int32_t length) {
    if (gclass == PB::GID_TYPE::GLOBAL) return at(m_types_by_length, length_position(length));
    return at(m_types_by_gclass, static_cast<size_t>(gclass));
}

uint32_t GID_TYPE_BUILDER::add_gid_type(PB::GID_TYPE::GCLASS gclass, SYM name, int32_t length) {
    uint32_t candidate = static_cast<uint32_t>(m_gid_types.size());
    if (gclass != PB::GID_TYPE::GLOBAL) {
        UTIL_ASSERT_MSG(static_cast<uint32_t>(length) == IGID_TYPE::LENGTH_INVALID,
                        "l == IGID_TYPE::LENGTH_INVALID");
    }
    auto inserted = map_of(gclass, length).emplace(name.get_value(), candidate);
    if (!inserted.second) return inserted.first->second;
    m_gid_types.emplace_back(gclass, name, length);
    return candidate;
}

uint32_t GID_TYPE_BUILDER::find_gid_type(PB::GID_TYPE::GCLASS gclass, SYM name,
                                         int32_t length) const {
    const INDEX_MAP& map = map_of(gclass, length);
    auto it = map.find(name.get_value());
    return it == map.end() ? static_cast<uint32_t>(-1) : it->second;
}

const GID_TYPE& GID_TYPE_BUILDER::get_gid_type_at(uint32_t index) const {
    return at(m_gid_types, index);
}

const GID_TYPE& GID_TYPE_BUILDER::find_gid_type_object(PB::GID_TYPE::GCLASS gclass, SYM name,
                                                       int32_t length) const {
    return at(m_gid_types, find_gid_type(gclass, name, length));
}

bool GID_TYPE_BUILDER::write_stream(google::protobuf::io::ZeroCopyOutputStream* output,
                                    uint32_t format) {
    UTIL_ASSERT(m_symbol_file != NULL);
    PB::GID_TYPES head;
    head.set_num_gid_type(get_n_gid_types());
    write_message(head, output, format);
    PB::GID_TYPE copy;
    for (const GID_TYPE& type : m_gid_types) {
        copy = type.get_message();
        m_symbol_file->message_internal_to_external(&copy);
        write_message(copy, output, format);
    }
    return true;
}

bool GID_TYPE_BUILDER::read_stream(google::protobuf::io::ZeroCopyInputStream* input,
                                   uint32_t format) {
    UTIL_ASSERT(m_symbol_file != NULL);
    PB::GID_TYPES head;
    if (!read_message(input, &head, format)) return false;
    // A GID holds 17 bits of type index: a larger count comes from a corrupt file only, and
    // must not reserve gigabytes before its first record fails.
    m_gid_types.reserve(std::min<uint32_t>(head.num_gid_type(), 1u << 17));
    PB::GID_TYPE record;
    for (uint32_t n = 0; n < head.num_gid_type(); ++n) {
        record.Clear();
        if (!read_message(input, &record, format)) return false;
        m_symbol_file->message_external_to_internal(&record);
        add_gid_type(record.gclass(), SYM(record.name().value()), record.length());
    }
    return true;
}

bool GID_TYPE_BUILDER::read(std::istream& input, uint32_t format) {
    google::protobuf::io::IstreamInputStream zero_copy(&input);
    return read_stream(&zero_copy, format);
}

bool GID_TYPE_BUILDER::read(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format) {
    return read_stream(input, format);
}

bool GID_TYPE_BUILDER::write(std::ostream& output, uint32_t format) {
    google::protobuf::io::OstreamOutputStream zero_copy(&output);
    return write_stream(&zero_copy, format);
}

void print_gid_type(std::ostream& os, PB::GID_TYPE::GCLASS gclass, SYM name, int32_t length) {
    os << name;
    switch (gclass) {
        case PB::GID_TYPE::GLOBAL:
            break;
        case PB::GID_TYPE::INPUT:
            os << "_INPUT";
            break;
        case PB::GID_TYPE::OUTPUT:
            os << "_OUTPUT";
            break;
        case PB::GID_TYPE::RE:
            os << "_RE";
            break;
        default:
            UTIL_FAIL("Should not reach here");
    }
    if (length != -1) os << length;
}

std::ostream& operator<<(std::ostream& os, const GID_TYPE& type) {
    print_gid_type(os, type.get_gclass(), type.get_name(), type.get_length());
    return os;
}

// An unknown name gives the unknown symbol: text is read, not judged.
static SYM find_name(const std::string& name) {
    return GID_TYPE_BUILDER::s_current_symbol_file->get_internal_const()->find(name);
}

void parse_gid_type(const std::string& word, PB::GID_TYPE::GCLASS& gclass, SYM& name,
                    int32_t& length) {
    UTIL_ASSERT_MSG(GID_TYPE_BUILDER::s_current_symbol_file != NULL,
                    "s_current_symbol_file != NULL");
    gclass = PB::GID_TYPE::GLOBAL;
    length = -1;
    size_t p = word.rfind('_');
    if (p != std::string::npos) {
        std::string prefix = word.substr(0, p);
        std::string suffix = word.substr(p + 1);
        name = find_name(prefix);
        if (prefix.empty()) {
            name = find_name(word);
        } else if (suffix == "RE") {
            // The one global kind whose name ends in "_RE".
            if (prefix == "CC_DCM_GMUX") {
                name = find_name(word);
            } else {
                gclass = PB::GID_TYPE::RE;
            }
        } else if (suffix == "INPUT") {
            gclass = PB::GID_TYPE::INPUT;
        } else if (suffix == "OUTPUT") {
            gclass = PB::GID_TYPE::OUTPUT;
        } else {
            name = find_name(word);
        }
        return;
    }
    if (word.empty()) throw std::out_of_range("invalid string position");
    if ((word[0] == 'H' || word[0] == 'V') && word.size() > 1 &&
        std::isdigit(static_cast<unsigned char>(word[1]))) {
        name = find_name(word.substr(0, 1));
        std::istringstream digits(word.substr(1));
        digits >> length;
        return;
    }
    name = find_name(word);
}

std::istream& operator>>(std::istream& is, GID_TYPE& type) {
    UTIL_ASSERT_MSG(GID_TYPE_BUILDER::s_current_symbol_file != NULL,
                    "s_current_symbol_file != NULL");
    while (std::isspace(is.peek())) is.get();
    std::string word;
    for (int c = is.peek(); c != EOF && !std::isspace(c); c = is.peek())
        word += static_cast<char>(is.get());
    PB::GID_TYPE::GCLASS gclass;
    SYM name;
    int32_t length;
    parse_gid_type(word, gclass, name, length);
    type.set(gclass, name, length);
    return is;
}

std::ostream& operator<<(std::ostream& os, const GID_TYPE_BUILDER& builder) {
    INDENT guard(os, 3);
    os << "GID_TYPE_BUILDER {" << std::endl << indent;
    os << "m_gid_types = {(" << builder.m_gid_types.size() << ")" << std::endl << indent;
    for (size_t i = 0; i < builder.m_gid_types.size(); ++i) {
        const GID_TYPE& type = builder.m_gid_types[i];
        os << "[" << i << "] = (" << type.get_gclass() << ") " << type << std::endl;
    }
    os << outdent << "}" << std::endl;
    os << outdent << "}" << std::endl;
    return os;
}

}  // namespace UTIL

namespace PB {

std::ostream& operator<<(std::ostream& os, GID_TYPE::GCLASS gclass) {
    return os << GID_TYPE::GCLASS_Name(gclass);
}

}  // namespace PB
