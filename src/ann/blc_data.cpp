// Reading the block-level data: the protobuf text parser with an error collector that keeps the
// first message with its line and column, then one index pass that rejects repeated names.
#include "ann/blc_data.h"

#include <google/protobuf/io/tokenizer.h>
#include <google/protobuf/text_format.h>

#include <iterator>

namespace {

// Keeps the first error; line and column count from 1, as the parser's own log prints them.
class FIRST_ERROR : public google::protobuf::io::ErrorCollector {
  public:
    void AddError(int line, google::protobuf::io::ColumnNumber column,
                  const std::string& message) override {
        if (!m_text.empty()) return;
        // A fault of the whole message (a missing required field) has no place.
        if (line >= 0) m_text = std::to_string(line + 1) + ":" + std::to_string(column + 1) + ": ";
        m_text += message;
    }
    const std::string& text() const { return m_text; }

  private:
    std::string m_text;
};

}  // namespace

bool BLC_DATA::fail(const std::string& message) {
    m_error.m_ok = false;
    m_error.m_message = message;
    m_entries.clear();
    return false;
}

bool BLC_DATA::read(std::istream& input) {
    m_error = ERROR();
    m_entries.clear();
    m_pb.Clear();
    std::string text((std::istreambuf_iterator<char>(input)), std::istreambuf_iterator<char>());
    google::protobuf::TextFormat::Parser parser;
    FIRST_ERROR errors;
    parser.RecordErrorsTo(&errors);
    if (!parser.ParseFromString(text, &m_pb))
        return fail("Failed read of block-level data: " + errors.text());
    return index();
}

bool BLC_DATA::set_pb(const PB::BLC_DATA& message) {
    m_error = ERROR();
    m_entries.clear();
    m_pb = message;
    return index();
}

bool BLC_DATA::index() {
    for (const PB::BLC_DATA::ENTRY& pb : m_pb.entries()) {
        ENTRY& entry = m_entries[pb.module()];
        if (entry.m_pb) return fail("Repeated block-level data of module " + pb.module());
        entry.m_pb = &pb;
        for (const PB::BLC_DATA::PORT& port : pb.ports())
            if (!entry.m_ports.emplace(port.name(), &port).second)
                return fail("Repeated port " + port.name() + " of module " + pb.module());
        for (const PB::BLC_DATA::PLACEMENT& placement : pb.placements())
            if (!entry.m_placements.emplace(placement.instance(), &placement).second)
                return fail("Repeated placement of instance " + placement.instance() +
                            " of module " + pb.module());
    }
    return true;
}

const BLC_DATA::ENTRY* BLC_DATA::find(const std::string& module) const {
    auto it = m_entries.find(module);
    return it == m_entries.end() ? nullptr : &it->second;
}
