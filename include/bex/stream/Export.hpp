#pragma once

/// Marks the public interface of the streaming library; everything else is hidden. The headers of the object
/// library define the same macro, because either library can be installed without the other.
#ifndef BEX_EXPORT
#define BEX_EXPORT __attribute__((visibility("default")))
#endif
