// Marks what the shared library exports to the place-and-route tool.
#pragma once

#define FAB_EXPORT __attribute__((visibility("default")))
