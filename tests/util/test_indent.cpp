// The indenting filter: depth, blank lines, detail and restoring the stream. Nested guards are
// exercised by every print form.
#include <gtest/gtest.h>

#include <memory>
#include <sstream>

#include "util/util_indent.h"

using namespace UTIL;

namespace {
// The buffer the stream writes through; ostringstream::rdbuf() would name its own string buffer.
std::streambuf* buffer_of(std::ostream& os) {
    return os.rdbuf();
}
}  // namespace

TEST(Indent, IndentsNonBlankLinesOnly) {
    std::ostringstream os;
    {
        INDENT guard(os, 3);
        os << "a {" << std::endl << indent << "b" << std::endl << std::endl;
        os << indent << "c\n" << outdent << outdent << "}";
    }
    EXPECT_EQ(os.str(), "a {\n   b\n\n      c\n}");
}

TEST(Indent, ManipulatorsWithoutFilterDoNothing) {
    std::ostringstream os;
    os << indent << detail_3 << symbol_detail << "z\n";
    EXPECT_EQ(os.str(), "z\n");
    EXPECT_EQ(get_detail(os), 1);
    EXPECT_FALSE(get_symbol_detail(os));
}

TEST(Indent, ExportedFactoryRestoresStream) {
    std::ostringstream os;
    std::streambuf* original = buffer_of(os);
    {
        std::unique_ptr<IINDENT> api(util_create_indent(os));
        EXPECT_NE(buffer_of(os), original);
        api->set_detail(2);
        EXPECT_EQ(api->get_detail(), 2);
        EXPECT_EQ(get_detail(os), 2);
        os << indent << "k";
    }
    EXPECT_EQ(buffer_of(os), original);
    EXPECT_EQ(os.str(), "   k");
}
