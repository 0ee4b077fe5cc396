// Test support: generated device files in scratch folders and the run object's reading of them.
#include "device_files.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "devgen/devgen_direct.h"
#include "devgen/devgen_files.h"
#include "nlg/nlg_api_impl.h"

namespace FAB_TEST {

DEVGEN::DG_PARAMS preset(const std::string& size) {
    DEVGEN::DG_PARAMS params;
    EXPECT_TRUE(DEVGEN::dg_preset(size, params)) << size;
    return params;
}

DEVICE_FILES::DEVICE_FILES(const std::string& size, bool text_files) : m_device(preset(size)) {
    std::string error;
    EXPECT_TRUE(DEVGEN::dg_write_direct(m_device, m_direct.path(), error)) << error;
    if (text_files) {
        EXPECT_TRUE(DEVGEN::dg_write_files(m_device, m_text.path(), error)) << error;
    }
}

VIEW_FILES::VIEW_FILES(const std::string& dir, const std::string& view) {
    NLG_TESSEL api;
    m_graph.reset(static_cast<NLG_GRAPH*>(api.create_graph(nullptr)));
    std::ifstream graph(dir + "/" + view + ".graph", std::ios::binary);
    EXPECT_TRUE(api.read_graph(m_graph.get(), graph, TESSEL_API::FORMAT_PB_BIN)) << dir << view;
    m_annss.reset(static_cast<NLG_ANNSS*>(api.create_annss(m_graph.get())));
    std::ifstream ann(dir + "/" + view + ".ann", std::ios::binary);
    EXPECT_TRUE(api.read_annss(m_annss.get(), ann, TESSEL_API::FORMAT_PB_BIN)) << dir << view;
}

void read_run_files(FAB::API& api, const std::string& dir) {
    std::ifstream rtl(dir + "/rtl.graph"), rtl_ann(dir + "/rtl.ann");
    std::ifstream blc(dir + "/blc.graph"), blc_ann(dir + "/blc.ann");
    api.read_rtl_graph(rtl);
    api.read_rtl_annotation(rtl_ann);
    api.read_blc_graph(blc);
    api.read_blc_annotation(blc_ann);
}

void read_views(FAB::API& api, NLG_IGRAPH& rtl, NLG_IANNSS& rtl_annss, NLG_IGRAPH& blc,
                NLG_IANNSS& blc_annss) {
    NLG_TESSEL tessel;
    std::stringstream rtl_file, rtl_ann, blc_file, blc_ann;
    EXPECT_TRUE(tessel.write_graph(&rtl, rtl_file, TESSEL_API::FORMAT_PB_BIN));
    EXPECT_TRUE(tessel.write_annss(&rtl_annss, rtl_ann, TESSEL_API::FORMAT_PB_BIN));
    EXPECT_TRUE(tessel.write_graph(&blc, blc_file, TESSEL_API::FORMAT_PB_BIN));
    EXPECT_TRUE(tessel.write_annss(&blc_annss, blc_ann, TESSEL_API::FORMAT_PB_BIN));
    api.read_rtl_graph(rtl_file);
    api.read_rtl_annotation(rtl_ann);
    api.read_blc_graph(blc_file);
    api.read_blc_annotation(blc_ann);
}

std::string floorplan_text(FAB::FLOORPLAN& fp) {
    std::ostringstream os;
    os << "grid " << fp.get_columns() << "x" << fp.get_rows() << "\n";
    for (int32_t m = 0; m < fp.get_n_modules(); ++m) {
        FAB::FLOORPLAN::MODULE& module = fp.get_module(m);
        os << m << " " << module.get_logical_name() << " " << module.get_logical_impl() << " "
           << module.get_pnr_width() << "x" << module.get_pnr_height() << "\n";
        for (int32_t p = 0; p < module.get_n_ports(); ++p) {
            FAB::FLOORPLAN::MODULE_PORT& port = module.get_port(p);
            os << "  port " << port.get_name().str() << " " << port.get_direction() << " "
               << port.is_route_type_normal() << "\n";
        }
        for (int32_t i = 0; i < module.get_n_instances(); ++i) {
            FAB::FLOORPLAN::INSTANCE& inst = module.get_instance(i);
            int32_t definition = -1, x, y, z;
            for (int32_t k = 0; k < fp.get_n_modules(); ++k)
                if (&fp.get_module(k) == &inst.get_module()) definition = k;
            float px, py;
            inst.get_location(x, y, z);
            inst.get_physical_location(px, py);
            os << "  inst " << inst.get_name().str() << " -> " << definition << " (" << x << ","
               << y << "," << z << ") (" << px << "," << py << ") '" << inst.get_uid() << "'\n";
        }
    }
    return os.str();
}

}  // namespace FAB_TEST
