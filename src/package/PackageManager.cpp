#include "bex/PackageManager.hpp"

namespace bex {

PackageManager::~PackageManager() = default;

}  // namespace bex
