#pragma once

#include "bex/Export.hpp"

namespace bex {

class PackageManager;

/// Hands out package objects, so that a program depends on the interface alone.
class BEX_EXPORT PackageManagerFactory {
public:
    PackageManagerFactory() = default;
    PackageManagerFactory(const PackageManagerFactory&) = default;
    PackageManagerFactory& operator=(const PackageManagerFactory&) = default;
    virtual ~PackageManagerFactory();

    /// A new, empty package for Debian-style files. The caller deletes it.
    PackageManager* createDebPackageManager() const;
};

}  // namespace bex
