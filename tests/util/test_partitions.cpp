// Partitions over the fixture hierarchy: occurrences, user errors, the stored list and the print
// form.
#include <gtest/gtest.h>

#include <sstream>

#include "mem_modules.h"
#include "nlg_builders.h"
#include "partitions.pb.h"
#include "print_form.h"
#include "util/util_hierarchy_serializable.h"
#include "util/util_partitions.h"

using UTIL::IHIERARCHY;
using IPARTITIONS = UTIL::IHIERARCHY::IPARTITIONS;

namespace {

std::unique_ptr<IPARTITIONS> make_partitions(const MODULES_FIXTURE& f,
                                             const std::vector<uint32_t>& modules) {
    std::unique_ptr<IPARTITIONS> partitions(f.m_hierarchy->create_partitions());
    EXPECT_TRUE(partitions->set_partitions(modules)) << partitions->get_error().m_message;
    return partitions;
}

}  // namespace

TEST(Partitions, EmptyListAndUserErrors) {
    MODULES_FIXTURE f;
    auto top_only = make_partitions(f, {});
    EXPECT_EQ(top_only->get_n_partitions(), 1);

    std::unique_ptr<IPARTITIONS> partitions(f.m_hierarchy->create_partitions());
    EXPECT_FALSE(partitions->set_partitions({2, 0}));
    EXPECT_EQ(partitions->get_error().m_message,
              "Do not include top level module: T in module_indexes");
    EXPECT_EQ(partitions->get_n_partitions(), 0);

    // C is reached only below A, which is not descended into.
    EXPECT_FALSE(partitions->set_partitions({1, 3}));
    EXPECT_EQ(partitions->get_error().m_message,
              "Ill formed partitions, The module C is not reachable");
    // The same module twice leaves the first partition empty.
    EXPECT_FALSE(partitions->set_partitions({2, 2}));
    EXPECT_EQ(partitions->get_error().m_message,
              "Ill formed partitions, The module B is not reachable");
    EXPECT_TRUE(partitions->set_partitions({3}));
    EXPECT_TRUE(partitions->get_error().m_ok);
    EXPECT_EQ(partitions->get_partition(1).get_n_occurences(), 2u);
}

TEST(Partitions, PrintForms) {
    MODULES_FIXTURE f;
    auto partitions = make_partitions(f, {1});
    EXPECT_EQ(
        printed(*partitions, 2),
        "IPARTITIONS {\n   [0] = { (#=1)  :0-13}\n   [1] = { (#=2) /a0 /a0:1-5, /a1:6-10}\n}\n");
    const std::string stats = printed(*partitions, 4);
    EXPECT_NE(stats.find("IPARTITIONS_STATISTICS {\n"), std::string::npos);
    EXPECT_NE(stats.find("   n_partitions = 2\n   n_occurences = 3\n}"), std::string::npos);
}

namespace {

// A hierarchy that numbers as usual but cannot turn any node back into a path.
struct PATHLESS_HIERARCHY : UTIL::HIERARCHY {
    using UTIL::HIERARCHY::get_path;
    using UTIL::HIERARCHY::HIERARCHY;
    uint32_t get_path(IPATH_SETTABLE*, uint64_t, uint32_t) const override {
        return IMODULES::MODULE_INDEX_INVALID;
    }
};

}  // namespace

// A stored list reads back over any hierarchy; the detailed print stops at an occurrence start
// without a path, with the look-up's own text.
TEST(Partitions, PrintOfAStartWithoutPathStopsWithTheLookUpText) {
    MODULES_FIXTURE f;
    auto written = make_partitions(f, {1});
    std::ostringstream out;
    UTIL::PARTITIONS_SERIALIZABLE writer(written.get(), nullptr);
    ASSERT_TRUE(writer.write(out, UTIL::PB_BIN));

    PATHLESS_HIERARCHY pathless(&f.m_modules);
    std::unique_ptr<IPARTITIONS> fresh(pathless.create_partitions());
    UTIL::PARTITIONS_SERIALIZABLE reader(nullptr, fresh.get());
    std::istringstream in(out.str());
    ASSERT_TRUE(reader.read(in, UTIL::PB_BIN));
    EXPECT_FATAL(printed(*fresh, 2),
                 "hierarchy.get_path(path, start) != IMODULES::MODULE_INDEX_INVALID");
}

// A stored list naming a module index past the hierarchy's modules is a user error: not
// reachable, under the unknown name, instead of an out-of-range error.
TEST(Partitions, StoredModuleIndexPastTheModulesIsNotReachable) {
    MODULES_FIXTURE f;
    PB::UTIL::PARTITIONS message;
    for (uint32_t m : {0u, 1u, 77u}) message.add_module_indexes(m);
    std::ostringstream out;
    ASSERT_TRUE(UTIL::write_message(message, out, UTIL::PB_BIN));
    std::unique_ptr<IPARTITIONS> fresh(f.m_hierarchy->create_partitions());
    UTIL::PARTITIONS_SERIALIZABLE reader(nullptr, fresh.get());
    std::istringstream in(out.str());
    EXPECT_FALSE(reader.read(in, UTIL::PB_BIN));
    EXPECT_EQ(fresh->get_error().m_message,
              "Ill formed partitions, The module <UNKNOWN> is not reachable");
}
