// Test support: scratch folders made with mkdtemp, so parallel ctest processes never share one,
// and removed with everything in them when the test ends.
#include "test_scratch.h"

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

TEST_SCRATCH::TEST_SCRATCH(const std::string& tag) {
    std::string pattern = (std::filesystem::temp_directory_path() / (tag + "_XXXXXX")).string();
    if (mkdtemp(pattern.data()) == nullptr)
        throw std::runtime_error("mkdtemp failed for " + pattern);
    m_path = pattern;
}

TEST_SCRATCH::~TEST_SCRATCH() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::string TEST_SCRATCH::write(const std::string& name, const std::string& text) const {
    std::ofstream(file(name), std::ios::binary) << text;
    return file(name);
}

std::string TEST_SCRATCH::read(const std::string& name) const {
    std::ifstream in(file(name), std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}
