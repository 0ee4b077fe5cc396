// The exported entry, reached through the shared library as the place-and-route tool does.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "fab_api.h"
#include "ns_symbol.h"

TEST(SharedLibrary, FabCreateAnswersItsVersion) {
    std::unique_ptr<FAB::API> api(fab_create(NULL, NULL, false));
    ASSERT_NE(api, nullptr);
    EXPECT_STREQ(api->get_version(), "v0.1");

    Dl_info info;
    ASSERT_NE(dladdr(reinterpret_cast<void*>(&fab_create), &info), 0);
    EXPECT_NE(std::string(info.dli_fname).find("libfab.so"), std::string::npos) << info.dli_fname;
    ASSERT_NE(dladdr(reinterpret_cast<void*>(&util_clear_symbol_tables), &info), 0);
    EXPECT_NE(std::string(info.dli_fname).find("libfab.so"), std::string::npos);
}
