// The frame of every file of the library: a varint32 length, then one message in binary or
// text format. Also UTIL::ISERIALIZABLE, the interface of every file-backed object, and the
// concrete transports. A frame read or write returns false and prints nothing on failure.
#pragma once

#include <cstdint>
#include <functional>
#include <istream>
#include <ostream>

#include "util_transport.h"

namespace google::protobuf {
class Message;
namespace io {
class CodedInputStream;
class ZeroCopyInputStream;
class ZeroCopyOutputStream;
}  // namespace io
}  // namespace google::protobuf

namespace UTIL {

// Per-message byte limits of a binary read: 511 MiB hard, 500 MiB warning threshold.
constexpr int PB_BIN_HARD_LIMIT = 535822336;
constexpr int PB_BIN_WARNING_LIMIT = 524288000;

bool write_message(const google::protobuf::Message& message,
                   google::protobuf::io::ZeroCopyOutputStream* output, uint32_t format);
bool read_message(google::protobuf::io::ZeroCopyInputStream* input,
                  google::protobuf::Message* message, uint32_t format);
// One binary frame read field by field instead of into a message, for messages of millions of
// repeated elements that the caller copies out anyway. `field(tag, coded)` is called with each
// field's tag, reads or skips the field and returns false on a fault. The frame's limit and
// end checks are those of read_message, so the same bytes read true or false as there.
using FIELD_READER = std::function<bool(uint32_t tag, google::protobuf::io::CodedInputStream&)>;
bool read_binary_fields(google::protobuf::io::ZeroCopyInputStream* input,
                        const FIELD_READER& field);
// One frame on an ostream, through its own output stream object that flushes at its end.
bool write_message(const google::protobuf::Message& message, std::ostream& output, uint32_t format);
// Bytes from the stream's position to its end, or -1 when the stream cannot seek (a pipe).
// Every frame takes at least one byte, so a reader can check a count of frames against it.
int64_t bytes_left(std::istream& input);

class ISERIALIZABLE {
  public:
    virtual ~ISERIALIZABLE() = default;
    virtual bool read(std::istream& input, uint32_t format) = 0;
    virtual bool write(std::ostream& output, uint32_t format) = 0;
    // Read from an input that the owner of a chain of sections shares among them. Objects that
    // stand in a chain override it; for the others it is an internal error.
    virtual bool read(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format);
};

class TRANSPORT_IN : public ITRANSPORT_IN {
  public:
    explicit TRANSPORT_IN(std::istream& stream) : ITRANSPORT_IN(stream) {}
    void set_format(uint32_t format) override { m_format = format; }
    uint32_t get_format() override { return m_format; }

  private:
    uint32_t m_format = PB_TXT;
};

class TRANSPORT_OUT : public ITRANSPORT_OUT {
  public:
    explicit TRANSPORT_OUT(std::ostream& stream) : ITRANSPORT_OUT(stream) {}
    void set_format(uint32_t format) override { m_format = format; }
    uint32_t get_format() override { return m_format; }

  private:
    uint32_t m_format = PB_TXT;
};

}  // namespace UTIL
