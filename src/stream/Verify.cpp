#include "bex/stream/Verify.hpp"

#include "stream/system/System.hpp"
#include "stream/verify/Verification.hpp"

namespace bex::stream {

std::vector<Finding> verify(const std::string& path, const ReadOptions& options) {
    return Verification(path, options, System::real()).run();
}

}  // namespace bex::stream
