#pragma once

#include <dlfcn.h>

#include <string>

#include "bex/stream/StreamError.hpp"

namespace bex::tool {

/// The function of one of the project's libraries that the program is not linked with, so that only the verbs that
/// use the library wait for it and what it stands on. It stays loaded. `Function` is the function's type.
/// Throws StreamError (`inputOutput`) where the library is not installed.
template <typename Function>
Function* functionOf(const char* library, const char* name) {
    void* handle = dlopen(library, RTLD_NOW);
    void* address = handle != nullptr ? dlsym(handle, name) : nullptr;
    if (address == nullptr) {
        const char* reason = dlerror();
        throw stream::StreamError(stream::ErrorKind::inputOutput,
                                  std::string("can't load a library: ") + (reason != nullptr ? reason : name));
    }
    return reinterpret_cast<Function*>(address);
}

}  // namespace bex::tool
