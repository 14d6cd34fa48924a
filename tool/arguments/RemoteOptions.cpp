#include "arguments/RemoteOptions.hpp"

#include <cstdint>
#include <string>

#include "arguments/Number.hpp"

namespace bex::tool {

void addRemoteOptions(CLI::App& program, remote::RemoteOptions& options) {
    constexpr const char* row = "For URLs";
    program.add_option("--header", options.headers, "A field of each request")
        ->option_text("FIELD")
        ->take_all()
        ->allow_extra_args(false)
        ->group(row);
    addNumber<unsigned>(program, "--timeout", "Seconds without progress", [&options](unsigned seconds) {
        options.timeoutSeconds = seconds;
    })->group(row);
    addNumber<std::uint64_t>(program, "--max-bytes", "Bytes to receive at most", [&options](std::uint64_t bytes) {
        options.maxBytes = bytes;
    })->group(row);
    addNumber<std::uint64_t>(program, "--max-requests", "Requests to send at most",
                             [&options](std::uint64_t requests) { options.maxRequests = requests; })
        ->group(row);
    program.add_flag("--netrc", options.netrc, "User and password from ~/.netrc")->group(row);
}

}  // namespace bex::tool
