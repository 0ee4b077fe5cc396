// The picture is drawn in grid cells of a fixed size, row 0 at the bottom as on a device
// drawing. Blocks are the instances of definition 0 (the device); a block spans its
// definition's pnr width and height (at least one cell). Colours go by definition index
// through a fixed palette, so that one device always gets one picture.
#include "floorplan_svg.h"

#include <algorithm>
#include <map>
#include <string>

namespace {

constexpr int CELL = 48;
constexpr int MARGIN = 36;
constexpr int LEGEND_WIDTH = 240;
constexpr int LEGEND_LINE = 22;

const char* const PALETTE[] = {"#4e79a7", "#f28e2b", "#e15759", "#76b7b2", "#59a14f",
                               "#edc948", "#b07aa1", "#ff9da7", "#9c755f", "#bab0ac"};
constexpr int PALETTE_SIZE = sizeof(PALETTE) / sizeof(PALETTE[0]);

std::string escape(const std::string& text) {
    std::string out;
    for (char c : text) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            default:
                out += c;
        }
    }
    return out;
}

std::string key_of(FAB::FLOORPLAN::MODULE& module) {
    const std::string impl = module.get_logical_impl();
    if (impl == "-" || impl == "DEFAULT") return module.get_logical_name();
    return module.get_logical_name() + "__" + impl;
}

int index_of(FAB::FLOORPLAN& fp, const FAB::FLOORPLAN::MODULE& module) {
    for (int32_t m = 0; m < fp.get_n_modules(); ++m)
        if (&fp.get_module(m) == &module) return m;
    return -1;
}

struct CANVAS {
    int columns;
    int rows;
    int left() const { return MARGIN; }
    int top() const { return MARGIN; }
    int width() const { return 2 * MARGIN + columns * CELL + LEGEND_WIDTH; }
    int grid_height() const { return rows * CELL; }
    // Top edge of a block whose lowest row is y and which spans h rows.
    int y_of(int y, int h) const { return top() + (rows - y - h) * CELL; }
};

void write_grid(const CANVAS& c, std::ostream& os) {
    os << "<g class=\"grid\" stroke=\"#c8c8c8\" stroke-width=\"1\">\n";
    for (int x = 0; x <= c.columns; ++x)
        os << "<line x1=\"" << c.left() + x * CELL << "\" y1=\"" << c.top() << "\" x2=\""
           << c.left() + x * CELL << "\" y2=\"" << c.top() + c.grid_height() << "\"/>\n";
    for (int y = 0; y <= c.rows; ++y)
        os << "<line x1=\"" << c.left() << "\" y1=\"" << c.top() + y * CELL << "\" x2=\""
           << c.left() + c.columns * CELL << "\" y2=\"" << c.top() + y * CELL << "\"/>\n";
    os << "</g>\n<g class=\"axes\" font-family=\"sans-serif\" font-size=\"11\" fill=\"#555\">\n";
    for (int x = 0; x < c.columns; ++x)
        os << "<text x=\"" << c.left() + x * CELL + CELL / 2 << "\" y=\"" << c.top() - 8
           << "\" text-anchor=\"middle\">" << x << "</text>\n";
    for (int y = 0; y < c.rows; ++y)
        os << "<text x=\"" << c.left() - 8 << "\" y=\"" << c.y_of(y, 1) + CELL / 2 + 4
           << "\" text-anchor=\"end\">" << y << "</text>\n";
    os << "</g>\n";
}

}  // namespace

FLOORPLAN_SVG_SUMMARY write_floorplan_svg(FAB::FLOORPLAN& fp, std::ostream& os) {
    FLOORPLAN_SVG_SUMMARY summary;
    const CANVAS c{static_cast<int>(fp.get_columns()), static_cast<int>(fp.get_rows())};
    FAB::FLOORPLAN::MODULE& device = fp.get_module(0);
    std::map<int, int> used;  // definition index -> blocks drawn
    for (int32_t i = 0; i < device.get_n_instances(); ++i) {
        FAB::FLOORPLAN::INSTANCE& block = device.get_instance(i);
        int32_t x, y, z;
        block.get_location(x, y, z);
        if (x == -1 || y == -1) continue;
        ++used[index_of(fp, block.get_module())];
    }
    const int legend_height = static_cast<int>(used.size()) * LEGEND_LINE + 2 * LEGEND_LINE;
    const int height = 2 * MARGIN + std::max(c.grid_height(), legend_height);

    os << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
       << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << c.width() << "\" height=\""
       << height << "\" viewBox=\"0 0 " << c.width() << " " << height << "\">\n"
       << "<title>Floorplan " << c.columns << " x " << c.rows << "</title>\n"
       << "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
    write_grid(c, os);

    os << "<g class=\"blocks\" stroke=\"#222\" stroke-width=\"1.5\" fill-opacity=\"0.85\">\n";
    for (int32_t i = 0; i < device.get_n_instances(); ++i) {
        FAB::FLOORPLAN::INSTANCE& block = device.get_instance(i);
        FAB::FLOORPLAN::MODULE& definition = block.get_module();
        int32_t x, y, z;
        block.get_location(x, y, z);
        if (x == -1 || y == -1) {
            ++summary.unplaced;
            continue;
        }
        const int w = std::max(1, definition.get_pnr_width());
        const int h = std::max(1, definition.get_pnr_height());
        const int kind = index_of(fp, definition);
        const std::string uid = block.get_uid();
        os << "<rect class=\"block\" x=\"" << c.left() + x * CELL + 2 << "\" y=\""
           << c.y_of(y, h) + 2 << "\" width=\"" << w * CELL - 4 << "\" height=\"" << h * CELL - 4
           << "\" rx=\"4\" fill=\"" << PALETTE[kind % PALETTE_SIZE] << "\"><title>"
           << escape(block.get_name().str()) << (uid.empty() ? "" : " " + escape(uid)) << ": "
           << escape(key_of(definition)) << " at column " << x << ", row " << y << " (" << w
           << " x " << h << ")</title></rect>\n";
        os << "<text class=\"label\" x=\"" << c.left() + x * CELL + 6 << "\" y=\""
           << c.y_of(y, h) + 16 << "\" font-family=\"sans-serif\" font-size=\"10\" "
           << "stroke=\"none\" fill=\"#111\" pointer-events=\"none\">"
           << escape(key_of(definition).substr(0, 6)) << "</text>\n";
        ++summary.placed;
    }
    os << "</g>\n";

    const int lx = c.left() + c.columns * CELL + MARGIN;
    os << "<g class=\"legend\" font-family=\"sans-serif\" font-size=\"13\">\n"
       << "<text x=\"" << lx << "\" y=\"" << c.top() + 4 << "\" font-weight=\"bold\">"
       << summary.placed << " blocks, " << c.columns << " x " << c.rows << "</text>\n";
    int line = 1;
    for (const auto& entry : used) {
        FAB::FLOORPLAN::MODULE& definition = fp.get_module(entry.first);
        const int ly = c.top() + line * LEGEND_LINE;
        os << "<rect x=\"" << lx << "\" y=\"" << ly - 11 << "\" width=\"14\" height=\"14\" fill=\""
           << PALETTE[entry.first % PALETTE_SIZE] << "\" stroke=\"#222\"/>\n"
           << "<text x=\"" << lx + 20 << "\" y=\"" << ly << "\">" << escape(key_of(definition))
           << " (" << entry.second << ")</text>\n";
        ++line;
        ++summary.kinds;
    }
    if (summary.unplaced)
        os << "<text x=\"" << lx << "\" y=\"" << c.top() + line * LEGEND_LINE << "\" fill=\"#a00\">"
           << summary.unplaced << " without a place, not drawn</text>\n";
    os << "</g>\n</svg>\n";
    return summary;
}
