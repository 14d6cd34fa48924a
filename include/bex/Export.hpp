#pragma once

/// Marks what the object library offers to programs; everything else is hidden.
#ifndef BEX_EXPORT
#define BEX_EXPORT __attribute__((visibility("default")))
#endif
