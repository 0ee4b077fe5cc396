// Graph message form of a module description, and the stored partition list.
//  1. Write: one MODULE_DEFS object (names and ports), one MODULE_BODIES object (instances
//     with the index of their module, found by name), a terminator; each a separate frame.
//  2. Read: frames up to the terminator; definitions make the modules and ports, bodies the
//     instances, whose module index names the module.
//  3. Partitions are stored as the module index of every partition, module 0 first; reading
//     drops that first entry and rebuilds the set with set_partitions.
#include "util/util_hierarchy_serializable.h"

#include <google/protobuf/io/zero_copy_stream_impl.h>

#include <unordered_map>

#include "graph.pb.h"
#include "partitions.pb.h"
#include "util/util_symbol_file.h"

namespace UTIL {

using PB::NLG::GRAPH_OBJ;

static PB::NLG::MPORT_DIRECTION checked_direction(int direction) {
    if (!PB::NLG::MPORT_DIRECTION_IsValid(direction)) UTIL_FAIL("Unknown Direction");
    return static_cast<PB::NLG::MPORT_DIRECTION>(direction);
}

static void add_definitions(const IHIERARCHY::IMODULES& modules, PB::NLG::GRAPH& graph) {
    GRAPH_OBJ* object = graph.add_graph_objs();
    object->set_type(GRAPH_OBJ::T_MODULE_DEFS);
    PB::NLG::MODULE_DEFS* defs = object->mutable_module_defs();
    for (uint32_t m = 0; m < modules.get_n_modules(); ++m) {
        const IHIERARCHY::IMODULE* module = modules.get_module(m);
        PB::NLG::MODULE_DEF* def = defs->add_module_defs();
        def->mutable_name()->set_value(module->get_name().get_value());
        for (uint32_t p = 0; p < module->get_n_ports(); ++p) {
            PB::NLG::MPORT* port = def->add_ports();
            port->mutable_name()->set_value(module->get_port(p)->get_name().get_value());
            port->set_direction(checked_direction(module->get_port(p)->get_direction()));
        }
    }
}

static void add_bodies(const IHIERARCHY::IMODULES& modules, PB::NLG::GRAPH& graph) {
    std::unordered_map<SYM, uint32_t> module_by_name;
    for (uint32_t m = 0; m < modules.get_n_modules(); ++m) {
        module_by_name.emplace(modules.get_module(m)->get_name(), m);
    }
    GRAPH_OBJ* object = graph.add_graph_objs();
    object->set_type(GRAPH_OBJ::T_MODULE_BODIES);
    PB::NLG::MODULE_BODIES* bodies = object->mutable_module_bodies();
    for (uint32_t m = 0; m < modules.get_n_modules(); ++m) {
        const IHIERARCHY::IMODULE* module = modules.get_module(m);
        PB::NLG::MODULE_BODY* body = bodies->add_module_bodies();
        body->set_module_index(m);
        for (uint32_t i = 0; i < module->get_n_instances(); ++i) {
            const IHIERARCHY::IINSTANCE* instance = module->get_instance(i);
            auto it = module_by_name.find(instance->get_module_name());
            if (it == module_by_name.end()) UTIL_FAIL("Missing module name");
            PB::NLG::INSTANCE* pb_instance = body->add_instances();
            pb_instance->mutable_name()->set_value(instance->get_name().get_value());
            pb_instance->set_module_index(static_cast<int32_t>(it->second));
        }
    }
}

bool MODULES_SERIALIZABLE::write(std::ostream& output, uint32_t format) {
    UTIL_ASSERT(m_symbol_file != NULL);
    UTIL_ASSERT(m_modules != NULL);
    PB::NLG::GRAPH pb_graph;
    add_definitions(*m_modules, pb_graph);
    add_bodies(*m_modules, pb_graph);
    pb_graph.add_graph_objs()->set_type(GRAPH_OBJ::T_TERMINATOR);
    m_symbol_file->message_internal_to_external(&pb_graph);
    UTIL_ASSERT(pb_graph.graph_objs(pb_graph.graph_objs_size() - 1).type() ==
                PB::NLG::GRAPH_OBJ::T_TERMINATOR);
    bool ok = true;
    for (const GRAPH_OBJ& object : pb_graph.graph_objs()) {
        ok = write_message(object, output, format) && ok;
    }
    return ok && output.good();
}

bool MODULES_SERIALIZABLE::read(std::istream& input, uint32_t format) {
    google::protobuf::io::IstreamInputStream zero_copy(&input);
    return read(&zero_copy, format);
}

static void read_definitions(const PB::NLG::MODULE_DEFS& defs, PBMODULES& modules) {
    modules.reserve(static_cast<size_t>(defs.module_defs_size()));
    for (const PB::NLG::MODULE_DEF& def : defs.module_defs()) {
        MMODULE& module = modules.add_module(SYM(def.name().value()));
        for (const PB::NLG::MPORT& port : def.ports()) {
            module.add_port(SYM(port.name().value()), checked_direction(port.direction()));
        }
    }
}

static void read_bodies(const PB::NLG::MODULE_BODIES& bodies, PBMODULES& modules) {
    for (const PB::NLG::MODULE_BODY& body : bodies.module_bodies()) {
        MMODULE& module = modules.get_mutable_module(body.module_index());
        for (const PB::NLG::INSTANCE& instance : body.instances()) {
            SYM module_name =
                modules.get_module(static_cast<uint32_t>(instance.module_index()))->get_name();
            module.add_instance(SYM(instance.name().value()), module_name);
        }
    }
}

bool MODULES_SERIALIZABLE::read(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format) {
    UTIL_ASSERT(m_modules == NULL);
    UTIL_ASSERT(m_symbol_file != NULL);
    auto modules = std::make_unique<PBMODULES>(m_symbol_file->get_internal());
    GRAPH_OBJ object;
    do {
        object.Clear();
        if (!read_message(input, &object, format)) return false;
        m_symbol_file->message_external_to_internal(&object);
        if (object.type() == GRAPH_OBJ::T_MODULE_DEFS)
            read_definitions(object.module_defs(), *modules);
        if (object.type() == GRAPH_OBJ::T_MODULE_BODIES)
            read_bodies(object.module_bodies(), *modules);
    } while (object.type() != GRAPH_OBJ::T_TERMINATOR);
    m_owned = std::move(modules);
    m_modules = m_owned.get();
    return true;
}

bool PARTITIONS_SERIALIZABLE::write(std::ostream& output, uint32_t format) {
    PB::UTIL::PARTITIONS message;
    for (uint16_t p = 0; p < m_to_write->get_n_partitions(); ++p) {
        message.add_module_indexes(m_to_write->get_partition(p).get_module_index());
    }
    return write_message(message, output, format);
}

bool PARTITIONS_SERIALIZABLE::read(std::istream& input, uint32_t format) {
    google::protobuf::io::IstreamInputStream zero_copy(&input);
    return read(&zero_copy, format);
}

bool PARTITIONS_SERIALIZABLE::read(google::protobuf::io::ZeroCopyInputStream* input,
                                   uint32_t format) {
    PB::UTIL::PARTITIONS message;
    if (!read_message(input, &message, format)) return false;
    // The first entry is always the top module, which set_partitions adds by itself.
    std::vector<uint32_t> module_indexes;
    if (message.module_indexes_size() > 0) {
        module_indexes.assign(message.module_indexes().begin() + 1, message.module_indexes().end());
    }
    return m_to_fill->set_partitions(module_indexes);
}

}  // namespace UTIL
