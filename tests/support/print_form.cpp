// Test support: print forms through the indenting filter (see print_form.h).
#include "print_form.h"

#include <gtest/gtest.h>
#include <google/protobuf/text_format.h>

#include <sstream>
#include <stdexcept>

#include "util/util_indent.h"

std::string print_form(const std::function<void(std::ostream&)>& print, int detail) {
    std::ostringstream os;
    {
        UTIL::INDENT guard(os, 3);
        if (detail != 0) UTIL::set_detail(os, detail);
        print(os);
    }
    return os.str();
}

void merge_text(google::protobuf::Message& message, const std::string& text) {
    google::protobuf::TextFormat::Parser parser;
    parser.AllowPartialMessage(true);
    EXPECT_TRUE(parser.MergeFromString(text, &message)) << text;
}

std::string stdout_of(const std::function<void()>& run) {
    testing::internal::CaptureStdout();
    run();
    return testing::internal::GetCapturedStdout();
}

void expect_out_of_range(const std::function<void()>& run, const char* text) {
    try {
        run();
        ADD_FAILURE() << "no out-of-range error, expected " << text;
    } catch (const std::out_of_range& e) {
        EXPECT_STREQ(e.what(), text);
    }
}

size_t count_of(const std::string& text, const std::string& what) {
    size_t found = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        ++found;
    return found;
}
