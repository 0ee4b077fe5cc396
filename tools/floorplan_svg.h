// The floorplan of a device as an SVG picture: the grid of columns and rows, every placed block
// of the device drawn at its grid place with its size, coloured by definition, named on hover,
// and a legend of the definitions. It reads the floorplan and owns nothing.
#pragma once

#include <ostream>

#include "fab_floorplan_api.h"

struct FLOORPLAN_SVG_SUMMARY {
    int placed = 0;    // blocks drawn
    int unplaced = 0;  // blocks of the device without a grid place, not drawn
    int kinds = 0;     // definitions in the legend
};

FLOORPLAN_SVG_SUMMARY write_floorplan_svg(FAB::FLOORPLAN& floorplan, std::ostream& os);
