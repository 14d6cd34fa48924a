#pragma once

/// Marks what the libraries offer to programs; everything else is hidden.
#define BEX_EXPORT __attribute__((visibility("default")))
