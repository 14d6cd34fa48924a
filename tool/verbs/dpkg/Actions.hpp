#pragma once

#include <optional>
#include <string>
#include <vector>

#include "bex/stream/Compression.hpp"
#include "output/Context.hpp"

namespace bex::tool {

/// What one of dpkg-deb's actions was asked for.
struct DpkgRequest {
    std::vector<std::string> arguments;
    std::string showFormat = "${Package}\\t${Version}\\n";
    stream::Compression compression = stream::Compression::xz;  ///< as dpkg-deb(1) of Debian 12
    std::optional<int> level;
    bool rootOwnerGroup = false;
};

/// The actions. Each gets as many arguments as it takes and throws as stream::PackageReader.
ExitStatus dpkgBuild(const DpkgRequest& request, Context& context);
ExitStatus dpkgContents(const DpkgRequest& request, Context& context);
ExitStatus dpkgInfo(const DpkgRequest& request, Context& context);
ExitStatus dpkgField(const DpkgRequest& request, Context& context);
ExitStatus dpkgShow(const DpkgRequest& request, Context& context);
ExitStatus dpkgExtract(const DpkgRequest& request, Context& context);
ExitStatus dpkgExtractVerbosely(const DpkgRequest& request, Context& context);
ExitStatus dpkgExtractControl(const DpkgRequest& request, Context& context);
ExitStatus dpkgExtractAll(const DpkgRequest& request, Context& context);
ExitStatus dpkgControlTar(const DpkgRequest& request, Context& context);
ExitStatus dpkgPayloadTar(const DpkgRequest& request, Context& context);

}  // namespace bex::tool
