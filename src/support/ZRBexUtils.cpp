#include "bex/ZRBexUtils.hpp"

#include <boost/filesystem.hpp>
#include <memory>

namespace bex {

ZRBexUtils* ZRBexUtils::instance_ = nullptr;

ZRBexUtils::ZRBexUtils() = default;
ZRBexUtils::~ZRBexUtils() = default;

ZRBexUtils* ZRBexUtils::getInstance() {
    if (instance_ == nullptr) {
        instance_ = new ZRBexUtils;
    }
    return instance_;
}

void ZRBexUtils::kill() {
    delete instance_;
    instance_ = nullptr;
}

std::list<std::string>* ZRBexUtils::scanDir(std::string dir) {
    auto paths = std::make_unique<std::list<std::string>>(1, dir);
    for (const auto& entry : boost::filesystem::directory_iterator(dir)) {
        const std::string name = dir + entry.path().filename().string();
        if (boost::filesystem::is_directory(name)) {  // Meant: links are followed, even in a cycle.
            const std::unique_ptr<std::list<std::string>> below(scanDir(name + "/"));
            paths->merge(*below);  // Meant: not appended, not sorted. The payload has this order.
        } else {
            paths->push_back(name);
        }
    }
    return paths.release();
}

}  // namespace bex
