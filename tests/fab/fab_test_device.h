// A small device in both views, built in memory, for the walks over both views and the
// floorplan. Netlist: top holds three tiles and an IO block; each tile holds a routing block
// (with one plain instance inside) and a LOGIC block; the middle tile lies on a spare row.
// Block level: LOGIC holds three CELLs (one unplaced) and a primitive mux; CELL holds a SUB.
//
//   top (0): t0 t1 t2 : tile, io0 : io_blk
//   tile (1): rt : rt_blk, lg : logic_blk
//   rt_blk (2): m : mux          routing block
//   logic_blk (3): in (logical name datain), out     LOGIC DEFAULT, 1 wide, 2 high
//   io_blk (4): pad              IO -
//   mux (5)
//
//   LOGIC (0): datain, out; c0 : CELL (0,0,0), c1 : CELL (0,1,1), mx : IMUX (0,0,0),
//              c2 : CELL (unset)
//   IO__- (1): pad
//   CELL (2): a, q; s : SUB (1,0,0)
//   IMUX (3): i, o               primitive mux
//   SUB (4)
//
// Placements (col,row): t0/rt (1,0), t0/lg (1,0) uid LOGIC_X1Y0, t1/rt and t1/lg (1,2) spare,
// t2/rt (1,3), t2/lg (1,3), io0 (0,1).
#pragma once

#include <memory>
#include <string>

#include "ann/annss.h"
#include "ann_icdb.pb.h"
#include "icdb/icdb_instance_tree.h"
#include "nlg_builders.h"
#include "print_form.h"

namespace FAB_TEST {

struct DEVICE {
    std::unique_ptr<NLG_GRAPH> rtl;
    std::unique_ptr<NLG_GRAPH> blc;
    std::unique_ptr<NLG_ANNSS> rtl_annss;
    std::unique_ptr<NLG_ANNSS> blc_annss;

    NLG_ICDB_ANNS& rtl_icdb() { return rtl_annss->get_icdb(); }
    NLG_ICDB_ANNS& blc_icdb() { return blc_annss->get_icdb(); }
    // A module of either view by name, and its record.
    NLG_IMODULE* rtl_of(const std::string& name) {
        return rtl->get_module(rtl->get_symbol_table()->find(name));
    }
    NLG_IMODULE* blc_of(const std::string& name) {
        return blc->get_module(blc->get_symbol_table()->find(name));
    }
    PB::ICDB::MODULE& rtl_module(const std::string& name) {
        return rtl_icdb().get_module(*rtl_of(name));
    }
    PB::ICDB::MODULE& blc_module(const std::string& name) {
        return blc_icdb().get_module(*blc_of(name));
    }
};

inline void set_pair(PB::ICDB::MODULE& record, NLG_TEST::BUILDER& b, const std::string& name,
                     const std::string& impl) {
    record.mutable_logical_name()->set_value(b.sym(name).get_value());
    record.mutable_logical_impl()->set_value(b.sym(impl).get_value());
}

// The netlist view with its records, but no placements.
inline void build_rtl(DEVICE& d) {
    NLG_TEST::BUILDER b;
    NLG_MODULE* top = b.cell("top", "", 4);
    NLG_MODULE* tile = b.cell("tile", "", 2);
    NLG_MODULE* rt = b.cell("rt_blk", "", 1);
    NLG_MODULE* logic = b.cell("logic_blk", "in >out");
    NLG_MODULE* io = b.cell("io_blk", "=pad");
    b.cell("mux", "");
    b.instances(top, "t0:tile t1:tile t2:tile io0:io_blk");
    b.instances(tile, "rt:rt_blk lg:logic_blk");
    b.instances(rt, "m:mux");
    d.rtl.reset(b.graph());
    d.rtl_annss.reset(new NLG_ANNSS(*d.rtl));
    d.rtl_annss->add_type(PB::ANNS::ICDB);

    NLG_ICDB_ANNS& a = d.rtl_icdb();
    set_pair(a.get_module(*top), b, "-", "-");
    merge_text(a.get_module(*rt), "level: TOP_LEVEL_IP is_routing: true");
    merge_text(a.get_module(*logic),
               "level: TOP_LEVEL_IP is_routing: false pnr_width: 1 pnr_height: 2");
    set_pair(a.get_module(*logic), b, "LOGIC", "DEFAULT");
    a.get_port(*logic->get_port(0)).mutable_logical_name()->set_value(b.sym("datain").get_value());
    merge_text(a.get_module(*io), "level: TOP_LEVEL_IP pnr_width: 1 pnr_height: 1");
    set_pair(a.get_module(*io), b, "IO", "-");
}

inline void build_blc(DEVICE& d) {
    NLG_TEST::BUILDER b;
    NLG_MODULE* logic = b.cell("LOGIC", "datain >out", 4);
    NLG_MODULE* io = b.cell("IO__-", "=pad");
    NLG_MODULE* cell = b.cell("CELL", "a >q", 1);
    NLG_MODULE* imux = b.cell("IMUX", "i >o");
    NLG_MODULE* sub = b.cell("SUB", "");
    b.instances(logic, "c0:CELL c1:CELL mx:IMUX c2:CELL");
    b.instances(cell, "s:SUB");
    d.blc.reset(b.graph());
    d.blc_annss.reset(new NLG_ANNSS(*d.blc));
    d.blc_annss->add_type(PB::ANNS::ICDB);

    NLG_ICDB_ANNS& a = d.blc_icdb();
    set_pair(a.get_module(*logic), b, "LOGIC", "DEFAULT");
    merge_text(a.get_module(*logic), "pnr_width: 1 pnr_height: 2");
    set_pair(a.get_module(*io), b, "IO", "-");
    set_pair(a.get_module(*cell), b, "CELL", "DEFAULT");
    set_pair(a.get_module(*imux), b, "IMUX", "DEFAULT");
    a.get_module(*imux).set_level(PB::ICDB::MODULE::PRIM_MUX);
    set_pair(a.get_module(*sub), b, "SUB", "DEFAULT");
    a.get_port(*logic->get_port(0)).set_is_route_type_normal(true);
    a.get_port(*cell->get_port(1)).set_is_route_type_normal(true);
    merge_text(a.get_instance(*logic->instance(0)), "pnr_x: 0 pnr_y: 0 pnr_z: 0");  // c0
    merge_text(a.get_instance(*logic->instance(1)), "pnr_x: 0 pnr_y: 1 pnr_z: 1");  // c1
    merge_text(a.get_instance(*logic->instance(2)), "pnr_x: 0 pnr_y: 0 pnr_z: 0");  // mx; c2 unset
    merge_text(a.get_instance(*cell->instance(0)), "pnr_x: 1 pnr_y: 0 pnr_z: 0");
}

inline PB::ICDB::FLAT_INSTANCE placement(int col, int row, bool spare, const std::string& uid) {
    PB::ICDB::FLAT_INSTANCE r;
    r.mutable_bposition()->set_col(col);
    r.mutable_bposition()->set_row(row);
    r.mutable_physical_position()->set_x(12.5f * static_cast<float>(col));
    r.mutable_physical_position()->set_y(20.0f * static_cast<float>(row));
    if (spare) r.set_is_spare_row(true);
    if (!uid.empty()) r.set_uid(uid);
    return r;
}

// Hierarchy node of a slash-separated instance path below the top module.
inline uint64_t node_of(ICDB::IINSTANCE_TREE& tree, const std::string& path) {
    std::unique_ptr<UTIL::IHIERARCHY::IPATH_SETTABLE> p(tree.get_hierarchy()->create_path());
    p->set_from_string(path, 0);
    return tree.get_hierarchy()->get_node(*p);
}

// Writes the placements into the top module's record, as a device file carries them.
inline void place(DEVICE& d) {
    ICDB::INSTANCE_TREE tree(d.rtl.get());
    tree.add_flat_instance(node_of(tree, "t0/rt"), placement(1, 0, false, ""));
    tree.add_flat_instance(node_of(tree, "t0/lg"), placement(1, 0, false, "LOGIC_X1Y0"));
    tree.add_flat_instance(node_of(tree, "t1/rt"), placement(1, 2, true, ""));
    tree.add_flat_instance(node_of(tree, "t1/lg"), placement(1, 2, true, ""));
    tree.add_flat_instance(node_of(tree, "t2/rt"), placement(1, 3, false, ""));
    tree.add_flat_instance(node_of(tree, "t2/lg"), placement(1, 3, false, ""));
    tree.add_flat_instance(node_of(tree, "io0"), placement(0, 1, false, ""));
    tree.store(d.rtl_icdb(), {});
}

inline void build(DEVICE& d) {
    build_rtl(d);
    build_blc(d);
    place(d);
}

}  // namespace FAB_TEST
