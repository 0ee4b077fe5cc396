// Compact stored form of a module description.
//  1. One PB.MODULES with the module count, then one PB.MODULES.MMODULE per module in index
//     order, so module 0, the top, stays first and node numbers survive a round trip.
//  2. Symbols go through the owner's symbol file: noted when written, translated back to
//     run-time symbols when read.
#include "util/util_modules.h"

#include <google/protobuf/io/zero_copy_stream_impl.h>

#include <algorithm>
#include <iostream>

#include "modules.pb.h"
#include "util/util_indent.h"
#include "util/util_symbol_file.h"

namespace UTIL {

static PB::MODULES_MPORT_DIRECTION checked_direction(int direction) {
    if (!PB::MODULES_MPORT_DIRECTION_IsValid(direction)) UTIL_FAIL("Unknown Direction");
    return static_cast<PB::MODULES_MPORT_DIRECTION>(direction);
}

static void fill_module_message(const IHIERARCHY::IMODULE& module, PB::MODULES::MMODULE* message) {
    message->mutable_name()->set_value(module.get_name().get_value());
    for (uint32_t i = 0; i < module.get_n_instances(); ++i) {
        const IHIERARCHY::IINSTANCE* instance = module.get_instance(i);
        PB::MODULES::MINSTANCE* pb_instance = message->add_instances();
        pb_instance->mutable_name()->set_value(instance->get_name().get_value());
        pb_instance->mutable_module()->set_value(instance->get_module_name().get_value());
    }
    for (uint32_t i = 0; i < module.get_n_ports(); ++i) {
        const IHIERARCHY::IPORT* port = module.get_port(i);
        PB::MODULES::MPORT* pb_port = message->add_ports();
        pb_port->mutable_name()->set_value(port->get_name().get_value());
        pb_port->set_direction(checked_direction(port->get_direction()));
    }
}

bool MODULES_BUILDER::write(std::ostream& output, uint32_t format) {
    UTIL_ASSERT(m_modules != NULL);
    UTIL_ASSERT(m_symbol_file != NULL);
    PB::MODULES header;
    header.set_n_modules(m_modules->get_n_modules());
    bool ok = write_message(header, output, format);
    PB::MODULES::MMODULE message;
    for (uint32_t m = 0; m < m_modules->get_n_modules(); ++m) {
        message.Clear();
        fill_module_message(*m_modules->get_module(m), &message);
        m_symbol_file->message_internal_to_external(&message);
        ok = write_message(message, output, format) && ok;
    }
    return ok && output.good();
}

bool MODULES_BUILDER::read(std::istream& input, uint32_t format) {
    google::protobuf::io::IstreamInputStream zero_copy(&input);
    return read(&zero_copy, format);
}

// An absent field reads as its type's default: symbol 0, direction INPUT.
static void add_module_from_message(const PB::MODULES::MMODULE& message, MMODULES& modules) {
    MMODULE& module = modules.add_module(SYM(message.name().value()));
    module.reserve(static_cast<size_t>(message.instances_size()),
                   static_cast<size_t>(message.ports_size()));
    for (const PB::MODULES::MPORT& port : message.ports()) {
        module.add_port(SYM(port.name().value()), port.direction());
    }
    for (const PB::MODULES::MINSTANCE& instance : message.instances()) {
        module.add_instance(SYM(instance.name().value()), SYM(instance.module().value()));
    }
}

bool MODULES_BUILDER::read(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format) {
    UTIL_ASSERT(m_modules == NULL);
    UTIL_ASSERT(m_symbol_file != NULL);
    PB::MODULES header;
    if (!read_message(input, &header, format)) {
        std::cout << "failed reading pb_modules" << std::endl;
        return false;
    }
    auto modules = std::make_unique<MMODULES>();
    // The count comes from the file: reserve no more than a sane device can have.
    modules->reserve(std::min<uint32_t>(header.n_modules(), 1u << 20));
    PB::MODULES::MMODULE message;
    for (uint32_t m = 0; m < header.n_modules(); ++m) {
        message.Clear();
        if (!read_message(input, &message, format)) {
            std::cout << "failed reading pb_module" << std::endl;
            return false;
        }
        m_symbol_file->message_external_to_internal(&message);
        add_module_from_message(message, *modules);
    }
    modules->set_symbol_table(m_symbol_file->get_internal());
    m_owned = std::move(modules);
    m_modules = m_owned.get();
    return true;
}

std::ostream& operator<<(std::ostream& os, const MODULES_BUILDER& builder) {
    INDENT guard(os, 3);
    os << "MODULES_BUILDER {" << std::endl << indent;
    if (builder.get_modules() == nullptr) {
        os << "m_modules = NULL" << std::endl;
    } else {
        os << "m_modules = " << *builder.get_modules() << std::endl;
    }
    os << outdent << "}" << std::endl;
    return os;
}

}  // namespace UTIL
