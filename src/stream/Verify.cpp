#include "bex/stream/Verify.hpp"

#include <utility>

#include "stream/verify/Verification.hpp"

namespace bex::stream {

std::vector<Finding> verify(const std::string& path, const VerifyOptions& options) {
    return Verification(openInput(path, System::real()), path, options).run();
}

std::vector<Finding> verify(int descriptor, const std::string& name, const VerifyOptions& options) {
    return Verification(openInput(OpenFile{descriptor, {}}, name, System::real()), name, options).run();
}

std::vector<Finding> verify(std::shared_ptr<Source> source, const std::string& name,
                            const VerifyOptions& options) {
    return Verification(openInput(std::move(source)), name, options).run();
}

std::vector<Finding> verify(std::unique_ptr<ForwardSource> source, const std::string& name,
                            const VerifyOptions& options) {
    return Verification(openInput(std::move(source)), name, options).run();
}

}  // namespace bex::stream
