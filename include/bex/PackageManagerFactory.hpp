#pragma once

#include "bex/Export.hpp"

namespace bex {

class PackageManager;

/// Makes package objects, so that a program needs only the interface PackageManager.
class BEX_EXPORT PackageManagerFactory {
public:
    PackageManagerFactory() = default;
    PackageManagerFactory(const PackageManagerFactory&) = default;
    PackageManagerFactory& operator=(const PackageManagerFactory&) = default;
    virtual ~PackageManagerFactory();

    /// Returns a new, empty package of the Debian style (a ZRBex). The caller deletes it.
    PackageManager* createDebPackageManager() const;
};

}  // namespace bex
