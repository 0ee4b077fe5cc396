// Kept for the tests that include it by this name; the helpers live in nlg_test_graph.h.
#pragma once

#include "nlg/nlg_test_graph.h"
