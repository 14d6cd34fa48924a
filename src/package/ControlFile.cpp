#include <iostream>
#include <sstream>
#include <string_view>

#include "archive/OwnedFiles.hpp"
#include "bex/ZRBex.hpp"

namespace bex {
namespace {

constexpr std::string_view kSeparator = ": ";

/// Prints one line per field. Meant: values are printed unchanged, line feeds included.
void printFields(std::ostream& out, const std::map<std::string, std::string>& fields) {
    for (const auto& [name, value] : fields) {
        out << name << kSeparator << value << std::endl;
    }
}

}  // namespace

sFileInMemory* ZRBex::xWriteControlFileInMemory() {
    std::stringstream text;
    printFields(text, metaData_);
    const std::string bytes = text.str();
    return newFile("control", bytes.data(), bytes.size()).release();
}

void ZRBex::xParseControlFile(std::stringstream* in) {
    for (std::string line; std::getline(*in, line);) {
        const std::string::size_type end = line.find(kSeparator);
        if (end != std::string::npos && end != 0) {  // Other lines are skipped without an error.
            metaData_[line.substr(0, end)] = line.substr(end + kSeparator.size());
        }
    }
    xCheckMandatoryFields();
    // Meant: only a missing field is checked, and the result is not used. The effect is that both fields exist
    // afterwards, and that a value from a file is kept without a check.
    if (metaData_.count("Maintainer") == 0) {
        xCheckMaintainerFormat(metaData_["Maintainer"]);
    }
    if (metaData_.count("Essential") == 0) {
        xCheckEssentialFormat(metaData_["Essential"]);
    }
}

void ZRBex::printInfo() const {
    printFields(std::cout, metaData_);
}

}  // namespace bex
