#pragma once

#include <map>
#include <memory>
#include <string>

#include "bex/remote/RemoteFile.hpp"
#include "bex/stream/Limits.hpp"
#include "output/Console.hpp"
#include "output/ExitStatus.hpp"

namespace bex::tool {

enum class ProgressWhen { automatic, json, never };

/// What the options that every verb takes have set.
struct Context {
    Console console;
    bool json = false;
    bool quiet = false;
    int verbosity = 0;  ///< how often -v was given
    ProgressWhen progress = ProgressWhen::automatic;
    unsigned threads = 0;  ///< 0: one for each processor
    stream::Limits limits;
    remote::RemoteOptions remote;
    /// What was opened by its URL: one that is read twice has to be the same file both times.
    std::map<std::string, std::shared_ptr<remote::RemoteFile>> remoteFiles;
    /// Exit status if the reader of standard output goes away early.
    ExitStatus whenClosed = ExitStatus::done;
};

}  // namespace bex::tool
