// Graph files in three stages that each know only their neighbour, meeting at the event
// interface NLG_RTL_ISERIALIZER: NLG_GRAPH_WRITE (graph to events), NLG_PB_WRITE (events to
// message), NLG_PB_READ (message to events), NLG_GRAPH_READ (events to graph), NLG_STREAM_RW
// (message to and from framed streams). Stages are made for one operation; the factories are
// process-wide. Nothing here opens or closes a stream.
#pragma once

#include <cstdint>
#include <istream>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "nlg_igraph.h"

namespace PB {
class SYMBOL;
class SYMBOL_TABLE;
namespace NLG {
class GRAPH;
class MODULE_DEF;
class MODULE_DEFS;
class MODULE_BODY;
class MODULE_BODIES;
class FILENAME_TABLE;
class GRAPH_OBJ;
}  // namespace NLG
}  // namespace PB
namespace google::protobuf::io {
class ZeroCopyInputStream;
class ZeroCopyOutputStream;
}  // namespace google::protobuf::io
namespace UTIL {
class SYMBOL_TABLE;
}
class NLG_GRAPH;
class NLG_MODULE;
class NLG_PORT;

// Port index and net index of one connected instance port; -1 is no net.
using NLG_PORT_TO_NET = std::pair<int32_t, int32_t>;

// The events of a graph, in the one order in which NLG_GRAPH_WRITE sends them. Indexes are
// those of the NLG_IMODULE arrays; symbols are whole internal symbols.
class NLG_RTL_ISERIALIZER {
  public:
    virtual ~NLG_RTL_ISERIALIZER() = default;
    virtual NS_SYMBOL::SYM intern(const std::string& name) = 0;
    virtual void begin_graph() = 0;
    virtual void end_graph() = 0;
    virtual void begin_module_defs(int32_t n) = 0;
    virtual void add_module_def(NS_SYMBOL::SYM name, uint32_t primitive_type,
                                const NLG_IFILELINE* fileline, bool unused_nonprimitive) = 0;
    virtual void begin_module_ports(int32_t n) = 0;
    virtual void add_module_port(NS_SYMBOL::SYM name, uint32_t direction,
                                 const NLG_IFILELINE* fileline) = 0;
    virtual void end_module_ports() = 0;
    virtual void end_module_defs() = 0;
    virtual void begin_module_bodies(int32_t n) = 0;
    virtual void begin_module_body(int32_t module_index) = 0;
    virtual void begin_nets(int32_t n) = 0;
    virtual void add_net(NS_SYMBOL::SYM name, std::vector<int32_t>&& port_indexes,
                         const NLG_IFILELINE* fileline) = 0;
    virtual void end_nets() = 0;
    virtual void begin_instances(int32_t n) = 0;
    virtual void add_instance(NS_SYMBOL::SYM name, int32_t module_index,
                              std::vector<NLG_PORT_TO_NET>&& port_to_nets,
                              const NLG_IFILELINE* fileline) = 0;
    virtual void end_instances() = 0;
    virtual void begin_edges() = 0;
    virtual void add_p2p_edge(uint32_t src_p, uint32_t dst_p) = 0;
    virtual void add_p2pr_edge(uint32_t src_p, uint32_t dst_i, uint32_t dst_p) = 0;
    virtual void add_pr2p_edge(uint32_t src_i, uint32_t src_p, uint32_t dst_p) = 0;
    virtual void add_pr2pr_edge(uint32_t src_i, uint32_t src_p, uint32_t dst_i, uint32_t dst_p) = 0;
    virtual void end_module_body() = 0;
    virtual void end_module_bodies() = 0;
    virtual void add_filename_table(const std::vector<NS_SYMBOL::SYM>& filenames) = 0;
};

class NLG_IGRAPH_READ : public NLG_RTL_ISERIALIZER {
  public:
    virtual void set_graph(NLG_GRAPH* graph) = 0;
};

class NLG_IPB_WRITE : public NLG_RTL_ISERIALIZER {
  public:
    virtual void set_target(PB::NLG::GRAPH* graph, const UTIL::SYMBOL_TABLE* table) = 0;
};

class NLG_IGRAPH_WRITE {
  public:
    virtual ~NLG_IGRAPH_WRITE() = default;
    virtual bool write(const NLG_IGRAPH& graph, NLG_RTL_ISERIALIZER& sink) = 0;
};

class NLG_IPB_READ {
  public:
    virtual ~NLG_IPB_READ() = default;
    virtual bool read(const PB::NLG::GRAPH& graph, UTIL::SYMBOL_TABLE* table,
                      NLG_RTL_ISERIALIZER* sink) = 0;
};

class NLG_ISTREAM_RW {
  public:
    virtual ~NLG_ISTREAM_RW() = default;
    virtual bool read(std::istream& stream, PB::NLG::GRAPH* graph, uint32_t format) = 0;
    virtual bool write(const PB::NLG::GRAPH& graph, std::ostream& stream, uint32_t format) = 0;
};

// Process-wide factory of the stages; the caller owns what it makes.
class NLG_IREADWRITE {
  public:
    virtual ~NLG_IREADWRITE() = default;
    virtual NLG_IGRAPH_WRITE* create_graph_write() = 0;
    virtual NLG_IGRAPH_READ* create_graph_read() = 0;
    virtual NLG_IPB_WRITE* create_pb_write() = 0;
    virtual NLG_IPB_READ* create_pb_read() = 0;
    virtual NLG_ISTREAM_RW* create_stream_rw() = 0;
};

// Process-wide whole-file operations; format is that of UTIL::ISERIALIZABLE (PB_BIN, PB_TXT).
class NLG_IGRAPH_READWRITE {
  public:
    virtual ~NLG_IGRAPH_READWRITE() = default;
    virtual bool read(NLG_GRAPH* graph, std::istream& stream, uint32_t format) = 0;
    virtual bool write(const NLG_IGRAPH& graph, std::ostream& stream, uint32_t format) = 0;
};

NLG_IREADWRITE& nlg_readwrite();
NLG_IGRAPH_READWRITE& nlg_graph_readwrite();

// Graph to events.
class NLG_GRAPH_WRITE : public NLG_IGRAPH_WRITE {
  public:
    bool write(const NLG_IGRAPH& graph, NLG_RTL_ISERIALIZER& sink) override;

  private:
    void write_defs(const NLG_IGRAPH& graph, NLG_RTL_ISERIALIZER& sink);
    void write_body(const NLG_IMODULE& module, NLG_RTL_ISERIALIZER& sink);
    void write_edges(const NLG_MODULE& module, NLG_RTL_ISERIALIZER& sink);
};

// Events to message. Symbols go in whole and are made into file names at end_graph.
class NLG_PB_WRITE : public NLG_IPB_WRITE {
  public:
    void set_target(PB::NLG::GRAPH* graph, const UTIL::SYMBOL_TABLE* table) override;

    NS_SYMBOL::SYM intern(const std::string& name) override;
    void begin_graph() override;
    void end_graph() override;
    void begin_module_defs(int32_t n) override;
    void add_module_def(NS_SYMBOL::SYM name, uint32_t primitive_type, const NLG_IFILELINE* fileline,
                        bool unused_nonprimitive) override;
    void begin_module_ports(int32_t) override {}
    void add_module_port(NS_SYMBOL::SYM name, uint32_t direction,
                         const NLG_IFILELINE* fileline) override;
    void end_module_ports() override {}
    void end_module_defs() override;
    void begin_module_bodies(int32_t n) override;
    void begin_module_body(int32_t module_index) override;
    void begin_nets(int32_t) override {}
    void add_net(NS_SYMBOL::SYM name, std::vector<int32_t>&& port_indexes,
                 const NLG_IFILELINE* fileline) override;
    void end_nets() override {}
    void begin_instances(int32_t) override {}
    void add_instance(NS_SYMBOL::SYM name, int32_t module_index,
                      std::vector<NLG_PORT_TO_NET>&& port_to_nets,
                      const NLG_IFILELINE* fileline) override;
    void end_instances() override {}
    void begin_edges() override {}
    void add_p2p_edge(uint32_t src_p, uint32_t dst_p) override;
    void add_p2pr_edge(uint32_t src_p, uint32_t dst_i, uint32_t dst_p) override;
    void add_pr2p_edge(uint32_t src_i, uint32_t src_p, uint32_t dst_p) override;
    void add_pr2pr_edge(uint32_t src_i, uint32_t src_p, uint32_t dst_i, uint32_t dst_p) override;
    void end_module_body() override {}
    void end_module_bodies() override;
    void add_filename_table(const std::vector<NS_SYMBOL::SYM>& filenames) override;

  private:
    PB::NLG::GRAPH_OBJ* add_object(uint32_t type);

    PB::NLG::GRAPH* m_graph = nullptr;
    const UTIL::SYMBOL_TABLE* m_table = nullptr;
    int32_t m_n_defs = 0;
    int32_t m_n_bodies = 0;
    PB::NLG::MODULE_DEFS* m_module_defs = nullptr;
    PB::NLG::MODULE_BODIES* m_module_bodies = nullptr;
    PB::NLG::MODULE_DEF* m_module_def = nullptr;
    PB::NLG::MODULE_BODY* m_module_body = nullptr;
    PB::NLG::FILENAME_TABLE* m_filename_table = nullptr;
};

// Message to events.
class NLG_PB_READ : public NLG_IPB_READ {
  public:
    bool read(const PB::NLG::GRAPH& graph, UTIL::SYMBOL_TABLE* table,
              NLG_RTL_ISERIALIZER* sink) override;

    // The same, an object at a time, for a reader that takes a file's objects as they arrive:
    // begin, then read_object (or a bodies section through begin_bodies, read_body and
    // end_bodies) until terminated, then end for the result.
    void begin(UTIL::SYMBOL_TABLE* table, NLG_RTL_ISERIALIZER* sink);
    void read_object(const PB::NLG::GRAPH_OBJ& object);
    bool has_names() const { return m_names != nullptr; }
    void begin_bodies(int32_t n);
    void read_body(const PB::NLG::MODULE_BODY& body);
    void end_bodies();
    bool terminated() const { return m_terminated; }
    bool end();

  private:
    // A bare name index of the file as a whole symbol; a bad index is an out-of-range error.
    NS_SYMBOL::SYM whole(const PB::SYMBOL& symbol) const;
    void read_defs(const PB::NLG::MODULE_DEFS& defs);
    void read_def(const PB::NLG::MODULE_DEF& def);
    void read_bodies(const PB::NLG::MODULE_BODIES& bodies);
    void read_filenames(const PB::NLG::FILENAME_TABLE& filenames);

    bool m_ok = true;
    bool m_terminated = false;
    NLG_RTL_ISERIALIZER* m_sink = nullptr;
    UTIL::SYMBOL_TABLE* m_table = nullptr;
    const PB::SYMBOL_TABLE* m_names = nullptr;
    // The file's names in file order, as whole symbols of the table.
    std::vector<NS_SYMBOL::SYM> m_symbols;
    // Lists handed to the sink, kept between records so that a sink that does not keep them
    // leaves their storage for the next one.
    std::vector<int32_t> m_net_ports;
    std::vector<NLG_PORT_TO_NET> m_port_to_nets;
};

// Events to graph. The counters are the phase checks of the protocol.
class NLG_GRAPH_READ : public NLG_IGRAPH_READ {
  public:
    void set_graph(NLG_GRAPH* graph) override { m_graph = graph; }

    NS_SYMBOL::SYM intern(const std::string& name) override;
    void begin_graph() override {}
    void end_graph() override {}
    void begin_module_defs(int32_t n) override;
    void add_module_def(NS_SYMBOL::SYM name, uint32_t primitive_type, const NLG_IFILELINE* fileline,
                        bool unused_nonprimitive) override;
    void begin_module_ports(int32_t n) override;
    void add_module_port(NS_SYMBOL::SYM name, uint32_t direction,
                         const NLG_IFILELINE* fileline) override;
    void end_module_ports() override;
    void end_module_defs() override;
    void begin_module_bodies(int32_t n_bodies) override;
    void begin_module_body(int32_t module_index) override;
    void begin_nets(int32_t n) override;
    void add_net(NS_SYMBOL::SYM name, std::vector<int32_t>&& port_indexes,
                 const NLG_IFILELINE* fileline) override;
    void end_nets() override;
    void begin_instances(int32_t n) override;
    void add_instance(NS_SYMBOL::SYM name, int32_t module_index,
                      std::vector<NLG_PORT_TO_NET>&& port_to_nets,
                      const NLG_IFILELINE* fileline) override;
    void end_instances() override;
    void begin_edges() override;
    void add_p2p_edge(uint32_t src_p, uint32_t dst_p) override;
    void add_p2pr_edge(uint32_t src_p, uint32_t dst_i, uint32_t dst_p) override;
    void add_pr2p_edge(uint32_t src_i, uint32_t src_p, uint32_t dst_p) override;
    void add_pr2pr_edge(uint32_t src_i, uint32_t src_p, uint32_t dst_i, uint32_t dst_p) override;
    void end_module_body() override;
    void end_module_bodies() override;
    void add_filename_table(const std::vector<NS_SYMBOL::SYM>& filenames) override;

  private:
    NLG_GRAPH* m_graph = nullptr;
    NLG_MODULE* m_module = nullptr;
    int32_t m_num_modules = 0;
    int32_t m_module_count = 0;
    int32_t m_num_ports = 0;
    int32_t m_port_count = 0;
    int32_t m_num_instances = 0;
    int32_t m_instance_count = 0;
    int32_t m_num_nets = 0;
    int32_t m_net_count = 0;
    uint32_t m_instance_serial = 0;
    uint32_t m_port_serial = 0;
    uint32_t m_net_serial = 0;
    uint32_t m_portref_serial = 0;
    // The definitions' references, made once the bodies are in: each body's parent serial and
    // instance count in the order read, and each instance's definition index.
    std::vector<std::pair<uint32_t, uint32_t>> m_body_instances;
    std::vector<int32_t> m_instance_definitions;
    void add_references();
    // Each definition's port count and first port, by module index, taken once the definitions
    // are in: an instance reads them here, from one small table, instead of from its definition.
    struct DEFINITION {
        NLG_MODULE* m_module;
        NLG_PORT* m_ports;
        uint32_t m_num_ports;
    };
    std::vector<DEFINITION> m_definitions;
    DEFINITION m_other_definition = {nullptr, nullptr, 0};
    const DEFINITION& definition(int32_t module_index);
    // References go onto their nets once a body's instances are in, each net's list grown once:
    // the first instance of the body, and the count of references of each net.
    int32_t m_first_instance = 0;
    std::vector<uint32_t> m_net_refs;
    void list_portrefs();
};

// Message to and from a chain of frames, one module per frame. A failed step sticks.
class NLG_STREAM_RW : public NLG_ISTREAM_RW {
  public:
    bool read(std::istream& stream, PB::NLG::GRAPH* graph, uint32_t format) override;
    bool write(const PB::NLG::GRAPH& graph, std::ostream& stream, uint32_t format) override;
    // The frames of a split section after its head object, added to the object.
    bool read_entries(google::protobuf::io::ZeroCopyInputStream* input, PB::NLG::GRAPH_OBJ* object,
                      uint32_t format);

  private:
    void read_object(google::protobuf::io::ZeroCopyInputStream* input, PB::NLG::GRAPH_OBJ* object,
                     uint32_t format);
    void write_objects(const PB::NLG::GRAPH& graph,
                       google::protobuf::io::ZeroCopyOutputStream* output, uint32_t format);

    bool m_ok = true;
};

class NLG_READWRITE : public NLG_IREADWRITE {
  public:
    NLG_IGRAPH_WRITE* create_graph_write() override { return new NLG_GRAPH_WRITE(); }
    NLG_IGRAPH_READ* create_graph_read() override { return new NLG_GRAPH_READ(); }
    NLG_IPB_WRITE* create_pb_write() override { return new NLG_PB_WRITE(); }
    NLG_IPB_READ* create_pb_read() override { return new NLG_PB_READ(); }
    NLG_ISTREAM_RW* create_stream_rw() override { return new NLG_STREAM_RW(); }
};

class NLG_GRAPH_READWRITE : public NLG_IGRAPH_READWRITE {
  public:
    bool read(NLG_GRAPH* graph, std::istream& stream, uint32_t format) override;
    bool write(const NLG_IGRAPH& graph, std::ostream& stream, uint32_t format) override;
};
