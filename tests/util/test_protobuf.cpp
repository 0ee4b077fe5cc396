// The message frame in both formats: exact bytes, chains of frames, and cut or corrupt input.
#include <gtest/gtest.h>

#include <google/protobuf/io/zero_copy_stream_impl.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>

#include <sstream>

#include "symbol_table.pb.h"
#include "nlg_builders.h"
#include "util/util_protobuf.h"

using google::protobuf::io::ArrayInputStream;
using google::protobuf::io::IstreamInputStream;
using UTIL::PB_BIN;
using UTIL::PB_TXT;

namespace {

std::string frame_of(const google::protobuf::Message& m, uint32_t format) {
    std::ostringstream out;
    EXPECT_TRUE(UTIL::write_message(m, out, format));
    return out.str();
}

bool read_from(const std::string& bytes, google::protobuf::Message* m, uint32_t format) {
    ArrayInputStream in(bytes.data(), static_cast<int>(bytes.size()));
    return UTIL::read_message(&in, m, format);
}

}  // namespace

TEST(Frame, RoundTripBothFormatsAndChains) {
    for (uint32_t format : {PB_BIN, PB_TXT}) {
        PB::SYMBOL_TABLE names;
        names.add_names("<UNKNOWN>");
        names.add_names("a b");
        PB::SYMBOL symbol;
        symbol.set_value(0x01000002);
        // Two frames written by separate calls, read through one shared input stream.
        std::string bytes = frame_of(names, format) + frame_of(symbol, format);
        std::istringstream in(bytes);
        IstreamInputStream zero_copy(&in);
        PB::SYMBOL_TABLE names2;
        PB::SYMBOL symbol2;
        ASSERT_TRUE(UTIL::read_message(&zero_copy, &names2, format));
        ASSERT_TRUE(UTIL::read_message(&zero_copy, &symbol2, format));
        EXPECT_EQ(names2.SerializeAsString(), names.SerializeAsString());
        EXPECT_EQ(symbol2.value(), 0x01000002u);
        // End of file.
        PB::SYMBOL past;
        EXPECT_FALSE(UTIL::read_message(&zero_copy, &past, format));
    }
    PB::SYMBOL symbol;
    symbol.set_value(7);
    std::string text = frame_of(symbol, PB_TXT);
    EXPECT_EQ(text.substr(1), "value: 7\n");
    EXPECT_EQ(static_cast<size_t>(text[0]), text.size() - 1);
}

TEST(Frame, CutOrCorruptInputReturnsFalse) {
    PB::SYMBOL_TABLE names;
    for (int i = 0; i < 20; ++i) names.add_names("name" + std::to_string(i));
    for (uint32_t format : {PB_BIN, PB_TXT}) {
        std::string bytes = frame_of(names, format);
        for (size_t cut = 0; cut < bytes.size(); ++cut) {
            PB::SYMBOL_TABLE back;
            EXPECT_FALSE(read_from(bytes.substr(0, cut), &back, format)) << cut;
        }
    }
    // A length past the stream.
    PB::SYMBOL short_frame;
    EXPECT_FALSE(read_from(std::string("\x7f\x08\x01", 3), &short_frame, PB_BIN));
    // A text frame that does not parse.
    std::string bad = "no such field";
    PB::SYMBOL back;
    EXPECT_FALSE(read_from(std::string(1, static_cast<char>(bad.size())) + bad, &back, PB_TXT));
    // A binary frame whose body is not a message.
    EXPECT_FALSE(read_from(std::string("\x02\xff\xff", 3), &back, PB_BIN));
}

TEST(Frame, ReadMergesWithoutClearing) {
    PB::SYMBOL_TABLE first;
    first.add_names("x");
    PB::SYMBOL_TABLE target;
    target.add_names("kept");
    ASSERT_TRUE(read_from(frame_of(first, PB_BIN), &target, PB_BIN));
    ASSERT_EQ(target.names_size(), 2);
    EXPECT_EQ(target.names(0), "kept");
}

TEST(Frame, UnknownFormatIsFatal) {
    PB::SYMBOL symbol;
    std::ostringstream out;
    EXPECT_FATAL(UTIL::write_message(symbol, out, 2), "Unknown Format");
    EXPECT_FATAL(read_from("", &symbol, 3), "Unknown Format");
}
