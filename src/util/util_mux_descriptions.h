// The mux descriptions of the translation database: the PB::MUX_DESCRIPTIONS message, owned
// here, with per-description indexes over `mux_ipaths` (port kinds, output per input, output
// numbers) and a name index. Building the messages is the mux analysis' and the feed's job.
#pragma once

#include <cstdint>
#include <map>
#include <ostream>
#include <unordered_map>
#include <vector>

#include "fab_export.h"
#include "mux.pb.h"
#include "ns_symbol.h"
#include "util/util_protobuf.h"

namespace UTIL {

class SYMBOL_FILE;

class IMUX_DESCRIPTION {
  public:
    enum PORT_TYPE : uint32_t { P_UNKNOWN = 0, P_INPUT = 1, P_OUTPUT = 2 };
    static constexpr uint32_t NO_PORT = 0xFFFFFFFFu;

    virtual ~IMUX_DESCRIPTION() = default;
    virtual uint32_t get_index() const = 0;
    virtual const PB::MUX_DESCRIPTION& get_pb() const = 0;
    // P_UNKNOWN for a port on no path.
    virtual PORT_TYPE get_port_type(uint32_t port) const = 0;
    // Output port of the first path from `port`, or -1.
    virtual uint32_t get_output_for_input(uint32_t port) const = 0;
    // Number of paths into each output number.
    virtual const std::vector<uint32_t>& get_inputs_per_output() const = 0;
    // Output number that path `path_index` reaches; a bad index throws the subscript error.
    virtual uint32_t get_output_number(uint32_t path_index) const = 0;
};

class MUX_DESCRIPTION : public IMUX_DESCRIPTION {
  public:
    // Indexes one message; the message must outlive this object.
    void bind(uint32_t index, const PB::MUX_DESCRIPTION* pb);

    uint32_t get_index() const override { return m_index; }
    const PB::MUX_DESCRIPTION& get_pb() const override { return *m_pb; }
    PORT_TYPE get_port_type(uint32_t port) const override;
    uint32_t get_output_for_input(uint32_t port) const override;
    const std::vector<uint32_t>& get_inputs_per_output() const override {
        return m_inputs_per_output;
    }
    uint32_t get_output_number(uint32_t path_index) const override;

    // Output ports in order of first use; the position is the output number.
    const std::vector<uint32_t>& get_outputs() const { return m_outputs; }

  private:
    void add_path(uint32_t in, uint32_t out);

    uint32_t m_index = 0xFFFFFFFFu;
    const PB::MUX_DESCRIPTION* m_pb = nullptr;
    std::unordered_map<uint32_t, PORT_TYPE> m_port_types;
    std::unordered_map<uint32_t, uint32_t> m_input_to_output;  // first path wins
    std::vector<uint32_t> m_outputs;
    std::unordered_map<uint32_t, uint32_t> m_output_to_number;
    std::vector<uint32_t> m_inputs_per_output;
    std::vector<uint32_t> m_path_to_output_number;
};

class IMUX_DESCRIPTIONS {
  public:
    static constexpr uint32_t NO_MUX = 0xFFFFFFFFu;

    virtual ~IMUX_DESCRIPTIONS() = default;
    virtual uint32_t get_n_mux_descriptions() const = 0;
    // A bad index throws the subscript error.
    virtual const IMUX_DESCRIPTION& get_mux_description(uint32_t index) const = 0;
    virtual const PB::MUX_DESCRIPTIONS& get_pb() const = 0;
    // Index of the first description of that name, or -1 (also for a name the symbol
    // table does not know).
    virtual uint32_t find_mux_index(NS_SYMBOL::SYM name) const = 0;
};

FAB_EXPORT std::ostream& operator<<(std::ostream& os, const IMUX_DESCRIPTIONS& descriptions);

class IMUX_DESCRIPTIONS_BUILDER : public IMUX_DESCRIPTIONS, public ISERIALIZABLE {
  public:
    virtual void set_pb_mux_descriptions(const PB::MUX_DESCRIPTIONS& message) = 0;
    // Names are looked up in the file's internal table; set once, before the descriptions.
    virtual void set_symbol_file(SYMBOL_FILE* file) = 0;
    virtual bool read_stream(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format) = 0;
};

class MUX_DESCRIPTIONS : public IMUX_DESCRIPTIONS_BUILDER {
  public:
    uint32_t get_n_mux_descriptions() const override {
        return static_cast<uint32_t>(m_descriptions.size());
    }
    const IMUX_DESCRIPTION& get_mux_description(uint32_t index) const override;
    const PB::MUX_DESCRIPTIONS& get_pb() const override { return m_pb_mux_descriptions; }
    uint32_t find_mux_index(NS_SYMBOL::SYM name) const override;

    void set_pb_mux_descriptions(const PB::MUX_DESCRIPTIONS& message) override;
    void set_symbol_file(SYMBOL_FILE* file) override;
    bool read_stream(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format) override;

    using ISERIALIZABLE::read;
    bool read(std::istream& input, uint32_t format) override;
    bool read(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format) override;
    bool write(std::ostream& output, uint32_t format) override;

  private:
    SYMBOL_FILE* m_symbol_file = nullptr;
    std::vector<MUX_DESCRIPTION> m_descriptions;
    PB::MUX_DESCRIPTIONS m_pb_mux_descriptions;
    std::map<uint32_t, uint32_t> m_name_to_index;  // SYM value -> first index
};

}  // namespace UTIL
