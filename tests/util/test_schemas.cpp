// Unset fields read back as the defaults the schemas declare; wire numbers and extension
// ranges that other writers of these files rely on.
#include <string>
#include <tuple>

#include <gtest/gtest.h>
#include <google/protobuf/descriptor.h>

#include "ann.pb.h"
#include "ann_fab.pb.h"
#include "ann_icdb.pb.h"
#include "edgecache.pb.h"
#include "gid.pb.h"
#include "mux.pb.h"
#include "nlg.pb.h"
#include "portmaps.pb.h"
#include "tlblocks.pb.h"

namespace {

TEST(Schemas, UnsetFieldsReadAsDeclaredDefaults) {
    const PB::ICDB::INSTANCE inst;
    EXPECT_FALSE(inst.has_pnr_x());
    EXPECT_EQ(std::make_tuple(-1, -1, -1),
              std::make_tuple(inst.pnr_x(), inst.pnr_y(), inst.pnr_z()));
    EXPECT_EQ(0.0f, inst.phys_x());
    EXPECT_EQ(std::string(), inst.SerializeAsString());  // defaults never travel

    const PB::GID_TYPE type;
    EXPECT_EQ(PB::GID_TYPE::GLOBAL, type.gclass());
    EXPECT_EQ(0, type.length());  // no declared default: an absent length is 0
    EXPECT_FALSE(type.has_length());

    const PB::TLBLOCKS::MODULE block;
    EXPECT_EQ(-1, block.mux_index());
    EXPECT_FALSE(block.has_mux_index());

    // A value set equal to the default is present and travels.
    PB::ICDB::INSTANCE set;
    set.set_pnr_x(-1);
    PB::ICDB::INSTANCE back;
    ASSERT_TRUE(back.ParseFromString(set.SerializeAsString()));
    EXPECT_TRUE(back.has_pnr_x());
    EXPECT_FALSE(back.has_pnr_y());
}

TEST(Schemas, NumbersOutOfOrderAndExtensions) {
    const auto* mod = PB::ICDB::MODULE::descriptor();
    EXPECT_EQ(11, mod->FindFieldByName("level")->number());
    EXPECT_EQ(2, mod->FindFieldByName("is_routing")->number());
    EXPECT_EQ(nullptr, mod->FindFieldByNumber(1));
    EXPECT_EQ(nullptr, PB::MUX_DESCRIPTION::descriptor()->FindFieldByNumber(8));
    EXPECT_EQ(2, PB::NAMED_ANNSS::descriptor()->FindFieldByName("annotations")->number());
    EXPECT_EQ(nullptr, PB::PORTMAPS::SPECIFICATIONS::CHILDREN::descriptor()->FindFieldByNumber(1));

    for (const auto* d : {PB::ANNS::descriptor(), PB::NAMED_MODULE::descriptor(),
                          PB::NAMED_INSTANCE::descriptor()}) {
        ASSERT_EQ(1, d->extension_range_count()) << d->full_name();
        EXPECT_EQ(1000, d->extension_range(0)->start);
        EXPECT_EQ(536870912, d->extension_range(0)->end);  // exclusive
    }
    EXPECT_EQ(1000, PB::ICDB::annotations.number());
    EXPECT_EQ(1001, PB::FAB::annotations.number());
    EXPECT_EQ(1000, PB::ICDB::NMODULE::module.number());
    EXPECT_EQ(1000, PB::ICDB::NINSTANCE::instance.number());
    EXPECT_EQ(21, PB::MUX_DESCRIPTION::MUXTYPE_ARRAYSIZE);
    EXPECT_EQ("PB.UTIL.EDGECACHE", PB::UTIL::EDGECACHE::descriptor()->full_name());
    EXPECT_EQ("NLG.PB.GRAPH", NLG::PB::GRAPH::descriptor()->full_name());
}

}  // namespace
