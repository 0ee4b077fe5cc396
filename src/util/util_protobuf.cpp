// Framed messages in both formats, and the transports handed out by the exported factories.
//  1. Binary: varint32 ByteSize(), then the message; read under a 511 MiB per-message limit.
//  2. Text: the text format printed to a string, then its varint32 length and the text.
//  3. Reads merge into the message without clearing it and without enforcing required fields.
#include "util/util_protobuf.h"

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl.h>
#include <google/protobuf/message.h>
#include <google/protobuf/text_format.h>

#include "util/util_assert.h"

using google::protobuf::Message;
using google::protobuf::TextFormat;
using google::protobuf::io::CodedInputStream;
using google::protobuf::io::CodedOutputStream;
using google::protobuf::io::ZeroCopyInputStream;
using google::protobuf::io::ZeroCopyOutputStream;

namespace UTIL {

static bool write_binary(const Message& message, ZeroCopyOutputStream* output) {
    CodedOutputStream coded(output);
    coded.WriteVarint32(static_cast<uint32_t>(message.ByteSizeLong()));
    message.SerializeWithCachedSizes(&coded);
    return !coded.HadError();
}

static bool write_text(const Message& message, ZeroCopyOutputStream* output) {
    std::string text;
    bool printed = TextFormat::PrintToString(message, &text);
    CodedOutputStream coded(output);
    coded.WriteVarint32(static_cast<uint32_t>(text.size()));
    coded.WriteString(text);
    return printed && !coded.HadError();
}

// Reads the frame's length and hands `parse` a stream limited to it.
template <class F>
static bool read_frame(ZeroCopyInputStream* input, F&& parse) {
    CodedInputStream coded(input);
    // The warning threshold of older protobuf releases is gone; the hard limit stays.
    coded.SetTotalBytesLimit(PB_BIN_HARD_LIMIT);
    uint32_t length = 0;
    if (!coded.ReadVarint32(&length)) return false;
    CodedInputStream::Limit limit = coded.PushLimit(static_cast<int>(length));
    bool parsed = parse(coded);
    // The parser takes a clean end of input for the end of the message, so a frame cut at a
    // field boundary would pass: the whole announced length must have been read as well.
    bool consumed = coded.ConsumedEntireMessage() && coded.BytesUntilLimit() == 0;
    coded.PopLimit(limit);
    return parsed && consumed;
}

static bool read_binary(ZeroCopyInputStream* input, Message* message) {
    return read_frame(input, [message](CodedInputStream& coded) {
        return message->MergePartialFromCodedStream(&coded);
    });
}

bool read_binary_fields(ZeroCopyInputStream* input, const FIELD_READER& field) {
    return read_frame(input, [&field](CodedInputStream& coded) {
        // A zero tag is the end of the frame, or a fault that the end check then reports.
        for (uint32_t tag = coded.ReadTag(); tag != 0; tag = coded.ReadTag()) {
            if (!field(tag, coded)) return false;
        }
        return true;
    });
}

static bool read_text(ZeroCopyInputStream* input, Message* message) {
    CodedInputStream coded(input);
    uint32_t length = 0;
    bool ok = coded.ReadVarint32(&length);
    std::string text;
    ok = coded.ReadString(&text, static_cast<int>(length)) && ok;
    ok = TextFormat::ParseFromString(text, message) && ok;
    return ok;
}

bool write_message(const Message& message, ZeroCopyOutputStream* output, uint32_t format) {
    if (format == PB_BIN) return write_binary(message, output);
    if (format == PB_TXT) return write_text(message, output);
    UTIL_FAIL("Unknown Format");
}

bool read_message(ZeroCopyInputStream* input, Message* message, uint32_t format) {
    if (format == PB_BIN) return read_binary(input, message);
    if (format == PB_TXT) return read_text(input, message);
    UTIL_FAIL("Unknown Format");
}

bool write_message(const Message& message, std::ostream& output, uint32_t format) {
    google::protobuf::io::OstreamOutputStream zero_copy(&output);
    return write_message(message, &zero_copy, format);
}

int64_t bytes_left(std::istream& input) {
    std::streambuf* buffer = input.rdbuf();
    if (buffer == nullptr) return -1;
    const std::streampos here = buffer->pubseekoff(0, std::ios::cur, std::ios::in);
    if (here == std::streampos(-1)) return -1;
    const std::streampos end = buffer->pubseekoff(0, std::ios::end, std::ios::in);
    buffer->pubseekpos(here, std::ios::in);
    if (end == std::streampos(-1) || end < here) return -1;
    return static_cast<int64_t>(end - here);
}

bool ISERIALIZABLE::read(ZeroCopyInputStream*, uint32_t) {
    UTIL_FAIL("read from a shared input is not supported by this object");
}

}  // namespace UTIL

UTIL::ITRANSPORT_IN* util_create_transport_in(std::istream& stream) {
    return new UTIL::TRANSPORT_IN(stream);
}

UTIL::ITRANSPORT_OUT* util_create_transport_out(std::ostream& stream) {
    return new UTIL::TRANSPORT_OUT(stream);
}
