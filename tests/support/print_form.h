// Test support: the text an object prints at a given detail level, through the indenting
// filter at three spaces, as the library's own dumps print it.
#pragma once

#include <google/protobuf/message.h>

#include <functional>
#include <ostream>
#include <sstream>
#include <string>

// What `print` writes with the filter installed and the detail set; detail 0 leaves the
// stream's own default.
std::string print_form(const std::function<void(std::ostream&)>& print, int detail = 0);

template <class T>
std::string printed(const T& object, int detail = 0) {
    return print_form([&object](std::ostream& os) { os << object; }, detail);
}

// What `object` prints on a plain stream, without the filter.
template <class T>
std::string text_of(const T& object) {
    std::ostringstream os;
    os << object;
    return os.str();
}

// Merges the text form `text` into `message`, required fields or not; a text that does not
// parse fails the test.
void merge_text(google::protobuf::Message& message, const std::string& text);

// What `run` writes on standard output, which the test's log does not see.
std::string stdout_of(const std::function<void()>& run);

// Expects `run` to throw std::out_of_range whose text is `text`.
void expect_out_of_range(const std::function<void()>& run, const char* text);

// How often `what` occurs in `text`.
size_t count_of(const std::string& text, const std::string& what);
