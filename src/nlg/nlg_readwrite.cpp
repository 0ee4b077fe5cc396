// Graph files.
//  1. Write: the graph walker sends events in one fixed order; the message builder turns them
//     into one PB.NLG.GRAPH (symbol table, defs, bodies, filename table, terminator) and
//     renames every symbol to an index of the file's own name list; the stream stage writes
//     each section as a frame, splitting defs and bodies into a count frame and one frame per
//     module.
//  2. Read: the stream stage reassembles the message up to the terminator; the message walker
//     interns the file's names once and turns each bare name index into its whole symbol as
//     it sends the same events (a typed walk: a generic reflection walk over ten million
//     records would cost more than building the graph); the graph builder
//     checks the phase of every event and builds the graph, reserving every vector first.
//  3. Only the line of a file-line travels, and of the fan lists only the fan-outs and the
//     fan-in references of module ports; the other fan-ins are rebuilt from the same edges.
#include "nlg/nlg_readwrite.h"

#include <google/protobuf/arena.h>
#include <google/protobuf/io/zero_copy_stream_impl.h>

#include <sys/mman.h>

#include <algorithm>
#include <memory>
#include <new>

#include "graph.pb.h"
#include "nlg/nlg_graph.h"
#include "symbol_table.pb.h"
#include "util/util_assert.h"
#include "util/util_protobuf.h"
#include "util/util_symbol.h"

using NS_SYMBOL::SYM;

NLG_IREADWRITE& nlg_readwrite() {
    static NLG_READWRITE* s_readwrite = new NLG_READWRITE();
    return *s_readwrite;
}

NLG_IGRAPH_READWRITE& nlg_graph_readwrite() {
    static NLG_GRAPH_READWRITE* s_graph_readwrite = new NLG_GRAPH_READWRITE();
    return *s_graph_readwrite;
}

// ---------------------------------------------------------------------------------------------
// Whole-file operations.

// The whole-graph message is large and lives for one operation: it goes into big blocks of
// its own, mapped whole and marked for huge pages, so that its millions of small records cost
// few page faults and are released at once.
static void* map_block(size_t size) {
    void* block = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (block == MAP_FAILED) throw std::bad_alloc();
    madvise(block, size, MADV_HUGEPAGE);
    return block;
}

static void unmap_block(void* block, size_t size) {
    munmap(block, size);
}

static google::protobuf::ArenaOptions message_arena() {
    google::protobuf::ArenaOptions options;
    options.start_block_size = size_t(2) << 20;
    options.max_block_size = size_t(32) << 20;
    options.block_alloc = map_block;
    options.block_dealloc = unmap_block;
    return options;
}

bool NLG_GRAPH_READWRITE::write(const NLG_IGRAPH& graph, std::ostream& stream, uint32_t format) {
    // The whole graph stands in memory as one message: an arena makes its many small
    // records cheap to make and to drop.
    google::protobuf::Arena arena(message_arena());
    PB::NLG::GRAPH& message = *google::protobuf::Arena::CreateMessage<PB::NLG::GRAPH>(&arena);
    std::unique_ptr<NLG_IPB_WRITE> pb_write(nlg_readwrite().create_pb_write());
    pb_write->set_target(&message, graph.get_symbol_table());
    std::unique_ptr<NLG_IGRAPH_WRITE> graph_write(nlg_readwrite().create_graph_write());
    std::unique_ptr<NLG_ISTREAM_RW> stream_rw(nlg_readwrite().create_stream_rw());
    if (!graph_write->write(graph, *pb_write)) return false;
    return stream_rw->write(message, stream, format);
}

// Objects become events as they arrive. Module bodies, the bulk of a file, come one frame at
// a time through one reused message, so the file never stands in memory whole. A bodies
// section that names another count than the modules defined so far, or comes before the
// names, is read whole first, so that the reader's checks meet it as they would in a message.
bool NLG_GRAPH_READWRITE::read(NLG_GRAPH* graph, std::istream& stream, uint32_t format) {
    google::protobuf::io::IstreamInputStream input(&stream);
    NLG_STREAM_RW stream_rw;
    NLG_PB_READ pb_read;
    NLG_GRAPH_READ graph_read;
    graph_read.set_graph(graph);
    pb_read.begin(graph->get_symbol_table(), &graph_read);
    // Read objects stay: the reader keeps pointing at the names of the symbol table's. They go
    // into an arena: the definitions section alone holds a record per port, millions of them.
    google::protobuf::Arena arena(message_arena());
    PB::NLG::MODULE_BODY body;
    while (!pb_read.terminated()) {
        PB::NLG::GRAPH_OBJ& object =
            *google::protobuf::Arena::CreateMessage<PB::NLG::GRAPH_OBJ>(&arena);
        if (!UTIL::read_message(&input, &object, format)) return false;
        bool streamed = object.type() == PB::NLG::GRAPH_OBJ::T_MODULE_BODIES &&
                        pb_read.has_names() && !object.has_module_bodies() &&
                        object.count() == graph->get_num_modules();
        if (!streamed) {
            if (!stream_rw.read_entries(&input, &object, format)) return false;
            pb_read.read_object(object);
            continue;
        }
        pb_read.begin_bodies(static_cast<int32_t>(object.count()));
        for (uint32_t i = 0; i < object.count(); ++i) {
            body.Clear();
            if (!UTIL::read_message(&input, &body, format)) return false;
            pb_read.read_body(body);
        }
        pb_read.end_bodies();
    }
    return pb_read.end();
}

// ---------------------------------------------------------------------------------------------
// Graph to events.

bool NLG_GRAPH_WRITE::write(const NLG_IGRAPH& graph, NLG_RTL_ISERIALIZER& sink) {
    sink.begin_graph();
    write_defs(graph, sink);
    int32_t n = static_cast<int32_t>(graph.get_num_modules());
    sink.begin_module_bodies(n);
    for (int32_t i = 0; i < n; ++i) {
        sink.begin_module_body(i);
        write_body(*graph.get_module(i), sink);
        sink.end_module_body();
    }
    sink.end_module_bodies();
    // Only a stored graph has a filename table; a view of one has none.
    const NLG_GRAPH* stored = dynamic_cast<const NLG_GRAPH*>(&graph);
    sink.add_filename_table(stored ? stored->get_filenames() : std::vector<SYM>());
    sink.end_graph();
    return true;
}

void NLG_GRAPH_WRITE::write_defs(const NLG_IGRAPH& graph, NLG_RTL_ISERIALIZER& sink) {
    int32_t n = static_cast<int32_t>(graph.get_num_modules());
    sink.begin_module_defs(n);
    for (int32_t i = 0; i < n; ++i) {
        const NLG_IMODULE* module = graph.get_module(i);
        const NLG_MODULE* stored = dynamic_cast<const NLG_MODULE*>(module);
        sink.add_module_def(module->get_name(), module->get_primitive_type(),
                            module->get_fileline(), stored && stored->get_unused_nonprimitive());
        int32_t n_ports = static_cast<int32_t>(module->get_num_ports());
        sink.begin_module_ports(n_ports);
        for (int32_t p = 0; p < n_ports; ++p) {
            const NLG_IPORT* port = module->get_port(p);
            sink.add_module_port(port->get_name(), port->get_direction(), port->get_fileline());
        }
        sink.end_module_ports();
    }
    sink.end_module_defs();
}

void NLG_GRAPH_WRITE::write_body(const NLG_IMODULE& module, NLG_RTL_ISERIALIZER& sink) {
    int32_t n_nets = static_cast<int32_t>(module.get_num_nets());
    sink.begin_nets(n_nets);
    for (int32_t i = 0; i < n_nets; ++i) {
        const NLG_INET* net = module.get_net(i);
        std::vector<int32_t> ports;
        ports.reserve(net->get_num_ports());
        for (uint32_t p = 0; p < net->get_num_ports(); ++p)
            ports.push_back(module.get_port_index(net->get_port(static_cast<int32_t>(p))));
        UTIL_ASSERT(ports.size() == net->get_num_ports());
        sink.add_net(net->get_name(), std::move(ports), net->get_fileline());
    }
    sink.end_nets();

    int32_t n_instances = static_cast<int32_t>(module.get_num_instances());
    sink.begin_instances(n_instances);
    for (int32_t i = 0; i < n_instances; ++i) {
        const NLG_IINSTANCE* inst = module.get_instance(i);
        const NLG_IMODULE* definition = inst->get_module();
        std::vector<NLG_PORT_TO_NET> pr2n;
        pr2n.reserve(inst->get_num_portrefs());
        for (uint32_t r = 0; r < inst->get_num_portrefs(); ++r) {
            const NLG_IPORT_REF* pr = inst->get_portref(static_cast<int32_t>(r));
            const NLG_INET* net = pr->get_net();
            pr2n.emplace_back(definition->get_port_index(pr->get_port()),
                              net ? module.get_net_index(net) : -1);
        }
        UTIL_ASSERT(pr2n.size() == inst->get_num_portrefs());
        sink.add_instance(inst->get_name(), static_cast<int32_t>(definition->get_id().get_serial()),
                          std::move(pr2n), inst->get_fileline());
    }
    sink.end_instances();

    sink.begin_edges();
    // Fan lists live on the stored objects only.
    const NLG_MODULE* stored = dynamic_cast<const NLG_MODULE*>(&module);
    if (stored) write_edges(*stored, sink);
}

void NLG_GRAPH_WRITE::write_edges(const NLG_MODULE& module, NLG_RTL_ISERIALIZER& sink) {
    auto index = [](const NLG_IGRAPH_NODE* object) {
        return static_cast<uint32_t>(static_cast<const NLG_IPORT*>(object)->get_index());
    };
    auto instance_index = [](const NLG_PORT_REF* r) {
        return static_cast<uint32_t>(r->get_nlg_instance()->get_index());
    };
    auto port_index = [](const NLG_PORT_REF* r) {
        return static_cast<uint32_t>(r->get_nlg_port()->get_index());
    };
    for (int32_t p = 0; p < static_cast<int32_t>(module.get_num_ports()); ++p) {
        const NLG_PORT* port = module.port(p);
        uint32_t src = index(port);
        if (port->get_fanout_ports())
            for (const NLG_PORT* q : *port->get_fanout_ports()) sink.add_p2p_edge(src, index(q));
        if (port->get_fanout_refs())
            for (const NLG_PORT_REF* r : *port->get_fanout_refs())
                sink.add_p2pr_edge(src, instance_index(r), port_index(r));
        if (port->get_fanin_refs())
            for (const NLG_PORT_REF* r : *port->get_fanin_refs())
                sink.add_pr2p_edge(instance_index(r), port_index(r), src);
    }
    for (int32_t i = 0; i < static_cast<int32_t>(module.get_num_instances()); ++i) {
        const NLG_INSTANCE* inst = module.instance(i);
        for (uint32_t k = 0; k < inst->get_num_portrefs(); ++k) {
            const NLG_PORT_REF* r = inst->portref(static_cast<int32_t>(k));
            if (!r->get_fanout_refs()) continue;
            for (const NLG_PORT_REF* s : *r->get_fanout_refs())
                sink.add_pr2pr_edge(instance_index(r), port_index(r), instance_index(s),
                                    port_index(s));
        }
    }
}

// ---------------------------------------------------------------------------------------------
// Events to message.

// The file keeps the line only; the file number does not travel.
template <class MESSAGE>
static void set_fileline(const NLG_IFILELINE* fileline, MESSAGE* message) {
    if (fileline && fileline->get_line() != 0) message->set_fileline(fileline->get_line());
}

void NLG_PB_WRITE::set_target(PB::NLG::GRAPH* graph, const UTIL::SYMBOL_TABLE* table) {
    m_graph = graph;
    m_table = table;
}

PB::NLG::GRAPH_OBJ* NLG_PB_WRITE::add_object(uint32_t type) {
    PB::NLG::GRAPH_OBJ* object = m_graph->add_graph_objs();
    object->set_type(static_cast<PB::NLG::GRAPH_OBJ::TYPE>(type));
    return object;
}

SYM NLG_PB_WRITE::intern(const std::string&) {
    return SYM();
}

void NLG_PB_WRITE::begin_graph() {
    add_object(PB::NLG::GRAPH_OBJ::T_SYMBOL_TABLE)->mutable_symbol_table();
}

void NLG_PB_WRITE::begin_module_defs(int32_t n) {
    m_module_defs = add_object(PB::NLG::GRAPH_OBJ::T_MODULE_DEFS)->mutable_module_defs();
    m_module_defs->mutable_module_defs()->Reserve(n);
    m_n_defs = n;
}

void NLG_PB_WRITE::add_module_def(SYM name, uint32_t primitive_type, const NLG_IFILELINE* fileline,
                                  bool unused_nonprimitive) {
    m_module_def = m_module_defs->add_module_defs();
    m_module_def->mutable_name()->set_value(name.get_value());
    m_module_def->set_primitive_type(primitive_type);
    set_fileline(fileline, m_module_def);
    m_module_def->set_unused_nonprimitive(unused_nonprimitive);
    --m_n_defs;
}

void NLG_PB_WRITE::add_module_port(SYM name, uint32_t direction, const NLG_IFILELINE* fileline) {
    UTIL_ASSERT(m_module_def != NULL);
    PB::NLG::MPORT* port = m_module_def->add_ports();
    port->mutable_name()->set_value(name.get_value());
    switch (direction) {
        case NLG_IPORT::INPUT:
            port->set_direction(PB::NLG::MPORT::INPUT);
            break;
        case NLG_IPORT::OUTPUT:
            port->set_direction(PB::NLG::MPORT::OUTPUT);
            break;
        case NLG_IPORT::INOUT:
            port->set_direction(PB::NLG::MPORT::INOUT);
            break;
        default:
            UTIL_FAIL("Unknown Port direction");
    }
    set_fileline(fileline, port);
}

void NLG_PB_WRITE::end_module_defs() {
    m_module_def = NULL;
}

void NLG_PB_WRITE::begin_module_bodies(int32_t n) {
    m_module_bodies = add_object(PB::NLG::GRAPH_OBJ::T_MODULE_BODIES)->mutable_module_bodies();
    m_module_bodies->mutable_module_bodies()->Reserve(n);
    m_filename_table = add_object(PB::NLG::GRAPH_OBJ::T_FILENAME_TABLE)->mutable_filename_table();
    m_n_bodies = n;
}

void NLG_PB_WRITE::begin_module_body(int32_t module_index) {
    m_module_body = m_module_bodies->add_module_bodies();
    m_module_body->set_module_index(static_cast<uint32_t>(module_index));
    --m_n_bodies;
}

void NLG_PB_WRITE::add_net(SYM name, std::vector<int32_t>&& port_indexes,
                           const NLG_IFILELINE* fileline) {
    UTIL_ASSERT(m_module_body != NULL);
    PB::NLG::NET* net = m_module_body->add_nets();
    net->mutable_name()->set_value(name.get_value());
    net->mutable_ports()->Add(port_indexes.begin(), port_indexes.end());
    set_fileline(fileline, net);
}

void NLG_PB_WRITE::add_instance(SYM name, int32_t module_index,
                                std::vector<NLG_PORT_TO_NET>&& port_to_nets,
                                const NLG_IFILELINE* fileline) {
    UTIL_ASSERT(m_module_body != NULL);
    PB::NLG::INSTANCE* instance = m_module_body->add_instances();
    instance->mutable_name()->set_value(name.get_value());
    instance->set_module_index(module_index);
    instance->mutable_port_to_nets()->Reserve(static_cast<int>(port_to_nets.size()));
    for (const NLG_PORT_TO_NET& pair : port_to_nets) {
        PB::NLG::INSTANCE::PORT_TO_NET* entry = instance->add_port_to_nets();
        entry->set_port_index(static_cast<uint32_t>(pair.first));
        entry->set_net_index(static_cast<uint32_t>(pair.second));
    }
    set_fileline(fileline, instance);
}

void NLG_PB_WRITE::add_p2p_edge(uint32_t src_p, uint32_t dst_p) {
    UTIL_ASSERT(m_module_body != NULL);
    PB::NLG::P2P_EDGE* edge = m_module_body->add_p2p_edges();
    edge->set_src_p_index(src_p);
    edge->set_dst_p_index(dst_p);
}

void NLG_PB_WRITE::add_p2pr_edge(uint32_t src_p, uint32_t dst_i, uint32_t dst_p) {
    UTIL_ASSERT(m_module_body != NULL);
    PB::NLG::P2PR_EDGE* edge = m_module_body->add_p2pr_edges();
    edge->set_src_p_index(src_p);
    edge->set_dst_i_index(dst_i);
    edge->set_dst_p_index(dst_p);
}

void NLG_PB_WRITE::add_pr2p_edge(uint32_t src_i, uint32_t src_p, uint32_t dst_p) {
    UTIL_ASSERT(m_module_body != NULL);
    PB::NLG::PR2P_EDGE* edge = m_module_body->add_pr2p_edges();
    edge->set_src_i_index(src_i);
    edge->set_src_p_index(src_p);
    edge->set_dst_p_index(dst_p);
}

void NLG_PB_WRITE::add_pr2pr_edge(uint32_t src_i, uint32_t src_p, uint32_t dst_i, uint32_t dst_p) {
    UTIL_ASSERT(m_module_body != NULL);
    PB::NLG::PR2PR_EDGE* edge = m_module_body->add_pr2pr_edges();
    edge->set_src_i_index(src_i);
    edge->set_src_p_index(src_p);
    edge->set_dst_i_index(dst_i);
    edge->set_dst_p_index(dst_p);
}

void NLG_PB_WRITE::end_module_bodies() {
    m_module_body = NULL;
    UTIL_ASSERT(m_n_defs == 0);
    UTIL_ASSERT(m_n_bodies == 0);
}

void NLG_PB_WRITE::add_filename_table(const std::vector<SYM>& filenames) {
    UTIL_ASSERT(m_filename_table != NULL);
    for (SYM name : filenames) m_filename_table->add_name()->set_value(name.get_value());
}

void NLG_PB_WRITE::end_graph() {
    add_object(PB::NLG::GRAPH_OBJ::T_TERMINATOR)->mutable_terminator();
    // The file's names are a table of their own, numbered in order of first use.
    UTIL::SYMBOL_TABLE* external = UTIL::symbol_tables().new_table();
    external->convert_message_to_external(
        m_table, m_graph->mutable_graph_objs(0)->mutable_symbol_table(), m_graph);
    delete external;
}

// ---------------------------------------------------------------------------------------------
// Message to events.

bool NLG_PB_READ::read(const PB::NLG::GRAPH& graph, UTIL::SYMBOL_TABLE* table,
                       NLG_RTL_ISERIALIZER* sink) {
    begin(table, sink);
    for (int i = 0; i < graph.graph_objs_size() && !m_terminated; ++i)
        read_object(graph.graph_objs(i));
    return end();
}

void NLG_PB_READ::begin(UTIL::SYMBOL_TABLE* table, NLG_RTL_ISERIALIZER* sink) {
    m_sink = sink;
    m_table = table;
    m_sink->begin_graph();
}

void NLG_PB_READ::read_object(const PB::NLG::GRAPH_OBJ& object) {
    switch (object.type()) {
        case PB::NLG::GRAPH_OBJ::T_SYMBOL_TABLE:
            m_names = &object.symbol_table();
            m_table->add_names(*m_names, m_symbols);
            break;
        case PB::NLG::GRAPH_OBJ::T_MODULE_DEFS:
            read_defs(object.module_defs());
            break;
        case PB::NLG::GRAPH_OBJ::T_MODULE_BODIES:
            read_bodies(object.module_bodies());
            break;
        case PB::NLG::GRAPH_OBJ::T_FILENAME_TABLE:
            read_filenames(object.filename_table());
            break;
        case PB::NLG::GRAPH_OBJ::T_TERMINATOR:
            m_terminated = true;
            break;
    }
}

bool NLG_PB_READ::end() {
    m_sink->end_graph();
    if (m_ok && m_terminated) return true;
    m_ok = false;
    return false;
}

SYM NLG_PB_READ::whole(const PB::SYMBOL& symbol) const {
    return UTIL::at(m_symbols, symbol.value());
}

void NLG_PB_READ::read_defs(const PB::NLG::MODULE_DEFS& defs) {
    UTIL_ASSERT(m_names != NULL);
    m_sink->begin_module_defs(defs.module_defs_size());
    for (const PB::NLG::MODULE_DEF& def : defs.module_defs()) read_def(def);
    m_sink->end_module_defs();
}

void NLG_PB_READ::read_def(const PB::NLG::MODULE_DEF& def) {
    NLG_FILELINE def_fileline(def.has_fileline() ? def.fileline() : 0);
    m_sink->add_module_def(whole(def.name()), def.primitive_type(), &def_fileline,
                           def.unused_nonprimitive());
    m_sink->begin_module_ports(def.ports_size());
    for (const PB::NLG::MPORT& port : def.ports()) {
        uint32_t direction = 0;
        switch (port.direction()) {
            case PB::NLG::MPORT::INPUT:
                direction = NLG_IPORT::INPUT;
                break;
            case PB::NLG::MPORT::OUTPUT:
                direction = NLG_IPORT::OUTPUT;
                break;
            case PB::NLG::MPORT::INOUT:
                direction = NLG_IPORT::INOUT;
                break;
            default:
                UTIL_FAIL("Unknown PB::NLG direction");
        }
        NLG_FILELINE port_fileline(port.fileline());
        m_sink->add_module_port(whole(port.name()), direction, &port_fileline);
    }
    m_sink->end_module_ports();
}

void NLG_PB_READ::read_bodies(const PB::NLG::MODULE_BODIES& bodies) {
    begin_bodies(bodies.module_bodies_size());
    for (const PB::NLG::MODULE_BODY& body : bodies.module_bodies()) read_body(body);
    end_bodies();
}

void NLG_PB_READ::begin_bodies(int32_t n) {
    UTIL_ASSERT(m_names != NULL);
    m_sink->begin_module_bodies(n);
}

void NLG_PB_READ::end_bodies() {
    m_sink->end_module_bodies();
}

void NLG_PB_READ::read_body(const PB::NLG::MODULE_BODY& body) {
    m_sink->begin_module_body(static_cast<int32_t>(body.module_index()));
    m_sink->begin_nets(body.nets_size());
    for (const PB::NLG::NET& net : body.nets()) {
        m_net_ports.assign(net.ports().begin(), net.ports().end());
        NLG_FILELINE fileline(net.fileline());
        m_sink->add_net(whole(net.name()), std::move(m_net_ports), &fileline);
    }
    m_sink->end_nets();
    m_sink->begin_instances(body.instances_size());
    for (const PB::NLG::INSTANCE& instance : body.instances()) {
        m_port_to_nets.clear();
        m_port_to_nets.reserve(static_cast<size_t>(instance.port_to_nets_size()));
        for (const PB::NLG::INSTANCE::PORT_TO_NET& entry : instance.port_to_nets())
            m_port_to_nets.emplace_back(static_cast<int32_t>(entry.port_index()),
                                        static_cast<int32_t>(entry.net_index()));
        NLG_FILELINE fileline(instance.fileline());
        m_sink->add_instance(whole(instance.name()), instance.module_index(),
                             std::move(m_port_to_nets), &fileline);
    }
    m_sink->end_instances();
    m_sink->begin_edges();
    for (const PB::NLG::P2P_EDGE& e : body.p2p_edges())
        m_sink->add_p2p_edge(e.src_p_index(), e.dst_p_index());
    for (const PB::NLG::P2PR_EDGE& e : body.p2pr_edges())
        m_sink->add_p2pr_edge(e.src_p_index(), e.dst_i_index(), e.dst_p_index());
    for (const PB::NLG::PR2P_EDGE& e : body.pr2p_edges())
        m_sink->add_pr2p_edge(e.src_i_index(), e.src_p_index(), e.dst_p_index());
    for (const PB::NLG::PR2PR_EDGE& e : body.pr2pr_edges())
        m_sink->add_pr2pr_edge(e.src_i_index(), e.src_p_index(), e.dst_i_index(), e.dst_p_index());
    m_sink->end_module_body();
}

void NLG_PB_READ::read_filenames(const PB::NLG::FILENAME_TABLE& filenames) {
    UTIL_ASSERT(m_names != NULL);
    std::vector<SYM> symbols;
    symbols.reserve(static_cast<size_t>(filenames.name_size()));
    for (const PB::SYMBOL& name : filenames.name()) symbols.push_back(whole(name));
    m_sink->add_filename_table(symbols);
}

// ---------------------------------------------------------------------------------------------
// Events to graph.

// Every file-line of this system is an NLG_FILELINE; the reader keeps its whole value.
static NLG_FILELINE whole(const NLG_IFILELINE* fileline) {
    return fileline ? *static_cast<const NLG_FILELINE*>(fileline) : NLG_FILELINE();
}

SYM NLG_GRAPH_READ::intern(const std::string& name) {
    return m_graph->get_symbol_table()->add(name);
}

void NLG_GRAPH_READ::begin_module_defs(int32_t n) {
    UTIL_ASSERT(m_num_modules == 0);
    UTIL_ASSERT(m_module_count == 0);
    m_num_modules = n;
    m_graph->reserve_modules(static_cast<size_t>(n));
}

void NLG_GRAPH_READ::add_module_def(SYM name, uint32_t primitive_type,
                                    const NLG_IFILELINE* fileline, bool unused_nonprimitive) {
    UTIL_ASSERT(m_module == NULL);
    NLG_MODULE* module =
        new NLG_MODULE(name, primitive_type, NLG_ID(NLG_ID::MODULE, uint32_t(m_module_count)),
                       whole(fileline), unused_nonprimitive, 0, 0, 0);
    m_graph->add_module(module);
    m_module = module;
    ++m_module_count;
}

void NLG_GRAPH_READ::begin_module_ports(int32_t n) {
    UTIL_ASSERT(m_module != NULL);
    UTIL_ASSERT(m_num_ports == 0);
    UTIL_ASSERT(m_port_count == 0);
    m_num_ports = n;
    m_module->reserve_ports(static_cast<size_t>(n));
}

void NLG_GRAPH_READ::add_module_port(SYM name, uint32_t direction, const NLG_IFILELINE* fileline) {
    UTIL_ASSERT(m_module != NULL);
    NLG_PORT port(NLG_ID(NLG_ID::PORT, m_port_serial), name, direction, whole(fileline));
    m_module->add_port(std::move(port));
    ++m_port_count;
    ++m_port_serial;
}

void NLG_GRAPH_READ::end_module_ports() {
    // clang-format off
    UTIL_ASSERT(((int) m_module->get_num_ports()) == m_num_ports);
    // clang-format on
    UTIL_ASSERT(m_num_ports == m_port_count);
    m_module = NULL;
    m_num_ports = 0;
    m_port_count = 0;
}

void NLG_GRAPH_READ::end_module_defs() {
    UTIL_ASSERT_MSG(static_cast<int>(m_graph->get_num_modules()) == m_num_modules,
                    "expected %d modules but only got %d!", m_num_modules,
                    static_cast<int>(m_graph->get_num_modules()));
    UTIL_ASSERT(m_module_count == m_num_modules);
    m_num_modules = 0;
    m_module_count = 0;
}

void NLG_GRAPH_READ::begin_module_bodies(int32_t n_bodies) {
    UTIL_ASSERT(((int)m_graph->get_num_modules()) == n_bodies);
    UTIL_ASSERT(m_module_count == 0);
    UTIL_ASSERT(m_num_modules == 0);
    m_num_modules = n_bodies;
    m_definitions.clear();
    m_definitions.reserve(static_cast<size_t>(n_bodies));
    for (int32_t i = 0; i < n_bodies; ++i) {
        NLG_MODULE* module = m_graph->module(i);
        uint32_t n_ports = module->get_num_ports();
        m_definitions.push_back({module, n_ports != 0 ? module->port(0) : nullptr, n_ports});
    }
}

const NLG_GRAPH_READ::DEFINITION& NLG_GRAPH_READ::definition(int32_t module_index) {
    if (module_index >= 0 && static_cast<size_t>(module_index) < m_definitions.size())
        return m_definitions[static_cast<size_t>(module_index)];
    // Not in the table: the graph's checked access turns a bad index away.
    NLG_MODULE* module = m_graph->module(module_index);
    uint32_t n_ports = module ? module->get_num_ports() : 0;
    m_other_definition = {module, n_ports != 0 ? module->port(0) : nullptr, n_ports};
    return m_other_definition;
}

void NLG_GRAPH_READ::begin_module_body(int32_t module_index) {
    NLG_MODULE* module = m_graph->module(module_index);
    UTIL_ASSERT_MSG(module != NULL, "Module %s is not defined!",
                    std::to_string(module_index).c_str());
    UTIL_ASSERT(m_module == NULL);
    m_module = module;
    ++m_module_count;
}

void NLG_GRAPH_READ::begin_nets(int32_t n) {
    UTIL_ASSERT(m_module);
    UTIL_ASSERT(m_num_nets == 0);
    UTIL_ASSERT(m_net_count == 0);
    m_num_nets = n;
    m_module->reserve_nets(static_cast<size_t>(n));
}

void NLG_GRAPH_READ::add_net(SYM name, std::vector<int32_t>&& port_indexes,
                             const NLG_IFILELINE* fileline) {
    NLG_NET net(NLG_ID(NLG_ID::NET, m_net_serial), name, whole(fileline));
    m_module->add_net(std::move(net));
    NLG_NET* stored = m_module->net(static_cast<int32_t>(m_module->get_num_nets()) - 1);
    stored->reserve_ports(port_indexes.size());
    for (int32_t port_index : port_indexes) stored->connect_port(port_index);
    ++m_net_count;
    ++m_net_serial;
}

void NLG_GRAPH_READ::end_nets() {
    UTIL_ASSERT(((int)m_module->get_num_nets()) == m_num_nets);
    UTIL_ASSERT(m_num_nets == m_net_count);
    m_num_nets = 0;
    m_net_count = 0;
}

void NLG_GRAPH_READ::begin_instances(int32_t n) {
    UTIL_ASSERT(m_module);
    UTIL_ASSERT(m_num_instances == 0);
    UTIL_ASSERT(m_instance_count == 0);
    m_num_instances = n;
    m_module->reserve_instances(static_cast<size_t>(n));
    m_body_instances.emplace_back(m_module->get_id().get_serial(), 0);
    m_first_instance = static_cast<int32_t>(m_module->get_num_instances());
    m_net_refs.assign(m_module->get_num_nets(), 0);
}

void NLG_GRAPH_READ::add_instance(SYM name, int32_t module_index,
                                  std::vector<NLG_PORT_TO_NET>&& port_to_nets,
                                  const NLG_IFILELINE* fileline) {
    const DEFINITION& definition = this->definition(module_index);
    NLG_INSTANCE instance(name, definition.m_module, definition.m_num_ports,
                          NLG_ID(NLG_ID::INSTANCE, m_instance_serial), whole(fileline));
    UTIL_ASSERT(!m_body_instances.empty());
    m_module->add_instance_unreferenced(std::move(instance));
    m_instance_definitions.push_back(module_index);
    ++m_body_instances.back().second;
    NLG_INSTANCE* stored =
        m_module->instance(static_cast<int32_t>(m_module->get_num_instances()) - 1);
    stored->reserve_portrefs(port_to_nets.size());
    for (const NLG_PORT_TO_NET& pair : port_to_nets) {
        stored->add_portref_unlisted(definition.m_ports, pair.first, pair.second,
                                     NLG_ID(NLG_ID::PORT_REF, m_portref_serial++));
        if (pair.second < 0) continue;
        // A builder that adds nets after the instances began still gets its count.
        size_t net = static_cast<size_t>(pair.second);
        if (net >= m_net_refs.size()) m_net_refs.resize(net + 1, 0);
        ++m_net_refs[net];
    }
    ++m_instance_count;
    ++m_instance_serial;
}

void NLG_GRAPH_READ::end_instances() {
    UTIL_ASSERT(((int)m_module->get_num_instances()) == m_num_instances);
    UTIL_ASSERT(m_num_instances == m_instance_count);
    list_portrefs();
    m_num_instances = 0;
    m_instance_count = 0;
}

// Each net's list grows once to its size, then takes the body's references in the order they
// were added, the order that listing each as it came would give.
void NLG_GRAPH_READ::list_portrefs() {
    for (size_t k = 0; k < m_net_refs.size(); ++k) {
        if (m_net_refs[k] == 0) continue;
        NLG_NET* net = m_module->net(static_cast<int32_t>(k));
        net->reserve_portrefs(net->get_num_portrefs() + m_net_refs[k]);
    }
    int32_t n = static_cast<int32_t>(m_module->get_num_instances());
    for (int32_t i = m_first_instance; i < n; ++i) {
        NLG_INSTANCE* instance = m_module->instance(i);
        for (uint32_t k = 0; k < instance->get_num_portrefs(); ++k) {
            NLG_PORT_REF* portref = instance->portref(static_cast<int32_t>(k));
            if (portref->get_nlg_net()) portref->get_nlg_net()->add_portref(portref);
        }
    }
    m_net_refs.clear();
}

void NLG_GRAPH_READ::begin_edges() {
    UTIL_ASSERT(m_module);
}

void NLG_GRAPH_READ::add_p2p_edge(uint32_t src_p, uint32_t dst_p) {
    NLG_PORT* src = m_module->port(static_cast<int32_t>(src_p));
    NLG_PORT* dst = m_module->port(static_cast<int32_t>(dst_p));
    src->add_fanout_port(dst);
    dst->add_fanin_port(src);
}

void NLG_GRAPH_READ::add_p2pr_edge(uint32_t src_p, uint32_t dst_i, uint32_t dst_p) {
    NLG_PORT* src = m_module->port(static_cast<int32_t>(src_p));
    NLG_INSTANCE* instance = m_module->instance(static_cast<int32_t>(dst_i));
    NLG_PORT_REF* dst_pr = static_cast<NLG_PORT_REF*>(
        instance->get_portref(instance->get_definition()->port(static_cast<int32_t>(dst_p))));
    UTIL_ASSERT(dst_pr);
    src->add_fanout_ref(dst_pr);
    dst_pr->add_fanin_port(src);
}

void NLG_GRAPH_READ::add_pr2p_edge(uint32_t src_i, uint32_t src_p, uint32_t dst_p) {
    NLG_INSTANCE* instance = m_module->instance(static_cast<int32_t>(src_i));
    NLG_PORT_REF* src_pr = static_cast<NLG_PORT_REF*>(
        instance->get_portref(instance->get_definition()->port(static_cast<int32_t>(src_p))));
    UTIL_ASSERT(src_pr);
    NLG_PORT* dst = m_module->port(static_cast<int32_t>(dst_p));
    dst->add_fanin_ref(src_pr);
    src_pr->add_fanout_port(dst);
}

void NLG_GRAPH_READ::add_pr2pr_edge(uint32_t src_i, uint32_t src_p, uint32_t dst_i,
                                    uint32_t dst_p) {
    NLG_INSTANCE* src_instance = m_module->instance(static_cast<int32_t>(src_i));
    NLG_PORT_REF* src_pr = static_cast<NLG_PORT_REF*>(src_instance->get_portref(
        src_instance->get_definition()->port(static_cast<int32_t>(src_p))));
    UTIL_ASSERT(src_pr);
    NLG_INSTANCE* dst_instance = m_module->instance(static_cast<int32_t>(dst_i));
    NLG_PORT_REF* dst_pr = static_cast<NLG_PORT_REF*>(dst_instance->get_portref(
        dst_instance->get_definition()->port(static_cast<int32_t>(dst_p))));
    UTIL_ASSERT(dst_pr);
    src_pr->add_fanout_ref(dst_pr);
    dst_pr->add_fanin_ref(src_pr);
}

void NLG_GRAPH_READ::end_module_body() {
    m_module = NULL;
}

void NLG_GRAPH_READ::end_module_bodies() {
    UTIL_ASSERT(m_num_modules == m_module_count);
    m_num_modules = 0;
    m_module_count = 0;
    add_references();
}

// Counted first, so that each definition's list grows once to its size; then filled in the
// order the instances came, which is the order adding them one by one would give, through a
// table of fill points that stays in cache.
void NLG_GRAPH_READ::add_references() {
    std::vector<NLG_MODULE::REFERENCE*> next(m_graph->get_num_modules(), nullptr);
    std::vector<uint32_t> counts(next.size(), 0);
    for (int32_t definition : m_instance_definitions) ++counts[static_cast<size_t>(definition)];
    for (size_t i = 0; i < counts.size(); ++i)
        if (counts[i] != 0)
            next[i] = m_graph->module(static_cast<int32_t>(i))->append_references(counts[i]);
    size_t k = 0;
    for (const std::pair<uint32_t, uint32_t>& body : m_body_instances)
        for (uint32_t index = 0; index < body.second; ++index)
            *next[static_cast<size_t>(m_instance_definitions[k++])]++ = {body.first, index};
    m_body_instances.clear();
    m_instance_definitions.clear();
}

void NLG_GRAPH_READ::add_filename_table(const std::vector<SYM>& filenames) {
    m_graph->set_filenames(filenames);
}

// ---------------------------------------------------------------------------------------------
// Message to and from frames.

bool NLG_STREAM_RW::write(const PB::NLG::GRAPH& graph, std::ostream& stream, uint32_t format) {
    if (graph.graph_objs_size() == 0)
        UTIL_FAIL(
            "graph.graph_objs(graph.graph_objs_size() - 1).type() == "
            "PB::NLG::GRAPH_OBJ::T_TERMINATOR");
    UTIL_ASSERT(graph.graph_objs(graph.graph_objs_size() - 1).type() ==
                PB::NLG::GRAPH_OBJ::T_TERMINATOR);
    {
        google::protobuf::io::OstreamOutputStream output(&stream);
        write_objects(graph, &output, format);
    }
    // The output buffer goes to the stream when the output object ends.
    m_ok = m_ok && stream.good();
    return m_ok;
}

void NLG_STREAM_RW::write_objects(const PB::NLG::GRAPH& graph,
                                  google::protobuf::io::ZeroCopyOutputStream* output,
                                  uint32_t format) {
    for (const PB::NLG::GRAPH_OBJ& object : graph.graph_objs()) {
        if (!m_ok) break;
        if (object.type() == PB::NLG::GRAPH_OBJ::T_MODULE_DEFS) {
            PB::NLG::GRAPH_OBJ head;
            head.set_type(object.type());
            head.set_count(static_cast<uint32_t>(object.module_defs().module_defs_size()));
            m_ok = UTIL::write_message(head, output, format);
            for (const PB::NLG::MODULE_DEF& def : object.module_defs().module_defs()) {
                if (!m_ok) break;
                m_ok = UTIL::write_message(def, output, format);
            }
        } else if (object.type() == PB::NLG::GRAPH_OBJ::T_MODULE_BODIES) {
            PB::NLG::GRAPH_OBJ head;
            head.set_type(object.type());
            head.set_count(static_cast<uint32_t>(object.module_bodies().module_bodies_size()));
            m_ok = UTIL::write_message(head, output, format);
            for (const PB::NLG::MODULE_BODY& body : object.module_bodies().module_bodies()) {
                if (!m_ok) break;
                m_ok = UTIL::write_message(body, output, format);
            }
        } else {
            m_ok = UTIL::write_message(object, output, format);
        }
    }
}

bool NLG_STREAM_RW::read(std::istream& stream, PB::NLG::GRAPH* graph, uint32_t format) {
    google::protobuf::io::IstreamInputStream input(&stream);
    while (m_ok) {
        PB::NLG::GRAPH_OBJ* object = graph->add_graph_objs();
        read_object(&input, object, format);
        if (m_ok && object->type() == PB::NLG::GRAPH_OBJ::T_TERMINATOR) break;
    }
    return m_ok;
}

// The count of a split section comes from the file: entries are added as their frames arrive,
// so that a corrupt count cannot claim memory that no frame backs.
static constexpr uint32_t MAX_RESERVE = 1u << 16;

void NLG_STREAM_RW::read_object(google::protobuf::io::ZeroCopyInputStream* input,
                                PB::NLG::GRAPH_OBJ* object, uint32_t format) {
    m_ok = UTIL::read_message(input, object, format) && read_entries(input, object, format);
}

bool NLG_STREAM_RW::read_entries(google::protobuf::io::ZeroCopyInputStream* input,
                                 PB::NLG::GRAPH_OBJ* object, uint32_t format) {
    if (object->type() == PB::NLG::GRAPH_OBJ::T_MODULE_DEFS) {
        uint32_t count = object->count();
        object->clear_count();
        PB::NLG::MODULE_DEFS* defs = object->mutable_module_defs();
        defs->mutable_module_defs()->Reserve(static_cast<int>(std::min(count, MAX_RESERVE)));
        for (uint32_t i = 0; i < count && m_ok; ++i)
            m_ok = UTIL::read_message(input, defs->add_module_defs(), format);
    } else if (object->type() == PB::NLG::GRAPH_OBJ::T_MODULE_BODIES) {
        uint32_t count = object->count();
        object->clear_count();
        PB::NLG::MODULE_BODIES* bodies = object->mutable_module_bodies();
        bodies->mutable_module_bodies()->Reserve(static_cast<int>(std::min(count, MAX_RESERVE)));
        for (uint32_t i = 0; i < count && m_ok; ++i)
            m_ok = UTIL::read_message(input, bodies->add_module_bodies(), format);
    }
    return m_ok;
}
