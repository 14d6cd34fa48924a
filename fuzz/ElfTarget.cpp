#include <string>

#include "Failure.hpp"
#include "Target.hpp"
#include "bex/stream/StreamError.hpp"
#include "shlibs/elf/ElfFile.hpp"

namespace bex::fuzz {

/// An ELF file is read or refused with its name; what is read is text as its own header promises it.
void runElf(std::string_view input) {
    shlibs::ElfFile file;
    const std::string failure = test::failureOf([&] { file = shlibs::readElf(input, "elf"); });
    require(failure.empty() || failure.rfind("elf: ", 0) == 0, "an error names the file", failure);
    require(!actsOnTerminals(failure), "an error is one safe line", failure);
    const auto machine = shlibs::machineOf(input);
    require(!failure.empty() || (machine && *machine == file.machine), "both readings of a header agree");
    std::size_t bytes = 0;
    file.undefined.forEach([&](std::string_view name) {
        require(name.find('@') != std::string_view::npos, "a symbol has a version", std::string(name));
        bytes += name.size();
    });
    for (const std::string& library : file.needed) {
        require(library.size() < input.size(), "a name lies in the file", library);
    }
    require(failure.empty() || bytes == 0, "what is refused gives nothing");
}

}  // namespace bex::fuzz
