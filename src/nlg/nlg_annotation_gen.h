// The annotation generator: fills the ICDB records of the RTL and BLC graphs of a device from
// the block-level data, the mux descriptions and the hand-kept text files (top_blocks.txt,
// icd_to_pnr_mapping.txt, spare_row_flyover.txt, insert_node.txt). It owns neither graph, nor
// annotation set, nor the block-level data; every input arrives as an open stream.
#pragma once

#include <istream>
#include <string>

#include "ann_icdb.pb.h"
#include "mux.pb.h"
#include "nlg_iannss.h"

class BLC_DATA;

class NLG_ANNOTATION_GEN {
  public:
    // Either graph may be null (with its set); the passes that need it are then skipped.
    NLG_ANNOTATION_GEN(NLG_IGRAPH* rtl_graph, NLG_IANNSS* rtl_annss, NLG_IGRAPH* blc_graph,
                       NLG_IANNSS* blc_annss, const BLC_DATA* blc_data);

    // The main entry: BLC module pass, BLC instance pass, block sizes, top-level ports, then
    // the mux descriptions of mux.pb.txt.
    void generate(std::istream& mux_file);

    // The file passes; each reads the whole stream and applies its entries in name order.
    void read_top_blocks(std::istream& input);
    void read_icd_to_pnr_mapping(std::istream& input);
    void read_spare_row_flyover(std::istream& input);
    void read_insert_node(std::istream& input);

    // Every pass in the order that the later ones need: top blocks, IP mapping, the main entry,
    // fly-overs, inserted nodes. A null text stream skips its pass.
    void run(std::istream* top_blocks, std::istream* icd_to_pnr_mapping,
             std::istream* spare_row_flyover, std::istream* insert_node, std::istream& mux_file);

  private:
    void blc_module_pass();
    void blc_instance_pass();
    void block_size_pass();
    void top_level_port_pass();
    void top_level_ports(NLG_IMODULE* rtl_module);
    void apply_mux_file(std::istream& mux_file);
    void port_rule(NLG_IMODULE* module, const std::string& port_name, bool route, int32_t re_index,
                   bool internal);
    PB::MUX_DESCRIPTION::MUXTYPE port_re_type(NLG_IMODULE* module, NLG_IPORT* port,
                                              bool internal) const;

    NLG_IGRAPH* m_rtl_graph;
    NLG_IANNSS* m_rtl_annss;
    NLG_IGRAPH* m_blc_graph;
    NLG_IANNSS* m_blc_annss;
    const BLC_DATA* m_blc_data;
};
