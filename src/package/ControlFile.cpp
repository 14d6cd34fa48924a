#include <iostream>
#include <sstream>
#include <string_view>

#include "archive/OwnedFiles.hpp"
#include "bex/ZRBex.hpp"

namespace bex {
namespace {

constexpr std::string_view separator = ": ";

/// One line per field. Meant: values are written raw, line feeds included.
void printFields(std::ostream& out, const std::map<std::string, std::string>& fields) {
    for (const auto& [name, value] : fields) {
        out << name << separator << value << std::endl;
    }
}

}  // namespace

sFileInMemory* ZRBex::xWriteControlFileInMemory() const {
    std::stringstream text;
    printFields(text, metaData_);
    const std::string bytes = text.str();
    return newFile("control", bytes.data(), bytes.size()).release();
}

void ZRBex::xParseControlFile(std::stringstream* in) {
    for (std::string line; std::getline(*in, line);) {
        const std::string::size_type end = line.find(separator);
        if (end != std::string::npos && end != 0) {  // other lines are silently skipped
            metaData_[line.substr(0, end)] = line.substr(end + separator.size());
        }
    }
    xCheckMandatoryFields();
    // Meant: only a field that is not there is checked, and the answer is not used. What remains is that both
    // fields are there afterwards, and that a value from a file is kept as it is.
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
