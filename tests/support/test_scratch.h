// Test support: a scratch folder that lives as long as the test that made it. Shared by every
// test program through the fab_test_support library; it owns no fixture data of its own.
#pragma once

#include <string>

class TEST_SCRATCH {
  public:
    // Makes a fresh folder under the system's temporary directory, named after `tag`.
    explicit TEST_SCRATCH(const std::string& tag = "fab_test");
    ~TEST_SCRATCH();
    TEST_SCRATCH(const TEST_SCRATCH&) = delete;
    TEST_SCRATCH& operator=(const TEST_SCRATCH&) = delete;

    const std::string& path() const { return m_path; }
    std::string file(const std::string& name) const { return m_path + "/" + name; }
    // Writes `text` to the named file and returns its full path.
    std::string write(const std::string& name, const std::string& text) const;
    // The whole named file, or "" when it cannot be read.
    std::string read(const std::string& name) const;

  private:
    std::string m_path;
};
