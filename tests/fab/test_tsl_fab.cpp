// The run's floorplan step and the pairing of the two views: modules and ports paired by
// logical names, the pair hash.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "fab/fab_test_device.h"
#include "fab/tsl_fab.h"
#include "nlg_builders.h"

namespace {

using FAB_TEST::DEVICE;

NLG_IMODULE* module_of(NLG_GRAPH& g, const char* name) {
    return g.get_module(g.get_symbol_table()->find(name));
}

NLG_IPORT* port_of(NLG_GRAPH& g, const char* module, const char* port) {
    return module_of(g, module)->get_port(g.get_symbol_table()->find(port));
}

TEST(RtlToBlcMatch, PairHashIsFoldedFnv1a) {
    RTL_TO_BLC_MATCH::PAIR_HASH hash;
    EXPECT_EQ(hash({"", ""}), ~size_t(0));
    EXPECT_EQ(hash({"LOGIC", "DEFAULT"}), size_t(0xd2d2781de4abe832ull));
}

TEST(RtlToBlcMatch, PairsModulesAndPortsByLogicalNames) {
    DEVICE d;
    FAB_TEST::build(d);
    NLG_GRAPH& rtl = *d.rtl;
    NLG_GRAPH& blc = *d.blc;
    RTL_TO_BLC_MATCH match;
    match.init(d.rtl.get(), d.blc.get(), d.rtl_annss.get(), d.blc_annss.get());

    // Pairs compare as texts: "DEFAULT" and "-" are not special here.
    EXPECT_EQ(match.get_match(module_of(rtl, "logic_blk")), module_of(blc, "LOGIC"));
    EXPECT_EQ(match.get_match(module_of(rtl, "io_blk")), module_of(blc, "IO__-"));
    EXPECT_EQ(match.get_match(module_of(rtl, "top")), nullptr);
    EXPECT_EQ(match.get_match(module_of(rtl, "rt_blk")), nullptr);

    // A port goes by its logical name when it has one; block-level ports of unpaired modules
    // have no netlist port.
    EXPECT_EQ(match.get_rtl_port(port_of(blc, "LOGIC", "datain")), port_of(rtl, "logic_blk", "in"));
    EXPECT_EQ(match.get_rtl_port(port_of(blc, "LOGIC", "out")), port_of(rtl, "logic_blk", "out"));
    EXPECT_EQ(match.get_rtl_port(port_of(blc, "IO__-", "pad")), port_of(rtl, "io_blk", "pad"));
    EXPECT_EQ(match.get_rtl_port(port_of(blc, "CELL", "a")), nullptr);

    std::vector<NS_SYMBOL::SYM> symbols(5);
    match.get_port_symbols(module_of(rtl, "logic_blk"), symbols);
    EXPECT_EQ(symbols, std::vector<NS_SYMBOL::SYM>({blc.get_symbol_table()->find("datain"),
                                                    blc.get_symbol_table()->find("out")}));
    match.get_port_symbols(module_of(rtl, "top"), symbols);
    EXPECT_TRUE(symbols.empty());
}

TEST(RtlToBlcMatch, ModulesOfOnePairShareTheirTwin) {
    DEVICE d;
    FAB_TEST::build(d);
    // A second netlist module with LOGIC's pair; the rest of the device is unchanged.
    PB::ICDB::MODULE& mux = d.rtl_module("mux");
    mux.mutable_logical_name()->CopyFrom(d.rtl_module("logic_blk").logical_name());
    mux.mutable_logical_impl()->CopyFrom(d.rtl_module("logic_blk").logical_impl());
    RTL_TO_BLC_MATCH match;
    match.init(d.rtl.get(), d.blc.get(), d.rtl_annss.get(), d.blc_annss.get());
    EXPECT_EQ(match.get_match(module_of(*d.rtl, "mux")), module_of(*d.blc, "LOGIC"));
    EXPECT_EQ(match.get_match(module_of(*d.rtl, "logic_blk")), module_of(*d.blc, "LOGIC"));
}

}  // namespace
