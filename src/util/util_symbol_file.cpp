// Symbol conversion between files and memory.
//  1. A file carries bare name ids into a table of its own; memory carries whole SYM values.
//  2. PB_WALK finds every PB.SYMBOL by reflection; four visitors rewrite its value one way or
//     the other, either through a per-message PB.SYMBOL_TABLE or a file-wide SYMBOL_FILE.
//  3. A SYMBOL_FILE section is one PB.EXTERNAL_SYMBOLS count, then one PB.EXTERNAL_SYMBOL per
//     name in id order, "<UNKNOWN>" first, so file ids equal the ids of the external table.
#include "util/util_symbol_file.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/zero_copy_stream_impl.h>
#include <google/protobuf/message.h>

#include <algorithm>
#include <iostream>

#include "symbol_table.pb.h"
#include "util/util_assert.h"
#include "util/util_indent.h"

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;

namespace UTIL {

void PB_WALK::walk(Message* message) {
    const google::protobuf::Descriptor* descriptor = message->GetDescriptor();
    if (descriptor->name() == "SYMBOL") visit_symbol(message);
    const Reflection* reflection = message->GetReflection();
    std::vector<const FieldDescriptor*> fields;
    reflection->ListFields(*message, &fields);
    for (const FieldDescriptor* field : fields) {
        if (field->cpp_type() != FieldDescriptor::CPPTYPE_MESSAGE) continue;
        if (field->is_repeated()) {
            int n = reflection->FieldSize(*message, field);
            for (int i = 0; i < n; ++i) walk(reflection->MutableRepeatedMessage(message, field, i));
        } else {
            walk(reflection->MutableMessage(message, field));
        }
    }
}

namespace {

PB::SYMBOL* as_symbol(Message* message) {
    return static_cast<PB::SYMBOL*>(message);
}

// Bare id (index into a vector of symbols) to whole symbol.
class WALK_TO_INTERNAL : public PB_WALK {
  public:
    explicit WALK_TO_INTERNAL(const std::vector<SYM>* symbols) : m_symbols(symbols) {}
    void visit_symbol(Message* message) override {
        PB::SYMBOL* symbol = as_symbol(message);
        symbol->set_value(at(*m_symbols, symbol->value()).get_value());
    }

  private:
    const std::vector<SYM>* m_symbols;
};

// Whole symbol of the internal table to a bare id of the external table, by name pointers.
class WALK_TABLE_TO_EXTERNAL : public PB_WALK {
  public:
    WALK_TABLE_TO_EXTERNAL(std::vector<const std::string*> names, uint32_t internal_id,
                           SYMBOL_TABLE* external)
        : m_names(std::move(names)), m_internal_id(internal_id), m_external(external) {}
    void visit_symbol(Message* message) override {
        PB::SYMBOL* symbol = as_symbol(message);
        SYM internal_symbol(symbol->value());
        UTIL_ASSERT(internal_symbol.get_table_id() == m_internal_id);
        const std::string* name = at(m_names, internal_symbol.get_name_id());
        symbol->set_value(m_external->add(*name).get_name_id());
    }

  private:
    std::vector<const std::string*> m_names;
    uint32_t m_internal_id;
    SYMBOL_TABLE* m_external;
};

class WALK_FILE_TO_EXTERNAL : public PB_WALK {
  public:
    WALK_FILE_TO_EXTERNAL(int32_t internal_id, const SYMBOL_TABLE* internal, SYMBOL_TABLE* external)
        : m_internal_id(internal_id), m_internal(internal), m_external(external) {}
    void visit_symbol(Message* message) override {
        PB::SYMBOL* symbol = as_symbol(message);
        SYM internal_symbol(symbol->value());
        if (static_cast<int32_t>(internal_symbol.get_table_id()) != m_internal_id) {
            std::cout << "Internal: table id = " << m_internal_id << std::endl;
            std::cout << "Symbol: table id = " << internal_symbol.get_table_id() << std::endl;
            std::cout << "Symbol = " << internal_symbol.get_value() << std::endl;
            std::cout << "Internal symbol should come from internal table" << std::endl;
            UTIL_FAIL("should not happen");
        }
        const std::string* name = m_internal->name_at_fast(internal_symbol.get_name_id());
        symbol->set_value(m_external->add(*name).get_name_id());
    }

  private:
    int32_t m_internal_id;
    const SYMBOL_TABLE* m_internal;
    SYMBOL_TABLE* m_external;
};

}  // namespace

void SYMBOL_TABLE::add_to_message(const std::string& name, PB::SYMBOL* message) {
    message->set_value(add(name).get_value());
}

void SYMBOL_TABLE::add_names(const PB::SYMBOL_TABLE& names, std::vector<SYM>& symbols) {
    symbols.resize(static_cast<size_t>(names.names_size()));
    for (int i = 0; i < names.names_size(); ++i)
        symbols[static_cast<size_t>(i)] = add(names.names(i));
}

void SYMBOL_TABLE::write_names(PB::SYMBOL_TABLE* names) {
    const std::vector<const std::string*>& fast = init_name_fast();
    for (const std::string* name : fast) {
        UTIL_ASSERT(name != NULL);
        names->add_names(*name);
    }
}

void SYMBOL_TABLE::convert_message_to_internal(const PB::SYMBOL_TABLE& names, Message* message) {
    std::vector<SYM> symbols;
    add_names(names, symbols);
    WALK_TO_INTERNAL(&symbols).walk(message);
}

void SYMBOL_TABLE::convert_message_to_external(const SYMBOL_TABLE* internal,
                                               PB::SYMBOL_TABLE* names, Message* message) {
    std::vector<const std::string*> by_id;
    by_id.reserve(internal->size());
    for (const std::string& name : internal->get_names()) by_id.push_back(&name);
    WALK_TABLE_TO_EXTERNAL(std::move(by_id), internal->get_table_id(), this).walk(message);
    write_names(names);
}

void SYMBOL_FILE::set_internal_const(const SYMBOL_TABLE* table) {
    m_internal_const = table;
    m_internal = nullptr;
    m_internal_id = static_cast<int32_t>(table->get_table_id());
}

void SYMBOL_FILE::set_internal(SYMBOL_TABLE* table) {
    m_internal_const = table;
    m_internal = table;
    m_internal_id = static_cast<int32_t>(table->get_table_id());
}

void SYMBOL_FILE::message_external_to_internal(Message* message) {
    WALK_TO_INTERNAL(&m_external_to_internal).walk(message);
}

void SYMBOL_FILE::message_internal_to_external(Message* message) {
    if (m_external == nullptr) m_external = symbol_tables().new_table();
    UTIL_ASSERT(m_internal_id != -1);
    UTIL_ASSERT(m_internal_const != NULL);
    WALK_FILE_TO_EXTERNAL(m_internal_id, m_internal_const, m_external).walk(message);
}

bool SYMBOL_FILE::write(std::ostream& output, uint32_t format) {
    UTIL_ASSERT(m_external != NULL);
    m_external_to_internal.clear();
    const std::vector<const std::string*>& names = m_external->init_name_fast();
    PB::EXTERNAL_SYMBOLS count;
    count.set_n_external_symbols(static_cast<uint32_t>(names.size()));
    if (!write_message(count, output, format)) return false;
    m_external_to_internal.reserve(names.size());
    PB::EXTERNAL_SYMBOL symbol;
    for (const std::string* name : names) {
        symbol.set_name(*name);
        if (!write_message(symbol, output, format)) return false;
        SYM internal = m_internal_const->find(*name);
        m_external_to_internal.push_back(internal);
    }
    return true;
}

bool SYMBOL_FILE::read(std::istream& input, uint32_t format) {
    google::protobuf::io::IstreamInputStream zero_copy(&input);
    return read(&zero_copy, format);
}

bool SYMBOL_FILE::read(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format) {
    UTIL_ASSERT(m_external_to_internal.size() == 0);
    UTIL_ASSERT(m_external == NULL);
    UTIL_ASSERT(m_internal != NULL);
    m_external = symbol_tables().new_table();
    PB::EXTERNAL_SYMBOLS count;
    if (!read_message(input, &count, format)) return false;
    // Name ids are 24-bit, so a larger count can only come from a corrupt file.
    m_external_to_internal.reserve(std::min<uint32_t>(count.n_external_symbols(), 1u << 24));
    PB::EXTERNAL_SYMBOL symbol;
    for (uint32_t i = 0; i < count.n_external_symbols(); ++i) {
        symbol.Clear();
        if (!read_message(input, &symbol, format)) return false;
        m_external->add(symbol.name());
        m_external_to_internal.push_back(m_internal->add(symbol.name()));
    }
    m_internal->init_name_fast();
    return true;
}

static void print_table_or_null(std::ostream& os, const char* label, const SYMBOL_TABLE* table) {
    os << label;
    if (table != nullptr) {
        os << *table << std::endl;
    } else {
        // The words "<< endl" belong to the output itself.
        os << "NULL << endl";
    }
}

std::ostream& operator<<(std::ostream& os, const SYMBOL_FILE& file) {
    INDENT guard(os, 3);
    os << "SYMBOL_FILE {" << std::endl << indent;
    os << "m_internal_id = " << file.m_internal_id << std::endl;
    os << "m_external_to_internal = {";
    for (size_t i = 0; i < file.m_external_to_internal.size(); ++i) {
        os << "[" << i << "] = " << file.m_external_to_internal[i] << " ";
    }
    os << "}" << std::endl;
    print_table_or_null(os, "m_external = ", file.m_external);
    print_table_or_null(os, "m_internal = ", file.m_internal);
    print_table_or_null(os, "m_internal_const = ", file.m_internal_const);
    os << outdent << "}" << std::endl;
    return os;
}

std::ostream& operator<<(std::ostream& os, const SYMBOL_TABLES& tables) {
    INDENT guard(os, 3);
    os << "SYMBOL_TABLES {" << std::endl << indent;
    os << "m_tables.size() = " << tables.size() << std::endl;
    for (size_t i = 0; i < tables.size(); ++i) {
        os << "table[" << i << "] = ";
        if (tables.get_tables()[i] != nullptr) {
            os << std::endl << *tables.get_tables()[i] << std::endl;
        } else {
            os << "NULL" << std::endl;
        }
    }
    os << outdent << "}" << std::endl;
    return os;
}

}  // namespace UTIL

namespace NS_SYMBOL {

std::ostream& operator<<(std::ostream& os, SYM symbol) {
    UTIL::INDENT guard(os, 3);
    if (UTIL::get_symbol_detail(os)) {
        os << "(" << symbol.get_table_id() << " : " << symbol.get_name() << ")";
    } else {
        os << symbol.get_name_fast();
    }
    return os;
}

std::ostream& operator<<(std::ostream& os, const SYM_TABLE& abstract_table) {
    UTIL::INDENT guard(os, 3);
    const auto& table = dynamic_cast<const UTIL::SYMBOL_TABLE&>(abstract_table);
    os << "SYMBOL_TABLE {" << std::endl << UTIL::indent;
    os << "m_table_id = " << table.get_table_id() << std::endl;
    os << "m_unknown = " << table.get_unknown() << std::endl;
    os << "m_map = {" << std::endl << UTIL::indent;
    const std::deque<std::string>& names = table.get_names();
    for (size_t id = 0; id < names.size(); ++id) {
        os << "[" << names[id] << "] = " << id << std::endl;
    }
    os << UTIL::outdent << "}" << std::endl;
    os << UTIL::outdent << "}";
    return os;
}

}  // namespace NS_SYMBOL
