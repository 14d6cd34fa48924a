#include <cstddef>
#include <initializer_list>
#include <string_view>

#include "bex/BexException.hpp"
#include "bex/ZRBex.hpp"

namespace bex {
namespace {

/// Returns whether the value holds these parts in this order, with at least one character before, between and
/// after them. Takes the first possible place for each part: a later one would leave less room for the next. A
/// regular expression says the same, but its matcher gives up on some values.
bool holdsInOrder(std::string_view value, std::initializer_list<std::string_view> parts) {
    std::size_t end = 0;
    for (const std::string_view part : parts) {
        const std::size_t at = value.find(part, end + 1);
        if (at == std::string_view::npos) {
            return false;
        }
        end = at + part.size();
    }
    return end < value.size();
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

bool ZRBex::xCheckEssentialFormat(const std::string& value) {
    return value == "yes" || value == "no";
}

bool ZRBex::xCheckMaintainerFormat(const std::string& value) {
    return holdsInOrder(value, {" ", " <", "@", "."});  // Meant: without a closing bracket.
}

void ZRBex::xCheckMandatoryFields() {
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
