// One kind of annotation records: IANNS_BASE, the record store of a kind (flat vectors of
// module, instance, port and net records and one graph record, sized to the bounds of the
// set), ANNS_TEMPLATE, that store for one record family, and ANNS, the entry of a kind in a
// set, which owns its store. The set itself, its bounds and its file are in ann/annss.
#pragma once

#include <cstdint>
#include <ostream>
#include <vector>

#include "ann.pb.h"
#include "ann_fab.pb.h"
#include "ann_icdb.pb.h"

namespace google::protobuf {
class Message;
namespace io {
class ZeroCopyInputStream;
class ZeroCopyOutputStream;
}  // namespace io
}  // namespace google::protobuf

class ANNS;
class ANNSS;
class IANNSS;

class IANNS_BASE {
  public:
    virtual ~IANNS_BASE() = default;
    // Writes every record as a frame; with no stream, only makes the records' symbols external.
    virtual bool write(std::ostream* stream, uint32_t format) = 0;
    virtual bool read(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format) = 0;
    virtual google::protobuf::Message& get_module(uint32_t index) = 0;
    virtual google::protobuf::Message& get_instance(uint32_t index) = 0;
    virtual google::protobuf::Message& get_port(uint32_t index) = 0;
    virtual google::protobuf::Message& get_net(uint32_t index) = 0;
    virtual google::protobuf::Message& get_graph() = 0;
};

// The record walk of a file: modules, instances, ports, nets in index order, then the graph.
template <class ANN, class MODULE, class INSTANCE, class PORT, class NET, class GRAPH>
class ANNS_TEMPLATE : public IANNS_BASE {
  public:
    ANNS_TEMPLATE(ANNS* anns, const PB::ANNSS::BOUNDS& bounds);

    bool write(std::ostream* stream, uint32_t format) override;
    bool read(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format) override;
    // Checked: a bad index is an out-of-range error.
    MODULE& get_module(uint32_t index) override;
    INSTANCE& get_instance(uint32_t index) override;
    PORT& get_port(uint32_t index) override;
    NET& get_net(uint32_t index) override;
    GRAPH& get_graph() override { return m_graph; }

    size_t get_num_modules() const { return m_modules.size(); }
    size_t get_num_instances() const { return m_instances.size(); }
    size_t get_num_ports() const { return m_ports.size(); }
    size_t get_num_nets() const { return m_nets.size(); }

  private:
    template <class STEP>
    void walk(STEP step);
    void write_record(google::protobuf::Message& record,
                      google::protobuf::io::ZeroCopyOutputStream* output);
    void read_record(google::protobuf::Message& record);

    ANNS* m_anns;
    std::vector<MODULE> m_modules;
    std::vector<INSTANCE> m_instances;
    std::vector<PORT> m_ports;
    std::vector<NET> m_nets;
    GRAPH m_graph;
    std::ostream* m_stream_out = nullptr;
    google::protobuf::io::ZeroCopyInputStream* m_stream_in = nullptr;
    uint32_t m_format = 0;
    bool m_ok = true;
    bool m_input_ended = false;  // a read found no bytes left
};

using ICDB_ANNS = ANNS_TEMPLATE<PB::ICDB, PB::ICDB::MODULE, PB::ICDB::INSTANCE, PB::ICDB::APORT,
                                PB::ICDB::NET, PB::ICDB::GRAPH>;
using FAB_ANNS = ANNS_TEMPLATE<PB::FAB, PB::FAB::MODULE, PB::FAB::INSTANCE, PB::FAB::APORT,
                               PB::FAB::NET, PB::FAB::GRAPH>;

class IANNS {
  public:
    virtual PB::ANNS::TYPE get_type() const = 0;
    virtual IANNSS* get_annss() const = 0;

  protected:
    ~IANNS() = default;
};

// A value in the set's map of kinds; it owns its record store, made on first use.
class ANNS : public IANNS {
  public:
    ANNS(PB::ANNS::TYPE type, ANNSS* annss) : m_type(type), m_annss(annss) {}
    ANNS(ANNS&& other) noexcept;
    ANNS(const ANNS&) = delete;
    ANNS& operator=(const ANNS&) = delete;
    virtual ~ANNS();

    PB::ANNS::TYPE get_type() const override { return m_type; }
    IANNSS* get_annss() const override;
    ANNSS* get_owner() const { return m_annss; }

    ICDB_ANNS& get_icdb();
    FAB_ANNS& get_fab();
    // The store of this kind, or null for a kind that has no records.
    IANNS_BASE* get_base();

  private:
    PB::ANNS::TYPE m_type;
    ANNSS* m_annss;
    IANNS_BASE* m_template = nullptr;
};
