#pragma once

/// Marks the public interface of the object library; everything else is hidden.
#ifndef BEX_EXPORT
#define BEX_EXPORT __attribute__((visibility("default")))
#endif
