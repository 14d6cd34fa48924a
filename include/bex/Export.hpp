#pragma once

/// Makes a class or function visible to programs that link a library. Everything else is hidden.
#define BEX_EXPORT __attribute__((visibility("default")))
