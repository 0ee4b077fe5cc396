// Annotation sets and their file.
//  1. Write: make every record's symbols external (first pass, the file's table grows in walk
//     order), write the symbol section, the head frame with bounds and kinds, then each
//     record as a frame, turning its symbols back right after (second pass).
//  2. Read: symbol section, head frame (bounds and kinds), then the records of each kind in
//     the walk order, making their symbols internal. Nothing marks the end of a kind: the
//     bounds say how many frames follow.
#include "ann/annss.h"

#include <google/protobuf/io/zero_copy_stream_impl.h>

#include <iostream>
#include <sstream>

#include "util/util_assert.h"
#include "util/util_protobuf.h"
#include "util/util_symbol.h"

ANNSS::ANNSS(const PB::ANNSS::BOUNDS& bounds) : m_bounds(bounds) {}

void ANNSS::add_type(int type) {
    UTIL_ASSERT(!has_type(type));
    m_types.emplace(type, ANNS(static_cast<PB::ANNS::TYPE>(type), this));
}

ANNS& ANNSS::get_anns(int type) {
    UTIL_ASSERT(has_type(type));
    return m_types.find(type)->second;
}

bool ANNSS::write(std::ostream& stream, uint32_t format) {
    // The conversion looks names up by id; a table given read-only is only ever read here.
    const UTIL::SYMBOL_TABLE* internal = m_symbol_file.get_internal_const();
    if (internal) const_cast<UTIL::SYMBOL_TABLE*>(internal)->init_name_fast();

    PB::ANNSS head;
    *head.mutable_bounds() = m_bounds;
    for (auto& entry : m_types) head.add_annotations()->set_type(entry.second.get_type());

    for (auto& entry : m_types) {
        IANNS_BASE* base = entry.second.get_base();
        if (base) base->write(nullptr, format);
    }
    m_symbol_file.write(stream, format);
    UTIL::write_message(head, stream, format);
    for (auto& entry : m_types) {
        IANNS_BASE* base = entry.second.get_base();
        if (base) base->write(&stream, format);
    }
    return true;
}

// Frames the records of one kind take: one per module, instance, port and net record, and the
// graph frame.
static uint64_t frames_per_kind(const PB::ANNSS::BOUNDS& b) {
    uint64_t frames = 1;
    for (int32_t n : {b.n_modules(), b.n_instances(), b.n_ports(), b.n_nets()})
        frames += n > 0 ? static_cast<uint64_t>(n) : 0;
    return frames;
}

bool ANNSS::read(std::istream& stream, uint32_t format) {
    const int64_t file_bytes = UTIL::bytes_left(stream);
    google::protobuf::io::IstreamInputStream input(&stream);
    if (m_symbol_file.get_internal_const() == nullptr)
        m_symbol_file.set_internal(UTIL::symbol_tables().new_table());
    if (!m_symbol_file.read(&input, format)) {
        std::cout << "FAILED to read ANNSS symbol table" << std::endl;
        return false;
    }
    PB::ANNSS head;
    if (!UTIL::read_message(&input, &head, format)) {
        std::cout << "FAILED to read PB::ANNSS" << std::endl;
        return false;
    }
    m_bounds = head.bounds();
    for (const PB::ANNS& anns : head.annotations()) {
        m_types.erase(anns.type());
        m_types.emplace(anns.type(), ANNS(anns.type(), this));
    }
    // The stores of the kinds in the head are made at the size of the bounds before their first
    // record is read. Each record is a frame of at least one byte, so bounds that call for more
    // records than the rest of the file has bytes are damaged, and sizing to them could ask for
    // gigabytes.
    uint64_t frames = 0;
    for (int type : {PB::ANNS::ICDB, PB::ANNS::FAB}) {
        for (const PB::ANNS& anns : head.annotations()) {
            if (anns.type() != type) continue;
            frames += frames_per_kind(m_bounds);
            break;
        }
    }
    if (file_bytes >= 0 && frames > static_cast<uint64_t>(file_bytes - input.ByteCount())) {
        std::cout << "FAILED to read PB::ANNS" << std::endl;
        return false;
    }
    for (auto& entry : m_types) {
        IANNS_BASE* base = entry.second.get_base();
        if (base == nullptr || !base->read(&input, format)) {
            std::cout << "FAILED to read PB::ANNS" << std::endl;
            return false;
        }
    }
    return true;
}

bool ANNSS::equals(const IANNSS& other) const {
    // Writing converts records back and forth but leaves them as they were.
    std::ostringstream mine, theirs;
    const_cast<ANNSS*>(this)->write(mine, UTIL::PB_TXT);
    const_cast<IANNSS&>(other).write(theirs, UTIL::PB_TXT);
    return mine.str() == theirs.str();
}

static PB::ANNSS::BOUNDS graph_bounds(const NLG_IGRAPH& graph) {
    int32_t instances = 0, ports = 0, nets = 0;
    for (uint32_t i = 0; i < graph.get_num_modules(); ++i) {
        const NLG_IMODULE* module = graph.get_module(static_cast<int32_t>(i));
        instances += static_cast<int32_t>(module->get_num_instances());
        ports += static_cast<int32_t>(module->get_num_ports());
        nets += static_cast<int32_t>(module->get_num_nets());
    }
    PB::ANNSS::BOUNDS bounds;
    bounds.set_n_modules(static_cast<int32_t>(graph.get_num_modules()));
    bounds.set_n_instances(instances);
    bounds.set_n_ports(ports);
    bounds.set_n_nets(nets);
    return bounds;
}

NLG_ANNSS::NLG_ANNSS(const NLG_IGRAPH& graph)
    : m_graph(&graph), m_annss(new ANNSS(graph_bounds(graph))) {
    m_annss->get_symbol_file().set_internal(graph.get_symbol_table());
}

NLG_ANNSS::~NLG_ANNSS() {
    delete m_annss;
}

NLG_ANNS_TEMPLATE<PB::ICDB, PB::ICDB::MODULE, PB::ICDB::INSTANCE, PB::ICDB::APORT, PB::ICDB::NET,
                  PB::ICDB::GRAPH>&
NLG_ANNSS::get_icdb() {
    if (!m_icdb.is_bound()) m_icdb.bind(&m_annss->get_icdb());
    return m_icdb;
}

NLG_ANNS_TEMPLATE<PB::FAB, PB::FAB::MODULE, PB::FAB::INSTANCE, PB::FAB::APORT, PB::FAB::NET,
                  PB::FAB::GRAPH>&
NLG_ANNSS::get_fab() {
    if (!m_fab.is_bound()) m_fab.bind(&m_annss->get_fab());
    return m_fab;
}

// write_named and read_named walk the graph by name; they live with the API implementation.
