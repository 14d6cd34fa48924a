#pragma once

/// Marks what the streaming library offers to programs; everything else is hidden. The object library's headers
/// define it alike: either library can be installed without the other.
#ifndef BEX_EXPORT
#define BEX_EXPORT __attribute__((visibility("default")))
#endif
