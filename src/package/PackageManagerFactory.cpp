#include "bex/PackageManagerFactory.hpp"

#include "bex/ZRBex.hpp"

namespace bex {

PackageManagerFactory::~PackageManagerFactory() = default;

PackageManager* PackageManagerFactory::createDebPackageManager() const {
    return new ZRBex;
}

}  // namespace bex
