// Record stores of one kind: sizing to the bounds, the record walk of read and write, and the
// per-record symbol conversion through the set's symbol file.
#include "ann/anns.h"

#include <google/protobuf/io/zero_copy_stream_impl.h>

#include "ann/annss.h"
#include "util/util_assert.h"
#include "util/util_protobuf.h"
#include "util/util_symbol_file.h"

using google::protobuf::Message;

static size_t bound(int32_t n) {
    return n > 0 ? static_cast<size_t>(n) : 0;
}

// Whether the input has nothing left; otherwise the bytes looked at are handed back.
static bool input_ended(google::protobuf::io::ZeroCopyInputStream* input) {
    const void* data = nullptr;
    int size = 0;
    if (!input->Next(&data, &size)) return true;
    input->BackUp(size);
    return false;
}

template <class A, class M, class I, class P, class N, class G>
ANNS_TEMPLATE<A, M, I, P, N, G>::ANNS_TEMPLATE(ANNS* anns, const PB::ANNSS::BOUNDS& bounds)
    : m_anns(anns),
      m_modules(bound(bounds.n_modules())),
      m_instances(bound(bounds.n_instances())),
      m_ports(bound(bounds.n_ports())),
      m_nets(bound(bounds.n_nets())) {}

template <class A, class M, class I, class P, class N, class G>
M& ANNS_TEMPLATE<A, M, I, P, N, G>::get_module(uint32_t index) {
    return UTIL::at(m_modules, index);
}

template <class A, class M, class I, class P, class N, class G>
I& ANNS_TEMPLATE<A, M, I, P, N, G>::get_instance(uint32_t index) {
    return UTIL::at(m_instances, index);
}

template <class A, class M, class I, class P, class N, class G>
P& ANNS_TEMPLATE<A, M, I, P, N, G>::get_port(uint32_t index) {
    return UTIL::at(m_ports, index);
}

template <class A, class M, class I, class P, class N, class G>
N& ANNS_TEMPLATE<A, M, I, P, N, G>::get_net(uint32_t index) {
    return UTIL::at(m_nets, index);
}

template <class A, class M, class I, class P, class N, class G>
template <class STEP>
void ANNS_TEMPLATE<A, M, I, P, N, G>::walk(STEP step) {
    for (M& record : m_modules) step(record);
    for (I& record : m_instances) step(record);
    for (P& record : m_ports) step(record);
    for (N& record : m_nets) step(record);
    step(m_graph);
}

template <class A, class M, class I, class P, class N, class G>
void ANNS_TEMPLATE<A, M, I, P, N, G>::write_record(
    Message& record, google::protobuf::io::ZeroCopyOutputStream* output) {
    UTIL::SYMBOL_FILE& symbols = m_anns->get_owner()->get_symbol_file();
    if (output == nullptr) {
        symbols.message_internal_to_external(&record);
        return;
    }
    if (!UTIL::write_message(record, output, m_format)) m_ok = false;
    symbols.message_external_to_internal(&record);
}

template <class A, class M, class I, class P, class N, class G>
void ANNS_TEMPLATE<A, M, I, P, N, G>::read_record(Message& record) {
    // Past the end of the input every later frame fails and its record stays as made, so the
    // stream is not asked again: its adaptor would make and free a buffer for each record, and
    // a cut file under damaged bounds can leave hundreds of thousands of them.
    if (m_input_ended) {
        m_ok = false;
    } else if (!UTIL::read_message(m_stream_in, &record, m_format)) {
        m_ok = false;
        m_input_ended = input_ended(m_stream_in);
    }
    m_anns->get_owner()->get_symbol_file().message_external_to_internal(&record);
}

template <class A, class M, class I, class P, class N, class G>
bool ANNS_TEMPLATE<A, M, I, P, N, G>::write(std::ostream* stream, uint32_t format) {
    m_stream_out = stream;
    m_format = format;
    m_ok = true;
    if (stream == nullptr) {
        walk([this](Message& record) { write_record(record, nullptr); });
        return m_ok;
    }
    // One output object for the whole pass; it hands its buffer to the stream at its end.
    google::protobuf::io::OstreamOutputStream output(stream);
    walk([this, &output](Message& record) { write_record(record, &output); });
    return m_ok;
}

template <class A, class M, class I, class P, class N, class G>
bool ANNS_TEMPLATE<A, M, I, P, N, G>::read(google::protobuf::io::ZeroCopyInputStream* input,
                                           uint32_t format) {
    m_stream_in = input;
    m_format = format;
    m_ok = true;
    m_input_ended = false;
    walk([this](Message& record) { read_record(record); });
    return m_ok;
}

template class ANNS_TEMPLATE<PB::ICDB, PB::ICDB::MODULE, PB::ICDB::INSTANCE, PB::ICDB::APORT,
                             PB::ICDB::NET, PB::ICDB::GRAPH>;
template class ANNS_TEMPLATE<PB::FAB, PB::FAB::MODULE, PB::FAB::INSTANCE, PB::FAB::APORT,
                             PB::FAB::NET, PB::FAB::GRAPH>;

ANNS::ANNS(ANNS&& other) noexcept
    : m_type(other.m_type), m_annss(other.m_annss), m_template(other.m_template) {
    other.m_template = nullptr;
}

ANNS::~ANNS() {
    delete m_template;
}

IANNSS* ANNS::get_annss() const {
    return m_annss;
}

ICDB_ANNS& ANNS::get_icdb() {
    UTIL_ASSERT(m_annss != NULL);
    UTIL_ASSERT(m_type == PB::ANNS::ICDB);
    if (!m_template) m_template = new ICDB_ANNS(this, m_annss->get_bounds());
    return *static_cast<ICDB_ANNS*>(m_template);
}

FAB_ANNS& ANNS::get_fab() {
    UTIL_ASSERT(m_annss != NULL);
    UTIL_ASSERT(m_type == PB::ANNS::FAB);
    if (!m_template) m_template = new FAB_ANNS(this, m_annss->get_bounds());
    return *static_cast<FAB_ANNS*>(m_template);
}

IANNS_BASE* ANNS::get_base() {
    if (m_type == PB::ANNS::ICDB) return &get_icdb();
    if (m_type == PB::ANNS::FAB) return &get_fab();
    return nullptr;
}
